#include "reference/two_scale_reference.hpp"

#include "reference/adaptation_reference.hpp"
#include "reference/color_reference.hpp"
#include "reference/structure_reference.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <fstream>
#include <sstream>

namespace likeness::reference {
namespace {

void writeStructuralTensor(const cv::Mat& image, const std::string& directory, std::string& printed) {
    const StructuralTensor tensor = computeStructuralTensor(image, 3.0F);
    for (const auto& [name, shown] : tensor.images) {
        cv::imwrite(directory + "/" + name, shown);
    }
    printed += tensor.text;
}

cv::Mat computeWhiteImgVs2(const cv::Mat& img, float sigma, int d) {
    cv::Mat white;
    cv::bilateralFilter(img, white, d, static_cast<double>(sigma), static_cast<double>(d), cv::BORDER_REFLECT_101);
    return white;
}

}  // namespace

void biCAT(cv::Mat& image, const cv::Mat& sourceWhite, const cv::Mat& target, const std::string& directory,
           std::string& printed) {
    cv::Mat factor(image.rows, image.cols, CV_32F);
    float maxRatio[3] = {0, 0, 0};
    int maxRow = 0;
    int maxCol = 0;
    for (int c = 0; c < 3; ++c) {
        std::ofstream file(directory + "/catRatio.txt", std::ios::trunc);
        for (int i = 0; i < image.rows; ++i) {
            for (int j = 0; j < image.cols; ++j) {
                const float D = computeAdapFactD(20);
                const float white = sourceWhite.at<cv::Vec3f>(i, j)[c];
                float ratio = target.at<cv::Vec3f>(i, j)[c] / white;
                if (std::pow(10, -3) > static_cast<double>(white)) {
                    ratio = static_cast<float>(static_cast<double>(target.at<cv::Vec3f>(i, j)[c]) /
                                               (static_cast<double>(white) + 0.02));
                }
                file << ratio << '\n';
                factor.at<float>(i, j) = (1 - D) + ratio * D;
                if (ratio > maxRatio[c]) {
                    maxRatio[c] = ratio;
                    maxRow = i;
                    maxCol = j;
                }
            }
        }
        file.close();
        cv::imwrite(directory + "/increaseMap.jpg", factor / maxRatio[c] * 255);
        std::ostringstream line;
        line << maxRatio[c] << " " << sourceWhite.at<cv::Vec3f>(maxRow, maxCol)[c] << " "
             << target.at<cv::Vec3f>(maxRow, maxCol)[c] << '\n';
        printed += line.str();
        for (int i = 0; i < image.rows; ++i) {
            for (int j = 0; j < image.cols; ++j) {
                const float D = computeAdapFactD(20);
                image.at<cv::Vec3f>(i, j)[c] *= 1 - D + D * factor.at<float>(i, j);
            }
        }
    }
}

void biCATRegression(cv::Mat& guidance, cv::Mat& whiteGuidance, cv::Mat& input, cv::Mat& spare, cv::Mat& whiteInput,
                     const cv::Mat& weightMap, float sigma, const std::string& directory, std::string& printed) {
    const int rows = guidance.rows;
    const int cols = guidance.cols;
    const int diagonal = static_cast<int>(std::sqrt(cols * cols + rows * rows));
    guidance *= 255;
    whiteGuidance *= 255;
    whiteInput *= 255;
    spare *= 255;
    input *= 255;
    writeStructuralTensor(input, directory, printed);
    writeStructuralTensor(guidance, directory, printed);
    const cv::Mat guidanceCopy = guidance.clone();
    cv::Mat guidanceSquared(rows, cols, CV_32FC3);
    cv::Mat product(rows, cols, CV_32FC3);
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < rows; ++i) {
            for (int j = 0; j < cols; ++j) {
                const float g = guidance.at<cv::Vec3f>(i, j)[c];
                guidanceSquared.at<cv::Vec3f>(i, j)[c] = g * g;
                product.at<cv::Vec3f>(i, j)[c] = input.at<cv::Vec3f>(i, j)[c] * g;
            }
        }
    }
    cv::imwrite(directory + "/covariance1.jpg", product);
    const int r = static_cast<int>(diagonal / 25.0);
    cv::Mat meanSquared = computeWhiteImgVs2(guidanceSquared, sigma, r);
    cv::Mat meanProduct = computeWhiteImgVs2(product, sigma, r);
    cv::imwrite(directory + "/covariance2.jpg", meanProduct);
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < rows; ++i) {
            for (int j = 0; j < cols; ++j) {
                const float white = whiteGuidance.at<cv::Vec3f>(i, j)[c];
                meanSquared.at<cv::Vec3f>(i, j)[c] -= white * white;
                meanProduct.at<cv::Vec3f>(i, j)[c] -= white * whiteInput.at<cv::Vec3f>(i, j)[c];
            }
        }
    }
    cv::imwrite(directory + "/variance.jpg", meanSquared);

    cv::Mat ratioMap(rows, cols, CV_32FC3, cv::Scalar::all(255));
    cv::Mat validMask(rows, cols, CV_32FC3, cv::Scalar::all(255));
    const float D = computeAdapFactD(20);
    for (int c = 0; c < 3; ++c) {
        std::ofstream(directory + "/catRatio.txt", std::ios::trunc).close();
        cv::Mat gain(rows, cols, CV_32F);
        cv::Mat offset(rows, cols, CV_32F);
        for (int i = 0; i < rows; ++i) {
            for (int j = 0; j < cols; ++j) {
                const float white = whiteGuidance.at<cv::Vec3f>(i, j)[c];
                float ratio = 0;
                if (1.0 > static_cast<double>(white)) {
                    ratio = whiteInput.at<cv::Vec3f>(i, j)[c];
                    validMask.at<cv::Vec3f>(i, j)[c] = 0;
                } else {
                    ratio = whiteInput.at<cv::Vec3f>(i, j)[c] / white;
                }
                if (50 * ratio > 200) {
                    validMask.at<cv::Vec3f>(i, j)[c] = 0;
                }
                ratioMap.at<cv::Vec3f>(i, j)[c] = ratio;
                const float a = 1 - D + ratio * D;
                gain.at<float>(i, j) = a;
                const float b = whiteInput.at<cv::Vec3f>(i, j)[c] - white * a;
                offset.at<float>(i, j) = b;
                guidance.at<cv::Vec3f>(i, j)[c] = guidance.at<cv::Vec3f>(i, j)[c] * a + b;
            }
        }
        computeWhiteImgVs2(gain, sigma / 3, 5);
        computeWhiteImgVs2(offset, sigma / 3, 5);
        for (int i = 0; i < rows; ++i) {
            for (int j = 0; j < cols; ++j) {
                const float w = weightMap.at<float>(i, j);
                guidance.at<cv::Vec3f>(i, j)[c] =
                    guidanceCopy.at<cv::Vec3f>(i, j)[c] * gain.at<float>(i, j) * w + offset.at<float>(i, j) * w;
            }
        }
    }
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            cv::Vec3f& valid = validMask.at<cv::Vec3f>(i, j);
            if (valid[0] == 0 && valid[1] == 0 && valid[2] == 0) {
                valid[0] = 0;
            } else {
                valid = cv::Vec3f(255, 255, 255);
            }
        }
    }
    cv::imwrite(directory + "/ratio_bowls.jpg", ratioMap * 50);
    cv::imwrite(directory + "/diff1.jpg", validMask);
    cv::imwrite(directory + "/whiteGuidance.jpg", whiteGuidance);
    cv::imwrite(directory + "/whiteInput.jpg", whiteInput);
    guidance /= 255;
    whiteGuidance /= 255;
    whiteInput /= 255;
    spare /= 255;
    input /= 255;
}

void computeCorrectedNonFlash(cv::Mat* exposures, cv::Mat& white, const cv::Mat& reference, int index, int diagonal,
                              const std::string& directory) {
    cv::Mat& E = exposures[index];
    cv::Mat T(reference.rows, reference.cols, CV_32FC3);
    inverseCATByD65(E, white);
    convertSharpenedBGRtoXYZ(E, T);
    convertXYZToBGRDirect(T, E);
    cv::imwrite(directory + "/" + convertIntToString(index) + "_nonFlash" + ".jpg", E * 255);
    const int d = diagonal / 100;
    cv::bilateralFilter(E, T, d, 0.01, static_cast<double>(d), cv::BORDER_REFLECT_101);
    convertBGRToXYZDirect(T, E);
    convertXYZtoSharpenedBGR(E, T);
    T.copyTo(E);
}

}  // namespace likeness::reference
