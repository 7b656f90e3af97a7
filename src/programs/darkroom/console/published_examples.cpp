#include "console/published_examples.hpp"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace likeness::darkroom {
namespace {

constexpr auto ciecam02 = AppearanceModelKind::ciecam02;
constexpr auto ciecam16 = AppearanceModelKind::ciecam16;

constexpr const char* fairchild = "Fairchild 2013";
constexpr const char* li = "Li and others 2017";
constexpr const char* cie248 = "CIE 248:2022";

constexpr Xyz daylight = {95.05, 100, 108.88};
constexpr Xyz incandescent = {109.85, 100, 35.58};
constexpr Xyz gray = {19.01, 20.00, 21.78};
constexpr Xyz red = {57.06, 43.06, 31.96};

/// Correlates in the order J, Q, C, M, s, h, H. CIECAM02: Fairchild, Color Appearance Models, 3rd edition, 2013,
/// example calculations. CIECAM16: the conditions of Li and others, Color Research and Application 42, 2017, in nine
/// decimals of two public programs; the last one of a white beyond the upper knee of CIE 248:2022.
constexpr PublishedColor colors[] = {
    {fairchild, ciecam02, gray, daylight, 318.31, {41.73, 195.37, 0.10, 0.11, 2.36, 219.0, 278.1}, 2, 1},
    {fairchild, ciecam02, red, daylight, 31.83, {65.96, 152.67, 48.57, 41.67, 52.25, 19.6, 399.6}, 2, 1},
    {fairchild, ciecam02, gray, incandescent, 31.83, {42.53, 122.83, 51.92, 44.54, 60.22, 248.9, 305.8}, 2, 1},
    {li,
     ciecam16,
     gray,
     daylight,
     318.31,
     {41.731207905, 195.371708993, 0.103355739, 0.107436772, 2.345015073, 217.067959767, 275.594986145},
     9,
     9},
    {li,
     ciecam16,
     red,
     daylight,
     31.83,
     {65.428280687, 152.069852679, 49.679564198, 42.624733207, 52.943088676, 17.486592427, 398.030479434},
     9,
     9},
    {li,
     ciecam16,
     gray,
     incandescent,
     31.83,
     {41.065617863, 120.632836355, 49.085994083, 42.115454026, 59.086460362, 259.033703421, 311.329175364},
     9,
     9},
    {cie248,
     ciecam16,
     gray,
     incandescent,
     318.31,
     {41.36326063, 194.52011798, 52.81154022, 54.89682038, 53.12406914, 258.88676291, 311.24768647},
     8,
     8},
};

/// Sharma, Wu, Dalal, Color Research and Application 30, 2005, table 1.
constexpr PublishedPair pairs[] = {
    {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
    {{50, 3.1571, -77.2803}, {50, 0, -82.7485}, 2.8615},
    {{50, 2.8361, -74.0200}, {50, 0, -82.7485}, 3.4412},
    {{50, -1.3802, -84.2814}, {50, 0, -82.7485}, 1.0000},
    {{50, -1.1848, -84.8006}, {50, 0, -82.7485}, 1.0000},
    {{50, -0.9009, -85.5211}, {50, 0, -82.7485}, 1.0000},
    {{50, 0, 0}, {50, -1, 2}, 2.3669},
    {{50, -1, 2}, {50, 0, 0}, 2.3669},
    {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0009}, 7.1792},
    {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0010}, 7.1792},
    {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0011}, 7.2195},
    {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0012}, 7.2195},
    {{50, -0.0010, 2.4900}, {50, 0.0009, -2.4900}, 4.8045},
    {{50, -0.0010, 2.4900}, {50, 0.0010, -2.4900}, 4.8045},
    {{50, -0.0010, 2.4900}, {50, 0.0011, -2.4900}, 4.7461},
    {{50, 2.5, 0}, {50, 0, -2.5}, 4.3065},
    {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
    {{50, 2.5, 0}, {61, -5, 29}, 22.8977},
    {{50, 2.5, 0}, {56, -27, -3}, 31.9030},
    {{50, 2.5, 0}, {58, 24, 15}, 19.4535},
    {{50, 2.5, 0}, {50, 3.1736, 0.5854}, 1.0000},
    {{50, 2.5, 0}, {50, 3.2972, 0}, 1.0000},
    {{50, 2.5, 0}, {50, 1.8634, 0.5757}, 1.0000},
    {{50, 2.5, 0}, {50, 3.2592, 0.3350}, 1.0000},
    {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
    {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}, 1.2630},
    {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}, 1.8731},
    {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
    {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
    {{36.4612, 47.8580, 18.3852}, {36.2715, 50.5065, 21.2231}, 1.4146},
    {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}, 1.4441},
    {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
    {{6.7747, -0.2908, -2.4247}, {5.8714, -0.0985, -2.2286}, 0.6377},
    {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
};

struct Value {
    const char* letter;
    double Correlates::*value;
    bool hue;
};

constexpr std::array<Value, 7> values = {{{"J", &Correlates::lightness, false},
                                          {"Q", &Correlates::brightness, false},
                                          {"C", &Correlates::chroma, false},
                                          {"M", &Correlates::colorfulness, false},
                                          {"s", &Correlates::saturation, false},
                                          {"h", &Correlates::hueDegrees, true},
                                          {"H", &Correlates::hueQuadrature, true}}};

/// How far a value may be off that is published with so many decimals.
double toleranceOf(int decimals) {
    constexpr int unrounded = 9;
    return (decimals == unrounded ? 1.0 : 0.5) * std::pow(10.0, -decimals);
}

double relativeDistance(const Xyz& a, const Xyz& b) {
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z) / std::hypot(b.x, b.y, b.z);
}

/// Off by no more than the tolerance, NaN never.
bool within(double difference, double tolerance) {
    return std::abs(difference) <= tolerance;
}

struct Count {
    int agreeing = 0;
    int all = 0;

    void add(bool agrees) {
        agreeing += agrees ? 1 : 0;
        ++all;
    }
};

constexpr double inverseTolerance = 1e-9;

/// The line of one colour.
std::string lineOf(const PublishedColor& example, Count& total) {
    const PublishedModel model(example.model, {example.white, example.adaptingLuminance, 20, averageSurround, false});
    const Correlates found = model.correlatesOf(example.color);
    Count count;
    std::string misses;
    for (const Value& value : values) {
        const int decimals = value.hue ? example.hueDecimals : example.decimals;
        const double printed = example.correlates.*value.value;
        const bool agrees = within(found.*value.value - printed, toleranceOf(decimals));
        count.add(agrees);
        if (!agrees) {
            misses += fmt::format("; {} is {:.{}f}, published {:.{}f}", value.letter, found.*value.value, decimals + 2,
                                  printed, decimals);
        }
    }
    const double distance =
        relativeDistance(model.colorOf({{}, found.lightness, found.chroma, found.hueDegrees}), example.color);
    const bool returns = within(distance, inverseTolerance);
    if (!returns) {
        misses += fmt::format("; the inverse is off by {:.1e}", distance);
    }
    total.add(returns);
    total.agreeing += count.agreeing;
    total.all += count.all;
    const std::string digits = example.decimals == example.hueDecimals
                                   ? fmt::format("{} decimals", example.decimals)
                                   : fmt::format("{} decimals, h and H to {}", example.decimals, example.hueDecimals);
    return fmt::format(
        "{}, {}, X,Y,Z {:.2f},{:.2f},{:.2f} under {:.2f},{:.0f},{:.2f} at {:.2f} cd/m2: {} of {} agree to "
        "{}; inverse {:.0e}{}\n",
        nameOf(example.model), example.source, example.color.x, example.color.y, example.color.z, example.white.x,
        example.white.y, example.white.z, example.adaptingLuminance, count.agreeing, count.all, digits, distance,
        misses);
}

std::string lineOf(std::span<const PublishedPair> examples, Count& total) {
    Count count;
    std::string misses;
    for (const PublishedPair& pair : examples) {
        const double found = ciede2000(pair.first, pair.second);
        const bool agrees = within(found - pair.difference, toleranceOf(4));
        count.add(agrees);
        if (!agrees) {
            misses += fmt::format("; one is {:.6f}, published {:.4f}", found, pair.difference);
        }
    }
    total.agreeing += count.agreeing;
    total.all += count.all;
    return fmt::format("ciede2000, Sharma and others 2005: {} of {} pairs agree to 4 decimals{}\n", count.agreeing,
                       count.all, misses);
}

}  // namespace

std::span<const PublishedColor> publishedColors() {
    return colors;
}

std::span<const PublishedPair> publishedPairs() {
    return pairs;
}

Agreement agreementWith(std::span<const PublishedColor> examples, std::span<const PublishedPair> examplePairs) {
    Agreement agreement;
    Count total;
    for (const PublishedColor& example : examples) {
        agreement.text += lineOf(example, total);
    }
    agreement.text += lineOf(examplePairs, total);
    agreement.complete = total.agreeing == total.all;
    agreement.text += fmt::format("{} of {} checks agree\n", total.agreeing, total.all);
    return agreement;
}

}  // namespace likeness::darkroom
