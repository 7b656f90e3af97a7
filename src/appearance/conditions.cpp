#include <likeness/appearance/conditions.hpp>

#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/color/illuminants.hpp>

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

namespace likeness {
namespace {

void require(bool holds, const char* sentence) {
    if (!holds) {
        throw std::invalid_argument(sentence);
    }
}

/// False for NaN.
bool within(double value, double low, double high) {
    return value >= low && value <= high;
}

Xyz illuminant(std::string_view name) {
    for (const NamedWhite& candidate : standardIlluminants) {
        if (candidate.name == name) {
            return candidate.white;
        }
    }
    throw std::invalid_argument("there is no such illuminant");
}

/// Luminance of a perfect diffuser under an illuminance in lux.
double luminanceUnder(double lux) {
    return lux / std::numbers::pi;
}

ViewingConditions beforeGray(const Xyz& white, double luminanceOfWhite, const Surround& surround) {
    constexpr double gray = 20;
    return {white, adaptingLuminanceUnder(luminanceOfWhite, gray), gray, surround, false};
}

std::vector<ConditionPreset> allPresets() {
    const Xyz d50 = illuminant("D50");
    ViewingConditions own;
    own.white = illuminant("D65");
    own.adaptingLuminance = adaptingLuminance;
    own.background = std::nullopt;
    own.surround = darkSurround;
    return {
        {"likeness-default",
         "What the comparison's own model assumes: adapting luminance 20 cd/m2, dark surround, white D65, a background "
         "of 20 that drifts with the size of a photograph",
         own},
        {"srgb-display",
         "The reference display of sRGB, IEC 61966-2-1: white of 80 cd/m2 in a room of 64 lx, dim surround, background "
         "20 %",
         beforeGray(srgbWhite(), 80, dimSurround)},
        {"bright-office",
         "A display of 250 cd/m2 with the white of sRGB in an office lit to 500 lx (EN 12464-1), average surround, "
         "background 20 %",
         beforeGray(srgbWhite(), 250, averageSurround)},
        {"print-d50",
         "Prints compared critically, ISO 3664 condition P1: D50 of 2000 lx, 637 cd/m2 on a perfect diffuser, average "
         "surround, background 20 %",
         beforeGray(d50, luminanceUnder(2000), averageSurround)},
        {"print-d50-p2",
         "Prints appraised as in use, ISO 3664 condition P2: D50 of 500 lx, 159 cd/m2 on a perfect diffuser, average "
         "surround, background 20 %",
         beforeGray(d50, luminanceUnder(500), averageSurround)},
        {"cinema",
         "A projected picture, SMPTE ST 431-1 and RP 431-2: white of 48 cd/m2 and chromaticity 0.314, 0.351, dark "
         "surround, background 20 %",
         beforeGray(xyzOfChromaticity({0.314, 0.351}), 48, darkSurround)},
    };
}

}  // namespace

bool operator==(const Surround& first, const Surround& second) {
    return first.adaptation == second.adaptation && first.impact == second.impact &&
           first.induction == second.induction;
}

bool operator==(const ViewingConditions& first, const ViewingConditions& second) {
    return first.white.x == second.white.x && first.white.y == second.white.y && first.white.z == second.white.z &&
           first.adaptingLuminance == second.adaptingLuminance && first.background == second.background &&
           first.surround == second.surround && first.discounting == second.discounting;
}

double adaptingLuminanceUnder(double luminanceOfWhite, double background, double whiteY) {
    return luminanceOfWhite * background / whiteY;
}

void checkViewingConditions(const ViewingConditions& conditions) {
    const Xyz& white = conditions.white;
    require(within(white.y, 0, 1000) && white.y > 0,
            "the white needs a Y above 0 and up to 1000, where 100 is perfect");
    require(within(white.x, 0, 1000) && within(white.z, 0, 1000), "the white needs X and Z from 0 to 1000");
    require(within(conditions.adaptingLuminance, 0, 1e6), "the adapting luminance must be from 0 to 1000000 cd/m2");
    require(!conditions.background || within(*conditions.background, 0, white.y),
            "the background must be from 0 to the Y of the white");
    require(within(conditions.surround.adaptation, 0, 1), "the surround's F must be from 0 to 1");
    require(within(conditions.surround.impact, 0.1, 1), "the surround's c must be from 0.1 to 1");
    require(within(conditions.surround.induction, 0.1, 2), "the surround's Nc must be from 0.1 to 2");
}

const std::vector<ConditionPreset>& conditionPresets() {
    static const std::vector<ConditionPreset> all = allPresets();
    return all;
}

const ConditionPreset& conditionPreset(std::string_view name) {
    std::string names;
    for (const ConditionPreset& preset : conditionPresets()) {
        if (preset.name == name) {
            return preset;
        }
        names += (names.empty() ? "" : ", ") + std::string(preset.name);
    }
    throw std::invalid_argument("there are no conditions '" + std::string(name) + "'; there are " + names);
}

}  // namespace likeness
