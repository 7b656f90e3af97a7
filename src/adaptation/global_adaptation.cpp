#include <likeness/adaptation/global_adaptation.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/clip.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/white_point.hpp>
#include "adaptation/adaptation_steps.hpp"
#include "adaptation/participation_mask.hpp"
#include "codecs/image_codecs.hpp"
#include "color/cone_matrices.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <system_error>

namespace likeness {
namespace {

cv::Mat conesFromXyz() {
    cv::Mat cones = floatMatrix(cat02FromXyz);
    cones.at<float>(2, 1) = -cones.at<float>(2, 1);  // departure 7
    return cones;
}

/// Matrix from X, Y, Z under the source white to X, Y, Z under the adapted one.
cv::Mat adaptationMatrix(const cv::Mat& sourceXyz, const cv::Mat& targetXyz, float D) {
    const cv::Mat cones = conesFromXyz();
    cv::Mat gains = cv::Mat::zeros(3, 3, CV_32F);
    for (int k = 0; k < 3; ++k) {
        const float source = product(sourceXyz, cones, k);
        const float target = product(targetXyz, cones, k);
        gains.at<float>(k, k) = ((1 - D) * source + D * target) / source;
    }
    cv::Mat xyzFromGainedCones(3, 3, CV_32F);
    dotProduct(cones.inv(), gains, xyzFromGainedCones);
    cv::Mat matrix(3, 3, CV_32F);
    dotProduct(xyzFromGainedCones, cones, matrix);
    return matrix;
}

cv::Mat shadowPicture() {
    const char* const name = "Masks/giantShadow.jpg";
    std::error_code ignored;
    return std::filesystem::exists(name, ignored) ? decodedFile(name, cv::IMREAD_GRAYSCALE) : cv::Mat();
}

/// @param mask  handed on to where it is not read
void adaptUntilWhiteConverges(cv::Mat& img, const cv::Mat& targetWhite, float D, cv::Mat& mask, const Watch& watch) {
    cv::Mat white(1, 1, CV_32FC3);
    cv::Mat previous(1, 1, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    bool converged = computeWhitePointFromGrayWorld(img, white, previous, mask, watch.receiver());
    for (int k = 1; k <= greatestAdaptationCount && !converged; ++k) {
        CAT(img, white, targetWhite, D, mask);
        converged = computeWhitePointFromGrayWorld(img, white, previous, mask, watch.receiver());
        if (k < greatestAdaptationCount) {
            watch.step(k, greatestAdaptationCount);
        }
    }
    watch.step(greatestAdaptationCount, greatestAdaptationCount);
}

/// The given adaptations show what they do and cannot be ended.
Watch watchOf(const Diagnostics& diagnostics) {
    Watch watch;
    watch.diagnostics = &diagnostics;
    return watch;
}

}  // namespace

void CAT(cv::Mat& img, cv::Mat& sourceWhite, const cv::Mat& targetWhite, float D, cv::Mat& /*mask*/) {
    requireType("CAT", CV_32FC3, {{"img", img}});
    requireElement("CAT", CV_32FC3, {{"sourceWhite", sourceWhite}, {"targetWhite", targetWhite}});
    cv::Mat sourceXyz;
    cv::Mat targetXyz;
    cv::cvtColor(sourceWhite, sourceXyz, cv::COLOR_BGR2XYZ);
    cv::cvtColor(targetWhite, targetXyz, cv::COLOR_BGR2XYZ);
    cv::Mat matrixOfWhite;
    getRGBtoXYZMatrix(sourceXyz, matrixOfWhite);
    const PixelMatrix xyzFromRgb(matrixOfWhite);
    const PixelMatrix rgbFromXyz(matrixOfWhite.inv());
    const PixelMatrix adapted(adaptationMatrix(sourceXyz, targetXyz, D));

    // The steps of `convertBGRtoXYZ` and `convertXYZtoBGR` around the adaptation, a block at a time instead of an
    // image.
    const ImageWalk walk = walkOver(img);
    numerics::forEachPiece(walk, numerics::pixelsInBlock, [&](int i, std::size_t first, std::size_t pixelCount) {
        float values[numerics::blockSize] = {};
        const std::size_t count = 3 * pixelCount;
        float* const pixels = img.ptr<float>(i) + 3 * first;
        sRGBInverseCompandingOfRow(pixels, values, count);
        for (float* v = values; v != values + count; v += 3) {
            float xyz[3];
            float adaptedXyz[3];
            for (int k = 0; k < 3; ++k) {
                xyz[k] = xyzFromRgb.row(k, v[2], v[1], v[0]);
            }
            for (int k = 0; k < 3; ++k) {
                adaptedXyz[k] = clip(adapted.row(k, xyz[0], xyz[1], xyz[2]), 0.0F, 1.0F);
            }
            for (int k = 0; k < 3; ++k) {
                v[2 - k] = rgbFromXyz.row(k, adaptedXyz[0], adaptedXyz[1], adaptedXyz[2]);
            }
        }
        sRGBCompandingOfRow(values, values, count);
        std::transform(values, values + count, pixels, [](float v) { return clip(v, 0.0F, 1.0F); });
    });
}

cv::Mat grayWorldTriple(const cv::Mat& bgr, const Diagnostics& diagnostics) {
    cv::Mat white(1, 1, CV_32FC3);
    cv::Mat previous(1, 1, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    cv::Mat noMask;
    computeWhitePointFromGrayWorld(bgr, white, previous, noMask, diagnostics);
    return white;
}

void adaptUntilWhiteConverges(cv::Mat& img, const cv::Mat& targetWhite, float D, const cv::Mat& leftOut,
                              const Watch& watch) {
    cv::Mat noMask;
    if (leftOut.empty()) {
        adaptUntilWhiteConverges(img, targetWhite, D, noMask, watch);
        return;
    }
    // Black is not nearly neutral, its chroma over its luma being 0 / 0, and `CAT` leaves it black.
    const cv::Mat isLeftOut = leftOut > brightestThatTakesPart;
    const cv::Mat before = img.clone();
    img.setTo(cv::Scalar::all(0), isLeftOut);
    adaptUntilWhiteConverges(img, targetWhite, D, noMask, watch);
    before.copyTo(img, isLeftOut);
}

void performIlluminantAdaptation(cv::Mat& img, const cv::Mat& target, float D, const Diagnostics& diagnostics) {
    requireType("performIlluminantAdaptation", CV_32FC3, {{"img", img}, {"target", target}});
    cv::Mat mask = participationMask(img.size(), shadowPicture());
    const cv::Mat targetWhite = grayWorldTriple(target, diagnostics);
    adaptUntilWhiteConverges(img, targetWhite, D, mask, watchOf(diagnostics));
}

void performIlluminantAdaptation(cv::Mat& img, const cv::Mat& target, float D, const cv::Mat& leftOut,
                                 const Diagnostics& diagnostics) {
    requireType("performIlluminantAdaptation", CV_32FC3, {{"img", img}, {"target", target}});
    requireType("performIlluminantAdaptation", CV_8U, {{"leftOut", leftOut}});
    const cv::Mat targetWhite = grayWorldTriple(target, diagnostics);
    adaptUntilWhiteConverges(img, targetWhite, D, leftOut, watchOf(diagnostics));
}

}  // namespace likeness
