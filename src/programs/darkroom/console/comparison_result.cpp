#include "console/comparison_result.hpp"

#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include <likeness/version.hpp>
#include "batch/correlates.hpp"
#include "batch/distance_columns.hpp"
#include "batch/parameters.hpp"
#include "console/json_output.hpp"
#include "console/profile_result.hpp"
#include "diagnostics/number_text.hpp"
#include "files/csv_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

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
    const auto pixels = static_cast<std::int64_t>(photograph.size.area());
    const std::optional<double> background =
        model.kind != AppearanceModelKind::likeness ? model.conditions.background : model.background;
    nlohmann::ordered_json json = {
        {"path", validUtf8(photograph.path)},
        {"width_pixels", photograph.size.width},
        {"height_pixels", photograph.size.height},
        {"background_luminance", roundedToNineDigits(background.value_or(backgroundLuminanceOf(pixels)))}};
    addProfile(json, photograph.profile);
    return json;
}

}  // namespace

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
    const auto addDistance = [&](const std::string& name, double value) {
        names.push_back(name);
        values.push_back(distanceText(value));
    };
    if (result.distances) {
        const std::vector<double> all = distanceValues(*result.distances);
        for (std::size_t k = 0; k < all.size(); ++k) {
            addDistance(distanceColumns()[k], all[k]);
        }
    }
    if (result.uniform) {
        addDistance("uniform_lightness", result.uniform->lightness);
        addDistance("uniform_colorfulness", result.uniform->colorfulness);
        addDistance("uniform_hue", result.uniform->hue);
        addDistance("uniform_total", result.uniform->total);
    }
    if (result.sliced) {
        addDistance("sliced_wasserstein", *result.sliced);
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
    return csvLine(names) + csvLine(values);
}

}  // namespace likeness::darkroom
