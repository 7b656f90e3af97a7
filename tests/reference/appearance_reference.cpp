#include "reference/appearance_reference.hpp"

#include "reference/color_reference.hpp"

#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <fstream>

namespace likeness::reference {

float computeYback(cv::Mat& Yplane) {
    float sum = 0;
    for (int i = 0; i < Yplane.rows; ++i) {
        for (int j = 0; j < Yplane.cols; ++j) {
            sum = sum + Yplane.at<float>(i, j);
        }
    }
    return sum / static_cast<float>(Yplane.rows * Yplane.cols * 5);
}

float computeN(float Yb, float Yw) {
    return Yb / Yw;
}

float computeFl(float La) {
    const auto k = static_cast<float>(1.0 / (5.0 * La + 1.0));
    const float k4 = k * k * k * k;
    const double cubeRoot = std::pow(5.0 * La, 0.3333333333333333);
    return static_cast<float>(k4 * La + 0.1 * ((1.0 - k4) * (1.0 - k4)) * cubeRoot);
}

float computeNcb(float Yb, float Yw) {
    return static_cast<float>(0.725 * std::pow(1.0 / (Yb / Yw), 0.2));
}

float computeZ(float Yb, float Yw) {
    return static_cast<float>(1.48 + sqrtf(Yb / Yw));
}

cv::Mat sharpenedToHpe() {
    const cv::Mat xyzToHpe = (cv::Mat_<float>(3, 3) << 0.38971, 0.68898, -0.07868, -0.22981, 1.1834, 0.04641, 0, 0, 1);
    const cv::Mat sharpenedToXyz = (cv::Mat_<float>(3, 3) << 1.096124, -0.278869, 0.182745, 0.454369, 0.473533,
                                    0.072098, -0.009628, -0.005698, 1.015326);
    cv::Mat product(3, 3, CV_32F);
    dotProduct(xyzToHpe, sharpenedToXyz, product);
    return product;
}

void convertSharpenedBGRtoHPE(const cv::Mat& sharpenedBGR, cv::Mat& hpe) {
    multiplyImageByMatrixForward(sharpenedBGR, hpe, sharpenedToHpe());
}

void computeNonLinearities(const cv::Mat& hpe, cv::Mat& nl, cv::Mat& FL) {
    for (int i = 0; i < hpe.rows; ++i) {
        for (int j = 0; j < hpe.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const float x = FL.at<float>(i, j) * hpe.at<cv::Vec3f>(i, j)[c];
                const auto t = static_cast<float>(std::pow(static_cast<double>(x) / 100.0, 0.42));
                nl.at<cv::Vec3f>(i, j)[c] =
                    static_cast<float>(static_cast<double>(400.0F * t) / (static_cast<double>(t) + 27.13) + 0.1);
            }
        }
    }
}

void computeAB(cv::Mat& nl, cv::Mat& a, cv::Mat& b) {
    for (int i = 0; i < nl.rows; ++i) {
        for (int j = 0; j < nl.cols; ++j) {
            const cv::Vec3f v = nl.at<cv::Vec3f>(i, j);
            a.at<float>(i, j) = static_cast<float>(v[2] / 11.0 + (v[0] - (12.0F * v[1]) / 11.0));
            b.at<float>(i, j) = (v[0] + v[1] - 2 * v[2]) / 9.0F;
        }
    }
}

void computeHue(cv::Mat& a, cv::Mat& b, cv::Mat& hue, cv::Mat& eccentricity) {
    const double pi = 3.141592653589793;
    for (int i = 0; i < a.rows; ++i) {
        for (int j = 0; j < a.cols; ++j) {
            const double y = b.at<float>(i, j);
            const double x = a.at<float>(i, j);
            hue.at<float>(i, j) = static_cast<float>(std::atan2(y, x) * 180.0 / pi);
            const double degrees = hue.at<float>(i, j);
            eccentricity.at<float>(i, j) = static_cast<float>((std::cos(degrees * pi / 180.0 + 2.0) + 3.8) / 4.0);
        }
    }
}

