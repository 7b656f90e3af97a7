#include <likeness/exposure/exposure_stack.hpp>

#include <likeness/adaptation/two_scale_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/diagnostics/name_text.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include <likeness/exposure/exposure_sequence.hpp>
#include <likeness/exposure/response_recovery.hpp>
#include <likeness/filter/guidedfilter.hpp>
#include "codecs/image_codecs.hpp"
#include "color/photograph_argument.hpp"
#include "diagnostics/number_text.hpp"
#include "diagnostics/step_count.hpp"
#include "exposure/exposure_merging.hpp"
#include "exposure/exposure_regions.hpp"
#include "exposure/exposure_times.hpp"
#include "exposure/result_image.hpp"
#include "numerics/argument_check.hpp"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace likeness {
namespace {

int diagonalOf(const cv::Mat& image) {
    const auto cols = static_cast<std::int64_t>(image.cols);
    const auto rows = static_cast<std::int64_t>(image.rows);
    return static_cast<int>(std::sqrt(static_cast<double>(cols * cols + rows * rows)));
}

/// Looked for first, because the reader complains about a missing file.
cv::Mat maskIfThere(const std::string& path) {
    std::error_code unreadable;
    return std::filesystem::is_regular_file(path, unreadable) ? decodedFile(path, cv::IMREAD_GRAYSCALE) : cv::Mat();
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
void tintFlash(cv::Mat& flash, cv::Mat& flashXyz, cv::Mat& nonFlash, int iterations, StepCount& steps,
               const Diagnostics& diagnostics) {
    const int diagonal = diagonalOf(flash);
    cv::Mat mask(flash.size(), CV_8U, cv::Scalar(255));
    cv::Mat target = xyzOf(nonFlash);
    convertXYZtoSharpenedBGR(target, target);
    cv::Mat white;
    for (int round = 0; round < iterations; ++round) {
        computeWhiteImg(flashXyz, white, diagonal, diagnostics);  // of X, Y, Z, departure 21
        convertXYZtoSharpenedBGR(white, white);
        cv::Mat& sharpened = flashXyz;
        convertXYZtoSharpenedBGR(flashXyz, sharpened);
        biCAT(sharpened, white, white, target, mask, diagnostics);
        convertSharpenedBGRtoXYZ(sharpened, flashXyz);
        convertXYZToBGRDirect(flashXyz, flash);
        if (diagnostics.wantsFiles()) {
            diagnostics.writeImage("0_" + convertIntToString(round) + "_final.jpg", flash * 255);
        }
        steps.step();
    }
}

/// What a version is called with, and where its pictures and steps go.
struct StackWork {
    float brightness;
    int iterations;
    std::string prefix;    ///< told in messages
    PictureSink exposure;  ///< receives every exposure in B, G, R where it is not empty
    PictureSink tinted;    ///< receives every round's picture of `makeFullStack`
    StepCount& steps;
    const Diagnostics& diagnostics;
};

struct Recovered {
    LoadedExposures loaded;
    cv::Mat response;
};

/// Both photographs are left as `createBrightnessExposures` says.
Recovered makeFullStack(cv::Mat& flash, cv::Mat& nonFlash, cv::Mat mask, const StackWork& work) {
    const Diagnostics& diagnostics = work.diagnostics;
    std::vector<float> reciprocalTimes = halvingTimes(1024, exposureCount + 1);
    diagnostics.print(linesOf(reciprocalTimes));
    const int diagonal = diagonalOf(flash);
    for (int i = 0; i < exposureCount; ++i) {
        diagnostics.print(convertIntToString(work.iterations) + '\n');
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
    work.steps.step();

    cv::Mat flashXyz = xyzOf(flash);
    cv::Mat white = xyzOf(nonFlash);
    std::vector<cv::Mat> exposures = exposuresOf(white, work.brightness, diagnostics);
    work.steps.step();
    flash *= 255;
    {
        const std::unique_ptr<TextDump> yValues = diagnostics.openText("yValues.txt");
        yValues->write(linesOf(unadaptExposures(exposures, white, work.exposure, work.steps, diagnostics)));
    }
    white.release();
    flash /= 255;
    diagnostics.print("paralell\n");
    if (work.iterations > 0) {
        // In the first round every exposure's copy is still the flash photograph itself: one white image serves all.
        const SharpenedPhotograph untinted =
            sharpened(flash, std::exchange(flashXyz, cv::Mat()), diagonal, diagnostics);
        tintTowardsExposures(untinted, exposures, mask, diagonal, work.iterations, work.prefix, work.tinted, work.steps,
                             diagnostics);
    }

    LoadedExposures loaded = load(std::move(exposures), nonFlash, reciprocalTimes, diagnostics);
    cv::Mat response = recoverResponse(loaded.images, loaded.times);
    dumpResponse(response, {"R.txt", "G.txt", "B.txt", "values.txt"}, diagnostics);
    work.steps.step();
    return {std::move(loaded), response};
}

/// Both photographs are left as `createBrightnessExposuresVs2` says.
Recovered makeTintedStack(cv::Mat& flash, cv::Mat& nonFlash, const StackWork& work) {
    const Diagnostics& diagnostics = work.diagnostics;
    std::vector<float> reciprocalTimes = halvingTimes(30, exposureCount + 1);
    flash *= 255;
    nonFlash *= 255;
    cv::Mat smooth = guidedFilter(flash, nonFlash, 8, 0.0004 * 65025, -1, diagnostics);
    diagnostics.writeImage("smoothBegin.jpg", smooth);
    flash /= 255;
    smooth.copyTo(nonFlash);
    smooth.release();
    nonFlash /= 255;
    work.steps.step();

    cv::Mat flashXyz = xyzOf(flash);
    tintFlash(flash, flashXyz, nonFlash, work.iterations, work.steps, diagnostics);

    std::vector<cv::Mat> exposures = exposuresOf(flashXyz, work.brightness, diagnostics);
    work.steps.step();
    const cv::Mat white = std::exchange(flashXyz, cv::Mat());
    forEachExposure([&](int i) {
        cv::Mat& exposure = exposures[static_cast<std::size_t>(i)];
        work.steps.check();
        undoD65OfExposure(exposure, white);
        if (diagnostics.wantsFiles()) {
            const cv::Mat scaled = exposure * 255;
            diagnostics.writeImage(convertIntToString(i) + "_nonFlash.jpg", scaled);
            if (i == 0) {
                diagnostics.writeImage("test18.jpg", scaled);
            }
        }
        diagnostics.print("here\n");
        if (work.exposure) {
            work.exposure(0, i, exposure);
        }
        work.steps.step();
    });

    LoadedExposures loaded = load(std::move(exposures), nonFlash, reciprocalTimes, diagnostics);
    diagnostics.writeImage("nonflash.jpg", nonFlash);
    cv::Mat response = recoverResponse(loaded.images, loaded.times);
    work.steps.step();
    return {std::move(loaded), response};
}

/// The flash photograph is left as `createBrightnessExposuresVs3` says.
void makeTint(cv::Mat& flash, cv::Mat& nonFlash, const StackWork& work) {
    work.diagnostics.print(linesOf(halvingTimes(30, exposureCount + 1)));
    cv::Mat flashXyz = xyzOf(flash);
    tintFlash(flash, flashXyz, nonFlash, work.iterations, work.steps, work.diagnostics);
}

int stepsOf(const StackOptions& options) {
    constexpr int smoothingAndBrightness = 2;
    constexpr int responseAndMerging = 4;
    switch (options.version) {
        case StackVersion::full:
            return smoothingAndBrightness + exposureCount * (1 + options.iterations) + responseAndMerging;
        case StackVersion::tintedFirst:
            return smoothingAndBrightness + options.iterations + exposureCount + responseAndMerging;
        default:
            return options.iterations;
    }
}

}  // namespace

void createBrightnessExposures(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations, std::string prefix,
                               const Diagnostics& diagnostics) {
    requireType("createBrightnessExposures", CV_32FC3, {{"flash", flash}, {"nonFlash", nonFlash}});
    if (iterations > 0) {
        requireRoom("createBrightnessExposures", flash.size(), CV_32FC3, {{"nonFlash", nonFlash}});
    }
    const auto writeTinted = [&prefix](int round, int exposure, const cv::Mat& bgr) {
        cv::Mat bytes;
        bgr.convertTo(bytes, CV_8U, 255);
        // One digit is enough for the number of an exposure.
        writeResultImage(prefix + convertIntToString(round) + "_0" + convertIntToString(exposure) + "_final.jpg",
                         bytes);
    };
    const Watch nobody;
    StepCount steps(nobody, 0);
    const Recovered recovered = makeFullStack(flash, nonFlash, maskIfThere("maskFiltered06.jpg"),
                                              {brightness, iterations, prefix, {}, writeTinted, steps, diagnostics});
    mergeAndFuse(recovered.loaded.images, recovered.loaded.times, recovered.response, prefix, diagnostics);
}

void createBrightnessExposuresVs2(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                  std::string prefix, const Diagnostics& diagnostics) {
    requireType("createBrightnessExposuresVs2", CV_32FC3, {{"flash", flash}, {"nonFlash", nonFlash}});
    const Watch nobody;
    StepCount steps(nobody, 0);
    const Recovered recovered =
        makeTintedStack(flash, nonFlash, {brightness, iterations, prefix, {}, {}, steps, diagnostics});
    mergeAndFuse(recovered.loaded.images, recovered.loaded.times, recovered.response, prefix, diagnostics);
}

void createBrightnessExposuresVs3(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                  std::string prefix, const Diagnostics& diagnostics) {
    requireType("createBrightnessExposuresVs3", CV_32FC3, {{"flash", flash}, {"nonFlash", nonFlash}});
    const Watch nobody;
    StepCount steps(nobody, 0);
    makeTint(flash, nonFlash, {brightness, iterations, std::move(prefix), {}, {}, steps, diagnostics});
}

ExposureStack exposureStack(const cv::Mat& flash, const cv::Mat& noFlash, const StackOptions& options,
                            const Watch& watch) {
    if (flash.empty()) {
        return {};
    }
    const bool tintsOnly = options.version == StackVersion::tintOnly;
    requireBetween("iterations", options.iterations, tintsOnly ? 1 : 0, 100);
    cv::Mat ownFlash = ownUnitPhotograph("flash", flash);
    requireBounded("flash", ownFlash);
    cv::Mat ownNoFlash = ownUnitPhotograph("noFlash", noFlash);
    requireBounded("noFlash", ownNoFlash);
    requireSameSize("flash", ownFlash, "noFlash", ownNoFlash);
    if (!tintsOnly) {
        requireBrightnessFactor("brightness", options.brightness, exposureCount);
        requireResponseGrid("flash", ownFlash.size());
    }

    ExposureStack stack;
    StepCount steps(watch, stepsOf(options));
    const PictureSink keepExposure = [&stack](int /*round*/, int exposure, const cv::Mat& bgr) {
        stack.exposures[static_cast<std::size_t>(exposure)] = bgr.clone();
    };
    const PictureSink keepLastRound = [&stack, &options](int round, int exposure, const cv::Mat& bgr) {
        if (options.takeTinted) {
            options.takeTinted(round, exposure, bgr);
        } else if (round == options.iterations - 1) {
            stack.tinted[static_cast<std::size_t>(exposure)] = bgr;
        }
    };
    const StackWork work{static_cast<float>(options.brightness),
                         options.iterations,
                         {},
                         options.exposures ? keepExposure : PictureSink(),
                         keepLastRound,
                         steps,
                         watch.receiver()};
    if (tintsOnly) {
        makeTint(ownFlash, ownNoFlash, work);
        stack.tinted = {ownFlash};
        return stack;
    }
    stack.exposures.resize(options.exposures ? exposureCount : 0);
    Recovered recovered;
    if (options.version == StackVersion::full) {
        stack.tinted.resize(options.iterations > 0 && !options.takeTinted ? exposureCount : 0);
        recovered = makeFullStack(ownFlash, ownNoFlash, {}, work);
    } else {
        recovered = makeTintedStack(ownFlash, ownNoFlash, work);
        stack.tinted = {ownFlash};
    }
    stack.response = recovered.response;
    const MergedExposures merged =
        mergedOf(recovered.loaded.images, recovered.loaded.times, recovered.response, {}, [&steps] { steps.step(); });
    stack.radiance = merged.radiance;
    stack.toneMapped = merged.toneMapped;
    stack.fused = merged.fused;
    return stack;
}

}  // namespace likeness
