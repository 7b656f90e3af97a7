#include <likeness/exposure/exposure_stack.hpp>

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/adaptation/two_scale_adaptation.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/white_point.hpp>
#include <likeness/diagnostics/name_text.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include <likeness/exposure/exposure_sequence.hpp>
#include <likeness/exposure/response_recovery.hpp>
#include <likeness/filter/guidedfilter.hpp>
#include "diagnostics/number_text.hpp"
#include "exposure/exposure_regions.hpp"
#include "exposure/exposure_times.hpp"
#include "numerics/argument_check.hpp"

#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace likeness {
namespace {

constexpr int exposureCount = brightnessPasses;

int diagonalOf(const cv::Mat& image) {
    const auto cols = static_cast<std::int64_t>(image.cols);
    const auto rows = static_cast<std::int64_t>(image.rows);
    return static_cast<int>(std::sqrt(static_cast<double>(cols * cols + rows * rows)));
}

/// Looked for first, because the reader complains about a missing file.
cv::Mat maskIfThere(const std::string& path) {
    std::error_code unreadable;
    return std::filesystem::is_regular_file(path, unreadable) ? cv::imread(path, cv::IMREAD_GRAYSCALE) : cv::Mat();
}

std::string linesOf(const std::vector<float>& values) {
    std::string lines;
    for (const float value : values) {
        lines += numberText(value) + '\n';
    }
    return lines;
}

/// A pixel with a negative channel is taken from `original`.
void repairNegatives(cv::Mat& smooth, const cv::Mat& original) {
    for (int i = 0; i < smooth.rows; ++i) {
        auto* const pixels = smooth.ptr<cv::Vec3f>(i);
        const auto* const originals = original.ptr<cv::Vec3f>(i);
        for (int j = 0; j < smooth.cols; ++j) {
            if (pixels[j][0] < 0 || pixels[j][1] < 0 || pixels[j][2] < 0) {
                pixels[j] = originals[j];
            }
        }
    }
}

cv::Mat xyzOf(cv::Mat& bgr) {
    cv::Mat xyz(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, xyz);
    return xyz;
}

/// Makes exposures of an image of X, Y, Z adapted to D65 as if every pixel were its own white: meant. Leaves `xyz`
/// sharpened: the white to come back under.
std::vector<cv::Mat> exposuresOf(cv::Mat& xyz, float brightness, const Diagnostics& diagnostics) {
    cv::Mat& white = xyz;
    convertXYZtoSharpenedBGR(xyz, white);
    cv::Mat adapted = white.clone();
    iCAMCATByD65(adapted, white, white);
    std::vector<cv::Mat> exposures(exposureCount);
    for (cv::Mat& exposure : exposures) {
        exposure.create(xyz.size(), CV_32FC3);
    }
    increaseBrightness(adapted, exposures.data(), brightness, diagnostics);
    return exposures;
}

struct LoadedExposures {
    std::vector<cv::Mat> images;
    std::vector<float> times;
};

/// The float exposures are let go: eight bits are all that is needed of them from here.
LoadedExposures load(std::vector<cv::Mat> exposures, cv::Mat& nonFlash, std::vector<float>& reciprocalTimes,
                     const Diagnostics& diagnostics) {
    LoadedExposures loaded;
    loadExposureSeq(exposures.data(), nonFlash, reciprocalTimes.data(), loaded.images, loaded.times, exposureCount,
                    diagnostics);
    return loaded;
}

/// Tints `flash`, whose X, Y, Z are `flashXyz`, towards the no-flash photograph in place; both follow.
void tintFlash(cv::Mat& flash, cv::Mat& flashXyz, cv::Mat& nonFlash, int iterations, const Diagnostics& diagnostics) {
    const int diagonal = diagonalOf(flash);
    cv::Mat mask(flash.size(), CV_8U, cv::Scalar(255));
    cv::Mat target = xyzOf(nonFlash);
    convertXYZtoSharpenedBGR(target, target);
    cv::Mat white;
    for (int round = 0; round < iterations; ++round) {
        computeWhiteImg(flashXyz, white, diagonal, diagnostics);  // of X, Y, Z and not of B, G, R: meant
        convertXYZtoSharpenedBGR(white, white);
        cv::Mat& sharpened = flashXyz;
        convertXYZtoSharpenedBGR(flashXyz, sharpened);
        biCAT(sharpened, white, white, target, mask, diagnostics);
        convertSharpenedBGRtoXYZ(sharpened, flashXyz);
        convertXYZToBGRDirect(flashXyz, flash);
        if (diagnostics.wantsFiles()) {
            diagnostics.writeImage("0_" + convertIntToString(round) + "_final.jpg", flash * 255);
        }
    }
}

}  // namespace

