#include "console/comparison_result.hpp"

#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include <likeness/version.hpp>
#include "batch/correlates.hpp"
#include "batch/distance_columns.hpp"
#include "batch/parameters.hpp"
#include "console/json_output.hpp"
#include "console/part_options.hpp"
#include "console/profile_result.hpp"
#include "diagnostics/number_text.hpp"
#include "files/csv_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace likeness::darkroom {
namespace {

constexpr int jsonVersion = 1;
constexpr int csvVersion = 1;

/// A constant of the model as it is printed in its source, 0.525 and not the nearest float.
double asWritten(float constant) {
    return std::strtod(numberText(constant).c_str(), nullptr);
}

nlohmann::ordered_json describe(const ComparedPhotograph& photograph, const ComparisonModel& model) {
    const std::optional<double> background =
        model.kind != AppearanceModelKind::likeness ? model.conditions.background : model.background;
    nlohmann::ordered_json json = {
        {"path", validUtf8(photograph.path)},
        {"width_pixels", photograph.size.width},
        {"height_pixels", photograph.size.height},
        {"background_luminance",
         roundedToNineDigits(background.value_or(backgroundLuminanceOf(photograph.backgroundPixels())))}};
    addProfile(json, photograph.profile);
    if (photograph.part) {
        json["mask"] = jsonOfPart(photograph.part->choice, photograph.part->countedPixels, photograph.size.area());
    }
    return json;
}

nlohmann::ordered_json jsonOf(const std::optional<BinCost>& bin) {
    if (!bin) {
        return nullptr;
    }
    return {{"bin", bin->bin},
            {"first_share", roundedOrNull(bin->firstShare)},
            {"second_share", roundedOrNull(bin->secondShare)},
            {"cost", roundedOrNull(bin->cost)}};
}

nlohmann::ordered_json jsonOf(const DistributionChange& change, std::size_t correlate) {
    return {{"first_median", roundedOrNull(change.firstMedian)},
            {"second_median", roundedOrNull(change.secondMedian)},
            {"median_shift", roundedOrNull(change.medianShift)},
            {"first_spread", roundedOrNull(change.firstSpread)},
            {"second_spread", roundedOrNull(change.secondSpread)},
            {"spread_change", roundedOrNull(change.spreadChange)},
            {"mean_shift", roundedOrNull(change.meanShift)},
            {"first_range", {change.firstLeast, change.firstGreatest}},
            {"second_range", {change.secondLeast, change.secondGreatest}},
            {"share_below_first", roundedOrNull(change.gainedBelow)},
            {"share_above_first", roundedOrNull(change.gainedAbove)},
            {"first_share_below_second", roundedOrNull(change.lostBelow)},
            {"first_share_above_second", roundedOrNull(change.lostAbove)},
            {"lost_bin", jsonOf(change.lost)},
            {"gained_bin", jsonOf(change.gained)},
            {"sentence", sentenceOf(change, correlate)}};
}

nlohmann::ordered_json jsonOf(const ExplainedWhite& white) {
    return {{"chromaticity_xy", {roundedOrNull(white.chromaticity[0]), roundedOrNull(white.chromaticity[1])}},
            {"correlated_color_temperature_kelvin", roundedOrNull(white.nearest.kelvin)},
            {"planckian_distance_uv", roundedOrNull(white.nearest.duv)}};
}

nlohmann::ordered_json explanationJson(const ComparisonResult& result) {
    const Explanation& explanation = *result.explanation;
    nlohmann::ordered_json json;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        json[correlateNames[k].name] = jsonOf(explanation.changes[k], k);
    }
    json["white"] = {{"first", jsonOf(explanation.firstWhite)},
                     {"second", jsonOf(explanation.secondWhite)},
                     {"sentence", sentenceOf(explanation.firstWhite, explanation.secondWhite)}};
    json["not_measured"] = notMeasured(result);
    return json;
}

std::string explanationLines(const ComparisonResult& result) {
    const Explanation& explanation = *result.explanation;
    std::string text;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        text += sentenceOf(explanation.changes[k], k) + '\n';
    }
    text += sentenceOf(explanation.firstWhite, explanation.secondWhite) + '\n';
    for (const std::string& what : notMeasured(result)) {
        text += "not measured: " + what + '\n';
    }
    return text;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

}  // namespace

std::int64_t ComparedPhotograph::backgroundPixels() const {
    return part ? std::max<std::int64_t>(std::llround(part->countedPixels), 1) : std::int64_t{size.width} * size.height;
}

std::vector<std::string> notMeasured(const ComparisonResult& result) {
    std::vector<std::string> what;
    if (!(result.tiles && result.tiles->asked) && !result.differences) {
        what.emplace_back("where in the picture things are (--tiles and --difference-maps show where)");
    }
    if (!result.hue) {
        what.emplace_back("the hue (--hue adds its coefficient)");
    }
    return what;
}

