#include "reference/metrics_reference.hpp"

#include "reference/adaptation_reference.hpp"
#include "reference/appearance_reference.hpp"
#include "reference/color_reference.hpp"

#include <cmath>
#include <limits>
#include <vector>

namespace likeness::reference {

void normImg(const cv::Mat& src, cv::Mat& dst) {
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                dst.at<cv::Vec3f>(i, j)[c] =
                    static_cast<float>(static_cast<double>(src.at<cv::Vec3b>(i, j)[c]) / 255.0);
            }
        }
    }
}

void compute_cat(const cv::Mat& src, cv::Mat& dst) {
    cv::Mat xyz(src.rows, src.cols, CV_32FC3);
    convertBGRToXYZDirect(src, xyz);
    convertXYZtoSharpenedBGR(xyz, dst);
    iCAMCATByD65(dst, dst);
}

void perceptualMetrics(cv::Mat& src, cv::Mat& Q, cv::Mat& J, cv::Mat& C, cv::Mat& M, cv::Mat& s) {
    const int rows = src.rows;
    const int cols = src.cols;
    cv::Mat white(rows, cols, CV_32FC3);
    cv::Mat hpe(rows, cols, CV_32FC3);
    cv::Mat nl(rows, cols, CV_32FC3);
    cv::Mat a(rows, cols, CV_32F);
    cv::Mat b(rows, cols, CV_32F);
    cv::Mat hue(rows, cols, CV_32F);
    cv::Mat eccentricity(rows, cols, CV_32F);
    cv::Mat A(rows, cols, CV_32F);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                src.at<cv::Vec3f>(i, j)[c] = src.at<cv::Vec3f>(i, j)[c] * 100.0F;
                white.at<cv::Vec3f>(i, j)[c] = 100.0F;
            }
        }
    }
    std::vector<cv::Mat> planes(3);
    if (!white.empty()) {
        cv::split(white, planes);
    }
    const float Yb = computeYback(planes[1]);
    cv::Mat FL(rows, cols, CV_32F);
    cv::Mat n(rows, cols, CV_32F);
    cv::Mat Ncb(rows, cols, CV_32F);
    cv::Mat z(rows, cols, CV_32F);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
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
    computeBrightness(J, FL, z, Q, Aw);
    computeChroma(nl, a, b, J, eccentricity, Ncb, n, C, 0.8F);
    computeColorfulness(C, FL, M);
    computeSaturation(M, Q, s);
}

void computeFreqProbs(const cv::Mat& map, std::map<int, float>& probs) {
    int count = 0;
    for (int i = 0; i < map.rows; ++i) {
        for (int j = 0; j < map.cols; ++j) {
            const float v = map.at<float>(i, j);
            if (std::isnan(v)) {
                continue;
            }
            const double rounded = std::round(static_cast<double>(v));
            // What the conversion of a double outside int gives on x86-64, without relying on it.
            const bool fits = rounded >= -2147483648.0 && rounded <= 2147483647.0;
            const int key = fits ? static_cast<int>(rounded) : std::numeric_limits<int>::min();
            if (probs.find(key) == probs.end()) {
                probs[key] = 1.0F;
            } else {
                probs[key] = probs[key] + 1.0F;
            }
            ++count;
        }
    }
    for (auto& entry : probs) {
        entry.second = entry.second / static_cast<float>(count);
    }
}

float getBhattacharyaCoeff(const cv::Mat& first, const cv::Mat& second) {
    std::map<int, float> P;
    std::map<int, float> R;
    computeFreqProbs(first, P);
    computeFreqProbs(second, R);
    float sum = 0.0F;
    for (int k = 0; k <= 999; ++k) {
        if (P.find(k) != P.end() && R.find(k) != R.end()) {
            sum = sum + sqrtf(R[k] * P[k]);
        }
    }
    return sum;
}

std::array<float, 5> metrics(const cv::Mat& first, const cv::Mat& second) {
    std::array<cv::Mat, 5> firstMaps;
    std::array<cv::Mat, 5> secondMaps;
    for (std::size_t k = 0; k < 5; ++k) {
        firstMaps[k] = cv::Mat(first.rows, first.cols, CV_32F);
        secondMaps[k] = cv::Mat(second.rows, second.cols, CV_32F);
    }
    cv::Mat firstNormalised(first.rows, first.cols, CV_32FC3);
    cv::Mat secondNormalised(second.rows, second.cols, CV_32FC3);
    normImg(first, firstNormalised);
    normImg(second, secondNormalised);
    cv::Mat firstAdapted(first.rows, first.cols, CV_32FC3);
    cv::Mat secondAdapted(second.rows, second.cols, CV_32FC3);
    compute_cat(firstNormalised, firstAdapted);
    compute_cat(secondNormalised, secondAdapted);
    perceptualMetrics(firstAdapted, firstMaps[0], firstMaps[1], firstMaps[2], firstMaps[3], firstMaps[4]);
    perceptualMetrics(secondAdapted, secondMaps[0], secondMaps[1], secondMaps[2], secondMaps[3], secondMaps[4]);
    std::array<float, 5> coefficients{};
    for (std::size_t k = 0; k < 5; ++k) {
        coefficients[k] = getBhattacharyaCoeff(firstMaps[k], secondMaps[k]);
    }
    return coefficients;
}

}  // namespace likeness::reference
