// darkroom white: the white that a photograph was seen under, as a whole and at each pixel.
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/correlated_color_temperature.hpp>
#include <likeness/color/white_point.hpp>
#include "commands/subcommands.hpp"
#include "console/image_output_options.hpp"
#include "console/json_output.hpp"
#include "console/many_photographs.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/part_options.hpp"
#include "console/progress.hpp"
#include "console/white_warning.hpp"
#include "files/csv_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <memory>

namespace likeness::darkroom {
namespace {

struct WhiteArguments {
    PhotographInputs inputs;
    std::string input;  ///< the one that is worked on
    bool many = false;
    bool json = false;
    double sigma = 0;  ///< 0: the guided filter
    int diameter = 0;
    ImageOutput output;
    PartOptions part;
};

/// What is printed of a white.
struct FoundWhite {
    cv::Vec3d bgr;
    cv::Vec2d xy;
    PlanckianNeighbor nearest;
};

FoundWhite described(const WhiteEstimate& estimate) {
    const cv::Vec2d xy = estimate.white.chromaticity();
    return {estimate.bgr, xy, correlatedColorTemperature(xy)};
}

nlohmann::ordered_json rounded(double value) {
    return numberOrNull(roundedToNineDigits(value));
}

void printJson(const Console& console, const WhiteArguments& options, const cv::Mat& bgr, const PixelWeights& weights,
               const FoundWhite& white) {
    nlohmann::ordered_json json = jsonOfSchema("white", 1);
    json["input"] = {{"path", options.input}, {"width_pixels", bgr.cols}, {"height_pixels", bgr.rows}};
    if (const PartChoice part = chosenPart(options.part); !part.isWhole()) {
        const auto pixels = static_cast<double>(bgr.total());
        json["input"]["mask"] = jsonOfPart(part, weights.size().empty() ? pixels : weights.pixels(), pixels);
    }
    for (int c = 0; c < 3; ++c) {
        json["white_bgr"].push_back(rounded(white.bgr[c]));
    }
    json["chromaticity_xy"] = {rounded(white.xy[0]), rounded(white.xy[1])};
    json["correlated_color_temperature_kelvin"] = rounded(white.nearest.kelvin);
    json["planckian_distance_uv"] = rounded(white.nearest.duv);
    console.give(options.many ? lineOfJson(json) : indentedJson(json));
}

constexpr const char* tableHeading =
    "path,white_blue,white_green,white_red,chromaticity_x,chromaticity_y,correlated_color_temperature_kelvin,"
    "planckian_distance_uv\n";

/// A line of the table; what there is not is empty.
void printLine(const Console& console, const std::string& path, const FoundWhite& white) {
    std::string line = csvField(path);
    for (const double value : {white.bgr[0], white.bgr[1], white.bgr[2], white.xy[0], white.xy[1], white.nearest.kelvin,
                               white.nearest.duv}) {
        line += ',' + (std::isfinite(value) ? nineDigits(value) : std::string());
    }
    console.give(line + '\n');
}

void printText(const Console& console, const FoundWhite& white) {
    const auto orNone = [](double value, const char* unit = "") {
        return std::isfinite(value) ? nineDigits(value) + unit : std::string("none");
    };
    console.give("white B,G,R: " + nineDigits(white.bgr[0]) + ',' + nineDigits(white.bgr[1]) + ',' +
                 nineDigits(white.bgr[2]) + "\nchromaticity x,y: " + orNone(white.xy[0]) + ',' + orNone(white.xy[1]) +
                 "\ncorrelated colour temperature: " + orNone(white.nearest.kelvin, " K") +
                 "\ndistance from the Planckian locus (Duv): " + orNone(white.nearest.duv) + '\n');
}

cv::Mat whiteImage(const Console& console, const cv::Mat& bgr, const WhiteArguments& options) {
    LocalWhiteOptions local;
    if (options.sigma > 0) {
        local.filter = WhiteFilter::bilateral;
        local.sigma = options.sigma;
        local.diameter = options.diameter;
    }
    Progress progress(console, "white of each pixel");
    return localWhite(bgr, local, watchOf(console, progress));
}

ExitStatus estimateWhite(const Console& console, const WhiteArguments& options) {
    const bool withImage = !options.output.path.empty();
    OutputPlan plan(console, {options.input});
    plan.mayRead(options.part.mask);
    if (withImage) {
        checkImageOutput(options.output, plan);
    }
    const PartChoice part = chosenPart(options.part);
    const PartAccess access(console, part);
    cv::Mat bgr =
        options.sigma > 0 ? readBoundedUnitImage(access, options.input) : readUnitImage(access, options.input);
    const PixelWeights weights = countedPart(console, options.input, bgr, part);
    if (withImage) {
        checkFinite(options.input, bgr);
    }
    const WhiteEstimate estimate = grayWorldWhite(PhotographPart{bgr, weights}, watchOf(console));
    if (withImage) {
        writeImage(console, options.output, whiteImage(console, bgr, options), 1.0, "white of each pixel");
    }
    warnOfGuess(console, options.input, estimate);
    const FoundWhite white = described(estimate);
    if (options.json) {
        printJson(console, options, bgr, weights, white);
    } else if (options.many) {
        printLine(console, options.input, white);
    } else {
        printText(console, white);
    }
    return ExitStatus::done;
}

}  // namespace

Action declareWhite(OptionParser& app) {
    auto options = std::make_shared<WhiteArguments>();
    addPhotographs(app, options->inputs, "IN", "Photograph");
    app.addFlag("--json", options->json, optionText("Print the estimate as JSON", "--json"));
    addPartOptions(app, options->part);
    addImageOutput(app, options->output, false);
    addManyPhotographs(app, options->inputs);
    auto* const output = app.option("--output");
    auto* const sigma =
        app.addOption("--bilateral", options->sigma,
                      optionText("Smooth the result image by a bilateral filter instead of the guided filter of radius "
                                 "16: its width in values, 0.0001 to 100, where white is 1",
                                 "--bilateral 0.1"))
            ->typeName("SIGMA")
            ->check(numberBetween(0.0001, 100))
            ->needs(output);
    auto* const diameter =
        app.addOption("--diameter", options->diameter,
                      optionText("Diameter and width of the bilateral filter in pixels, 1 to 255", "--diameter 15"))
            ->typeName("PIXELS")
            ->check(integerBetween(1, 255))
            ->needs(sigma);
    sigma->needs(diameter);
    app.option("--quality")->needs(output);
    app.option("--bits")->needs(output);
    app.option("--subsampling")->needs(output);
    app.option("--depth")->needs(output);
    app.option("--strip")->needs(output);
    return [options](const Console& console) {
        options->many = asksForMany(options->inputs, options->output);
        return onEach(
            console, *options, estimateWhite, [](const WhiteArguments&) {}, {}, options->json ? "" : tableHeading);
    };
}

}  // namespace likeness::darkroom
