#include "reference/inverse_reference.hpp"

#include <cmath>
#include <fstream>
#include <iostream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace likeness::reference {

// The forward steps that the brightness increase starts with.
namespace forward {
namespace {

constexpr double pi = 3.141592653589793;

void dotProduct(const cv::Mat& A, const cv::Mat& B, cv::Mat& C) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            C.at<float>(i, j) = 0;
            for (int k = 0; k < 3; ++k) {
                C.at<float>(i, j) += A.at<float>(i, k) * B.at<float>(k, j);
            }
        }
    }
}

cv::Mat hpeFromSharpened() {
    // clang-format off
    const cv::Mat hpe = (cv::Mat_<float>(3, 3) <<  0.38971, 0.68898, -0.07868,
                                                  -0.22981, 1.1834,   0.04641,
                                                   0,       0,        1);
    const cv::Mat inverseSharpening = (cv::Mat_<float>(3, 3) <<  1.096124, -0.278869, 0.182745,
                                                                 0.454369,  0.473533, 0.072098,
                                                                -0.009628, -0.005698, 1.015326);
    // clang-format on
    cv::Mat M(3, 3, CV_32F);
    dotProduct(hpe, inverseSharpening, M);
    return M;
}

float product(const cv::Vec3f& v, const cv::Mat& M, int row) {
    return v[0] * M.at<float>(row, 0) + v[1] * M.at<float>(row, 1) + v[2] * M.at<float>(row, 2);
}

void convertSharpenedBGRtoXYZ(const cv::Mat& in, cv::Mat& xyz) {
    // clang-format off
    cv::Mat M = (cv::Mat_<float>(3, 3) <<  0.7328, 0.4296, -0.1624,
                                          -0.7036, 1.6975,  0.0061,
                                           0.003,  0.0136,  0.9834);
    // clang-format on
    M = M.inv();
    for (int i = 0; i < in.rows; ++i) {
        for (int j = 0; j < in.cols; ++j) {
            const cv::Vec3f p = in.at<cv::Vec3f>(i, j);
            const cv::Vec3f v(p[2], p[1], p[0]);
            for (int k = 0; k < 3; ++k) {
                xyz.at<cv::Vec3f>(i, j)[k] = product(v, M, k);
            }
        }
    }
}

float computeYback(const cv::Mat& plane) {
    float sum = 0;
    for (int i = 0; i < plane.rows; ++i) {
        for (int j = 0; j < plane.cols; ++j) {
            sum += plane.at<float>(i, j);
        }
    }
    return sum / static_cast<float>(plane.rows * plane.cols * 5);
}

float computeFl(float La) {
    const auto k = static_cast<float>(1 / (5.0 * static_cast<double>(La) + 1));
    const float k4 = k * k * k * k;
    return static_cast<float>(static_cast<double>(k4 * La) +
                              0.1 * ((1 - static_cast<double>(k4)) * (1 - static_cast<double>(k4))) *
                                  std::pow(5.0 * static_cast<double>(La), 0.3333333333333333));
}

float computeN(float Yb, float Yw) {
    return Yb / Yw;
}

float computeNcb(float Yb, float Yw) {
    return static_cast<float>(0.725 * std::pow(1.0 / static_cast<double>(Yb / Yw), 0.2));
}

float computeZ(float Yb, float Yw) {
    return static_cast<float>(1.48 + static_cast<double>(std::sqrt(Yb / Yw)));
}

void convertSharpenedBGRtoHPE(const cv::Mat& bgr, cv::Mat& hpe) {
    const cv::Mat M = hpeFromSharpened();
    for (int i = 0; i < bgr.rows; ++i) {
        for (int j = 0; j < bgr.cols; ++j) {
            const cv::Vec3f p = bgr.at<cv::Vec3f>(i, j);
            const cv::Vec3f v(p[2], p[1], p[0]);
            for (int k = 0; k < 3; ++k) {
                hpe.at<cv::Vec3f>(i, j)[k] = product(v, M, k);
            }
        }
    }
}

