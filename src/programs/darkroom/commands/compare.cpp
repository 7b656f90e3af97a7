// darkroom compare: five coefficients that say how alike two photographs look.
#include <likeness/comparison/analysis.hpp>
#include "batch/comparison_remarks.hpp"
#include "commands/subcommands.hpp"
#include "console/comparison_result.hpp"
#include "console/comparison_warnings.hpp"
#include "console/model_options.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/progress.hpp"
#include "console/text_output.hpp"
#include "files/refusal.hpp"
#include "files/standard_input.hpp"
#include "pages/comparison_report.hpp"
#include "pages/html_page.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <vector>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

struct Options {
    std::string first;
    std::string second;
    std::string output;
    std::vector<std::string> limits;
    std::string maps;
    std::string report;
    bool json = false;
    bool csv = false;
    bool distances = false;
    bool sliced = false;
    std::int64_t seed = 1;
    ModelOptions model;
};

/// File of a map in the folder that --maps names: "first_brightness.tif".
std::string mapPath(const Options& options, const char* place, const Correlate& correlate, const char* extension) {
    return (fs::path(options.maps) / (std::string(place) + '_' + correlate.name + extension)).string();
}

std::vector<std::string> mapPaths(const Options& options) {
    std::vector<std::string> paths;
    for (const char* const place : {"first", "second"}) {
        for (const Correlate& correlate : comparedCorrelates) {
            for (const char* const extension : {".png", ".tif"}) {
                paths.push_back(mapPath(options, place, correlate, extension));
            }
        }
        if (options.model.hue) {
            for (const char* const extension : {".png", ".tif"}) {
                paths.push_back(mapPath(options, place, hueCorrelate, extension));
            }
        }
    }
    return paths;
}

void checkOutputs(const Console& console, const Options& options) {
    resultTextFor(options.output, options.json ? ResultText::json : options.csv ? ResultText::csv : ResultText::any);
    if (options.report == standardStream && options.output.empty()) {
        throw Refusal("--report: standard output has the result; --output can name a file for it");
    }
    OutputPlan plan(console, {options.first, options.second});
    plan.mayRead(options.model.viewing.conditions);
    if (!options.output.empty()) {
        plan.file("--output", options.output);
    }
    if (!options.report.empty()) {
        plan.page("--report", options.report);
    }
    if (!options.maps.empty()) {
        checkFolder("--maps", options.maps);
        for (const std::string& path : mapPaths(options)) {
            plan.file("--maps", path);
        }
    }
}

void writeMap(const Console& console, const Options& options, const char* place, const Correlate& correlate,
              const cv::Mat& map, const MapScale& scale) {
    const std::string what = labelOf(correlate) + " of the " + place + " photograph";
    writeImage(console, {mapPath(options, place, correlate, ".tif")}, map, 1.0, what);
    writePicture(console, {mapPath(options, place, correlate, ".png")}, mapPicture(map, scale),
                 what + ", " + rangeOf(scale));
}

/// The maps of one photograph, into files and onto the page.
void showMaps(const Console& console, const Options& options, const Analysis& analysis, const char* place,
              const std::array<MapScale, comparedCorrelates.size()>& scales, ReportedPhotograph& reported) {
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        const Correlate& correlate = comparedCorrelates[k];
        const cv::Mat map = analysis.map(correlate.map);
        if (!options.maps.empty()) {
            writeMap(console, options, place, correlate, map, scales[k]);
        }
        if (!options.report.empty()) {
            reported.maps[k] = reducedMap(map, reportPictureSide);
            reported.nanCounts[k] = static_cast<std::int64_t>(map.total()) - cv::countNonZero(map == map);
        }
    }
    if (!options.maps.empty() && options.model.hue) {
        const bool own = analysis.model().kind == AppearanceModelKind::likeness;
        writeMap(console, options, place, hueCorrelate, analysis.map(hueCorrelate.map),
                 degreesScale(labelOf(hueCorrelate) + ", degrees", own ? -180 : 0));
    }
}

