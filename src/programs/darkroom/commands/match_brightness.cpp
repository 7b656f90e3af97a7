// darkroom match-brightness: the lightness of one photograph like that of another.
#include <likeness/color/clipped_values.hpp>
#include <likeness/exposure/brightness_alignment.hpp>
#include "console/image_output_options.hpp"
#include "console/option_checks.hpp"
#include "console/progress.hpp"
#include "console/subcommands.hpp"
#include "files/refusal.hpp"
#include "photofile/clipping.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <memory>

namespace likeness::darkroom {
namespace {

struct Options {
    std::string input;
    std::string reference;
    ImageOutput output;
};

/// The spread of the one is divided by that of the other: neither may be nothing.
void checkLightnessVaries(const std::string& path, const cv::Mat& image, const LightnessStatistics& lightness) {
    const cv::Vec3f first = image.at<cv::Vec3f>(0, 0);
    const cv::Mat even(image.size(), image.type(), cv::Scalar(first[0], first[1], first[2]));
    // Rounding may give a photograph of one colour a spread of its own.
    if (!(lightness.deviation > 0) || cv::norm(image, even, cv::NORM_INF) == 0) {
        throw Refusal("'" + path + "' has one lightness throughout: there is no spread to match");
    }
}

/// Whether mean and deviation are what was wanted, but for what rounding to 8 bits makes of L*, whose greatest step is
/// about 0.4.
bool isReached(const LightnessStatistics& reached, const LightnessStatistics& wanted) {
    constexpr float rounding = 0.2F;
    return std::abs(reached.mean - wanted.mean) <= rounding &&
           std::abs(reached.deviation - wanted.deviation) <= rounding;
}

ExitStatus matchBrightness(const Session& session, const Options& options) {
    OutputPlan plan(session, {options.input, options.reference});
    checkImageOutput(options.output, plan);
    cv::Mat image = readBoundedUnitImage(session, options.input);
    cv::Mat reference = readBoundedUnitImage(session, options.reference);
    if (reference.rows < image.rows || reference.cols < image.cols) {
        throw Refusal(fmt::format("'{}' is {} x {} pixels: it must be at least as large as '{}', which is {} x {}",
                                  options.reference, reference.cols, reference.rows, options.input, image.cols,
                                  image.rows));
    }
    cv::Mat matched;
    LightnessStatistics own{};
    LightnessStatistics wanted{};
    LightnessStatistics reached{};
    ClippedValues clipped;
    {
        const Progress progress(session, "lightness");
        own = lightnessStatistics(image, dropAll());
        checkLightnessVaries(options.input, image, own);
        wanted = lightnessStatistics(reference, dropAll());
        checkLightnessVaries(options.reference, reference, wanted);
        alterNonFlashBrightness(image, reference, matched, session.diagnostics());
        reached = lightnessStatistics(pictureAsStored(options.output, matched), dropAll());
        cv::Mat lab;
        cv::cvtColor(image, lab, cv::COLOR_BGR2Lab);
        remapLightness(lab, own, wanted);
        clipped = clippedValuesOfLab(lab);
    }
    tellClippedInput(session, options.input, image);
    tellClippedInput(session, options.reference, reference);
    writePhotograph(
        session, options.output, matched,
        fmt::format("L* of mean {:.2f} and standard deviation {:.2f} brought to {:.2f} and {:.2f}, wanted {:.2f} "
                    "and {:.2f}",
                    own.mean, own.deviation, reached.mean, reached.deviation, wanted.mean, wanted.deviation));
    tellClipped(session, options.output.path, clipped, image.size(), "have colours outside sRGB and are clipped");
    if (!isReached(reached, wanted)) {
        session.warn(fmt::format("'{}' does not have the lightness that was wanted: {}", options.output.path,
                                 clipped.pixels > 0 ? "not all of it lies between black and white"
                                                    : "the conversion to L* and back does not keep it"));
    }
    return ExitStatus::done;
}

}  // namespace

Action declareMatchBrightness(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("IN", options->input, "Photograph")->required();
    app.add_option("--like", options->reference,
                   optionText("Photograph whose mean and standard deviation of CIE L* are wanted, at least as wide and "
                              "as high as IN",
                              "--like reference.jpg"))
        ->type_name("REF")
        ->required();
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    return [options](const Session& session) { return matchBrightness(session, *options); };
}

}  // namespace likeness::darkroom
