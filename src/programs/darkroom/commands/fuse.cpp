// darkroom fuse: a bracket of exposures as response, radiance, tone-mapped and fused picture.
#include <likeness/exposure/bracket.hpp>
#include "commands/subcommands.hpp"
#include "console/exposure_times.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/prefix_output.hpp"
#include "console/progress.hpp"
#include "console/response_grid_check.hpp"
#include "console/text_output.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "pages/svg_plot.hpp"
#include "photofile/image_input.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

namespace likeness::darkroom {
namespace {

struct FuseArguments {
    std::vector<std::string> inputs;
    std::string times;
    std::string prefix;
    std::string response;
    std::string plot;
};

void checkOutputs(const Console& console, const FuseArguments& options) {
    if (options.prefix.empty() && options.response.empty() && options.plot.empty()) {
        throw Refusal("nothing is asked for: --output, --response or --plot must name a result");
    }
    OutputPlan plan(console, options.inputs);
    if (!options.prefix.empty()) {
        checkPrefixOutput(options.prefix, mergedResults(), plan);
    }
    if (!options.response.empty()) {
        plan.data("--response", options.response);
    }
    if (!options.plot.empty()) {
        plan.file("--plot", options.plot);
    }
}

/// In the 8 bits that the recovery takes.
cv::Mat readExposure(const Console& console, const std::string& path) {
    ProfileUse profile;
    cv::Mat image = readImage(console, path, &profile);
    if (image.depth() == CV_8U) {
        return image;
    }
    if (profile.origin == ProfileUse::Origin::embedded || profile.origin == ProfileUse::Origin::assumed) {
        console.tell("'" + path + "': its colours are reduced to 8 bits of sRGB, which the recovery takes");
    }
    cv::Mat bytes;
    unitImageOf(image).convertTo(bytes, CV_8U, 255);
    return bytes;
}

std::vector<cv::Mat> readExposures(const Console& console, const std::vector<std::string>& paths) {
    Progress progress(console, "reading", static_cast<int>(paths.size()));
    std::vector<cv::Mat> images;
    for (const std::string& path : paths) {
        images.push_back(readExposure(console, path));
        checkSameSize(paths.front(), images.front(), path, images.back());
        progress.step();
    }
    checkResponseGrid(paths.front(), images.front().size());
    return images;
}

std::string csvOf(const cv::Mat& response) {
    std::string text = "byte_value,relative_exposure_red,relative_exposure_green,relative_exposure_blue\n";
    for (int byte = 0; byte < response.rows; ++byte) {
        const auto& bgr = response.at<cv::Vec3f>(byte);
        text += fmt::format("{},{},{},{}\n", byte, nineDigits(bgr[2]), nineDigits(bgr[1]), nineDigits(bgr[0]));
    }
    return text;
}

std::string plotOf(const cv::Mat& response) {
    std::vector<PlotSeries> series = {
        {"red", {}, {}, "#d62f2f"}, {"green", {}, {}, "#2a9d3a"}, {"blue", {}, {}, "#3b7ddd"}};
    for (int byte = 0; byte < response.rows; ++byte) {
        for (int c = 0; c < 3; ++c) {
            PlotSeries& channel = series[static_cast<std::size_t>(2 - c)];
            channel.x.push_back(std::log2(response.at<cv::Vec3f>(byte)[c]));
            channel.y.push_back(byte);
        }
    }
    PlotFrame frame;
    frame.title = "Camera response";
    frame.xLabel = "relative exposure in stops (log2)";
    frame.yLabel = "byte value";
    return standaloneSvg(linePlot(frame, series));
}

void writeAndPublish(const Console& console, const std::string& prefix, const Bracket& bracket) {
    const StagedResults staged(prefix);
    staged.writeMerged(bracket.radiance, bracket.toneMapped, bracket.fused);
    staged.publish(console, mergedResults());
}

/// A bracket with the name of each exposure.
struct NamedBracket {
    std::vector<std::string> paths;
    std::vector<cv::Mat> images;
    std::vector<float> times;
};

/// So that the order in which the files are named, in which sums are taken, does not count.
NamedBracket inOrderOfTime(const NamedBracket& given) {
    std::vector<std::size_t> order(given.times.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return given.times[a] < given.times[b]; });
    NamedBracket sorted;
    for (const std::size_t k : order) {
        sorted.paths.push_back(given.paths[k]);
        sorted.images.push_back(given.images[k]);
        sorted.times.push_back(given.times[k]);
    }
    return sorted;
}

void warnOfSamePictures(const Console& console, const NamedBracket& bracket) {
    for (std::size_t k = 1; k < bracket.images.size(); ++k) {
        if (cv::norm(bracket.images[k - 1], bracket.images[k], cv::NORM_INF) == 0) {
            console.warn(
                fmt::format("'{}' and '{}' are the same picture, and their times, {:g} s and {:g} s, differ: the "
                            "response cannot be right",
                            bracket.paths[k - 1], bracket.paths[k], bracket.times[k - 1], bracket.times[k]));
        }
    }
}

ExitStatus fuse(const Console& console, const FuseArguments& options, bool timesGiven) {
    if (options.inputs.size() < 2) {
        throw Refusal("a bracket has at least two exposures, and one image is given");
    }
    checkOutputs(console, options);
    std::vector<float> times;
    if (timesGiven) {
        times = exposureTimesIn(options.times, options.inputs.size());
    }
    const std::vector<cv::Mat> read = readExposures(console, options.inputs);
    if (!timesGiven) {
        times = exposureTimesOf(console, options.inputs);
    }
    checkTimesDiffer(options.inputs, times);
    const NamedBracket exposures = inOrderOfTime({options.inputs, read, times});
    if (exposures.times != times) {
        console.tell("the exposures are taken in the order of their times");
    }
    warnOfSamePictures(console, exposures);

    Bracket bracket;
    {
        Progress progress(console, options.prefix.empty() ? "response" : "merging and fusing");
        const Watch watch = watchOf(console, progress);
        if (options.prefix.empty()) {
            bracket.response = recoverCameraResponse(exposures.images, exposures.times, watch);
        } else {
            bracket = mergeBracket(exposures.images, exposures.times, {}, watch);
        }
    }
    if (!options.prefix.empty()) {
        writeAndPublish(console, options.prefix, bracket);
    }
    if (!options.response.empty()) {
        writeResult(console, options.response, csvOf(bracket.response),
                    "camera response, byte value and relative exposure");
    }
    if (!options.plot.empty()) {
        writeResult(console, options.plot, plotOf(bracket.response), "camera response");
    }
    return ExitStatus::done;
}

}  // namespace

Action declareFuse(OptionParser& app) {
    auto options = std::make_shared<FuseArguments>();
    app.addOption("IMG", options->inputs, "Two or more exposures of one scene, of one size")->required();
    const Option* const times =
        app.addOption("--times", options->times,
                      optionText("Exposure times in seconds, fractions or numbers above 0, all different, in the order "
                                 "of the images; without it, those in the EXIF data of JPEG files",
                                 "--times 1/30,1/8,0.5"))
            ->typeName("LIST");
    addPrefixOutput(app, options->prefix, "PREFIX.hdr (radiance), PREFIX.jpg (tone-mapped), PREFIXfusion.jpg (fused)");
    app.addOption("--response", options->response,
                  optionText("Camera response as CSV: for each byte value the exposure that it stands for, per "
                             "channel, up to a factor that makes that of 128 about 1",
                             "--response response.csv"))
        ->typeName("FILE");
    app.addOption("--plot", options->plot,
                  optionText("Camera response as a plot, SVG: byte value over relative exposure in stops",
                             "--plot response.svg"))
        ->typeName("FILE");
    return [options, times](const Console& console) { return fuse(console, *options, times->count() > 0); };
}

}  // namespace likeness::darkroom