void createBrightnessExposures(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations, std::string prefix,
                               const Diagnostics& diagnostics) {
    requireType("createBrightnessExposures", CV_32FC3, {{"flash", flash}, {"nonFlash", nonFlash}});
    if (iterations > 0) {
        requireRoom("createBrightnessExposures", flash.size(), CV_32FC3, {{"nonFlash", nonFlash}});
    }
    cv::Mat mask = maskIfThere("maskFiltered06.jpg");
    std::vector<float> reciprocalTimes = halvingTimes(1024, exposureCount + 1);
    diagnostics.print(linesOf(reciprocalTimes));
    const int diagonal = diagonalOf(flash);
    for (int i = 0; i < exposureCount; ++i) {
        diagnostics.print(convertIntToString(iterations) + '\n');
    }

    flash *= 255;
    nonFlash *= 255;
    cv::Mat smooth = guidedFilter(nonFlash, nonFlash, 4, 0.0001 * 65025, -1, diagnostics);
    repairNegatives(smooth, nonFlash);
    diagnostics.print(convertIntToString(diagonal / 50) + '\n');
    diagnostics.writeImage("smoothBegin.jpg", smooth);
    flash /= 255;
    smooth.copyTo(nonFlash);
    smooth.release();
    nonFlash /= 255;

    cv::Mat flashXyz = xyzOf(flash);
    cv::Mat white = xyzOf(nonFlash);
    std::vector<cv::Mat> exposures = exposuresOf(white, brightness, diagnostics);
    flash *= 255;
    {
        const std::unique_ptr<TextDump> yValues = diagnostics.openText("yValues.txt");
        yValues->write(linesOf(unadaptExposures(exposures, white, diagnostics)));
    }
    white.release();
    flash /= 255;
    diagnostics.print("paralell\n");
    if (iterations > 0) {
        // In the first round every exposure's copy is still the flash photograph itself: one white image serves all.
        const SharpenedPhotograph untinted =
            sharpened(flash, std::exchange(flashXyz, cv::Mat()), diagonal, diagnostics);
        tintTowardsExposures(untinted, exposures, mask, diagonal, iterations, prefix, diagnostics);
    }

    const LoadedExposures loaded = load(std::move(exposures), nonFlash, reciprocalTimes, diagnostics);
    const cv::Mat response = recoverResponse(loaded.images, loaded.times);
    dumpResponse(response, {"R.txt", "G.txt", "B.txt", "values.txt"}, diagnostics);
    mergeAndFuse(loaded.images, loaded.times, response, prefix, diagnostics);
}

void createBrightnessExposuresVs2(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                  std::string prefix, const Diagnostics& diagnostics) {
    requireType("createBrightnessExposuresVs2", CV_32FC3, {{"flash", flash}, {"nonFlash", nonFlash}});
    std::vector<float> reciprocalTimes = halvingTimes(30, exposureCount + 1);
    flash *= 255;
    nonFlash *= 255;
    cv::Mat smooth = guidedFilter(flash, nonFlash, 8, 0.0004 * 65025, -1, diagnostics);
    diagnostics.writeImage("smoothBegin.jpg", smooth);
    flash /= 255;
    smooth.copyTo(nonFlash);
    smooth.release();
    nonFlash /= 255;

    cv::Mat flashXyz = xyzOf(flash);
    tintFlash(flash, flashXyz, nonFlash, iterations, diagnostics);

    std::vector<cv::Mat> exposures = exposuresOf(flashXyz, brightness, diagnostics);
    const cv::Mat white = std::exchange(flashXyz, cv::Mat());
    forEachExposure([&](int i) {
        cv::Mat& exposure = exposures[static_cast<std::size_t>(i)];
        leaveD65(exposure, white);
        if (diagnostics.wantsFiles()) {
            const cv::Mat scaled = exposure * 255;
            diagnostics.writeImage(convertIntToString(i) + "_nonFlash.jpg", scaled);
            if (i == 0) {
                diagnostics.writeImage("test18.jpg", scaled);
            }
        }
        diagnostics.print("here\n");
    });

    const LoadedExposures loaded = load(std::move(exposures), nonFlash, reciprocalTimes, diagnostics);
    diagnostics.writeImage("nonflash.jpg", nonFlash);
    const cv::Mat response = recoverResponse(loaded.images, loaded.times);
    mergeAndFuse(loaded.images, loaded.times, response, prefix, diagnostics);
}

void createBrightnessExposuresVs3(cv::Mat& flash, cv::Mat& nonFlash, float /*brightness*/, int iterations,
                                  std::string /*prefix*/, const Diagnostics& diagnostics) {
    requireType("createBrightnessExposuresVs3", CV_32FC3, {{"flash", flash}, {"nonFlash", nonFlash}});
    diagnostics.print(linesOf(halvingTimes(30, exposureCount + 1)));
    cv::Mat flashXyz = xyzOf(flash);
    tintFlash(flash, flashXyz, nonFlash, iterations, diagnostics);
}

}  // namespace likeness
