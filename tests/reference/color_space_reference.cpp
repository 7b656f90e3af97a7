#include "reference/color_space_reference.hpp"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace likeness::reference {
namespace {

float encodedOf(float v) {
    return static_cast<float>(v <= 0.0031308 ? 12.92 * v
                                             : 1.055 * std::pow(static_cast<double>(v), 0.4166666666666667) - 0.055);
}

float linearOf(float v) {
    return static_cast<float>(v <= 0.04045 ? v / 12.92 : std::pow((static_cast<double>(v) + 0.055) / 1.055, 2.4));
}

float clipped(float x, float lo, float hi) {
    return std::max(lo, std::min(x, hi));
}

float row(const cv::Mat& M, int k, float a, float b, float c) {
    return M.at<float>(k, 0) * a + M.at<float>(k, 1) * b + M.at<float>(k, 2) * c;
}

cv::Mat matrixProduct(const cv::Mat& A, const cv::Mat& B) {
    cv::Mat C(3, 3, CV_32F);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            C.at<float>(i, j) = 0;
            for (int k = 0; k < 3; ++k) {
                C.at<float>(i, j) += A.at<float>(i, k) * B.at<float>(k, j);
            }
        }
    }
    return C;
}

cv::Mat yuvMatrix() {
    return (cv::Mat_<float>(3, 3) << 0.299, 0.587, 0.114, -0.229, -0.587, 0.886, 0.701, -0.587, -0.114);
}

/// Linear R, G, B to X, Y, Z for the sRGB primaries and a white.
cv::Mat matrixForWhite(const cv::Vec3f& white) {
    const float x[3] = {0.64F, 0.3F, 0.15F};
    const float y[3] = {0.33F, 0.6F, 0.06F};
    cv::Mat K(3, 3, CV_32F);
    for (int p = 0; p < 3; ++p) {
        K.at<float>(0, p) = x[p] / y[p];
        K.at<float>(1, p) = 1.0F;
        K.at<float>(2, p) = (1.0F - x[p] - y[p]) / y[p];
    }
    const cv::Mat inverse = K.inv();
    cv::Mat M(3, 3, CV_32F);
    for (int p = 0; p < 3; ++p) {
        const float S = white[0] * inverse.at<float>(p, 0) + white[1] * inverse.at<float>(p, 1) +
                        white[2] * inverse.at<float>(p, 2);
        for (int k = 0; k < 3; ++k) {
            M.at<float>(k, p) = S * K.at<float>(k, p);
        }
    }
    return M;
}

float curve(float t) {
    return static_cast<float>(t > 0.008856 ? std::pow(static_cast<double>(t), 0.3333333333333333)
                                           : (t * 903.3 + 16.0) / 116.0);
}

float inverseCurve(float f) {
    const float cube = f * f * f;
    if (static_cast<double>(cube) > 0.008856) {
        return cube;
    }
    return static_cast<float>(static_cast<double>(116 * f - 16) / 903.3);
}

}  // namespace

void conversion(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M, int rows, int cols) {
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            const float a = src.at<cv::Vec3f>(i, j)[0];
            const float b = src.at<cv::Vec3f>(i, j)[1];
            const float c = src.at<cv::Vec3f>(i, j)[2];
            for (int k = 0; k < 3; ++k) {
                dst.at<cv::Vec3f>(i, j)[k] = row(M, k, a, b, c);
            }
        }
    }
}

void convertToSimpleOpponentSpace(cv::Mat& bgr, cv::Mat& opp) {
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            const float R = bgr.at<cv::Vec3f>(i, j)[2];
            const float G = bgr.at<cv::Vec3f>(i, j)[1];
            const float B = bgr.at<cv::Vec3f>(i, j)[0];
            opp.at<cv::Vec2f>(i, j)[0] = R - G;
            opp.at<cv::Vec2f>(i, j)[1] = (R + G) / 2.0F - B;
        }
    }
}

void convertBGRtoLMS(cv::Mat& bgr, cv::Mat& lms) {
    const cv::Mat M = (cv::Mat_<float>(3, 3) << 0.3811, 0.5783, 0.0402, 0.1967, 0.7244, 0.0782, 0.0241, 0.1288, 0.8444);
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            const float B = linearOf(bgr.at<cv::Vec3f>(i, j)[0]);
            const float G = linearOf(bgr.at<cv::Vec3f>(i, j)[1]);
            const float R = linearOf(bgr.at<cv::Vec3f>(i, j)[2]);
            for (int k = 0; k < 3; ++k) {
                float& response = lms.at<cv::Vec3f>(i, j)[k];
                response = row(M, k, R, G, B);
                if (response == 0) {
                    response = static_cast<float>(static_cast<double>(response) + std::pow(10, -6));
                }
                response = static_cast<float>(std::log10(static_cast<double>(response)));
            }
        }
    }
}

