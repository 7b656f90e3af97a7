// darkroom brighten: a photograph in other brightnesses.
#include <likeness/exposure/brightening.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include "commands/subcommands.hpp"
#include "console/brightness_factor.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/progress.hpp"
#include "files/refusal.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <vector>

namespace likeness::darkroom {
namespace {

struct BrightenArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is worked on
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

/// One for each picture.
std::vector<ImageOutput> outputsOf(const BrightenArguments& options) {
    if (options.pass != 0) {
        return {options.output};
    }
    std::vector<ImageOutput> outputs;
    for (int pass = 1; pass <= brightnessPasses; ++pass) {
        outputs.push_back(options.output.at(numbered(options.output.path, pass), options.output.option));
    }
    return outputs;
}

void checkFactor(const BrightenArguments& options) {
    checkBrightnessFactor("--factor", options.factor, options.pass);
}

ExitStatus brighten(const Console& console, const BrightenArguments& options) {
    const std::vector<ImageOutput> outputs = outputsOf(options);
    OutputPlan plan(console, {options.input});
    for (const ImageOutput& output : outputs) {
        checkImageOutput(output, plan);
    }
    checkFactor(options);
    const cv::Mat photograph = readBoundedUnitImage(console, options.input);

    BrightenOptions factors;
    factors.factor = static_cast<double>(options.factor);
    Progress progress(console, "brightness");
    const Watch watch = watchOf(console, progress);
    const auto write = [&](const ImageOutput& output, int pass, const cv::Mat& picture) {
        writePhotograph(console, output, picture,
                        fmt::format("pass {}, factor {:g}", pass, brightnessFactor(options.factor, pass - 1)),
                        options.input);
    };
    if (options.pass != 0) {
        factors.pass = options.pass;
        write(options.output, options.pass, likeness::brighten(photograph, factors, watch));
        return ExitStatus::done;
    }
    brightenInPasses(
        photograph, factors,
        [&](int pass, const cv::Mat& picture) { write(outputs.at(static_cast<std::size_t>(pass - 1)), pass, picture); },
        watch);
    return ExitStatus::done;
}

}  // namespace

Action declareBrighten(OptionParser& app) {
    auto options = std::make_shared<BrightenArguments>();
    addPhotographs(app, options->inputs, "IN", "Photograph");
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    app.option("--output")
        ->description(
            optionText("Result image; without --pass NAME.png stands for six, NAME_1.png to NAME_6.png. The extension "
                       "gives the format: .png (8 or 16 bits), .jpg, .tif (8 or 16 bits, or floats as they are), "
                       ".hdr (Radiance, linear)",
                       "--output result.png"));
    addManyPhotographs(app, options->inputs);
    app.addOption("--factor", options->factor,
                  optionText("Factor of the first pass, above 0 and up to 100; each next pass has 0.7 less, and each "
                             "pass that is made must have one above 0. Below 10 brightens, above 10 darkens",
                             "--factor 11.4"))
        ->typeName("F")
        ->check(brightnessFactorRange())
        ->required();
    app.addOption("--pass", options->pass,
                  optionText("Write the picture of this pass only, 1 to 6", "--pass 3 --output result.png"))
        ->typeName("K")
        ->check(integerBetween(1, brightnessPasses));
    return [options](const Console& console) {
        return onEach(console, *options, brighten, checkFactor, [&options](const ImageOutput& output) {
            BrightenArguments one = *options;
            one.output = output;
            return outputsOf(one);
        });
    };
}

}  // namespace likeness::darkroom
