// darkroom align: lays a photograph onto another of the same scene.
#include <likeness/structure/optical_flow_alignment.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/progress.hpp"
#include "pages/flow_picture.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>

#include <memory>
#include <vector>

namespace likeness::darkroom {
namespace {

struct AlignArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is laid onto the reference
    std::string reference;
    std::string flow;
    ImageOutput output;
};

/// The displacements as a colour image whose red is dx and whose green is dy.
cv::Mat flowChannels(const cv::Mat& flow) {
    cv::Mat planes[2];
    cv::split(flow, planes);
    const cv::Mat none = cv::Mat::zeros(flow.size(), CV_32F);
    cv::Mat image;
    cv::merge(std::vector<cv::Mat>{none, planes[1], planes[0]}, image);  // B, G, R
    return image;
}

ExitStatus align(const Console& console, const AlignArguments& options) {
    OutputPlan plan(console, {options.input, options.reference});
    checkImageOutput(options.output, plan);
    const ImageOutput flowOutput = options.output.at(options.flow, "--flow");
    const bool flowAsFloats = holdsFloats(flowOutput);
    if (!options.flow.empty()) {
        checkPictureOutput(flowOutput, plan, FloatsToo::yes);
    }
    const cv::Mat moving = readUnitImage(console, options.input);
    const cv::Mat reference = readUnitImage(console, options.reference);
    checkSameSize(options.input, moving, options.reference, reference);
    checkFinite(options.input, moving);
    checkFinite(options.reference, reference);
    Alignment alignment;
    {
        Progress progress(console, "optical flow");
        alignment = alignTo(moving, reference, {}, watchOf(console, progress));
    }
    writePhotograph(console, options.output, alignment.image, "aligned, black where the flow leads outside",
                    options.input);
    if (options.flow.empty()) {
        return ExitStatus::done;
    }
    if (flowAsFloats) {
        writeImage(console, flowOutput, flowChannels(alignment.flow), 1.0, "flow in pixels, red dx, green dy, blue 0");
    } else {
        writePicture(
            console, flowOutput, flowPicture(alignment.flow),
            fmt::format("flow, hue the direction, full saturation {:.3g} pixels", greatestLength(alignment.flow)));
    }
    return ExitStatus::done;
}

}  // namespace

Action declareAlign(OptionParser& app) {
    auto options = std::make_shared<AlignArguments>();
    addPhotographs(app, options->inputs, "MOVING", "Photograph that is laid onto the other");
    app.addOption("--to", options->reference,
                  optionText("Photograph of the same scene and of the same size in pixels, whose geometry is wanted",
                             "--to reference.jpg"))
        ->typeName("FILE")
        ->required();
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    addManyPhotographs(app, options->inputs, {"--flow"});
    app.addOption(
           "--flow", options->flow,
           optionText("Second result: the displacement from each pixel of the reference to where it is found in "
                      "MOVING. As .png or .jpg a picture with a legend: the hue is the direction, the "
                      "saturation the length, full at the greatest length, which the legend states in pixels. As "
                      ".tif 32-bit floats in pixels: red dx (to the right), green dy (down), blue 0",
                      "--flow flow.png"))
        ->typeName("FILE");
    return [options](const Console& console) { return onEach(console, *options, align, [](const AlignArguments&) {}); };
}

}  // namespace likeness::darkroom
