#include "reference/color_reference.hpp"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace likeness::reference {

void dotProduct(const cv::Mat& A, const cv::Mat& B, cv::Mat& C) {
    for (int i = 0; i < A.rows; ++i) {
        for (int j = 0; j < A.cols; ++j) {
            C.at<float>(i, j) = 0;
            for (int k = 0; k < A.rows; ++k) {
                C.at<float>(i, j) = C.at<float>(i, j) + A.at<float>(i, k) * B.at<float>(k, j);
            }
        }
    }
}

float product(const cv::Mat& triple, const cv::Mat& M, int row) {
    const cv::Vec3f t = triple.at<cv::Vec3f>(0, 0);
    return ((t[0] * M.at<float>(row, 0)) + t[1] * M.at<float>(row, 1)) + t[2] * M.at<float>(row, 2);
}

void multiplyImageByMatrixForward(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M) {
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            const float r = src.at<cv::Vec3f>(i, j)[2];
            const float g = src.at<cv::Vec3f>(i, j)[1];
            const float b = src.at<cv::Vec3f>(i, j)[0];
            for (int k = 0; k < 3; ++k) {
                dst.at<cv::Vec3f>(i, j)[k] = (M.at<float>(k, 0) * r + M.at<float>(k, 1) * g) + M.at<float>(k, 2) * b;
            }
        }
    }
}

void multiplyImageByMatrixBackward(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M) {
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            const cv::Vec3f v = src.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 3; ++k) {
                dst.at<cv::Vec3f>(i, j)[2 - k] =
                    (M.at<float>(k, 0) * v[0] + M.at<float>(k, 1) * v[1]) + M.at<float>(k, 2) * v[2];
            }
        }
    }
}

float clip(float x, float lo, float hi) {
    const float low = hi < x ? hi : x;  // std::min(x, hi)
    return lo < low ? low : lo;         // std::max(lo, low)
}

std::string convertIntToString(int n) {
    std::ostringstream text;
    text << n;
    return text.str();
}

std::string remove_extension(const std::string& name) {
    const std::size_t dot = name.find_last_of(".");
    if (dot == std::string::npos) {
        return name;
    }
    return name.substr(0, dot);
}

void scaleLab(cv::Mat& lab) {
    for (int i = 0; i < lab.rows; ++i) {
        for (int j = 0; j < lab.cols; ++j) {
            cv::Vec3f& v = lab.at<cv::Vec3f>(i, j);
            v[0] = static_cast<float>(static_cast<double>(v[0]) * 2.55);
            v[1] = v[1] + 128.0F;
            v[2] = v[2] + 128.0F;
        }
    }
}

void rescaleLab(cv::Mat& lab) {
    for (int i = 0; i < lab.rows; ++i) {
        for (int j = 0; j < lab.cols; ++j) {
            cv::Vec3f& v = lab.at<cv::Vec3f>(i, j);
            v[0] = static_cast<float>(static_cast<double>(v[0]) * 0.39215686274509803);
            v[1] = v[1] - 128.0F;
            v[2] = v[2] - 128.0F;
        }
    }
}

float sRGBCompanding(float v) {
    const double x = v;
    if (x <= 0.0031308) {
        return static_cast<float>(12.92 * x);
    }
    return static_cast<float>(1.055 * std::pow(x, 0.4166666666666667) - 0.055);
}

float sRGBInverseCompanding(float v) {
    const double x = v;
    if (x <= 0.04045) {
        return static_cast<float>(x / 12.92);
    }
    return static_cast<float>(std::pow((x + 0.055) / 1.055, 2.4));
}

void getRGBtoXYZMatrix(const cv::Mat& white, cv::Mat& M) {
    const float xr = 0.64F;
    const float yr = 0.33F;
    const float xg = 0.3F;
    const float yg = 0.6F;
    const float xb = 0.15F;
    const float yb = 0.06F;
    const float Xr = xr / yr;
    const float Zr = (1 - xr - yr) / yr;
    const float Xg = xg / yg;
    const float Zg = (1 - xg - yg) / yg;
    const float Xb = xb / yb;
    const float Zb = (1 - xb - yb) / yb;
    const cv::Mat K = (cv::Mat_<float>(3, 3) << Xr, Xg, Xb, 1, 1, 1, Zr, Zg, Zb);
    const cv::Mat inverse = K.inv();
    const float Sr = product(white, inverse, 0);
    const float Sg = product(white, inverse, 1);
    const float Sb = product(white, inverse, 2);
    M = (cv::Mat_<float>(3, 3) << Sr * Xr, Sg * Xg, Sb * Xb, Sr * 1, Sg * 1, Sb * 1, Sr * Zr, Sg * Zg, Sb * Zb);
}

