// darkroom convert: a picture to another colour space, and back.
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/clipped_values.hpp>
#include <likeness/color/lab.hpp>
#include <likeness/color/lab_range.hpp>
#include <likeness/color/lms_lalphabeta.hpp>
#include <likeness/color/opponent.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/white.hpp>
#include <likeness/color/yuv.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/many_photographs.hpp"
#include "console/option_checks.hpp"
#include "console/progress.hpp"
#include "files/refusal.hpp"
#include "photofile/clipping.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"
#include "photofile/space_mark.hpp"

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <memory>
#include <vector>

namespace likeness::darkroom {
namespace {

struct ConvertArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is worked on
    std::string to;
    std::string from;
    std::string white;
    std::string xyzWhite;
    bool unmarked = false;
    ImageOutput output;
};

White labWhite(const ConvertArguments& options) {
    return labWhiteFromBgr(tripleIn(options.white.empty() ? "1,1,1" : options.white));
}

/// Parts of "X,Y,Z", or of a chromaticity "x,y", which is that of a white of Y = 1.
White xyzWhite(const ConvertArguments& options) {
    const bool triple = std::count(options.xyzWhite.begin(), options.xyzWhite.end(), ',') == 2;
    return triple ? White{tripleIn(options.xyzWhite)} : White::fromChromaticity(chromaticityIn(options.xyzWhite));
}

/// A colour space that a picture is converted to. The channels are in the library's order.
struct Space {
    const char* name;
    const char* channels;  ///< names of the channels, in the order of the file
    bool longWaveLast;     ///< whether the library has the channels in the reverse order, like those of B, G, R
    cv::Mat (*fromBgr)(const cv::Mat& bgr, const ConvertArguments& options);
    cv::Mat (*toBgr)(const cv::Mat& values, const ConvertArguments& options);  ///< null where no way leads back
};

/// A conversion of the library that has no options.
template <cv::Mat (*convert)(const cv::Mat&)>
cv::Mat plainly(const cv::Mat& image, const ConvertArguments& /*options*/) {
    return convert(image);
}

cv::Mat toXyz(const cv::Mat& bgr, const ConvertArguments& options) {
    return options.xyzWhite.empty() ? xyzFromBgr(bgr) : xyzFromBgr(bgr, xyzWhite(options));
}

cv::Mat fromXyz(const cv::Mat& xyz, const ConvertArguments& options) {
    return options.xyzWhite.empty() ? bgrFromXyz(xyz) : bgrFromXyz(xyz, xyzWhite(options));
}

/// Image files have one channel, or three.
cv::Mat toOpponent(const cv::Mat& bgr, const ConvertArguments& /*options*/) {
    const cv::Mat planes[] = {opponentFromBgr(bgr), cv::Mat::zeros(bgr.size(), CV_32F)};
    cv::Mat threeChannels;
    cv::merge(planes, 2, threeChannels);
    return threeChannels;
}

cv::Mat toLab(const cv::Mat& bgr, const ConvertArguments& options) {
    return labFromBgr(bgr, labWhite(options));
}

cv::Mat fromLab(const cv::Mat& lab, const ConvertArguments& options) {
    return bgrFromLab(lab, labWhite(options));
}

const std::vector<Space>& spaces() {
    static const std::vector<Space> all = {
        {"xyz", "X, Y, Z", false, toXyz, fromXyz},
        {"sharpened", "sharpened R, G, B", true, plainly<sharpenedFromBgr>, plainly<bgrFromSharpened>},
        {"log-lms", "log10 L, log10 M, log10 S", false, plainly<logLmsFromBgr>, plainly<bgrFromLogLms>},
        {"lalphabeta", "l, alpha, beta", false, plainly<lalphabetaFromBgr>, plainly<bgrFromLalphabeta>},
        {"opponent", "red-green, yellow-blue, 0", false, toOpponent, nullptr},
        {"yuv", "Y, U, V", false, plainly<yuvFromBgr>, plainly<bgrFromYuv>},
        {"lab", "L*, a*, b*", false, toLab, fromLab},
    };
    return all;
}

const Space& spaceOf(const std::string& name) {
    for (const Space& space : spaces()) {
        if (name == space.name) {
            return space;
        }
    }
    throw Refusal("there is no colour space '" + name + "'");
}

/// The first channel is where a file that holds colours has red, which the image library has last.
cv::Mat reversed(const cv::Mat& image) {
    cv::Mat result;
    cv::cvtColor(image, result, cv::COLOR_BGR2RGB);
    return result;
}

/// What a converted file says of its numbers: the space, and the white that they go by where they go by one.
std::string markOf(const ConvertArguments& options, const std::string& space) {
    std::string white = space == "lab" ? options.white : space == "xyz" ? options.xyzWhite : "";
    if (space == "lab" && white.empty()) {
        white = "1,1,1";
    }
    return white.empty() ? space : space + ' ' + white;
}

/// Refuses what --to has not written; warns of another white.
void checkMark(const Console& console, const ConvertArguments& options) {
    const std::string mark = spaceMarkOf(options.input);
    if (options.unmarked) {
        return;
    }
    if (mark.substr(0, mark.find(' ')) != options.from) {
        throw Refusal(fmt::format(
            "'{}' {}, and --from {} takes what --to {} writes; --unmarked takes it all the same", options.input,
            mark.empty() ? "is a picture as far as it says" : "says that it holds " + mark.substr(0, mark.find(' ')),
            options.from, options.from));
    }
    if (const std::string asked = markOf(options, options.from); mark != asked) {
        const auto whiteIn = [](const std::string& text) {
            const std::size_t space = text.find(' ');
            return space == std::string::npos ? "none" : text.substr(space + 1);
        };
        console.warn(fmt::format("'{}' was made with the white {}, and is converted back with {}", options.input,
                                 whiteIn(mark), whiteIn(asked)));
    }
}

ExitStatus convertTo(const Console& console, const ConvertArguments& options) {
    const Space& space = spaceOf(options.to);
    const ImageFormat format = imageFormatOf(options.output.path);
    const bool lab = options.to == "lab";
    if (format != ImageFormat::tiff && !(lab && format == ImageFormat::png)) {
        throw Refusal(fmt::format("--output: '{}' cannot hold {}: take a .tif{}", options.output.path, space.channels,
                                  lab ? " or a .png" : ""));
    }
    if (format == ImageFormat::tiff && !holdsFloats(options.output)) {
        throw Refusal(fmt::format("--depth: a .tif of {} has floats; leave the option out", options.to));
    }
    const cv::Mat bgr = readUnitImage(console, options.input);
    cv::Mat values;
    {
        const Progress progress(console, "converting");
        values = space.fromBgr(bgr, options);
    }
    std::string what = std::string(space.channels) + " as red, green, blue";
    double greatest = 1.0;
    if (format == ImageFormat::png) {
        values = lab255FromLab(values);
        greatest = 255.0;
        what = "L* times 2.55, a* + 128, b* + 128 as red, green, blue";
    }
    ImageOutput output = options.output;
    output.mark = markOf(options, options.to);
    writeImage(console, output, space.longWaveLast ? values : reversed(values), greatest, what);
    return ExitStatus::done;
}

ExitStatus convertFrom(const Console& console, const ConvertArguments& options) {
    const Space& space = spaceOf(options.from);
    if (space.toBgr == nullptr) {
        throw Refusal(fmt::format("--from: {} cannot be converted back: it holds no lightness", space.name));
    }
    if (imageFormatOf(options.input) == ImageFormat::hdr) {
        throw Refusal(
            fmt::format("'{}' holds linear red, green and blue: --from {} takes the float TIFF that --to {} "
                        "writes",
                        options.input, space.name, space.name));
    }
    const cv::Mat image = readStoredNumbers(console, options.input);
    const bool integers = image.depth() != CV_32F;
    if (integers && options.from != "lab") {
        throw Refusal(fmt::format("'{}' holds integers: --from {} takes the float TIFF that --to {} writes",
                                  options.input, space.name, space.name));
    }
    checkMark(console, options);
    cv::Mat values = space.longWaveLast ? image : reversed(image);
    if (integers) {
        values = labFromLab255(values);
    }
    cv::Mat bgr;
    {
        const Progress progress(console, "converting");
        bgr = space.toBgr(values, options);
    }
    writePhotograph(console, options.output, bgr);
    if (options.from == "lab" || !options.xyzWhite.empty()) {
        tellClipped(console, options.output.path, valuesAtLimits(bgr), bgr.size(),
                    "stand at the ends of 0..1, where the way back clips");
    }
    return ExitStatus::done;
}

void checkCombination(const ConvertArguments& options) {
    if (options.to.empty() == options.from.empty()) {
        throw Refusal("one of --to and --from is needed, and not both");
    }
    const std::string& space = options.to.empty() ? options.from : options.to;
    if (!options.white.empty() && space != "lab") {
        throw Refusal("--white: only lab has a white of its own, not " + space);
    }
    if (!options.xyzWhite.empty() && space != "xyz") {
        throw Refusal("--xyz-white: only xyz is made under it, not " + space);
    }
    if (!options.to.empty() && !options.output.profile.empty()) {
        throw Refusal("--output-profile: " + space + " holds no colours of a profile; leave the option out");
    }
}

ExitStatus convert(const Console& console, const ConvertArguments& options) {
    checkCombination(options);
    const std::string& space = options.to.empty() ? options.from : options.to;
    if (!options.from.empty() && console.profiles().assumed != nullptr) {
        throw Refusal("--assume-profile: " + space + " is not read through a profile; leave the option out");
    }
    OutputPlan plan(console, {options.input});
    checkImageOutput(options.output, plan);
    return options.to.empty() ? convertFrom(console, options) : convertTo(console, options);
}

OptionCheck spaceName() {
    std::vector<std::string> names;
    for (const Space& space : spaces()) {
        names.emplace_back(space.name);
    }
    return oneOf(names);
}

}  // namespace