void computeNonLinearities(const cv::Mat& hpe, cv::Mat& nl, const cv::Mat& FL) {
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

void computeAB(const cv::Mat& nl, cv::Mat& a, cv::Mat& b) {
    for (int i = 0; i < nl.rows; ++i) {
        for (int j = 0; j < nl.cols; ++j) {
            const cv::Vec3f r = nl.at<cv::Vec3f>(i, j);
            a.at<float>(i, j) =
                static_cast<float>(static_cast<double>(r[2]) / 11.0 +
                                   (static_cast<double>(r[0]) - static_cast<double>(12.0F * r[1]) / 11.0));
            b.at<float>(i, j) = (r[0] + r[1] - 2 * r[2]) / 9.0F;
        }
    }
}

void computeHue(const cv::Mat& a, const cv::Mat& b, cv::Mat& hue, cv::Mat& eccentricity) {
    for (int i = 0; i < a.rows; ++i) {
        for (int j = 0; j < a.cols; ++j) {
            hue.at<float>(i, j) = static_cast<float>(
                std::atan2(static_cast<double>(b.at<float>(i, j)), static_cast<double>(a.at<float>(i, j))) * 180.0 /
                pi);
            const double h = hue.at<float>(i, j);
            eccentricity.at<float>(i, j) = static_cast<float>((std::cos(h * pi / 180.0 + 2.0) + 3.8) / 4.0);
        }
    }
}

float computeLightness(const cv::Mat& nl, const cv::Mat& Nbb, const cv::Mat& z, cv::Mat& J, cv::Mat& A) {
    const float c = 0.525F;
    float Aw = 0;
    for (int i = 0; i < nl.rows; ++i) {
        for (int j = 0; j < nl.cols; ++j) {
            const cv::Vec3f r = nl.at<cv::Vec3f>(i, j);
            A.at<float>(i, j) =
                static_cast<float>(static_cast<double>(Nbb.at<float>(i, j)) *
                                   (static_cast<double>(r[2]) / 20.0 + static_cast<double>(2 * r[0] + r[1]) - 0.305));
            if (A.at<float>(i, j) > Aw) {
                Aw = A.at<float>(i, j);
            }
        }
    }
    cv::imwrite("A_before.jpg", A);
    for (int i = 0; i < nl.rows; ++i) {
        for (int j = 0; j < nl.cols; ++j) {
            J.at<float>(i, j) = 100.0F * std::pow(A.at<float>(i, j) / Aw, z.at<float>(i, j) * c);
        }
    }
    return Aw;
}

void writeIntoFile(const cv::Mat& map, const char* fileName, int rows, int cols) {
    std::ofstream file(fileName, std::ios::trunc);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            file << map.at<float>(i, j) << std::endl;
        }
    }
}

float computeBrightness(const cv::Mat& J, const cv::Mat& FL, cv::Mat& Q, float Aw) {
    const float c = 0.525F;
    float maximum = 0;
    cv::Mat mask(J.size(), CV_8U, cv::Scalar(255));
    for (int i = 0; i < J.rows; ++i) {
        for (int j = 0; j < J.cols; ++j) {
            Q.at<float>(i, j) = static_cast<float>(
                4.0 * static_cast<double>(std::sqrt(J.at<float>(i, j) / 100.0F)) * static_cast<double>(4.0F + Aw) *
                std::pow(static_cast<double>(FL.at<float>(i, j)), 0.25) / static_cast<double>(c));
            if (static_cast<double>(Q.at<float>(i, j)) < 20.0) {
                mask.at<uchar>(i, j) = 0;
            }
            if (Q.at<float>(i, j) > maximum) {
                maximum = Q.at<float>(i, j);
            }
        }
    }
    writeIntoFile(Q, "10_in.txt", Q.rows, Q.cols);
    cv::imwrite("mask.jpg", mask);
    return maximum;
}

void computeChroma(const cv::Mat& nl, const cv::Mat& a, const cv::Mat& b, const cv::Mat& J, const cv::Mat& eccentricity,
                   const cv::Mat& Ncb, const cv::Mat& n, cv::Mat& C, float Nc) {
    cv::Mat tMap(nl.size(), CV_32F);
    for (int i = 0; i < a.rows; ++i) {
        for (int j = 0; j < a.cols; ++j) {
            const cv::Vec3f r = nl.at<cv::Vec3f>(i, j);
            const double k = static_cast<double>(Nc) * 3846.153846153846 * static_cast<double>(Ncb.at<float>(i, j)) *
                             static_cast<double>(eccentricity.at<float>(i, j));
            const float x = a.at<float>(i, j);
            const float y = b.at<float>(i, j);
            const float radius = std::sqrt(x * x + y * y);
            const auto t = static_cast<float>(static_cast<double>(radius) * k /
                                              (1.05 * static_cast<double>(r[2]) + static_cast<double>(r[0] + r[1])));
            tMap.at<float>(i, j) = t;
            C.at<float>(i, j) = static_cast<float>(
                std::pow(static_cast<double>(t), 0.9) * std::sqrt(static_cast<double>(J.at<float>(i, j)) / 100.0) *
                std::pow(1.64 - std::pow(0.29, static_cast<double>(n.at<float>(i, j))), 0.73));
        }
    }
    cv::imwrite("t_before.jpg", tMap);
}

}  // namespace
}  // namespace forward