nlohmann::ordered_json distancesJson(const PerCorrelate<BinDistances>& distances) {
    nlohmann::ordered_json json;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const BinDistances& its = distances[k];
        json[correlateNames[k].name] = {{"wasserstein", numberOrNull(its.wasserstein)},
                                        {"mean_shift", numberOrNull(its.meanShift)},
                                        {"kolmogorov_smirnov", numberOrNull(its.kolmogorovSmirnov)},
                                        {"jensen_shannon_bits", numberOrNull(its.jensenShannon)}};
    }
    return json;
}

std::string distanceLines(const PerCorrelate<BinDistances>& distances) {
    std::string lines;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const BinDistances& its = distances[k];
        lines += fmt::format(
            "{}: Wasserstein {:.6g}, shift of mean {:.6g}, Kolmogorov-Smirnov {:.6g}, Jensen-Shannon {:.6g}\n",
            correlateNames[k].name, its.wasserstein, its.meanShift, its.kolmogorovSmirnov, its.jensenShannon);
    }
    return lines;
}

std::string comparisonLine(const ComparisonResult& result) {
    std::string line;
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        line += (line.empty() ? "" : ",") + numberText(result.coefficients.*correlate.coefficient);
    }
    if (result.hue) {
        line += ',' + numberText(*result.hue);
    }
    line += '\n';
    if (result.distances) {
        line += distanceLines(*result.distances);
    }
    if (result.uniform) {
        line += fmt::format("uniform: J' {:.6g}, M' {:.6g}, hue {:.6g}, total {:.6g}\n", result.uniform->lightness,
                            result.uniform->colorfulness, result.uniform->hue, result.uniform->total);
    }
    if (result.tiles) {
        line += tileLines(*result.tiles);
    }
    if (result.differences) {
        line += differenceLines(*result.differences);
    }
    if (result.explanation) {
        line += explanationLines(result);
    }
    if (result.predicted) {
        const ScorePrediction& its = result.predicted->prediction;
        line += fmt::format("predicted {}: {:.6g}, {:.3g} % interval {:.6g} to {:.6g}{}\n",
                            result.predicted->name.empty() ? "score" : result.predicted->name, its.score,
                            100 * result.predicted->confidence, its.low, its.high,
                            its.outside ? "; outside the model's range: " + joined(result.predicted->outside) : "");
    }
    if (result.sliced) {
        line += fmt::format("sliced Wasserstein: {:.6g}\n", *result.sliced);
    }
    return line;
}

std::string comparisonJson(const ComparisonResult& result) {
    nlohmann::ordered_json json = jsonOfSchema("comparison", jsonVersion);
    json["first"] = describe(result.first, result.model.model);
    json["second"] = describe(result.second, result.model.model);
    if (!result.model.isDefault()) {
        json["model"] = jsonOf(result.model);
    }
    json["viewing_conditions"] = {{"adapting_luminance_cd_per_m2", asWritten(adaptingLuminance)},
                                  {"white_luminance", asWritten(whiteLuminance)},
                                  {"surround_impact", asWritten(darkSurroundImpact)},
                                  {"surround_chromatic_induction", asWritten(darkSurroundInduction)}};
    if (result.model.isPublished()) {
        const ViewingConditions& conditions = result.model.model.conditions;
        json["viewing_conditions"] = {{"adapting_luminance_cd_per_m2", conditions.adaptingLuminance},
                                      {"white_luminance", conditions.white.y},
                                      {"surround_impact", conditions.surround.impact},
                                      {"surround_chromatic_induction", conditions.surround.induction}};
    }
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        json["coefficients"][correlate.name] = roundedToNineDigits(result.coefficients.*correlate.coefficient);
    }
    if (result.hue) {
        json["coefficients"][hueCorrelate.name] = roundedToNineDigits(*result.hue);
    }
    if (result.distances) {
        json["distances"] = distancesJson(*result.distances);
    }
    if (result.sliced) {
        json["distances"]["sliced_wasserstein"] = numberOrNull(*result.sliced);
    }
    if (result.uniform) {
        json["distances"]["uniform"] = {{"lightness", numberOrNull(result.uniform->lightness)},
                                        {"colorfulness", numberOrNull(result.uniform->colorfulness)},
                                        {"hue", numberOrNull(result.uniform->hue)},
                                        {"total", numberOrNull(result.uniform->total)}};
    }
    if (result.tiles) {
        addTiles(json, *result.tiles);
    }
    if (result.differences) {
        json["differences"] = jsonOf(*result.differences);
    }
    if (result.explanation) {
        json["explanation"] = explanationJson(result);
    }
    if (result.predicted) {
        const ScorePrediction& its = result.predicted->prediction;
        json["prediction"] = {{"model", validUtf8(result.predicted->model)},
                              {"name", result.predicted->name},
                              {"score", numberOrNull(its.score)},
                              {"interval", {numberOrNull(its.low), numberOrNull(its.high)}},
                              {"confidence", result.predicted->confidence},
                              {"outside_range", its.outside},
                              {"features_outside", result.predicted->outside}};
    }
    if (!result.limits.empty()) {
        for (const ComparedCorrelate& correlate : comparedCorrelates) {
            if (const auto limit = result.limits.find(correlate.name); limit != result.limits.end()) {
                json["limits"][correlate.name] = roundedToNineDigits(limit->second);
            }
        }
        if (const auto limit = result.limits.find(hueCorrelate.name); limit != result.limits.end()) {
            json["limits"][hueCorrelate.name] = roundedToNineDigits(limit->second);
        }
        json["within_limits"] = result.shortfall().empty();
    }
    return indentedJson(json);
}