void convertBGRtoXYZ(cv::Mat& bgr, const cv::Mat& white, cv::Mat& xyz) {
    cv::Mat M(3, 3, CV_32F);
    getRGBtoXYZMatrix(white, M);
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                bgr.at<cv::Vec3f>(i, j)[c] = sRGBInverseCompanding(bgr.at<cv::Vec3f>(i, j)[c]);
            }
            const cv::Vec3f v = bgr.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 3; ++k) {
                xyz.at<cv::Vec3f>(i, j)[k] =
                    (v[2] * M.at<float>(k, 0) + v[1] * M.at<float>(k, 1)) + v[0] * M.at<float>(k, 2);
            }
        }
    }
}

void convertXYZtoBGR(const cv::Mat& xyz, const cv::Mat& white, cv::Mat& bgr) {
    cv::Mat M;
    getRGBtoXYZMatrix(white, M);
    M = M.inv();
    for (int i = 0; i < xyz.rows; ++i) {
        for (int j = 0; j < xyz.cols; ++j) {
            const cv::Vec3f v = xyz.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 3; ++k) {
                float& out = bgr.at<cv::Vec3f>(i, j)[2 - k];
                out = (M.at<float>(k, 0) * v[0] + M.at<float>(k, 1) * v[1]) + M.at<float>(k, 2) * v[2];
                out = sRGBCompanding(out);
                out = clip(out, 0.0F, 1.0F);
            }
        }
    }
}

static cv::Mat directMatrix() {
    return (cv::Mat_<float>(3, 3) << 0.412424, 0.357579, 0.180464, 0.212656, 0.715158, 0.0721856, 0.0193324, 0.119193,
            0.950444);
}

void convertBGRToXYZDirect(const cv::Mat& bgr, cv::Mat& xyz) {
    const cv::Mat M = directMatrix();
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            const float R = sRGBInverseCompanding(bgr.at<cv::Vec3f>(i, j)[2]);
            const float G = sRGBInverseCompanding(bgr.at<cv::Vec3f>(i, j)[1]);
            const float B = sRGBInverseCompanding(bgr.at<cv::Vec3f>(i, j)[0]);
            for (int k = 0; k < 3; ++k) {
                xyz.at<cv::Vec3f>(i, j)[k] = (M.at<float>(k, 0) * R + M.at<float>(k, 1) * G) + M.at<float>(k, 2) * B;
            }
        }
    }
}

void convertXYZToBGRDirect(const cv::Mat& xyz, cv::Mat& bgr) {
    const cv::Mat inverse = directMatrix().inv();
    multiplyImageByMatrixBackward(xyz, bgr, inverse);
    for (int i = 0; i < xyz.rows; ++i) {
        for (int j = 0; j < xyz.cols; ++j) {
            cv::Vec3f& v = bgr.at<cv::Vec3f>(i, j);
            v[2] = sRGBCompanding(v[2]);
            v[1] = sRGBCompanding(v[1]);
            v[0] = sRGBCompanding(v[0]);
        }
    }
}

void XYZtoxy(const cv::Mat& XYZ, cv::Mat& xy) {
    const cv::Vec3f v = XYZ.at<cv::Vec3f>(0, 0);
    const float s = (v[0] + v[1]) + v[2];
    xy.at<cv::Vec2f>(0, 0)[0] = v[0] / s;
    xy.at<cv::Vec2f>(0, 0)[1] = v[1] / s;
}

void xytoXYZ(const cv::Mat& xy, float Y, cv::Mat& XYZ) {
    const float x = xy.at<cv::Vec2f>(0, 0)[0];
    const float y = xy.at<cv::Vec2f>(0, 0)[1];
    XYZ.at<cv::Vec3f>(0, 0)[0] = (x * Y) / y;
    XYZ.at<cv::Vec3f>(0, 0)[1] = Y;
    XYZ.at<cv::Vec3f>(0, 0)[2] = ((1 - x - y) * Y) / y;
}

static cv::Mat sharpeningMatrix() {
    return (cv::Mat_<float>(3, 3) << 0.7328, 0.4296, -0.1624, -0.7036, 1.6975, 0.0061, 0.003, 0.0136, 0.9834);
}

void convertXYZtoSharpenedBGR(const cv::Mat& xyz, cv::Mat& out) {
    multiplyImageByMatrixBackward(xyz, out, sharpeningMatrix());
}

void convertSharpenedBGRtoXYZ(const cv::Mat& in, cv::Mat& xyz) {
    const cv::Mat inverse = sharpeningMatrix().inv();
    multiplyImageByMatrixForward(in, xyz, inverse);
}

}  // namespace likeness::reference