void brightness2Lightness(cv::Mat& Q, cv::Mat& FL, cv::Mat& J, float Aw) {
    const float c = 0.525F;
    float maximum = 0;
    for (int i = 0; i < J.rows; ++i) {
        for (int j = 0; j < J.cols; ++j) {
            if (static_cast<double>(Q.at<float>(i, j)) < std::pow(10, -6)) {
                Q.at<float>(i, j) = static_cast<float>(static_cast<double>(Q.at<float>(i, j)) + std::pow(10, -6));
            }
            const float q = Q.at<float>(i, j);
            J.at<float>(i, j) = static_cast<float>(
                25.0 * static_cast<double>(q * q) * static_cast<double>(c) * static_cast<double>(c) /
                (static_cast<double>(4 + Aw) * (4.0 * std::pow(static_cast<double>(FL.at<float>(i, j)), 0.5)) *
                 static_cast<double>(4 + Aw)));
            maximum = J.at<float>(i, j) > maximum ? J.at<float>(i, j) : maximum;
        }
    }
    const volatile bool above = static_cast<double>(maximum) > 100.0;
    static_cast<void>(above);
    for (int i = 0; i < J.rows; ++i) {
        for (int j = 0; j < J.cols; ++j) {
            const volatile float same = J.at<float>(i, j);
            J.at<float>(i, j) = same;
        }
    }
}

void lightness2A(cv::Mat& J, cv::Mat& z, cv::Mat& A, float Aw) {
    float sum = 0;
    for (int i = 0; i < J.rows; ++i) {
        for (int j = 0; j < J.cols; ++j) {
            A.at<float>(i, j) = static_cast<float>(static_cast<double>(Aw) *
                                                   std::pow(static_cast<double>(J.at<float>(i, j)) / 100.0,
                                                            1.0 / static_cast<double>(z.at<float>(i, j) * 0.525F)));
            sum += A.at<float>(i, j);
        }
    }
    std::cout << "mean A " << sum / static_cast<float>(J.rows * J.cols) << std::endl;
}

void chromaAndLightness2t(cv::Mat& C, cv::Mat& J, cv::Mat& n, cv::Mat& t) {
    for (int i = 0; i < C.rows; ++i) {
        for (int j = 0; j < C.cols; ++j) {
            const double chroma = C.at<float>(i, j);
            const double lightness = J.at<float>(i, j);
            const double background = n.at<float>(i, j);
            t.at<float>(i, j) = static_cast<float>(std::pow(chroma, 1.1111111111111112) /
                                                   (std::pow(1.64 - std::pow(0.29, background), 0.8111111111111111) *
                                                    std::pow(std::sqrt(lightness / 100.0), 1.1111111111111112)));
        }
    }
    cv::imwrite("t_after.jpg", t);
}

void hue2AB(cv::Mat& A, cv::Mat& hue, cv::Mat& t, cv::Mat& eccentricity, cv::Mat& Nbb, cv::Mat& a, cv::Mat& b,
            float Nc) {
    const double k = static_cast<double>(Nc) * 3846.153846153846;
    for (int i = 0; i < A.rows; ++i) {
        for (int j = 0; j < A.cols; ++j) {
            const double theta = static_cast<double>(hue.at<float>(i, j)) * 3.141592653589793 / 180.0;
            const auto T = static_cast<float>(std::tan(theta));
            const float m = 108 * T + 11;
            const float r = std::sqrt(T * T + 1);
            const double P = static_cast<double>(t.at<float>(i, j) * m) / 23.0;
            const double E =
                static_cast<double>(eccentricity.at<float>(i, j)) * (static_cast<double>(Nbb.at<float>(i, j)) * k);
            float D = 0;
            if ((std::sin(theta) > 0 && std::cos(theta) < 0) || (std::sin(theta) < 0 && std::cos(theta) < 0)) {
                D = static_cast<float>(P - static_cast<double>(r) * E);
            } else {
                D = static_cast<float>(P + static_cast<double>(r) * E);
            }
            const float scaled = A.at<float>(i, j) * t.at<float>(i, j) / Nbb.at<float>(i, j);
            a.at<float>(i, j) =
                static_cast<float>((static_cast<double>(t.at<float>(i, j)) * 0.305 + static_cast<double>(scaled)) /
                                   static_cast<double>(D));
            b.at<float>(i, j) = a.at<float>(i, j) * T;
        }
    }
}

