// darkroom structure: how strongly oriented the structure around each pixel is.
#include <likeness/structure/structure_tensor.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/progress.hpp"
#include "files/refusal.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <memory>

namespace likeness::darkroom {
namespace {

struct StructureArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is worked on
    std::string coherence;
    int size = 3;
    ImageOutput output;
};

ExitStatus mapStructure(const Console& console, const StructureArguments& options) {
    OutputPlan plan(console, {options.input});
    checkImageOutput(options.output, plan);
    const ImageOutput coherenceOutput = options.output.at(options.coherence, "--coherence");
    if (!options.coherence.empty()) {
        checkImageOutput(coherenceOutput, plan);
    }
    const cv::Mat image = readUnitImage(console, options.input);
    StructureOptions kernels;
    kernels.size = options.size;
    kernels.coherence = !options.coherence.empty();
    Structure structure;
    {
        Progress progress(console, "structure tensor");
        structure = orientedStructure(image, kernels, watchOf(console, progress));
    }
    writeImage(console, options.output, structure.strength, 1.0, "orientation strength, 0.5 (none) to 1");
    if (kernels.coherence) {
        writeImage(console, coherenceOutput, structure.coherence, 1.0, "coherence, 0 to 1, NaN on flat ground");
    }
    return ExitStatus::done;
}

}  // namespace

Action declareStructure(OptionParser& app) {
    auto options = std::make_shared<StructureArguments>();
    addPhotographs(app, options->inputs, "IN", "Image");
    addImageOutput(app, options->output);
    addManyPhotographs(app, options->inputs, {"--coherence"});
    app.addOption("--coherence", options->coherence,
                  optionText("Second result image: how much the two eigenvalues of the structure tensor differ, 0 to "
                             "1; NaN on flat ground",
                             "--coherence coherence.png"))
        ->typeName("FILE");
    app.addOption("--size", options->size,
                  optionText("Side of the Gaussian windows in pixels, an odd number from 1 to 99", "--size 5"))
        ->typeName("PIXELS")
        ->check(integerBetween(1, 99))
        ->check(OptionCheck(
            [](std::string& text) {
                return std::string("13579").find(text.back()) == std::string::npos ? "'" + text + "' is not odd"
                                                                                   : std::string();
            },
            ""))
        ->showDefault();
    return [options](const Console& console) {
        return onEach(console, *options, mapStructure, [](const StructureArguments&) {});
    };
}

}  // namespace likeness::darkroom