/// What goes beyond the numbers: maps and page.
void show(const Console& console, const Options& options, const ComparisonResult& result,
          const std::pair<cv::Mat, cv::Mat>& photographs, const std::pair<Analysis, Analysis>& analyses) {
    ComparisonReport report;
    report.result = result;
    report.first.distributions = analyses.first.distributions();
    report.second.distributions = analyses.second.distributions();
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        report.scales[k] = commonScale(comparedCorrelates[k], report.first.distributions, report.second.distributions);
    }
    Progress progress(console, "drawing maps", 2);
    showMaps(console, options, analyses.first, "first", report.scales, report.first);
    progress.step();
    showMaps(console, options, analyses.second, "second", report.scales, report.second);
    progress.step();
    if (!options.report.empty()) {
        report.first.pictureUri = jpegUri(pictureOf(photographs.first), reportPictureSide);
        report.second.pictureUri = jpegUri(pictureOf(photographs.second), reportPictureSide);
        report.first.fingerprint = fingerprintOf(placeOfInput(options.first));
        report.second.fingerprint = fingerprintOf(placeOfInput(options.second));
        writeResult(console, options.report, comparisonPage(report), "report");
    }
}

void give(const Console& console, const Options& options, const ComparisonResult& result) {
    const ResultText format = resultTextFor(options.output, options.json  ? ResultText::json
                                                            : options.csv ? ResultText::csv
                                                                          : ResultText::any);
    const std::string text = format == ResultText::json  ? comparisonJson(result)
                             : format == ResultText::csv ? comparisonCsv(result)
                                                         : comparisonLine(result);
    writeResult(console, options.output.empty() ? standardStream : options.output, text, "result");
    std::cout.flush();  // before what is said on standard error
}

/// @throws Refusal  if the model cannot see the photograph
void refuseUnseen(const std::string& path, const cv::Mat& photograph, const AnalysisOptions& options) {
    try {
        analyze(photograph, options);
    } catch (const std::invalid_argument& problem) {
        throw Refusal("'" + path + '\'' + pictureProblem(problem.what(), options.model));
    }
}

ExitStatus compare(const Console& console, const Options& options) {
    ComparisonResult result;
    result.model = chosenModel(options.model);
    for (const std::string& limits : options.limits) {
        try {
            addCoefficientLimits(result.limits, limits);
        } catch (const Refusal& refusal) {
            throw Refusal(std::string("--min: ") + refusal.what());
        }
    }
    if (result.limits.count(hueCorrelate.name) > 0 && !options.model.hue) {
        throw Refusal("--min: the hue has a coefficient with --hue only");
    }
    if (console.diagnostics().wantsFiles() && !result.model.isDefault()) {
        throw Refusal(
            "--dumps: the diagnostic files are those of the default model; leave out --hue and the options "
            "of the model");
    }
    checkOutputs(console, options);
    warnOfModel(console, result.model);
    std::pair<ProfileUse, ProfileUse> profiles;
    const auto photographs = readPhotographPairAsCompared(console, options.first, options.second, &profiles);
    result.first = {options.first, photographs.first.size(), profiles.first};
    result.second = {options.second, photographs.second.size(), profiles.second};
    const bool shown = !options.maps.empty() || !options.report.empty();
    if (options.sliced && !result.model.isPublished()) {
        throw Refusal(
            "--sliced: there is a uniform space under a published model only; give --model ciecam16 or ciecam02");
    }
    const bool uniform = (options.distances || options.sliced) && result.model.isPublished();
    const AnalysisOptions analysis = result.model.analysis(shown || uniform);
    std::pair<Analysis, Analysis> analyses;
    {
        Progress progress(console, "comparing");
        try {
            analyses =
                Comparer().analyzePair(photographs.first, photographs.second, analysis, watchOf(console, progress));
        } catch (const std::invalid_argument&) {
            // Which of the two it is does not matter before one of them fails.
            refuseUnseen(options.first, photographs.first, analysis);
            refuseUnseen(options.second, photographs.second, analysis);
            throw;
        }
        result.coefficients = likeness::compare(analyses.first, analyses.second);
        result.hue = hueCoefficient(analyses.first.distributions(), analyses.second.distributions());
    }
    checkAppearance(console, options.first, analyses.first.distributions());
    checkAppearance(console, options.second, analyses.second.distributions());
    if (options.distances) {
        result.distances = distancesOf(analyses.first.distributions(), analyses.second.distributions());
    }
    if (uniform && analyses.first.hasMaps() && analyses.second.hasMaps()) {
        if (options.distances) {
            result.uniform = uniformDistances(analyses.first.maps(), analyses.second.maps());
        }
        if (options.sliced) {
            result.sliced = slicedWasserstein(analyses.first.maps(), analyses.second.maps(),
                                              static_cast<std::uint64_t>(options.seed));
        }
    }
    if (shown) {
        show(console, options, result, photographs, analyses);
    }
    give(console, options, result);
    if (!result.model.isDefault()) {
        console.tell(lineOf(result.model));
    }
    const std::string backgrounds = backgroundRemark(result.first.size, result.second.size);
    if (!result.model.isPublished() && !result.model.model.background && !backgrounds.empty()) {
        console.warn(backgrounds + ": this alone moves the coefficients; --background 20 gives both the same");
    }
    const std::string below = result.shortfall();
    if (!below.empty()) {
        console.tell("below the limits: " + below);
        return ExitStatus::outsideLimits;
    }
    return ExitStatus::done;
}

}  // namespace

