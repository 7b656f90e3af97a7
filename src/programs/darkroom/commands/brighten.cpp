// darkroom brighten: a photograph in other brightnesses.
#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include "console/brightness_factor.hpp"
#include "console/image_output_options.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/progress.hpp"
#include "console/subcommands.hpp"
#include "files/refusal.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <vector>

namespace likeness::darkroom {
namespace {

struct Options {
    std::string input;
    float factor = 0;
    int pass = 0;  ///< 1 to 6; 0 for all
    ImageOutput output;
};

/// "out/cat.png" with the number 3 is "out/cat_3.png".
std::string numbered(const std::string& path, int number) {
    const std::filesystem::path given(path);
    return (given.parent_path() / (given.stem().string() + '_' + std::to_string(number) + given.extension().string()))
        .string();
}

struct PassOutput {
    int pass;
    ImageOutput output;
};

std::vector<PassOutput> outputsOf(const Options& options) {
    if (options.pass != 0) {
        return {{options.pass, options.output}};
    }
    std::vector<PassOutput> outputs;
    for (int pass = 1; pass <= brightnessPasses; ++pass) {
        outputs.push_back({pass, options.output.at(numbered(options.output.path, pass), options.output.option)});
    }
    return outputs;
}

/// B, G, R of a picture that the model looks at adapted to D65, every pixel's own colour in the photograph being taken
/// for its white. Works in place.
void leaveAdaptation(cv::Mat& picture, cv::Mat& white) {
    inverseCATByD65(picture, white, white);
    convertSharpenedBGRtoXYZ(picture, picture);
    convertXYZToBGRDirect(picture, picture);
}

ExitStatus brighten(const Session& session, const Options& options) {
    const std::vector<PassOutput> outputs = outputsOf(options);
    OutputPlan plan(session, {options.input});
    for (const PassOutput& output : outputs) {
        checkImageOutput(output.output, plan);
    }
    checkBrightnessFactor("--factor", options.factor, options.pass);
    cv::Mat bgr = readBoundedUnitImage(session, options.input);

    Progress progress(session, "brightness", static_cast<int>(outputs.size()) + 1);
    cv::Mat white(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, white);
    convertXYZtoSharpenedBGR(white, white);
    cv::Mat& adapted = bgr;
    white.copyTo(adapted);
    iCAMCATByD65(adapted, white, white);
    std::vector<int> passes;
    passes.reserve(outputs.size());
    for (const PassOutput& output : outputs) {
        passes.push_back(output.pass - 1);
    }
    auto output = outputs.begin();
    increaseBrightnessByPasses(
        adapted, options.factor, passes,
        [&](int pass, cv::Mat& picture) {
            leaveAdaptation(picture, white);
            writeImage(session, output->output, picture, 1.0,
                       fmt::format("pass {}, factor {:g}", pass + 1, brightnessFactor(options.factor, pass)));
            ++output;
            progress.step();
        },
        session.diagnostics());
    return ExitStatus::done;
}

}  // namespace

Action declareBrighten(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("IN", options->input, "Photograph")->required();
    addImageOutput(app, options->output);
    app.get_option("--output")
        ->description(
            optionText("Result image; without --pass NAME.png stands for six, NAME_1.png to NAME_6.png. The extension "
                       "gives the format: .png (8 or 16 bits), .jpg, .tif (32-bit float, values as they are), .hdr "
                       "(Radiance, linear)",
                       "--output result.png"));
    app.add_option("--factor", options->factor,
                   optionText("Factor of the first pass, above 0 and up to 100; each next pass has 0.7 less, and each "
                              "pass that is made must have one above 0. Below 10 brightens, above 10 darkens",
                              "--factor 11.4"))
        ->type_name("F")
        ->check(brightnessFactorRange())
        ->required();
    app.add_option("--pass", options->pass,
                   optionText("Write the picture of this pass only, 1 to 6", "--pass 3 --output result.png"))
        ->type_name("K")
        ->check(integerBetween(1, brightnessPasses));
    return [options](const Session& session) { return brighten(session, *options); };
}

}  // namespace likeness::darkroom
