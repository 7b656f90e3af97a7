// darkroom sweep: how alike two photographs look under a range of viewing conditions.
#include <likeness/comparison/analysis.hpp>
#include <likeness/version.hpp>
#include "batch/comparison_remarks.hpp"
#include "batch/correlates.hpp"
#include "commands/subcommands.hpp"
#include "console/comparison_result.hpp"
#include "console/comparison_warnings.hpp"
#include "console/json_output.hpp"
#include "console/model_options.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/profile_result.hpp"
#include "console/progress.hpp"
#include "console/text_output.hpp"
#include "files/csv_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/standard_input.hpp"
#include "pages/html_page.hpp"
#include "pages/svg_plot.hpp"
#include "photofile/image_input.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace likeness::darkroom {
namespace {

using nlohmann::ordered_json;

constexpr int jsonVersion = 1;
constexpr std::size_t mostPoints = 10000;

struct SweepArguments {
    std::string first;
    std::string second;
    std::string model = "ciecam16";
    std::string conditions;
    std::vector<std::string> whites = {"srgb", "D50", "A"};
    std::vector<std::string> surrounds = {"average", "dim", "dark"};
    std::string luminances = "1,2,5,10,20,50,100,200,500,1000,2000,5000,10000";
    std::string background;
    std::string pictureWhite;
    bool discount = false;
    bool hue = false;
    std::string hueWeights;
    std::string output;
    std::string plot;
    bool json = false;
};

/// The photographs, as they were read.
struct Photographs {
    std::pair<CountedPhotograph, CountedPhotograph> counted;
    std::pair<cv::Size, cv::Size> sizes;
    std::pair<ProfileUse, ProfileUse> profiles;
};

/// One of the conditions, and what was found under it.
struct Point {
    std::string white;      ///< as it was given
    std::string surround;   ///< likewise
    std::string luminance;  ///< of the white, likewise
    ChosenModel model;
    LikenessCoefficients coefficients{};
    std::optional<float> hue{};
    std::pair<CorrelateShares, CorrelateShares> uncounted{};  ///< shares of pixels without an appearance
    std::pair<double, double> black{};                        ///< and of those that count as black
};

ChosenModel modelAt(const SweepArguments& options, const std::string& white, const std::string& surround,
                    const std::string& luminance) {
    ModelOptions model;
    model.model = options.model;
    model.viewing.conditions = options.conditions;
    model.viewing.white = white;
    model.viewing.surround = surround;
    model.viewing.whiteLuminance = luminance;
    model.viewing.background = options.background;
    model.viewing.discount = options.discount;
    model.pictureWhite = options.pictureWhite;
    model.hue = options.hue;
    model.hueWeights = options.hueWeights;
    return chosenModel(model);
}

/// @throws Refusal  if a value is given twice: its lines would stand twice in the result
void checkOnce(const char* option, const std::vector<std::string>& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto behind = values.begin() + static_cast<std::ptrdiff_t>(i) + 1;
        if (std::find(behind, values.end(), values[i]) != values.end()) {
            throw Refusal(std::string(option) + ": '" + values[i] + "' is given twice");
        }
    }
}

/// Every combination, the luminance the fastest.
std::vector<Point> pointsOf(const SweepArguments& options) {
    const std::vector<std::string> luminances = partsOf(options.luminances);
    for (const std::string& luminance : luminances) {
        if (!(parseNumber(luminance) > 0)) {
            throw Refusal("--white-luminance: '" + luminance + "' is not a luminance in cd/m2 above 0");
        }
    }
    checkOnce("--white", options.whites);
    checkOnce("--surround", options.surrounds);
    checkOnce("--white-luminance", luminances);
    if (options.whites.size() * options.surrounds.size() * luminances.size() > mostPoints) {
        throw Refusal(fmt::format("these are more than {} conditions", mostPoints));
    }
    std::vector<Point> points;
    for (const std::string& white : options.whites) {
        for (const std::string& surround : options.surrounds) {
            for (const std::string& luminance : luminances) {
                points.push_back({white, surround, luminance, modelAt(options, white, surround, luminance)});
            }
        }
    }
    return points;
}