std::string comparisonCsv(const ComparisonResult& result) {
    std::vector<std::string> names = {
        "schema_version",      "program_version",     "first", "second", "first_width_pixels", "first_height_pixels",
        "second_width_pixels", "second_height_pixels"};
    std::vector<std::string> values = {std::to_string(csvVersion),
                                       LIKENESS_VERSION,
                                       result.first.path,
                                       result.second.path,
                                       std::to_string(result.first.size.width),
                                       std::to_string(result.first.size.height),
                                       std::to_string(result.second.size.width),
                                       std::to_string(result.second.size.height)};
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        const float coefficient = result.coefficients.*correlate.coefficient;
        names.emplace_back(correlate.name);
        values.push_back(std::isnan(coefficient) ? "" : nineDigits(coefficient));
    }
    if (result.hue) {
        names.emplace_back(hueCorrelate.name);
        values.push_back(nineDigits(*result.hue));
    }
    const auto addNumber = [&](const std::string& name, double value) {
        names.push_back(name);
        values.push_back(distanceText(value));
    };
    if (result.distances) {
        const std::vector<double> all = distanceValues(*result.distances);
        for (std::size_t k = 0; k < all.size(); ++k) {
            addNumber(distanceColumns()[k], all[k]);
        }
    }
    if (result.uniform) {
        addNumber("uniform_lightness", result.uniform->lightness);
        addNumber("uniform_colorfulness", result.uniform->colorfulness);
        addNumber("uniform_hue", result.uniform->hue);
        addNumber("uniform_total", result.uniform->total);
    }
    if (result.predicted) {
        const ScorePrediction& its = result.predicted->prediction;
        addNumber("predicted", its.score);
        addNumber("predicted_low", its.low);
        addNumber("predicted_high", its.high);
        names.emplace_back("predicted_outside");
        values.emplace_back(its.outside ? "1" : "0");
    }
    if (result.first.part && result.second.part) {
        names.insert(names.end(), {"first_counted_pixels", "second_counted_pixels"});
        values.push_back(nineDigits(result.first.part->countedPixels));
        values.push_back(nineDigits(result.second.part->countedPixels));
    }
    if (result.tiles && result.tiles->comparison.intervals) {
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            const CoefficientInterval& interval = (*result.tiles->comparison.intervals)[k];
            addNumber(std::string(correlateNames[k].name) + "_low", interval.low);
            addNumber(std::string(correlateNames[k].name) + "_high", interval.high);
        }
    }
    if (result.differences) {
        for (const DifferenceSummary& summary : result.differences->maps) {
            addNumber("difference_" + summary.name + "_mean", summary.statistics.mean);
            addNumber("difference_" + summary.name + "_mean_magnitude", summary.meanMagnitude);
        }
    }
    if (result.sliced) {
        addNumber("sliced_wasserstein", *result.sliced);
    }
    if (!result.model.isDefault()) {
        names.emplace_back("model");
        values.push_back(modelParameters(result.model.model, result.model.hue));
    }
    const std::string firstProfile = profileText(result.first.profile);
    const std::string secondProfile = profileText(result.second.profile);
    if (!(firstProfile + secondProfile).empty()) {
        names.insert(names.end(), {"first_profile", "second_profile"});
        values.insert(values.end(), {firstProfile, secondProfile});
    }
    const auto isExposed = [](const ProfileUse& use) { return use.linear && use.exposure != 0; };
    if (isExposed(result.first.profile) || isExposed(result.second.profile)) {
        const auto exposureOf = [](const ProfileUse& use) {
            return use.linear ? distanceText(use.exposure) : std::string();
        };
        names.insert(names.end(), {"first_linear_exposure_ev", "second_linear_exposure_ev"});
        values.insert(values.end(), {exposureOf(result.first.profile), exposureOf(result.second.profile)});
    }
    return csvLine(names) + csvLine(values);
}

}  // namespace likeness::darkroom
