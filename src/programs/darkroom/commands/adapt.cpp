// darkroom adapt: a photograph as if it had been seen under another light.
#include <likeness/adaptation/photograph_adaptation.hpp>
#include <likeness/color/clipped_values.hpp>
#include <likeness/color/white_point.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/progress.hpp"
#include "console/white_warning.hpp"
#include "files/refusal.hpp"
#include "photofile/clipping.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <memory>

namespace likeness::darkroom {
namespace {

struct AdaptArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is worked on
    std::string to;
    std::string from;
    std::string white = "gray-world";
    std::string like;
    std::string mask;
    double degree = 1;
    bool local = false;
    double blend = 1;
    ImageOutput output;
};

WhiteEstimate whiteOf(const Console& console, const std::string& path, const cv::Mat& photograph) {
    WhiteEstimate estimate = grayWorldWhite(photograph, nullptr, watchOf(console));
    warnOfGuess(console, path, estimate);
    return estimate;
}

cv::Mat adaptedToD65(const Console& console, const AdaptArguments& options, const cv::Mat& image, const Watch& watch) {
    if (options.white == "gray-world") {
        return adaptToD65(image, whiteOf(console, options.input, image).white, watch);
    }
    return adaptToD65(image, options.white == "smoothed" ? PixelWhite::smoothed : PixelWhite::own, watch);
}

/// Undoes an adaptation to the light of the photograph `source`, which is empty for D65.
cv::Mat adaptedBack(const Console& console, const AdaptArguments& options, const cv::Mat& image, const cv::Mat& source,
                    const cv::Mat& reference, const Watch& watch) {
    const White scene = whiteOf(console, options.like, reference).white;
    return source.empty() ? undoD65Adaptation(image, scene, watch)
                          : undoAdaptation(image, whiteOf(console, options.from, source).white, scene, watch);
}

void checkCombination(const AdaptArguments& options) {
    if (options.to.empty() == options.like.empty()) {
        throw Refusal("one of --to d65 and --like REF is needed, and not both");
    }
}

ExitStatus adapt(const Console& console, const AdaptArguments& options) {
    checkCombination(options);
    OutputPlan plan(console, {options.input, options.like, options.mask, options.from == "d65" ? "" : options.from});
    checkImageOutput(options.output, plan);
    const cv::Mat image = readUnitImage(console, options.input);
    checkFinite(options.input, image);
    cv::Mat reference;
    cv::Mat source;
    cv::Mat leftOut;
    if (!options.like.empty()) {
        reference = readUnitImage(console, options.like);
        checkFinite(options.like, reference);
    }
    if (!options.from.empty() && options.from != "d65") {
        source = readUnitImage(console, options.from);
        checkFinite(options.from, source);
    }
    if (!options.mask.empty()) {
        leftOut = readMask(console, options.mask);
        checkSameSize(options.input, image, options.mask, leftOut);
    }
    std::string what;
    cv::Mat adapted;
    {
        Progress progress(console, "adapting");
        const Watch watch = watchOf(console, progress);
        if (!options.to.empty()) {
            adapted = adaptedToD65(console, options, image, watch);
            what = "adapted to D65";
        } else if (!options.from.empty()) {
            adapted = adaptedBack(console, options, image, source, reference, watch);
            what = "adapted back";
        } else {
            AdaptOptions towards;
            towards.degree = options.degree;
            towards.leftOut = leftOut;
            towards.local = options.local;
            towards.blend = options.blend;
            adapted = adaptTo(image, whiteOf(console, options.like, reference), towards, watch);
            what = options.local ? "adapted pixel by pixel" : "adapted as a whole";
        }
    }
    writePhotograph(console, options.output, adapted, what, options.input);
    if (!options.like.empty() && options.from.empty() && !options.local) {
        tellClipped(console, options.output.path, valuesBroughtToLimits(image, adapted), adapted.size(),
                    "came to the limits of 0..1 and are clipped there");
    }
    return ExitStatus::done;
}

}  // namespace

Action declareAdapt(OptionParser& app) {
    auto options = std::make_shared<AdaptArguments>();
    addPhotographs(app, options->inputs, "IN", "Photograph to adapt");
    auto* const to =
        app.addOption("--to", options->to, optionText("Light to adapt to: d65, daylight of 6504 K", "--to d65"))
            ->typeName("LIGHT")
            ->check(oneOf({"d65"}));
    app.addOption(
           "--white", options->white,
           optionText("With --to, the white to adapt from: gray-world (one for the photograph), smoothed (that of "
                      "each pixel, by a guided filter of radius 16) or own (each pixel's colour is its white, "
                      "as darkroom compare adapts)",
                      "--white smoothed"))
        ->typeName("KIND")
        ->check(oneOf({"gray-world", "smoothed", "own"}))
        ->showDefault()
        ->needs(to);
    auto* const like =
        app.addOption("--like", options->like,
                      optionText("Photograph whose gray-world white is adapted to; of any size", "--like ref.jpg"))
            ->typeName("REF");
    auto* const degree =
        app.addOption(
               "--degree", options->degree,
               optionText("With --like, the degree of adaptation in each of up to 80 steps, 0 (none) to 1 (full)",
                          "--degree 0.8"))
            ->typeName("D")
            ->check(numberBetween(0, 1))
            ->showDefault()
            ->needs(like);
    auto* const mask =
        app.addOption("--mask", options->mask,
                      optionText("With --like, a picture of IN's size: pixels that it shows brighter than 100 of 255 "
                                 "are left out; they keep their colours and do not count for the white",
                                 "--mask shadow.png"))
            ->typeName("FILE")
            ->needs(like);
    auto* const local = app.addFlag("--local", options->local,
                                    optionText("With --like, adapt each pixel from the white around it", "--local"))
                            ->needs(like)
                            ->excludes(degree)
                            ->excludes(mask);
    app.addOption("--from", options->from,
                  optionText("With --like, undo an adaptation: IN was adapted to d65, or to the gray-world white of a "
                             "photograph, and goes back to the gray-world white of REF",
                             "--from d65"))
        ->typeName("LIGHT")
        ->needs(like)
        ->excludes(degree)
        ->excludes(mask)
        ->excludes(local);
    app.addOption("--blend", options->blend,
                  optionText("With --local, the share of REF's white in the white that is adapted to, 0 (the pixel's "
                             "own, nothing changes) to 1",
                             "--blend 0.5"))
        ->typeName("SHARE")
        ->check(numberBetween(0, 1))
        ->showDefault()
        ->needs(local);
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    addManyPhotographs(app, options->inputs);
    return [options](const Console& console) { return onEach(console, *options, adapt, checkCombination); };
}

}  // namespace likeness::darkroom