/// The photographs under the conditions `first` to `end`, on all threads.
/// @throws Refusal  if one of them cannot be seen under one of the conditions
void compareAt(const SweepArguments& options, std::vector<Point>& points, int first, int end,
               const std::pair<CountedPhotograph, CountedPhotograph>& photographs) {
    std::vector<AppearanceDistributions> seen(static_cast<std::size_t>(2 * (end - first)));
    std::vector<std::string> problems(seen.size());
    cv::parallel_for_(cv::Range(0, 2 * (end - first)), [&](const cv::Range& range) {
        for (int k = range.start; k < range.end; ++k) {
            const ChosenModel& chosen = points[static_cast<std::size_t>(first + k / 2)].model;
            const CountedPhotograph& photograph = k % 2 == 0 ? photographs.first : photographs.second;
            try {
                seen[static_cast<std::size_t>(k)] = photograph.distributions(chosen.model, chosen.hue);
            } catch (const std::invalid_argument& problem) {
                const std::string& path = k % 2 == 0 ? options.first : options.second;
                problems[static_cast<std::size_t>(k)] =
                    "'" + path + '\'' + pictureProblem(problem.what(), chosen.model);
            }
        }
    });
    for (const std::string& problem : problems) {
        if (!problem.empty()) {
            throw Refusal(problem);
        }
    }
    for (int i = first; i < end; ++i) {
        const auto k = static_cast<std::size_t>(2 * (i - first));
        Point& point = points[static_cast<std::size_t>(i)];
        point.coefficients = compareDistributions(seen[k], seen[k + 1]);
        point.hue = hueCoefficient(seen[k], seen[k + 1]);
        point.uncounted = {seen[k].nanShares, seen[k + 1].nanShares};
        point.black = {seen[k].blackShare, seen[k + 1].blackShare};
    }
}

/// Warns of what the conditions make of the model, each remark once.
void warnOfModels(const Console& console, const std::vector<Point>& points) {
    ChosenModel all;
    for (const Point& point : points) {
        for (const std::string& remark : point.model.remarks) {
            if (std::find(all.remarks.begin(), all.remarks.end(), remark) == all.remarks.end()) {
                all.remarks.push_back(remark);
            }
        }
    }
    warnOfModel(console, all);
}

/// Warns of pixels without an appearance, and of those that count as black, as many as there are under the worst of the
/// conditions.
/// @throws Refusal  if there are conditions under which none has one
void checkAppearances(const Console& console, const SweepArguments& options, const std::vector<Point>& points) {
    std::pair<AppearanceDistributions, AppearanceDistributions> worst;
    for (const Point& point : points) {
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            worst.first.nanShares[k] = std::max(worst.first.nanShares[k], point.uncounted.first[k]);
            worst.second.nanShares[k] = std::max(worst.second.nanShares[k], point.uncounted.second[k]);
        }
        worst.first.blackShare = std::max(worst.first.blackShare, point.black.first);
        worst.second.blackShare = std::max(worst.second.blackShare, point.black.second);
    }
    checkAppearance(console, options.first, worst.first);
    checkAppearance(console, options.second, worst.second);
}

std::string csvText(const std::vector<Point>& points, const std::pair<ProfileUse, ProfileUse>& profiles) {
    std::vector<std::string> names = {"model",   "white",           "white_x",    "white_y",
                                      "white_z", "white_luminance", "background", "adapting_luminance",
                                      "surround"};
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        names.emplace_back(correlate.name);
    }
    if (points.front().hue) {
        names.emplace_back(hueCorrelate.name);
    }
    const std::vector<std::string> texts = {profileText(profiles.first), profileText(profiles.second)};
    const bool haveProfiles = !(texts[0] + texts[1]).empty();
    if (haveProfiles) {
        names.insert(names.end(), {"first_profile", "second_profile"});
    }
    std::string text = csvLine(names);
    for (const Point& point : points) {
        const ViewingConditions& conditions = point.model.model.conditions;
        std::vector<std::string> values = {std::string(nameOf(point.model.model.kind)),
                                           point.white,
                                           shortest(conditions.white.x),
                                           shortest(conditions.white.y),
                                           shortest(conditions.white.z),
                                           point.luminance,
                                           shortest(conditions.background.value_or(0)),
                                           shortest(conditions.adaptingLuminance),
                                           point.surround};
        for (const ComparedCorrelate& correlate : comparedCorrelates) {
            values.push_back(nineDigits(point.coefficients.*correlate.coefficient));
        }
        if (point.hue) {
            values.push_back(nineDigits(*point.hue));
        }
        if (haveProfiles) {
            values.insert(values.end(), texts.begin(), texts.end());
        }
        text += csvLine(values);
    }
    return text;
}