void AB2NonLinearities(cv::Mat& a, cv::Mat& b, cv::Mat& A, cv::Mat& nl, cv::Mat& Nbb) {
    for (int i = 0; i < a.rows; ++i) {
        for (int j = 0; j < a.cols; ++j) {
            const float x = a.at<float>(i, j);
            const float y = b.at<float>(i, j);
            cv::Vec3f& out = nl.at<cv::Vec3f>(i, j);
            out[0] = static_cast<float>(
                (static_cast<double>(451 * x + 288 * y) / 23.0 +
                 static_cast<double>(A.at<float>(i, j)) * 20.0 / static_cast<double>(Nbb.at<float>(i, j)) + 6.1) /
                61.0);
            out[1] = static_cast<float>(static_cast<double>(out[0]) - static_cast<double>(22 * x + 9 * y) / 23.0);
            out[2] = static_cast<float>(static_cast<double>(out[0]) - static_cast<double>(11 * x + 108 * y) / 23.0);
        }
    }
}

void inverseNonLinearities(cv::Mat& nl, cv::Mat& hpe, cv::Mat& FL) {
    for (int i = 0; i < hpe.rows; ++i) {
        for (int j = 0; j < hpe.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                float& response = nl.at<cv::Vec3f>(i, j)[c];
                if (static_cast<double>(response) <= 0.1) {
                    response = 0.1F;
                }
                if (static_cast<double>(response) == 0.1) {
                    response = static_cast<float>(static_cast<double>(response) + 0.1);
                }
                if (static_cast<double>(response) > 400.1) {
                    response = 400.0F;
                }
                const auto base = static_cast<float>((static_cast<double>(response) * 27.13 - 2.713) /
                                                     (static_cast<double>(400.0F - response) + 0.1));
                hpe.at<cv::Vec3f>(i, j)[c] = static_cast<float>(std::pow(static_cast<double>(base), 2.380952380952381) *
                                                                100.0 / static_cast<double>(FL.at<float>(i, j)));
                if (std::isnan(hpe.at<cv::Vec3f>(i, j)[c])) {
                    std::cout << "Error in the inverse non-linearities! Some of the obtained values are nan."
                              << std::endl;
                }
            }
        }
    }
}

void convertHPEtoSharpenedRGB(cv::Mat& hpe, cv::Mat& sharpenedBGR) {
    const cv::Mat M = forward::hpeFromSharpened().inv();
    for (int i = 0; i < hpe.rows; ++i) {
        for (int j = 0; j < hpe.cols; ++j) {
            const cv::Vec3f v = hpe.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 3; ++k) {
                sharpenedBGR.at<cv::Vec3f>(i, j)[2 - k] = forward::product(v, M, k);
            }
        }
    }
}

void performGammaCorrectionByStyle(cv::Mat& src, cv::Mat& dst, float low, float high) {
    const auto gamma = static_cast<float>(std::log10(static_cast<double>(high / low)) + 1.0);
    std::cout << "Gamma: " << gamma << std::endl;
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            dst.at<float>(i, j) = std::pow(src.at<float>(i, j), gamma);
            if (src.at<float>(i, j) < 0) {
                dst.at<float>(i, j) = 0;
                std::cout << src.at<float>(i, j) << std::endl;
            }
            if (std::isnan(dst.at<float>(i, j))) {
                std::cout << "Nan values in the gamma correction!" << std::endl;
            }
        }
    }
}

