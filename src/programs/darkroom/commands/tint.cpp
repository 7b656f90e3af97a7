// darkroom tint: the light of one photograph on the detail of another.
#include <likeness/adaptation/tint.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/progress.hpp"
#include "files/refusal.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <memory>

namespace likeness::darkroom {
namespace {

struct TintArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one with flash
    std::string nonFlash;
    std::string form = "gain";
    double sigma = 0.1;
    int diameter = 0;  ///< 0: a 25th of the diagonal
    bool smoothingGiven = false;
    ImageOutput output;
};

TintOptions tintOptions(const TintArguments& options) {
    TintOptions tint;
    tint.form = options.form == "gain" ? TintForm::gain : TintForm::regression;
    tint.sigma = options.sigma;
    tint.diameter = options.diameter;
    return tint;
}

void checkForm(const TintArguments& options) {
    if (options.form == "gain" && options.smoothingGiven) {
        throw Refusal("--sigma and --diameter belong to --form regression");
    }
}

ExitStatus tint(const Console& console, const TintArguments& options) {
    OutputPlan plan(console, {options.input, options.nonFlash});
    checkImageOutput(options.output, plan);
    const TintOptions form = tintOptions(options);
    checkForm(options);
    const cv::Mat flash = readBoundedUnitImage(console, options.input);
    const cv::Mat nonFlash = readBoundedUnitImage(console, options.nonFlash);
    checkSameSize(options.input, flash, options.nonFlash, nonFlash);
    cv::Mat tinted;
    {
        Progress progress(console, "tinting");
        tinted = likeness::tint(flash, nonFlash, form, watchOf(console, progress));
    }
    writePhotograph(console, options.output, tinted, "tinted photograph", options.input);
    return ExitStatus::done;
}

}  // namespace

Action declareTint(OptionParser& app) {
    auto options = std::make_shared<TintArguments>();
    addPhotographs(app, options->inputs, "FLASH", "Photograph whose detail is kept");
    app.addOption("--like", options->nonFlash,
                  optionText("Photograph of the same scene and size whose colours are wanted", "--like ambient.jpg"))
        ->typeName("NOFLASH")
        ->required();
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    addManyPhotographs(app, options->inputs);
    app.addOption("--form", options->form,
                  optionText("gain: each pixel of FLASH is scaled by NOFLASH there over the local white of FLASH; "
                             "regression: a gain and an offset from the local whites of both",
                             "--form regression"))
        ->typeName("FORM")
        ->check(oneOf({"gain", "regression"}))
        ->showDefault();
    const Option* const sigma =
        app.addOption("--sigma", options->sigma,
                      optionText("Regression: width of the bilateral filter for the local whites in values, above 0 "
                                 "and up to 10, where the image has the scale 0 to 1",
                                 "--form regression --sigma 0.2"))
            ->typeName("VALUE")
            ->check(numberAbove(0))
            ->check(numberBetween(0, 10))
            ->showDefault();
    const Option* const diameter =
        app.addOption("--diameter", options->diameter,
                      optionText("Regression: diameter of that filter in pixels, 1 to 999, a 25th of the image's "
                                 "diagonal if not given. Its time grows with the square",
                                 "--form regression --diameter 25"))
            ->typeName("PIXELS")
            ->check(integerBetween(1, 999));
    return [options, sigma, diameter](const Console& console) {
        options->smoothingGiven = sigma->count() + diameter->count() > 0;
        return onEach(console, *options, tint, checkForm);
    };
}

}  // namespace likeness::darkroom