float computeLightness(cv::Mat& nl, cv::Mat& Nbb, cv::Mat& z, cv::Mat& J, cv::Mat& A) {
    const float c = 0.525F;
    float Aw = 0;
    for (int i = 0; i < nl.rows; ++i) {
        for (int j = 0; j < nl.cols; ++j) {
            const cv::Vec3f v = nl.at<cv::Vec3f>(i, j);
            const float sum = 2 * v[0] + v[1];
            A.at<float>(i, j) = static_cast<float>(Nbb.at<float>(i, j) * (v[2] / 20.0 + sum - 0.305));
            if (A.at<float>(i, j) > Aw) {
                Aw = A.at<float>(i, j);
            }
        }
    }
    writeImage("A_before.jpg", A);
    for (int i = 0; i < nl.rows; ++i) {
        for (int j = 0; j < nl.cols; ++j) {
            J.at<float>(i, j) = 100.0F * powf(A.at<float>(i, j) / Aw, z.at<float>(i, j) * c);
        }
    }
    return Aw;
}

float computeBrightness(cv::Mat& J, cv::Mat& FL, cv::Mat& /*z*/, cv::Mat& Q, float Aw) {
    const float c = 0.525F;
    float greatest = 0;
    cv::Mat mask(J.rows, J.cols, CV_8U, cv::Scalar(255));
    for (int i = 0; i < J.rows; ++i) {
        for (int j = 0; j < J.cols; ++j) {
            Q.at<float>(i, j) =
                static_cast<float>(4.0 * sqrtf(J.at<float>(i, j) / 100.0F) * static_cast<double>(4.0F + Aw) *
                                   std::pow(static_cast<double>(FL.at<float>(i, j)), 0.25) / c);
            if (Q.at<float>(i, j) < 20.0) {
                mask.at<uchar>(i, j) = 0;
            }
            if (Q.at<float>(i, j) > greatest) {
                greatest = Q.at<float>(i, j);
            }
        }
    }
    writeIntoFile(Q, "10_in.txt", Q.rows, Q.cols);
    writeImage("mask.jpg", mask);
    return greatest;
}

void computeChroma(cv::Mat& nl, cv::Mat& a, cv::Mat& b, cv::Mat& J, cv::Mat& eccentricity, cv::Mat& Ncb, cv::Mat& n,
                   cv::Mat& C, float Nc) {
    cv::Mat t(nl.rows, nl.cols, CV_32F);
    for (int i = 0; i < a.rows; ++i) {
        for (int j = 0; j < a.cols; ++j) {
            const cv::Vec3f v = nl.at<cv::Vec3f>(i, j);
            const double k =
                static_cast<double>(Nc) * 3846.153846153846 * Ncb.at<float>(i, j) * eccentricity.at<float>(i, j);
            const float r = sqrtf(a.at<float>(i, j) * a.at<float>(i, j) + b.at<float>(i, j) * b.at<float>(i, j));
            const float sum = v[0] + v[1];
            t.at<float>(i, j) = static_cast<float>(r * k / (1.05 * v[2] + sum));
            C.at<float>(i, j) = static_cast<float>(
                std::pow(static_cast<double>(t.at<float>(i, j)), 0.9) * std::sqrt(J.at<float>(i, j) / 100.0) *
                std::pow(1.64 - std::pow(0.29, static_cast<double>(n.at<float>(i, j))), 0.73));
        }
    }
    writeImage("t_before.jpg", t);
}

void computeColorfulness(cv::Mat& C, cv::Mat& FL, cv::Mat& M) {
    for (int i = 0; i < C.rows; ++i) {
        for (int j = 0; j < C.cols; ++j) {
            M.at<float>(i, j) =
                static_cast<float>(std::pow(static_cast<double>(FL.at<float>(i, j)), 0.25) * C.at<float>(i, j));
        }
    }
}

void computeSaturation(cv::Mat& M, cv::Mat& Q, cv::Mat& s) {
    for (int i = 0; i < M.rows; ++i) {
        for (int j = 0; j < M.cols; ++j) {
            s.at<float>(i, j) = 100.0F * sqrtf(M.at<float>(i, j) / Q.at<float>(i, j));
        }
    }
}

void writeIntoFile(cv::Mat& map, const char* fileName, int rows, int cols) {
    std::ofstream file(fileName, std::ios::out | std::ios::trunc);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            file << map.at<float>(i, j) << std::endl;
        }
    }
    file.close();
}

void writeImage(const char* fileName, const cv::Mat& image) {
    if (!image.empty()) {
        cv::imwrite(fileName, image);
    }
}

}  // namespace likeness::reference
