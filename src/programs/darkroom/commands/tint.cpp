// darkroom tint: the light of one photograph on the detail of another.
#include <likeness/adaptation/two_scale_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/white_point.hpp>
#include "console/image_output_options.hpp"
#include "console/option_checks.hpp"
#include "console/progress.hpp"
#include "console/subcommands.hpp"
#include "files/refusal.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <cmath>
#include <memory>

namespace likeness::darkroom {
namespace {

struct Options {
    std::string flash;
    std::string nonFlash;
    std::string form = "gain";
    double sigma = 0.1;
    int diameter = 0;  ///< 0: a 25th of the diagonal
    ImageOutput output;
};

cv::Mat sharpenedOf(cv::Mat& bgr) {
    cv::Mat image(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, image);
    convertXYZtoSharpenedBGR(image, image);
    return image;
}

/// The gain at a pixel compares the no-flash photograph there with the local white of the flash photograph.
cv::Mat tintByGain(const Session& session, cv::Mat& flash, cv::Mat& nonFlash) {
    cv::Mat white;
    computeWhiteImg(flash, white, 0, session.diagnostics());
    cv::Mat sharpenedWhite = sharpenedOf(white);
    cv::Mat tinted = sharpenedOf(flash);
    cv::Mat target = sharpenedOf(nonFlash);
    cv::Mat notRead;
    biCAT(tinted, sharpenedWhite, sharpenedWhite, target, notRead, session.diagnostics());
    convertSharpenedBGRtoXYZ(tinted, tinted);
    convertXYZToBGRDirect(tinted, tinted);
    return tinted;
}

/// Gain and offset at a pixel compare the local whites of the two photographs. Works on `flash`.
cv::Mat tintByRegression(const Session& session, cv::Mat& flash, cv::Mat& nonFlash, const Options& options) {
    const int diagonal = static_cast<int>(std::hypot(flash.cols, flash.rows));
    const int diameter = options.diameter > 0 ? options.diameter : diagonal / 25;
    cv::Mat flashWhite;
    cv::Mat nonFlashWhite;
    computeWhiteImgVs2(flash, flashWhite, static_cast<float>(options.sigma), diameter);
    computeWhiteImgVs2(nonFlash, nonFlashWhite, static_cast<float>(options.sigma), diameter);
    cv::Mat everywhere(flash.size(), CV_32F, cv::Scalar(1));
    cv::Mat spare;
    // The maps of variance and covariance are on the scale of squares of 0..255.
    constexpr double ofSquares = 255.0 * 255.0;
    biCATRegression(flash, flashWhite, nonFlash, spare, nonFlashWhite, everywhere,
                    static_cast<float>(options.sigma * ofSquares), session.diagnostics());
    return flash;
}

ExitStatus tint(const Session& session, const Options& options, bool smoothingGiven) {
    OutputPlan plan(session, {options.flash, options.nonFlash});
    checkImageOutput(options.output, plan);
    const bool byGain = options.form == "gain";
    if (byGain && smoothingGiven) {
        throw Refusal("--sigma and --diameter belong to --form regression");
    }
    cv::Mat flash = readBoundedUnitImage(session, options.flash);
    cv::Mat nonFlash = readBoundedUnitImage(session, options.nonFlash);
    checkSameSize(options.flash, flash, options.nonFlash, nonFlash);
    cv::Mat tinted;
    {
        const Progress progress(session, "tinting");
        tinted = byGain ? tintByGain(session, flash, nonFlash) : tintByRegression(session, flash, nonFlash, options);
    }
    writePhotograph(session, options.output, tinted, "tinted photograph");
    return ExitStatus::done;
}

}  // namespace

Action declareTint(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("FLASH", options->flash, "Photograph whose detail is kept")->required();
    app.add_option("--like", options->nonFlash,
                   optionText("Photograph of the same scene and size whose colours are wanted", "--like ambient.jpg"))
        ->type_name("NOFLASH")
        ->required();
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    app.add_option("--form", options->form,
                   optionText("gain: each pixel of FLASH is scaled by NOFLASH there over the local white of FLASH; "
                              "regression: a gain and an offset from the local whites of both",
                              "--form regression"))
        ->type_name("FORM")
        ->check(oneOf({"gain", "regression"}))
        ->capture_default_str();
    const CLI::Option* const sigma =
        app.add_option("--sigma", options->sigma,
                       optionText("Regression: width of the bilateral filter for the local whites in values, above 0 "
                                  "and up to 10, where the image has the scale 0 to 1",
                                  "--form regression --sigma 0.2"))
            ->type_name("VALUE")
            ->check(numberAbove(0))
            ->check(numberBetween(0, 10))
            ->capture_default_str();
    const CLI::Option* const diameter =
        app.add_option("--diameter", options->diameter,
                       optionText("Regression: diameter of that filter in pixels, 1 to 999, a 25th of the image's "
                                  "diagonal if not given. Its time grows with the square",
                                  "--form regression --diameter 25"))
            ->type_name("PIXELS")
            ->check(integerBetween(1, 999));
    return [options, sigma, diameter](const Session& session) {
        return tint(session, *options, sigma->count() + diameter->count() > 0);
    };
}

}  // namespace likeness::darkroom