Action declareConvert(OptionParser& app) {
    auto options = std::make_shared<ConvertArguments>();
    addPhotographs(app, options->inputs, "IN", "Image to convert");
    app.addOption(
           "--to", options->to,
           optionText("Colour space to convert to: xyz (D65, Y = 1 for white), sharpened (CAT02 cone responses), "
                      "log-lms (decimal logarithms of cone responses), lalphabeta, opponent (red-green, "
                      "yellow-blue, -1 to 1), yuv (luma 0 to 1, B - Y, R - Y) or lab (L* 0 to 100). The result "
                      "is a .tif with its first channel as red, for lab also a .png",
                      "--to lab"))
        ->typeName("SPACE")
        ->check(spaceName());
    auto* const from =
        app.addOption(
               "--from", options->from,
               optionText("Colour space to convert back from, to a picture: IN is what --to wrote. Any but opponent",
                          "--from lab"))
            ->typeName("SPACE")
            ->check(spaceName());
    app.addFlag("--unmarked", options->unmarked,
                optionText("With --from, take a file that does not say that --to has written it", "--unmarked"))
        ->needs(from);
    app.addOption("--white", options->white,
                  optionText("White of lab, gamma-encoded, each above 0 and up to 1, in the order in which darkroom "
                             "white prints it; 1,1,1 if not given",
                             "--white 0.93,1,0.97"))
        ->typeName("B,G,R")
        ->check(positiveTriple(1));
    app.addOption(
           "--xyz-white", options->xyzWhite,
           optionText("White of xyz: the sRGB primaries are scaled to give it, and the way back is limited to 0 "
                      "to 1. Each above 0 and up to 2, or a chromaticity x,y; without it the fixed matrix of sRGB "
                      "under D65",
                      "--xyz-white 0.9642,1,0.8249"))
        ->typeName("X,Y,Z")
        ->check(tripleOrChromaticity(2));
    addImageOutput(app, options->output);
    addOutputProfile(app, options->output);
    addManyPhotographs(app, options->inputs);
    return [options](const Console& console) {
        if (!options->to.empty() && options->inputs.format.empty() && asksForMany(options->inputs, options->output)) {
            options->inputs.format = "tif";
        }
        return onEach(console, *options, convert, checkCombination);
    };
}

}  // namespace likeness::darkroom