std::string jsonText(const SweepArguments& options, const std::vector<Point>& points, const Photographs& photographs) {
    const auto describe = [](const std::string& path, const cv::Size& size, const ProfileUse& profile) {
        ordered_json json = {{"path", validUtf8(path)}, {"width_pixels", size.width}, {"height_pixels", size.height}};
        addProfile(json, profile);
        return json;
    };
    ordered_json json = jsonOfSchema("sweep", jsonVersion);
    json["first"] = describe(options.first, photographs.sizes.first, photographs.profiles.first);
    json["second"] = describe(options.second, photographs.sizes.second, photographs.profiles.second);
    for (const Point& point : points) {
        ordered_json entry = jsonOf(point.model);
        entry["white"] = point.white;
        entry["surround"] = point.surround;
        entry["white_luminance"] = std::strtod(point.luminance.c_str(), nullptr);
        for (const ComparedCorrelate& correlate : comparedCorrelates) {
            entry["coefficients"][correlate.name] = roundedToNineDigits(point.coefficients.*correlate.coefficient);
        }
        if (point.hue) {
            entry["coefficients"][hueCorrelate.name] = roundedToNineDigits(*point.hue);
        }
        json["points"].push_back(std::move(entry));
    }
    return indentedJson(json);
}

/// A line for each white and surround, over the logarithm of the luminance.
template <typename ValueOf>
std::string plotOf(const std::string& title, const std::string& label, const std::vector<Point>& points,
                   ValueOf valueOf) {
    std::vector<PlotSeries> series;
    for (const Point& point : points) {
        const std::string name = point.white + ", " + point.surround;
        if (series.empty() || series.back().name != name) {
            series.push_back({name, {}, {}, ""});
        }
        series.back().x.push_back(std::log10(std::strtod(point.luminance.c_str(), nullptr)));
        series.back().y.push_back(valueOf(point));
    }
    return "<figure>" +
           linePlot({title, "decimal logarithm of the white's luminance in cd/m²", label, 560, 340}, series) +
           "</figure>\n";
}

std::string page(const SweepArguments& options, const std::vector<Point>& points,
                 const std::pair<ProfileUse, ProfileUse>& profiles) {
    HtmlPage html;
    html.title = "Likeness of " + options.first + " and " + options.second + " under a range of conditions";
    html.body = "<h1>How alike two photographs look under a range of conditions</h1>\n<section><p>" +
                escapedMarkup(options.first) + " and " + escapedMarkup(options.second) + ", seen through " +
                std::string(nameOf(points.front().model.model.kind)) +
                fmt::format(" under {} conditions.</p></section>\n", points.size());
    for (const auto& [path, profile] :
         {std::pair(&options.first, &profiles.first), std::pair(&options.second, &profiles.second)}) {
        if (const std::string used = profileText(*profile); !used.empty()) {
            html.body +=
                "<p class=\"note\">Colour profile of " + escapedMarkup(*path) + ": " + escapedMarkup(used) + ".</p>\n";
        }
    }
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        html.body += "<section id=\"" + std::string(correlate.name) + "\"><h2>" + labelOf(correlate) + "</h2>\n" +
                     plotOf("Coefficient of " + std::string(correlate.name), "coefficient", points,
                            [&correlate](const Point& point) {
                                return static_cast<double>(point.coefficients.*correlate.coefficient);
                            }) +
                     "</section>\n";
    }
    if (points.front().hue) {
        html.body += "<section id=\"hue\"><h2>hue h</h2>\n" +
                     plotOf("Coefficient of hue", "coefficient", points,
                            [](const Point& point) { return static_cast<double>(point.hue.value_or(0)); }) +
                     "</section>\n";
    }
    html.body += "<p class=\"note\">Made by <span id=\"program\">darkroom " LIKENESS_VERSION "</span>.</p>\n";
    return htmlDocument(html);
}

ResultText formatOf(const SweepArguments& options) {
    return resultTextFor(options.output, options.json ? ResultText::json : ResultText::any);
}

void checkOutputs(const Console& console, const SweepArguments& options) {
    formatOf(options);
    if (options.plot == standardStream && options.output.empty()) {
        throw Refusal("--plot: standard output has the result; --output can name a file for it");
    }
    OutputPlan plan(console, {options.first, options.second});
    plan.mayRead(options.conditions);
    if (!options.output.empty()) {
        plan.data("--output", options.output);
    }
    if (!options.plot.empty()) {
        plan.page("--plot", options.plot);
    }
}

