#include "reference/local_adaptation_reference.hpp"

#include "reference/adaptation_reference.hpp"
#include "reference/color_reference.hpp"
#include "reference/color_space_reference.hpp"
#include "reference/filter_reference.hpp"

#include <cmath>
#include <limits>

namespace likeness::reference {
namespace {

float ratioAt(const cv::Mat& sourceWhite, const cv::Mat& targetWhite, float blend, bool perPixel, int i, int j, int c,
              float D) {
    const float source = sourceWhite.at<cv::Vec3f>(i, j)[c];
    if (perPixel) {
        return static_cast<float>(static_cast<double>(targetWhite.at<cv::Vec3f>(i, j)[c] * D) /
                                  (std::pow(10, -6) + static_cast<double>(source)));
    }
    float t = targetWhite.at<cv::Vec3f>(0, 0)[c] * blend;
    t = (source * (1 - blend) + t) * D;
    return t / source;
}

float degreeAt(const cv::Mat& whiteXYZ, int i, int j) {
    return computeAdapFactD(static_cast<float>(static_cast<double>(whiteXYZ.at<cv::Vec3f>(i, j)[1]) * 0.2));
}

}  // namespace

void iCAMCAT(cv::Mat& img, const cv::Mat& sourceWhite, const cv::Mat& targetWhite, float blend, bool perPixel) {
    cv::Mat whiteXYZ(sourceWhite.size(), CV_32FC3);
    convertSharpenedBGRtoXYZ(sourceWhite, whiteXYZ);
    const double w = 1.0;
    for (int i = 0; i < img.rows; ++i) {
        for (int j = 0; j < img.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const float D = degreeAt(whiteXYZ, i, j);
                const float r = ratioAt(sourceWhite, targetWhite, blend, perPixel, i, j, c, D);
                float& value = img.at<cv::Vec3f>(i, j)[c];
                value = static_cast<float>((w * r + 1 - w * D) * value);
            }
        }
    }
}

void iCAMCATLocal(cv::Mat& img, const cv::Mat& sourceWhite, const cv::Mat& targetWhite, const cv::Mat& mask,
                  float blend, bool perPixel) {
    cv::Mat whiteXYZ(sourceWhite.size(), CV_32FC3);
    convertSharpenedBGRtoXYZ(sourceWhite, whiteXYZ);
    for (int i = 0; i < img.rows; ++i) {
        for (int j = 0; j < img.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const float D = degreeAt(whiteXYZ, i, j);
                const float r = ratioAt(sourceWhite, targetWhite, blend, perPixel, i, j, c, D);
                if (mask.at<uchar>(i, j) != 0) {
                    float& value = img.at<cv::Vec3f>(i, j)[c];
                    value = ((0.3F * r) + 1.0F - 0.3F * D) * value;
                }
            }
        }
    }
}

bool areImgsEqualivalent(const cv::Mat& first, const cv::Mat& second) {
    float sum = 0;
    for (int i = 0; i < first.rows; ++i) {
        for (int j = 0; j < second.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const float a = first.at<cv::Vec3f>(i, j)[c];
                const float b = second.at<cv::Vec3f>(i, j)[c];
                const float d = (a - b) * (a - b);
                if (!std::isnan(a) && !std::isnan(b)) {
                    sum += d;
                }
            }
        }
    }
    if (sum == 0) {
        return false;
    }
    const double mean = static_cast<double>(sum / static_cast<float>(first.rows * first.cols));
    return !(mean > std::pow(10, -6));
}

int performLocalCAMCA(cv::Mat& img, const cv::Mat& reference, float blend, const std::string& directory,
                      std::string& printed) {
    const cv::Scalar nan = cv::Scalar::all(std::numeric_limits<double>::quiet_NaN());
    cv::Mat xyzImg(img.size(), CV_32FC3);
    cv::Mat xyzRef(reference.size(), CV_32FC3);
    cv::Mat refWhiteBGR(reference.size(), CV_32FC3);
    cv::Mat refWhiteSharp(reference.size(), CV_32FC3);
    cv::Mat sharpImg(img.size(), CV_32FC3);
    cv::Mat whiteSharp(img.size(), CV_32FC3);
    cv::Mat prevWhite(img.size(), CV_32FC3, nan);
    const cv::Mat mask(img.size(), CV_8U, cv::Scalar(1));
    convertBGRToXYZDirect(img, xyzImg);
    convertBGRToXYZDirect(reference, xyzRef);
    cv::Mat refWhiteXYZ = guidedFilterWithDumps(xyzRef, xyzRef, 16, 0.0001, -1, directory);
    convertXYZToBGRDirect(refWhiteXYZ, refWhiteBGR);
    convertXYZtoSharpenedBGR(refWhiteXYZ, refWhiteSharp);

    cv::Mat refWhite(1, 1, CV_32FC3);
    cv::Mat imgWhite(1, 1, CV_32FC3);
    cv::Mat aux1(1, 1, CV_32FC3, nan);
    cv::Mat aux2(1, 1, CV_32FC3, nan);
    computeWhitePointFromGrayWorld(reference, refWhite, aux2, printed);
    computeWhitePointFromGrayWorld(img, imgWhite, aux1, printed);
    for (cv::Mat* const white : {&refWhite, &imgWhite}) {
        convertBGRToXYZDirect(*white, *white);
        convertXYZtoSharpenedBGR(*white, *white);
    }

    bool converged = false;
    int pass = 0;
    while (!converged && pass <= 0) {
        convertXYZtoSharpenedBGR(xyzImg, sharpImg);
        const cv::Mat whiteImg = guidedFilterWithDumps(xyzImg, xyzImg, 16, 0.0001, -1, directory);
        converged = areImgsEqualivalent(whiteImg, prevWhite);
        convertXYZtoSharpenedBGR(whiteImg, whiteSharp);
        iCAMCATLocal(sharpImg, whiteSharp, refWhite, mask, blend, false);
        convertSharpenedBGRtoXYZ(sharpImg, xyzImg);
        for (int i = 0; i < whiteImg.rows; ++i) {
            for (int j = 0; j < whiteImg.cols; ++j) {
                prevWhite.at<cv::Vec3f>(i, j) = whiteImg.at<cv::Vec3f>(i, j);
            }
        }
        pass += 1;
    }
    convertXYZToBGRDirect(xyzImg, img);
    return pass;
}

}  // namespace likeness::reference
