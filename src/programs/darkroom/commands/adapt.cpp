// darkroom adapt: a photograph as if it had been seen under another light.
#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/adaptation/global_adaptation.hpp>
#include <likeness/adaptation/local_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/clipped_values.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/white_point.hpp>
#include "console/image_output_options.hpp"
#include "console/option_checks.hpp"
#include "console/progress.hpp"
#include "console/subcommands.hpp"
#include "files/refusal.hpp"
#include "photofile/clipping.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <limits>
#include <memory>

namespace likeness::darkroom {
namespace {

struct Options {
    std::string input;
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

/// The sharpened white of each pixel of a picture, which is given in B, G, R and in X, Y, Z.
cv::Mat sourceWhite(const cv::Mat& bgr, cv::Mat& xyz, const std::string& kind, const Diagnostics& diagnostics) {
    cv::Mat white;
    if (kind == "gray-world") {
        cv::Mat triple(1, 1, CV_32FC3);
        cv::Mat estimate(1, 1, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
        cv::Mat noMask;
        computeWhitePointFromGrayWorld(bgr, triple, estimate, noMask, diagnostics);
        convertBGRToXYZDirect(triple, triple);
        convertXYZtoSharpenedBGR(triple, triple);
        const auto& value = triple.at<cv::Vec3f>(0, 0);
        return {bgr.size(), CV_32FC3, cv::Scalar(value[0], value[1], value[2])};
    }
    if (kind == "smoothed") {
        constexpr int radius = 16;
        computeWhiteImg(xyz, white, radius, diagnostics);
    } else {
        white = xyz.clone();
    }
    convertXYZtoSharpenedBGR(white, white);
    return white;
}

void adaptToD65(cv::Mat& bgr, const std::string& whiteKind, const Diagnostics& diagnostics) {
    cv::Mat xyz(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, xyz);
    cv::Mat white = sourceWhite(bgr, xyz, whiteKind, diagnostics);
    cv::Mat sharpened(bgr.size(), CV_32FC3);
    convertXYZtoSharpenedBGR(xyz, sharpened);
    iCAMCATByD65(sharpened, white, xyz);
    convertSharpenedBGRtoXYZ(sharpened, xyz);
    convertXYZToBGRDirect(xyz, bgr);
}

/// The white of a photograph for every pixel of a picture of `size`, sharpened.
cv::Mat grayWorldWhite(const cv::Mat& bgr, cv::Size size, const Diagnostics& diagnostics) {
    cv::Mat xyz;
    const cv::Mat white = sourceWhite(bgr, xyz, "gray-world", diagnostics);
    const auto& value = white.at<cv::Vec3f>(0, 0);
    return {size, CV_32FC3, cv::Scalar(value[0], value[1], value[2])};
}

/// Undoes an adaptation from the light of `reference`.
/// @param source  the photograph to whose light `bgr` was adapted; empty for D65
void adaptBack(cv::Mat& bgr, const cv::Mat& source, const cv::Mat& reference, const Diagnostics& diagnostics) {
    cv::Mat xyz(bgr.size(), CV_32FC3);
    convertBGRToXYZDirect(bgr, xyz);
    cv::Mat sharpened(bgr.size(), CV_32FC3);
    convertXYZtoSharpenedBGR(xyz, sharpened);
    cv::Mat white = grayWorldWhite(reference, bgr.size(), diagnostics);
    if (source.empty()) {
        inverseCATByD65(sharpened, white, xyz);
    } else {
        cv::Mat adaptedTo = grayWorldWhite(source, bgr.size(), diagnostics);
        inverseCAT(sharpened, adaptedTo, white, sharpened);
    }
    convertSharpenedBGRtoXYZ(sharpened, xyz);
    convertXYZToBGRDirect(xyz, bgr);
}

ExitStatus adapt(const Session& session, const Options& options) {
    if (options.to.empty() == options.like.empty()) {
        throw Refusal("one of --to d65 and --like REF is needed, and not both");
    }
    OutputPlan plan(session, {options.input, options.like, options.mask, options.from == "d65" ? "" : options.from});
    checkImageOutput(options.output, plan);
    cv::Mat image = readUnitImage(session, options.input);
    checkFinite(options.input, image);
    cv::Mat reference;
    cv::Mat source;
    cv::Mat leftOut;
    if (!options.like.empty()) {
        reference = readUnitImage(session, options.like);
        checkFinite(options.like, reference);
    }
    if (!options.from.empty() && options.from != "d65") {
        source = readUnitImage(session, options.from);
        checkFinite(options.from, source);
    }
    if (!options.mask.empty()) {
        leftOut = readMask(session, options.mask);
        checkSameSize(options.input, image, options.mask, leftOut);
    }
    std::string what;
    ClippedValues limited;
    {
        const Progress progress(session, "adapting");
        if (!options.to.empty()) {
            adaptToD65(image, options.white, session.diagnostics());
            what = "adapted to D65";
        } else if (!options.from.empty()) {
            adaptBack(image, source, reference, session.diagnostics());
            what = "adapted back";
        } else if (options.local) {
            performLocalCAMCA(image, reference, static_cast<float>(options.blend), session.diagnostics());
            what = "adapted pixel by pixel";
        } else {
            const cv::Mat before = image.clone();
            performIlluminantAdaptation(image, reference, static_cast<float>(options.degree), leftOut,
                                        session.diagnostics());
            limited = valuesBroughtToLimits(before, image);
            what = "adapted as a whole";
        }
    }
    writePhotograph(session, options.output, image, what);
    tellClipped(session, options.output.path, limited, image.size(),
                "came to the limits of 0..1 and are clipped there");
    return ExitStatus::done;
}

}  // namespace

Action declareAdapt(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("IN", options->input, "Photograph to adapt")->required();
    auto* const to =
        app.add_option("--to", options->to, optionText("Light to adapt to: d65, daylight of 6504 K", "--to d65"))
            ->type_name("LIGHT")
            ->check(oneOf({"d65"}));
    app.add_option(
           "--white", options->white,
           optionText("With --to, the white to adapt from: gray-world (one for the photograph), smoothed (that of "
                      "each pixel, by a guided filter of radius 16) or own (each pixel's colour is its white, "
                      "as darkroom compare adapts)",
                      "--white smoothed"))
        ->type_name("KIND")
        ->check(oneOf({"gray-world", "smoothed", "own"}))
        ->capture_default_str()
        ->needs(to);
    auto* const like =
        app.add_option("--like", options->like,
                       optionText("Photograph whose gray-world white is adapted to; of any size", "--like ref.jpg"))
            ->type_name("REF");
    auto* const degree =
        app.add_option(
               "--degree", options->degree,
               optionText("With --like, the degree of adaptation in each of up to 80 steps, 0 (none) to 1 (full)",
                          "--degree 0.8"))
            ->type_name("D")
            ->check(numberBetween(0, 1))
            ->capture_default_str()
            ->needs(like);
    auto* const mask =
        app.add_option("--mask", options->mask,
                       optionText("With --like, a picture of IN's size: pixels that it shows brighter than 100 of 255 "
                                  "are left out; they keep their colours and do not count for the white",
                                  "--mask shadow.png"))
            ->type_name("FILE")
            ->needs(like);
    auto* const local = app.add_flag("--local", options->local,
                                     optionText("With --like, adapt each pixel from the white around it", "--local"))
                            ->needs(like)
                            ->excludes(degree)
                            ->excludes(mask);
    app.add_option("--from", options->from,
                   optionText("With --like, undo an adaptation: IN was adapted to d65, or to the gray-world white of a "
                              "photograph, and goes back to the gray-world white of REF",
                              "--from d65"))
        ->type_name("LIGHT")
        ->needs(like)
        ->excludes(degree)
        ->excludes(mask)
        ->excludes(local);
    app.add_option("--blend", options->blend,
                   optionText("With --local, the share of REF's white in the white that is adapted to, 0 (the pixel's "
                              "own, nothing changes) to 1",
                              "--blend 0.5"))
        ->type_name("SHARE")
        ->check(numberBetween(0, 1))
        ->capture_default_str()
        ->needs(local);
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    return [options](const Session& session) { return adapt(session, *options); };
}

}  // namespace likeness::darkroom