ExitStatus sweep(const Console& console, const SweepArguments& options) {
    if (console.diagnostics().wantsFiles()) {
        throw Refusal("--dumps: the published models leave no diagnostic files");
    }
    std::vector<Point> points = pointsOf(options);
    checkOutputs(console, options);
    warnOfModels(console, points);
    const Photographs photographs = [&] {
        std::pair<ProfileUse, ProfileUse> profiles;
        const auto read = readPhotographPairAsCompared(console, options.first, options.second, &profiles);
        return Photographs{{CountedPhotograph(read.first), CountedPhotograph(read.second)},
                           {read.first.size(), read.second.size()},
                           profiles};
    }();
    {
        const int count = static_cast<int>(points.size());
        constexpr int atOnce = 8;
        Progress progress(console, "comparing", count);
        for (int first = 0; first < count; first += atOnce) {
            const int end = std::min(first + atOnce, count);
            compareAt(options, points, first, end, photographs.counted);
            progress.reach(end, count);
        }
    }
    checkAppearances(console, options, points);
    if (!options.plot.empty()) {
        writeResult(console, options.plot, page(options, points, photographs.profiles), "plot");
    }
    const bool json = formatOf(options) == ResultText::json;
    writeResult(console, options.output.empty() ? standardStream : options.output,
                json ? jsonText(options, points, photographs) : csvText(points, photographs.profiles),
                std::to_string(points.size()) + " conditions");
    return ExitStatus::done;
}

}  // namespace

Action declareSweep(OptionParser& app) {
    auto options = std::make_shared<SweepArguments>();
    app.addOption("FIRST", options->first, "Photograph")->required();
    app.addOption("SECOND", options->second, "Photograph to compare it with")->required();
    app.addOption("--model", options->model,
                  optionText("Appearance model: ciecam02 or ciecam16; by default ciecam16", "--model ciecam02"))
        ->typeName("")
        ->check(oneOf({"ciecam02", "ciecam16"}));
    app.addOption("--conditions", options->conditions,
                  optionText("Conditions by name, or a JSON file of them, of which white, luminance and surround are "
                             "replaced; by default srgb-display",
                             "--conditions office.json"))
        ->typeName("NAME|FILE.json");
    app.addOption("--white", options->whites,
                  optionText("Adopted white, as darkroom compare has it; given again, one more. By default srgb, D50 "
                             "and A",
                             "--white D65 --white 5000K"))
        ->typeName("WHITE")
        ->expected(1)
        ->takeAll();
    app.addOption("--surround", options->surrounds,
                  optionText("average, dim, dark, or the numbers F,c,Nc; given again, one more. By default all three "
                             "names",
                             "--surround dim --surround dark"))
        ->typeName("SURROUND")
        ->expected(1)
        ->takeAll();
    app.addOption("--white-luminance", options->luminances,
                  optionText("Luminances of the white in cd/m2, from which the adapting luminance follows: L_A = L Y_b "
                             "/ Y_w",
                             "--white-luminance 10,100,1000"))
        ->typeName("L,L,...")
        ->showDefault();
    app.addOption("--background", options->background,
                  optionText("Y of the background, from 0 to that of the white", "--background 20"))
        ->typeName("Y");
    app.addOption("--picture-white", options->pictureWhite,
                  optionText("Colour of the picture that falls on the white: encoding, gray-world or brightest",
                             "--picture-white brightest"))
        ->typeName("")
        ->check(oneOf({"encoding", "gray-world", "brightest"}));
    app.addFlag("--discount", options->discount,
                optionText("The observer discounts the illuminant: complete adaptation, D = 1", "--discount"));
    auto* const hue =
        app.addFlag("--hue", options->hue, optionText("A sixth coefficient, of the hue, in bins of 1 degree", "--hue"));
    app.addOption(
           "--hue-weights", options->hueWeights,
           optionText("What a pixel counts in the distribution of the hue: pixels or chroma", "--hue-weights chroma"))
        ->typeName("")
        ->check(oneOf({"pixels", "chroma"}))
        ->needs(hue);
    app.addFlag("--json", options->json, optionText("Give the result as JSON in place of CSV", "--json"));
    app.addOption("-o,--output", options->output,
                  optionText("File for the result instead of standard output", "--output sweep.csv"))
        ->typeName("FILE");
    app.addOption("--plot", options->plot,
                  optionText("Page with a plot of each coefficient over the luminance", "--plot sweep.html"))
        ->typeName("FILE.html");
    return [options](const Console& console) { return sweep(console, *options); };
}

}  // namespace likeness::darkroom
