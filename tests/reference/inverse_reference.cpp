#include "reference/inverse_reference.hpp"

#include "reference/appearance_reference.hpp"
#include "reference/color_reference.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <fstream>
#include <iostream>
#include <vector>

namespace likeness::reference {

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
    multiplyImageByMatrixBackward(hpe, sharpenedBGR, sharpenedToHpe().inv());
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
    convertSharpenedBGRtoXYZ(src, xyz);
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
    const float Yb = computeYback(planes[1]);
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            const float Yw = white.at<cv::Vec3f>(i, j)[1];
            FL.at<float>(i, j) = computeFl(20.0F);
            n.at<float>(i, j) = computeN(Yb, Yw);
            Ncb.at<float>(i, j) = computeNcb(Yb, Yw);
            z.at<float>(i, j) = computeZ(Yb, Yw);
        }
    }
    convertSharpenedBGRtoHPE(src, hpe);
    computeNonLinearities(hpe, nl, FL);
    computeAB(nl, a, b);
    computeHue(a, b, hue, eccentricity);
    const float Aw = computeLightness(nl, Ncb, z, J, A);
    const float Qmax = computeBrightness(J, FL, z, Q, Aw);
    computeChroma(nl, a, b, J, eccentricity, Ncb, n, C, 0.8F);
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
        writeIntoFile(Q, "10_out.txt", Q.rows, Q.cols);
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