void increaseBrightness(cv::Mat& src, cv::Mat* dst, float factor) {
    // The reader's complaint about a missing photograph is no part of what is compared.
    std::ifstream present("Images/flash-nonFlash+multiExp/set06/Scaled/flash.JPG");
    if (present.is_open()) {
        const cv::Mat flash = cv::imread("Images/flash-nonFlash+multiExp/set06/Scaled/flash.JPG", 1);
        cv::Mat flashFloat;
        flash.convertTo(flashFloat, CV_32FC3, 1.0);
        cv::imwrite("tmpFlash.jpg", flash);
    }
    cv::Mat xyz(src.size(), CV_32FC3);
    cv::Mat white(src.size(), CV_32FC3, cv::Scalar::all(0));
    forward::convertSharpenedBGRtoXYZ(src, xyz);
    cv::Mat hpe(src.size(), CV_32FC3);
    cv::Mat nl(src.size(), CV_32FC3);
    const auto map = [&src] { return cv::Mat(src.size(), CV_32F); };
    cv::Mat a = map(), b = map(), hue = map(), eccentricity = map(), J = map(), Q = map(), smoothedQ = map();
    cv::Mat C = map(), t = map(), A = map(), FL = map(), n = map(), Ncb = map(), z = map();
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                float& element = src.at<cv::Vec3f>(i, j)[c];
                element = static_cast<float>(static_cast<double>(element) * 100.0);
                float& tristimulus = xyz.at<cv::Vec3f>(i, j)[c];
                tristimulus = static_cast<float>(static_cast<double>(tristimulus) * 100.0);
                white.at<cv::Vec3f>(i, j)[c] = 100.0F;
            }
        }
    }
    std::vector<cv::Mat> planes;
    cv::split(white, planes);
    const float Yb = forward::computeYback(planes[1]);
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            const float Yw = white.at<cv::Vec3f>(i, j)[1];
            FL.at<float>(i, j) = forward::computeFl(20.0F);
            n.at<float>(i, j) = forward::computeN(Yb, Yw);
            Ncb.at<float>(i, j) = forward::computeNcb(Yb, Yw);
            z.at<float>(i, j) = forward::computeZ(Yb, Yw);
        }
    }
    forward::convertSharpenedBGRtoHPE(src, hpe);
    forward::computeNonLinearities(hpe, nl, FL);
    forward::computeAB(nl, a, b);
    forward::computeHue(a, b, hue, eccentricity);
    const float Aw = forward::computeLightness(nl, Ncb, z, J, A);
    const float Qmax = forward::computeBrightness(J, FL, Q, Aw);
    forward::computeChroma(nl, a, b, J, eccentricity, Ncb, n, C, 0.8F);
    cv::imwrite("rgba_before.jpg", nl);
    cv::imwrite("lms_before.jpg", hpe);
    cv::imwrite("a_before.jpg", a * 255);
    cv::imwrite("b_before.jpg", b * 255);
    cv::imwrite("lightness_before.jpg", J);
    cv::imwrite("brightness_before.jpg", Q / Qmax * 100);
    cv::bilateralFilter(Q, smoothedQ, 5, Qmax / 50, 40.0, 4);
    cv::imwrite("brightness_before_filtered.jpg", smoothedQ);

    std::ofstream pValues("pValues.txt", std::ios::trunc);
    for (int k = 0; k < 6; ++k) {
        const float low = factor * Qmax / 10;
        performGammaCorrectionByStyle(smoothedQ, Q, low, Qmax);
        forward::writeIntoFile(Q, "10_out.txt", Q.rows, Q.cols);
        std::cout << "Already out !" << std::endl;
        brightness2Lightness(Q, FL, J, Aw);
        chromaAndLightness2t(C, J, n, t);
        lightness2A(J, z, A, Aw);
        hue2AB(A, hue, t, eccentricity, Ncb, a, b, 0.8F);
        AB2NonLinearities(a, b, A, nl, Ncb);
        inverseNonLinearities(nl, hpe, FL);
        convertHPEtoSharpenedRGB(hpe, dst[k]);
        cv::imwrite("brightness_after.jpg", Q);
        cv::imwrite("z_after.jpg", z * 255);
        cv::imwrite("lightness_after.jpg", J);
        cv::imwrite("A_after.jpg", A);
        cv::imwrite("a_after.jpg", a * 255);
        cv::imwrite("b_after.jpg", b * 255);
        cv::imwrite("rgba_after.jpg", nl);
        cv::imwrite("lms_after.jpg", hpe);
        cv::imwrite("dst.jpg", dst[k]);
        for (int i = 0; i < src.rows; ++i) {
            for (int j = 0; j < src.cols; ++j) {
                for (int c = 0; c < 3; ++c) {
                    float& element = dst[k].at<cv::Vec3f>(i, j)[c];
                    element = static_cast<float>(static_cast<double>(element) / 100.0);
                    if (std::isnan(element)) {
                        std::cout << element << std::endl;
                    }
                }
            }
        }
        factor = static_cast<float>(static_cast<double>(factor) - 0.7);
        std::cout << factor << std::endl;
    }
    pValues.close();
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                float& element = src.at<cv::Vec3f>(i, j)[c];
                element = static_cast<float>(static_cast<double>(element) / 100.0);
                if (static_cast<double>(element) > 1.0) {
                    std::cout << element << std::endl;
                }
            }
        }
    }
}

}  // namespace likeness::reference
