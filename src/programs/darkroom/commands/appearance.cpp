// darkroom appearance: how bright, light, colourful, saturated and of what hue each pixel of an image looks.
#include <likeness/comparison/analysis.hpp>
#include "batch/comparison_remarks.hpp"
#include "batch/correlates.hpp"
#include "commands/subcommands.hpp"
#include "console/comparison_warnings.hpp"
#include "console/json_output.hpp"
#include "console/many_photographs.hpp"
#include "console/map_statistics.hpp"
#include "console/model_options.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/part_options.hpp"
#include "console/profile_result.hpp"
#include "console/progress.hpp"
#include "diagnostics/shown_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "pages/map_picture.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

constexpr int jsonVersion = 1;

struct AppearanceArguments {
    PhotographInputs inputs;
    std::string input;   ///< the one that is worked on
    ImageOutput output;  ///< of one photograph: where its maps go, and what their names begin with
    bool many = false;
    bool json = false;
    ModelOptions model;
    PartOptions part;
};

struct Described {
    Correlate correlate;
    MapStatistics statistics;
};

std::vector<Correlate> allCorrelates() {
    std::vector<Correlate> all(comparedCorrelates.begin(), comparedCorrelates.end());
    all.push_back(hueCorrelate);
    return all;
}

bool isHue(const Correlate& correlate) {
    return correlate.map == hueCorrelate.map;
}

/// "maps/cat" and a correlate: "maps/cat_brightness.tif".
std::string mapPath(const ImageOutput& output, const Correlate& correlate, const char* extension) {
    return output.path + '_' + correlate.name + extension;
}

std::vector<ImageOutput> mapsOf(const ImageOutput& output) {
    std::vector<ImageOutput> maps;
    for (const Correlate& correlate : allCorrelates()) {
        for (const char* const extension : {".tif", ".png"}) {
            maps.push_back(output.at(mapPath(output, correlate, extension), "--output"));
        }
    }
    return maps;
}

MapScale scaleFor(const Described& described, const ChosenModel& model) {
    if (isHue(described.correlate)) {
        return degreesScale(labelOf(described.correlate) + ", degrees", model.isPublished() ? 0 : -180);
    }
    const MapStatistics& statistics = described.statistics;
    return roundScale(labelOf(described.correlate), statistics.percentile(1), statistics.percentile(99));
}

