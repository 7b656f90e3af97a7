// darkroom transfer: the palette of one photograph on another.
#include <likeness/transport/color_transfer.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/part_options.hpp"
#include "console/progress.hpp"
#include "files/refusal.hpp"
#include "photofile/clipping.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <vector>

namespace likeness::darkroom {
namespace {

struct TransferArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is worked on
    std::string palette;
    int dims = 3;
    std::string form = "centred";
    double t = 1;
    int frames = 0;  ///< 0: one picture, at `t`
    ImageOutput output;
    PartOptions part;
};

/// Results with their places on the path.
struct Frame {
    ImageOutput output;
    double t;
};

std::vector<Frame> framesOf(const TransferArguments& options) {
    if (options.frames == 0) {
        return {{options.output, options.t}};
    }
    const std::filesystem::path path = options.output.path;
    const std::size_t digits = std::max<std::size_t>(3, std::to_string(options.frames - 1).size());
    std::vector<Frame> frames;
    for (int k = 0; k < options.frames; ++k) {
        const std::string name = fmt::format("{}_{:0{}}{}", path.stem().string(), k, digits, path.extension().string());
        frames.push_back({options.output.at((path.parent_path() / name).string(), options.output.option),
                          static_cast<double>(k) / (options.frames - 1)});
    }
    return frames;
}

TransferOptions transferOptions(const TransferArguments& options) {
    TransferOptions transfer;
    transfer.channels = options.dims == 2 ? TransferChannels::chroma : TransferChannels::all;
    transfer.form = options.form == "centred" ? TransferForm::centered : TransferForm::bonneel;
    return transfer;
}

void checkForm(const TransferArguments& options) {
    const TransferOptions form = transferOptions(options);
    if (form.form == TransferForm::bonneel && form.channels != TransferChannels::chroma) {
        throw Refusal("--form bonneel: only with --dims 2");
    }
}

ExitStatus transfer(const Console& console, const TransferArguments& options) {
    checkForm(options);
    const TransferOptions form = transferOptions(options);
    OutputPlan plan(console, {options.input, options.palette});
    for (const std::string& file : options.part.files()) {
        plan.mayRead(file);
    }
    const std::vector<Frame> frames = framesOf(options);
    for (const Frame& frame : frames) {
        checkImageOutput(frame.output, plan);
    }
    const auto [inputPart, palettePart] = chosenParts(options.part);
    cv::Mat input = readUnitImage(PartAccess(console, inputPart), options.input);
    cv::Mat palette = readUnitImage(PartAccess(console, palettePart), options.palette);
    const PixelWeights weights = countedPart(console, options.input, input, inputPart);
    const PixelWeights paletteWeights = countedPart(console, options.palette, palette, palettePart);
    checkFinite(options.input, input);
    checkFinite(options.palette, palette);
    tellClippedInput(console, options.input, input);
    tellClippedInput(console, options.palette, palette);
    Progress progress(console, "transferring colours", static_cast<int>(frames.size()));
    const ColorTransfer colors(PhotographPart{input, weights}, PhotographPart{palette, paletteWeights}, form,
                               watchOf(console));
    for (const Frame& frame : frames) {
        const Transfer moved = colors.at(frame.t);
        writePhotograph(console, frame.output, moved.image, fmt::format("t = {:.4g}", frame.t), options.input);
        tellClipped(console, frame.output.path, moved.clipped, moved.image.size(),
                    "have colours outside sRGB and are clipped");
        progress.step();
    }
    return ExitStatus::done;
}

}  // namespace

Action declareTransfer(OptionParser& app) {
    auto options = std::make_shared<TransferArguments>();
    addPhotographs(app, options->inputs, "IN", "Photograph whose colours are moved");
    app.addOption("--palette", options->palette,
                  optionText("Photograph whose colours are wanted; of any size", "--palette sunset.jpg"))
        ->typeName("TARGET")
        ->required();
    app.addOption("--dims", options->dims,
                  optionText("What is moved: 2, a* and b* of CIE L*a*b*, or 3, with lightness", "--dims 2"))
        ->typeName("N")
        ->check(integerBetween(2, 3))
        ->showDefault();
    auto* const t = app.addOption("--t", options->t,
                                  optionText("How far to go, 0 (nowhere) to 1 (all the way to the palette)", "--t 0.5"))
                        ->typeName("T")
                        ->check(numberBetween(0, 1))
                        ->showDefault();
    auto* const form =
        app.addOption("--form", options->form,
                      optionText("With --dims 2, where the mean of IN is taken off: before the map (centred), or after "
                                 "it (bonneel), so that the map moves the mean too",
                                 "--form bonneel"))
            ->typeName("FORM")
            ->check(oneOf({"centred", "bonneel"}))
            ->excludes(t)
            ->showDefault();
    app.addOption("--frames", options->frames,
                  optionText("Pictures of the way in so many equal steps from t = 0 to 1, 2 to 9999: --output out.png "
                             "gives out_000.png, out_001.png, ...",
                             "--frames 25"))
        ->typeName("N")
        ->check(integerBetween(2, 9999))
        ->excludes(t)
        ->excludes(form);
    addPartOptions(app, options->part);
    addMaskOption(app, "--first-mask", options->part.firstMask, "IN, in place of --mask");
    addMaskOption(app, "--second-mask", options->part.secondMask, "TARGET, in place of --mask");
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    addManyPhotographs(app, options->inputs);
    return [options](const Console& console) {
        return onEach(console, *options, transfer, checkForm, [&options](const ImageOutput& output) {
            std::vector<ImageOutput> files;
            TransferArguments one = *options;
            one.output = output;
            for (const Frame& frame : framesOf(one)) {
                files.push_back(frame.output);
            }
            return files;
        });
    };
}

}  // namespace likeness::darkroom
