#include <likeness/adaptation/tint.hpp>

#include <likeness/adaptation/two_scale_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include "color/photograph_argument.hpp"

#include <cmath>

namespace likeness {
namespace {

constexpr int steps = 2;

cv::Mat sharpenedOf(cv::Mat& bgr) {
    cv::Mat image(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, image);
    convertXYZtoSharpenedBGR(image, image);
    return image;
}

cv::Mat tintByGain(cv::Mat& flash, cv::Mat& noFlash, const Watch& watch) {
    cv::Mat white;
    computeWhiteImg(flash, white, 0, watch.receiver());
    cv::Mat sharpenedWhite = sharpenedOf(white);
    white.release();
    watch.step(1, steps);
    cv::Mat tinted = sharpenedOf(flash);
    cv::Mat target = sharpenedOf(noFlash);
    cv::Mat notRead;
    biCAT(tinted, sharpenedWhite, sharpenedWhite, target, notRead, watch.receiver());
    convertSharpenedBGRtoXYZ(tinted, tinted);
    convertXYZToBGRDirect(tinted, tinted);
    watch.step(2, steps);
    return tinted;
}

/// Works on both photographs; `flash` becomes the result.
void tintByRegression(cv::Mat& flash, cv::Mat& noFlash, const TintOptions& options, const Watch& watch) {
    const int diagonal = static_cast<int>(std::hypot(flash.cols, flash.rows));
    const int diameter = options.diameter > 0 ? options.diameter : diagonal / 25;
    cv::Mat flashWhite;
    cv::Mat noFlashWhite;
    computeWhiteImgVs2(flash, flashWhite, static_cast<float>(options.sigma), diameter);
    computeWhiteImgVs2(noFlash, noFlashWhite, static_cast<float>(options.sigma), diameter);
    watch.step(1, steps);
    cv::Mat everywhere(flash.size(), CV_32F, cv::Scalar(1));
    cv::Mat notRead;
    // The maps of variance and covariance are on the scale of squares of 0..255.
    constexpr double ofSquares = 255.0 * 255.0;
    biCATRegression(flash, flashWhite, noFlash, notRead, noFlashWhite, everywhere,
                    static_cast<float>(options.sigma * ofSquares), watch.receiver());
    watch.step(2, steps);
}

}  // namespace

cv::Mat tint(const cv::Mat& flash, const cv::Mat& noFlash, const TintOptions& options, const Watch& watch) {
    if (flash.empty()) {
        return {};
    }
    requireAboveZero("sigma", options.sigma, 10);
    requireBetween("diameter", options.diameter, 0, 999);
    cv::Mat ownFlash = ownUnitPhotograph("flash", flash);
    requireBounded("flash", ownFlash);
    cv::Mat ownNoFlash = ownUnitPhotograph("noFlash", noFlash);
    requireBounded("noFlash", ownNoFlash);
    requireSameSize("flash", ownFlash, "noFlash", ownNoFlash);
    if (options.form == TintForm::gain) {
        return tintByGain(ownFlash, ownNoFlash, watch);
    }
    tintByRegression(ownFlash, ownNoFlash, options, watch);
    return ownFlash;
}

}  // namespace likeness
