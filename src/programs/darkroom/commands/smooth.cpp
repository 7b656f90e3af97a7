// darkroom smooth: smooths an image without crossing the edges of a guide.
#include <likeness/filter/smoothing.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/progress.hpp"
#include "files/refusal.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>

#include <memory>

namespace likeness::darkroom {
namespace {

struct SmoothArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is worked on
    std::string guide;
    int radius = 4;
    double eps = 0.01;
    bool color = false;
    bool transport = false;
    ImageOutput output;
};

cv::Mat smoothed(const Console& console, const SmoothArguments& options, const cv::Mat& image, const cv::Mat& guide) {
    SmoothOptions smoothing;
    smoothing.guide = guide;
    smoothing.radius = options.radius;
    smoothing.epsilon = options.eps;
    smoothing.variant = options.transport ? SmoothingVariant::transport
                        : options.color   ? SmoothingVariant::color
                                          : SmoothingVariant::gray;
    Progress progress(console, "guided filter");
    return likeness::smooth(image, smoothing, watchOf(console, progress));
}

ExitStatus smooth(const Console& console, const SmoothArguments& options) {
    OutputPlan plan(console, {options.input, options.guide});
    checkImageOutput(options.output, plan);
    const cv::Mat image = readUnitImage(console, options.input);
    checkFinite(options.input, image);
    cv::Mat guide = image;
    if (!options.guide.empty()) {
        guide = readUnitImage(console, options.guide);
        checkFinite(options.guide, guide);
        checkSameSize(options.input, image, options.guide, guide);
    }
    if ((options.color || options.transport) && isGray(guide)) {
        throw Refusal(fmt::format("{}: the guide '{}' is grey, it has no colours to go by",
                                  options.transport ? "--transport" : "--color",
                                  options.guide.empty() ? options.input : options.guide));
    }
    const cv::Mat result = smoothed(console, options, image, guide);
    writePhotograph(console, options.output, result, "smoothed", options.input);
    return ExitStatus::done;
}

}  // namespace

Action declareSmooth(OptionParser& app) {
    auto options = std::make_shared<SmoothArguments>();
    addPhotographs(app, options->inputs, "IN", "Image");
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    addManyPhotographs(app, options->inputs);
    app.addOption("--guide", options->guide,
                  optionText("Image of the same size in pixels whose edges are kept; without it the image itself. Its "
                             "grey (0.299 R + 0.587 G + 0.114 B) guides, unless --color or --transport is given",
                             "--guide flash.jpg"))
        ->typeName("FILE");
    app.addOption("--radius", options->radius,
                  optionText("How far the windows reach, in pixels, 0 to 1000: they have 2 radius + 1 pixels along a "
                             "side, and a pixel has influence up to 2 radius away",
                             "--radius 8"))
        ->typeName("PIXELS")
        ->check(integerBetween(0, 1000))
        ->showDefault();
    auto* const eps =
        app.addOption(
               "--eps", options->eps,
               optionText("Variance of the guide in a window, on the scale 0..1, at which the filter changes its "
                          "mind: well above it edges are kept, well below it the window is averaged; 0 to "
                          "1000000",
                          "--eps 0.001"))
            ->typeName("VARIANCE")
            ->check(numberBetween(0, 1e6))
            ->showDefault();
    auto* const color = app.addFlag(
        "--color", options->color,
        optionText("Guide with the three colours jointly. There is no eps then: what is a linear function of the "
                   "guide's colours comes back as it is, above all the guide itself; where the guide is flat the "
                   "image is averaged",
                   "--color"));
    auto* const transport = app.addFlag(
        "--transport", options->transport,
        optionText("Carry the guide's deviation from its local mean through the optimal-transport map from its local "
                   "colours to the image's. There is no eps; local variances of the guide below 7.5 on the scale "
                   "0..255 count as 7.5",
                   "--transport"));
    eps->excludes(color)->excludes(transport);
    color->excludes(transport);
    return
        [options](const Console& console) { return onEach(console, *options, smooth, [](const SmoothArguments&) {}); };
}

}  // namespace likeness::darkroom