void convertLMStoLab(const cv::Mat& lms, cv::Mat& lab) {
    const cv::Mat scale = (cv::Mat_<float>(3, 3) << 0.57735026918, 0, 0, 0, 0.40824829046, 0, 0, 0, 0.70710678118);
    const cv::Mat axes = (cv::Mat_<float>(3, 3) << 1, 1, 1, 1, 1, -2, 1, -1, 0);
    conversion(lms, lab, matrixProduct(scale, axes), lms.rows, lms.cols);
}

void convertLabtoLMS(const cv::Mat& lab, cv::Mat& lms) {
    const cv::Mat axes = (cv::Mat_<float>(3, 3) << 1, 1, 1, 1, 1, -1, 1, -2, 0);
    const cv::Mat scale = (cv::Mat_<float>(3, 3) << 0.57735026918, 0, 0, 0, 0.40824829046, 0, 0, 0, 0.7071067811);
    conversion(lab, lms, matrixProduct(axes, scale), lms.rows, lms.cols);
    for (int i = 0; i < lms.rows; ++i) {
        for (int j = 0; j < lms.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                float& value = lms.at<cv::Vec3f>(i, j)[c];
                value = static_cast<float>(std::pow(10, static_cast<double>(value)));
                value = clipped(value, 0.0F, 1.0F);
            }
        }
    }
}

void convertLMStoBGR(const cv::Mat& lms, cv::Mat& bgr) {
    const cv::Mat T =
        (cv::Mat_<float>(3, 3) << 4.4679, -3.5873, 0.1193, -1.2186, 2.3809, -0.1624, 0.0497, -0.2439, 1.2045);
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            const float L = lms.at<cv::Vec3f>(i, j)[0];
            const float M = lms.at<cv::Vec3f>(i, j)[1];
            const float S = lms.at<cv::Vec3f>(i, j)[2];
            for (int k = 0; k < 3; ++k) {
                bgr.at<cv::Vec3f>(i, j)[2 - k] = row(T, k, L, M, S);
                bgr.at<cv::Vec3f>(i, j)[2 - k] = encodedOf(bgr.at<cv::Vec3f>(i, j)[2 - k]);
            }
        }
    }
}

void convertBGRtoYUV(const cv::Mat& bgr, cv::Mat& yuv) {
    const cv::Mat M = yuvMatrix();
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            const float R = bgr.at<cv::Vec3f>(i, j)[2];
            const float G = bgr.at<cv::Vec3f>(i, j)[1];
            const float B = bgr.at<cv::Vec3f>(i, j)[0];
            for (int k = 0; k < 3; ++k) {
                yuv.at<cv::Vec3f>(i, j)[k] = row(M, k, R, G, B);
            }
        }
    }
}

bool computeWhitePointFromGrayWorld(const cv::Mat& img, cv::Mat& white, cv::Mat& previous, std::string& printed) {
    float sU = 0;
    float sV = 0;
    float count = 1e-5F;
    cv::Mat yuv(img.size(), CV_32FC3);
    convertBGRtoYUV(img, yuv);
    for (int i = 0; i < yuv.rows; ++i) {
        for (int j = 0; j < yuv.cols; ++j) {
            const float Y = yuv.at<cv::Vec3f>(i, j)[0];
            const float U = yuv.at<cv::Vec3f>(i, j)[1];
            const float V = yuv.at<cv::Vec3f>(i, j)[2];
            const auto ratio = static_cast<float>(
                (std::fabs(static_cast<double>(U)) + std::fabs(static_cast<double>(V))) / static_cast<double>(Y));
            if (0.3 > ratio) {
                sU += U;
                sV += V;
                count += 1;
            }
        }
    }
    const float meanU = sU / count;
    const float meanV = sV / count;
    const float previousU = previous.at<cv::Vec3f>(0, 0)[1];
    const float previousV = previous.at<cv::Vec3f>(0, 0)[2];
    const float dist = std::sqrt((meanU - previousU) * (meanU - previousU) + (meanV - previousV) * (meanV - previousV));
    previous.at<cv::Vec3f>(0, 0) = cv::Vec3f(1.0F, meanU, meanV);
    const cv::Mat T = yuvMatrix().inv();
    for (int k = 0; k < 3; ++k) {
        white.at<cv::Vec3f>(0, 0)[2 - k] = clipped(row(T, k, 1.0F, meanU, meanV), 0.0F, 1.0F);
    }
    bool converged = false;
    if (!std::isnan(previousU)) {
        if (std::pow(10, -6) > static_cast<double>(dist)) {
            converged = true;
        } else if (static_cast<double>(std::max(std::fabs(meanU), std::fabs(meanV))) < 0.001) {
            converged = true;
        }
    }
    if (!converged) {
        std::ostringstream out;
        out << white << std::endl;
        printed += out.str();
    }
    return converged;
}

