// darkroom match-brightness: the lightness of one photograph like that of another.
#include <likeness/exposure/brightness_alignment.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/part_options.hpp"
#include "console/progress.hpp"
#include "files/refusal.hpp"
#include "photofile/clipping.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>

#include <cmath>
#include <memory>

namespace likeness::darkroom {
namespace {

struct MatchBrightnessArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is worked on
    std::string reference;
    ImageOutput output;
    PartOptions part;
};

/// The match; a photograph that has no spread of lightness is refused by its file's name.
LightnessMatch matched(const Console& console, const MatchBrightnessArguments& options, const PhotographPart& image,
                       const PhotographPart& reference) {
    Progress progress(console, "lightness");
    try {
        return matchLightness(image, reference, watchOf(console, progress));
    } catch (const OneLightness& error) {
        throw Refusal("'" + (error.ofReference() ? options.reference : options.input) +
                      "' has one lightness throughout: there is no spread to match");
    }
}

/// Whether mean and deviation are what was wanted, but for what rounding to 8 bits makes of L*, whose greatest step is
/// about 0.4.
bool isReached(const LightnessStatistics& reached, const LightnessStatistics& wanted) {
    constexpr float rounding = 0.2F;
    return std::abs(reached.mean - wanted.mean) <= rounding &&
           std::abs(reached.deviation - wanted.deviation) <= rounding;
}

ExitStatus matchBrightness(const Console& console, const MatchBrightnessArguments& options) {
    OutputPlan plan(console, {options.input, options.reference});
    for (const std::string& file : options.part.files()) {
        plan.mayRead(file);
    }
    checkImageOutput(options.output, plan);
    const auto [ownPart, referencePart] = chosenParts(options.part);
    cv::Mat image = readBoundedUnitImage(PartAccess(console, ownPart), options.input);
    cv::Mat reference = readBoundedUnitImage(PartAccess(console, referencePart), options.reference);
    const PixelWeights weights = countedPart(console, options.input, image, ownPart);
    const PixelWeights referenceWeights = countedPart(console, options.reference, reference, referencePart);
    if (reference.rows < image.rows || reference.cols < image.cols) {
        throw Refusal(fmt::format("'{}' is {} x {} pixels: it must be at least as large as '{}', which is {} x {}",
                                  options.reference, reference.cols, reference.rows, options.input, image.cols,
                                  image.rows));
    }
    const LightnessMatch match = matched(console, options, {image, weights}, {reference, referenceWeights});
    // Of the file: rounding to its depth may move them.
    const LightnessStatistics reached = lightnessStatisticsOf(
        PhotographPart{pictureAsStored(options.output.followed(options.input), match.image), weights});
    tellClippedInput(console, options.input, image);
    tellClippedInput(console, options.reference, reference);
    writePhotograph(
        console, options.output, match.image,
        fmt::format("L* of mean {:.2f} and standard deviation {:.2f} brought to {:.2f} and {:.2f}, wanted {:.2f} "
                    "and {:.2f}",
                    match.own.mean, match.own.deviation, reached.mean, reached.deviation, match.wanted.mean,
                    match.wanted.deviation),
        options.input);
    tellClipped(console, options.output.path, match.clipped, image.size(), "have colours outside sRGB and are clipped");
    if (!isReached(reached, match.wanted)) {
        console.warn(fmt::format("'{}' does not have the lightness that was wanted: {}", options.output.path,
                                 match.clipped.pixels > 0 ? "not all of it lies between black and white"
                                                          : "the conversion to L* and back does not keep it"));
    }
    return ExitStatus::done;
}

}  // namespace

Action declareMatchBrightness(OptionParser& app) {
    auto options = std::make_shared<MatchBrightnessArguments>();
    addPhotographs(app, options->inputs, "IN", "Photograph");
    app.addOption("--like", options->reference,
                  optionText("Photograph whose mean and standard deviation of CIE L* are wanted, at least as wide and "
                             "as high as IN",
                             "--like reference.jpg"))
        ->typeName("REF")
        ->required();
    addPartOptions(app, options->part);
    addMaskOption(app, "--first-mask", options->part.firstMask, "IN, in place of --mask");
    addMaskOption(app, "--second-mask", options->part.secondMask, "REF, in place of --mask");
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    addManyPhotographs(app, options->inputs);
    return [options](const Console& console) {
        return onEach(console, *options, matchBrightness, [](const MatchBrightnessArguments&) {});
    };
}

}  // namespace likeness::darkroom
