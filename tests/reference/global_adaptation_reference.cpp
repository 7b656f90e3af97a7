#include "reference/global_adaptation_reference.hpp"

#include "reference/color_reference.hpp"
#include "reference/color_space_reference.hpp"

#include <opencv2/imgproc.hpp>

#include <limits>

namespace likeness::reference {

void CAT(cv::Mat& img, const cv::Mat& sourceWhite, const cv::Mat& targetWhite, float D) {
    cv::Mat Ws(1, 1, CV_32FC3);
    cv::Mat Wt(1, 1, CV_32FC3);
    cv::cvtColor(sourceWhite, Ws, cv::COLOR_BGR2XYZ);
    cv::cvtColor(targetWhite, Wt, cv::COLOR_BGR2XYZ);
    cv::Mat xyz(img.size(), CV_32FC3);
    convertBGRtoXYZ(img, Ws, xyz);
    const cv::Mat M =
        (cv::Mat_<float>(3, 3) << 0.7328, 0.4296, -0.1624, -0.7036, 1.6975, 0.0061, 0.003, -0.0136, 0.9834);
    cv::Mat Diag(3, 3, CV_32F, cv::Scalar(0));
    for (int k = 2; k >= 0; --k) {
        const float s = product(Ws, M, k);
        const float t = product(Wt, M, k);
        Diag.at<float>(k, k) = ((1 - D) * s + D * t) / s;
    }
    const cv::Mat inverse = M.inv(cv::DECOMP_LU);
    cv::Mat half(3, 3, CV_32F);
    cv::Mat T(3, 3, CV_32F);
    dotProduct(inverse, Diag, half);
    dotProduct(half, M, T);
    cv::Mat out = xyz.clone();
    for (int i = 0; i < img.rows; ++i) {
        for (int j = 0; j < img.cols; ++j) {
            const auto& p = xyz.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 3; ++k) {
                const float sum = T.at<float>(k, 0) * p[0] + T.at<float>(k, 1) * p[1] + T.at<float>(k, 2) * p[2];
                out.at<cv::Vec3f>(i, j)[k] = clip(sum, 0.0F, 1.0F);
            }
        }
    }
    convertXYZtoBGR(out, Ws, img);
}

int performIlluminantAdaptation(cv::Mat& img, const cv::Mat& target, float D, std::string& printed) {
    const cv::Scalar nan = cv::Scalar::all(std::numeric_limits<double>::quiet_NaN());
    cv::Mat whiteImg(1, 1, CV_32FC3);
    cv::Mat whiteTarget(1, 1, CV_32FC3, nan);
    cv::Mat previousTarget(1, 1, CV_32FC3, nan);
    cv::Mat previousImg(1, 1, CV_32FC3, nan);
    computeWhitePointFromGrayWorld(target, whiteTarget, previousTarget, printed);
    bool converged = computeWhitePointFromGrayWorld(img, whiteImg, previousImg, printed);
    int iteration = 0;
    while (iteration < 80) {
        CAT(img, whiteImg, whiteTarget, D);
        ++iteration;
        converged = computeWhitePointFromGrayWorld(img, whiteImg, previousImg, printed);
        if (converged) {
            break;
        }
    }
    return iteration;
}

}  // namespace likeness::reference