void adaptXYZToNewWhitePoint(cv::Mat& white, const cv::Mat& bgrWhite) {
    const cv::Mat P = (cv::Mat_<float>(3, 3) << 0.64, 0.3, 0.15, 0.33, 0.6, 0.06, 0.2126, 0.7152, 0.0722);
    const cv::Mat inverse = P.inv();
    const float d50[3] = {0.9642F, 1.0F, 0.8249F};
    cv::Mat S = cv::Mat::zeros(3, 3, CV_32F);
    for (int k = 0; k < 3; ++k) {
        S.at<float>(k, k) =
            d50[0] * inverse.at<float>(k, 0) + d50[1] * inverse.at<float>(k, 1) + d50[2] * inverse.at<float>(k, 2);
    }
    const cv::Mat M = matrixProduct(P, S);
    float lin[3];
    for (int c = 0; c < 3; ++c) {
        lin[c] = linearOf(bgrWhite.at<cv::Vec3f>(0, 0)[c]);
    }
    for (int k = 0; k < 3; ++k) {
        white.at<cv::Vec3f>(0, 0)[k] = row(M, k, lin[2], lin[1], lin[0]);
    }
}

void convertBGRToLab(cv::Mat& bgr, cv::Mat& bgrWhite, cv::Mat& lab) {
    cv::Mat xyz(bgr.size(), CV_32FC3);
    cv::Mat W(1, 1, CV_32FC3);
    adaptXYZToNewWhitePoint(W, bgrWhite);
    const cv::Vec3f white = W.at<cv::Vec3f>(0, 0);
    const cv::Mat M = matrixForWhite(white);
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            auto& pixel = bgr.at<cv::Vec3f>(i, j);
            for (int c = 0; c < 3; ++c) {
                pixel[c] = linearOf(pixel[c]);
            }
            for (int k = 0; k < 3; ++k) {
                xyz.at<cv::Vec3f>(i, j)[k] = row(M, k, pixel[2], pixel[1], pixel[0]);
            }
        }
    }
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            const float fx = curve(xyz.at<cv::Vec3f>(i, j)[0] / white[0]);
            const float fy = curve(xyz.at<cv::Vec3f>(i, j)[1] / white[1]);
            const float fz = curve(xyz.at<cv::Vec3f>(i, j)[2] / white[2]);
            lab.at<cv::Vec3f>(i, j) = cv::Vec3f(116.0F * fy - 16.0F, (fx - fy) * 500.0F, (fy - fz) * 200.0F);
        }
    }
}

void convertLabToBGR(const cv::Mat& lab, const cv::Mat& bgrWhite, cv::Mat& bgr) {
    cv::Mat xyz(lab.size(), CV_32FC3);
    cv::Mat W(1, 1, CV_32FC3);
    adaptXYZToNewWhitePoint(W, bgrWhite);
    const cv::Vec3f white = W.at<cv::Vec3f>(0, 0);
    for (int i = 0; i < lab.rows; ++i) {
        for (int j = 0; j < lab.cols; ++j) {
            const float L = lab.at<cv::Vec3f>(i, j)[0];
            const float a = lab.at<cv::Vec3f>(i, j)[1];
            const float b = lab.at<cv::Vec3f>(i, j)[2];
            const float fy = (16.0F + L) / 116.0F;
            const float fx = a / 500.0F + fy;
            const float fz = fy - b / 200.0F;
            const float xr = inverseCurve(fx);
            float yr = 0;
            if (static_cast<double>(L) > 7.9996247999999985) {
                yr = ((16 + L) / 116) * ((16 + L) / 116) * ((16 + L) / 116);
            } else {
                yr = static_cast<float>(static_cast<double>(L) / 903.3);
            }
            const float zr = inverseCurve(fz);
            xyz.at<cv::Vec3f>(i, j) = cv::Vec3f(white[0] * xr, white[1] * yr, white[2] * zr);
        }
    }
    const cv::Mat M = matrixForWhite(white).inv();
    for (int i = 0; i < lab.rows; ++i) {
        for (int j = 0; j < lab.cols; ++j) {
            const cv::Vec3f t = xyz.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 3; ++k) {
                bgr.at<cv::Vec3f>(i, j)[2 - k] = clipped(encodedOf(row(M, k, t[0], t[1], t[2])), 0.0F, 1.0F);
            }
        }
    }
}

}  // namespace likeness::reference