Action declareCompare(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("FIRST", options->first, "Photograph")->required();
    app.add_option("SECOND", options->second, "Photograph to compare it with")->required();
    auto* const json = app.add_flag("--json", options->json, optionText("Give the result as JSON", "--json"));
    app.add_flag("--csv", options->csv, optionText("Give the result as CSV, a header and a line", "--csv"))
        ->excludes(json);
    app.add_option("-o,--output", options->output,
                   optionText("File for the result instead of standard output, which - is too; .json and .csv give the "
                              "format as --json and --csv do",
                              "--output result.json"))
        ->type_name("FILE");
    app.add_option("--min", options->limits,
                   optionText("Least values, 0 to 1, of coefficients (brightness, lightness, chroma, colorfulness, "
                              "saturation); exit status 1 and a line on standard error where one is below. Given "
                              "again, it adds limits",
                              "--min brightness=0.9,chroma=0.8"))
        ->type_name("NAME=VALUE,...")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(CLI::Validator(
            [](std::string& text) {
                try {
                    coefficientLimitsIn(text);
                    return std::string();
                } catch (const Refusal& refusal) {
                    return std::string(refusal.what());
                }
            },
            ""));
    app.add_option("--maps", options->maps,
                   optionText("Existing folder for the maps of every correlate: first_NAME and second_NAME, as .png "
                              "(colours on one scale for both photographs, with a legend) and .tif (32-bit float)",
                              "--maps maps"))
        ->type_name("DIR");
    app.add_option("--report", options->report,
                   optionText("Page that shows photographs, coefficients, histograms, maps and viewing conditions, in "
                              "one file",
                              "--report report.html"))
        ->type_name("FILE.html");
    app.add_flag(
        "--distances", options->distances,
        optionText("Give distances of the distributions too: by correlate, and under a published model in units "
                   "of its uniform space, with one total",
                   "--distances"));
    app.add_flag(
        "--sliced", options->sliced,
        optionText("Under a published model: give the sliced Wasserstein distance of the colours in J', a', b', "
                   "the mean over 64 directions",
                   "--sliced --model ciecam16"));
    app.add_option("--seed", options->seed, optionText("Of the directions of --sliced, 0 to 1000000000", "--seed 2"))
        ->type_name("N")
        ->check(integerBetween(0, 1000000000))
        ->capture_default_str();
    addModelOptions(app, options->model);
    addHueOptions(app, options->model);
    return [options](const Console& console) { return compare(console, *options); };
}

}  // namespace likeness::darkroom