/// "most frequent hue 37 degrees, 1.25 %"
std::string mostFrequentHue(const BinProbabilities& hue) {
    const auto most =
        std::max_element(hue.begin(), hue.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    return most == hue.end() ? "hue: no pixel has one\n"
                             : fmt::format("most frequent hue {} degrees, {:.3g} %\n", most->first, 100 * most->second);
}

/// A column for each correlate, a line for each statistic.
std::string table(const std::vector<Described>& all) {
    constexpr int width = 15;
    std::string text = fmt::format("{:<12}", "");
    for (const Described& one : all) {
        text += fmt::format("{:>{}}", labelOf(one.correlate), width);
    }
    text += '\n';
    const auto line = [&](const std::string& name, auto valueOf) {
        text += fmt::format("{:<12}", name);
        for (const Described& one : all) {
            text += fmt::format("{:>{}}", valueOf(one.statistics), width);
        }
        text += '\n';
    };
    line("minimum", [](const MapStatistics& s) { return nineDigits(s.minimum); });
    for (std::size_t k = 0; k < statisticsPercentages.size(); ++k) {
        line(fmt::format("{} %", statisticsPercentages[k]),
             [k](const MapStatistics& s) { return nineDigits(s.percentiles[k]); });
    }
    line("maximum", [](const MapStatistics& s) { return nineDigits(s.maximum); });
    line("mean", [](const MapStatistics& s) { return nineDigits(s.mean); });
    line("NaN", [](const MapStatistics& s) { return std::to_string(s.nanCount); });
    return text;
}

std::string jsonText(const AppearanceArguments& options, const ChosenModel& model, const Analysis& analysis,
                     const ProfileUse& profile, const std::vector<Described>& all,
                     const std::optional<BinProbabilities>& hue) {
    nlohmann::ordered_json json = jsonOfSchema("appearance", jsonVersion);
    const cv::Size size = analysis.size();
    json["input"] = {{"path", validUtf8(options.input)}, {"width_pixels", size.width}, {"height_pixels", size.height}};
    addProfile(json["input"], profile);
    if (const PartChoice part = chosenPart(options.part); !part.isWhole()) {
        json["input"]["mask"] = jsonOfPart(part, analysis.countedPixels(), size.area());
    }
    if (!model.isDefault()) {
        json["model"] = jsonOf(model);
    }
    for (const Described& one : all) {
        const MapStatistics& s = one.statistics;
        nlohmann::ordered_json entry = {{"symbol", one.correlate.symbol}, {"minimum", roundedToNineDigits(s.minimum)}};
        for (std::size_t k = 0; k < statisticsPercentages.size(); ++k) {
            entry[fmt::format("percentile_{}", statisticsPercentages[k])] = roundedToNineDigits(s.percentiles[k]);
        }
        entry["maximum"] = roundedToNineDigits(s.maximum);
        entry["mean"] = roundedToNineDigits(s.mean);
        entry["count"] = s.count;
        entry["nan_count"] = s.nanCount;
        json["correlates"][isHue(one.correlate) ? "hue_degrees" : one.correlate.name] = entry;
    }
    if (hue) {
        std::vector<double> shares(360, 0.0);
        for (const auto& [degree, share] : *hue) {
            shares.at(static_cast<std::size_t>(degree)) = roundedToNineDigits(share);
        }
        json["hue_distribution"] = shares;
    }
    return options.many ? lineOfJson(json) : indentedJson(json);
}

/// The mean of angles from 0 to 360 among them.
MapStatistics statisticsOfHue(const cv::Mat& map, const PixelWeights& weights, const ChosenModel& model) {
    MapStatistics statistics = statisticsOfDegrees(map, weights);
    statistics.mean += model.isPublished() && statistics.mean < 0 ? 360 : 0;
    return statistics;
}

ExitStatus mapAppearance(const Console& console, const AppearanceArguments& options) {
    const ChosenModel model = chosenModel(options.model);
    if (console.diagnostics().wantsFiles() && !model.isDefault()) {
        throw Refusal(
            "--dumps: the diagnostic files are those of the default model; leave out --hue and the options of the "
            "model");
    }
    const PartChoice part = chosenPart(options.part);
    if (console.diagnostics().wantsFiles() && !part.isWhole()) {
        throw Refusal(
            "--dumps: the diagnostic files are those of whole photographs; leave out the options that say "
            "what counts");
    }
    OutputPlan plan(console, {options.input});
    plan.mayRead(options.model.viewing.conditions);
    plan.mayRead(options.part.mask);
    for (const ImageOutput& map : mapsOf(options.output)) {
        plan.file("--output", map.path);
    }
    warnOfModel(console, model);
    ProfileUse profile;
    cv::Mat image = readImage(PartAccess(console, part, model.whiteLuminance), options.input, &profile);
    const PixelWeights weights = countedPart(console, options.input, image, part);
    std::vector<Described> all;
    Progress progress(console, "appearance", 7);
    const Analysis analysis = [&] {
        try {
            AnalysisOptions asked = model.analysis(true);
            asked.weights = weights;
            return analyze(image, asked, watchOf(console));
        } catch (const std::invalid_argument& problem) {
            throw Refusal("'" + options.input + '\'' + pictureProblem(problem.what(), model.model));
        }
    }();
    progress.step();
    for (const Correlate& correlate : allCorrelates()) {
        const cv::Mat map = analysis.map(correlate.map);
        all.push_back(
            {correlate, isHue(correlate) ? statisticsOfHue(map, weights, model) : statisticsOf(map, weights)});
        const std::string what = labelOf(correlate);
        writeImage(console, {mapPath(options.output, correlate, ".tif")}, map, 1.0, what);
        const MapScale scale = scaleFor(all.back(), model);
        writePicture(console, {mapPath(options.output, correlate, ".png")}, mapPicture(map, scale),
                     what + ", " + rangeOf(scale));
        progress.step();
    }
    warnOfBlack(console, options.input, analysis.distributions());
    const std::optional<BinProbabilities>& hue = analysis.distributions().hue;
    console.give(options.json ? jsonText(options, model, analysis, profile, all, hue)
                              : (options.many ? shownText(options.input) + '\n' : "") + table(all) +
                                    (hue ? mostFrequentHue(*hue) : ""));
    if (!model.isDefault()) {
        console.tell(lineOf(model));
    }
    if (!part.isWhole()) {
        console.tell(lineOfPart(options.input, analysis.countedPixels(), static_cast<double>(image.total())));
    }
    return ExitStatus::done;
}

/// The call with one photograph, whose maps go into a folder that is there.
AppearanceArguments single(const AppearanceArguments& options) {
    for (const char* const option : {"--recursive", "--jobs"}) {
        if (options.inputs.app->option(option)->count() > 0) {
            throw Refusal(std::string(option) + ": one photograph is given, and no folder of them");
        }
    }
    checkFolder("--output", options.output.path);
    AppearanceArguments one = options;
    one.input = options.inputs.paths.front();
    one.output.path = (fs::path(options.output.path) / nameOfResult(options.inputs, "appearance", one.input)).string();
    return one;
}

}  // namespace

Action declareAppearance(OptionParser& app) {
    auto options = std::make_shared<AppearanceArguments>();
    addPhotographs(app, options->inputs, "IN", "Image");
    app.addOption("-o,--output", options->output.path,
                  optionText("Existing folder for the maps: NAME_brightness, _lightness, _chroma, _colorfulness, "
                             "_saturation and _hue, as .png (colours with a legend) and .tif (32-bit float; the hue "
                             "in degrees). Of several photographs it is made if it is not there",
                             "--output maps"))
        ->typeName("DIR")
        ->required();
    addManyToFolder(app, options->inputs, "{stem}",
                    "What the names of each photograph's maps begin with, made of {stem} and {ext}, the input's name "
                    "and extension (.png where results have no such format), and {operation}",
                    "--name '{stem}{ext}'");
    app.addFlag("--json", options->json, optionText("Give the table as JSON", "--json"));
    addPartOptions(app, options->part);
    addModelOptions(app, options->model);
    addHueOptions(app, options->model);
    app.option("--hue")->description(optionText(
        "The distribution of the hue too, in bins of 1 degree: its greatest bin, with --json all of it", "--hue"));
    return [options](const Console& console) {
        options->many = asksForManyToFolder(options->inputs);
        if (options->many) {
            return onEach(
                console, *options, mapAppearance, [](const AppearanceArguments&) {}, mapsOf);
        }
        return mapAppearance(console, single(*options));
    };
}

}  // namespace likeness::darkroom
