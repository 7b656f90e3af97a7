#include <likeness/appearance/published_model.hpp>

#include "support/mat_matchers.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace likeness::testing {
namespace {

constexpr auto ciecam02 = AppearanceModelKind::ciecam02;
constexpr auto ciecam16 = AppearanceModelKind::ciecam16;

ViewingConditions conditionsOf(const Xyz& white, double adaptingLuminance, double background = 20,
                               const Surround& surround = averageSurround) {
    return {white, adaptingLuminance, background, surround, false};
}

struct Printed {
    Xyz color;
    Xyz white;
    double adaptingLuminance;
    Correlates correlates;
};

constexpr Xyz daylight = {95.05, 100, 108.88};
constexpr Xyz tungsten = {109.85, 100, 35.58};

void expectNear(const Correlates& actual, const Correlates& expected, double tolerance) {
    EXPECT_NEAR(actual.lightness, expected.lightness, tolerance);
    EXPECT_NEAR(actual.brightness, expected.brightness, tolerance);
    EXPECT_NEAR(actual.chroma, expected.chroma, tolerance);
    EXPECT_NEAR(actual.colorfulness, expected.colorfulness, tolerance);
    EXPECT_NEAR(actual.saturation, expected.saturation, tolerance);
}

bool allFinite(const Correlates& k) {
    return std::isfinite(k.lightness) && std::isfinite(k.brightness) && std::isfinite(k.chroma) &&
           std::isfinite(k.colorfulness) && std::isfinite(k.saturation) && std::isfinite(k.hueDegrees) &&
           std::isfinite(k.hueQuadrature);
}

// Fairchild, Color Appearance Models, 3rd edition, 2013, example calculations of CIECAM02; half a unit of the last
// printed digit.
TEST(PublishedModel, Ciecam02HasThePrintedValues) {
    const Printed examples[] = {
        {{19.01, 20.00, 21.78}, daylight, 318.31, {41.73, 195.37, 0.10, 0.11, 2.36, 219.0, 278.1}},
        {{57.06, 43.06, 31.96}, daylight, 31.83, {65.96, 152.67, 48.57, 41.67, 52.25, 19.6, 399.6}},
        {{19.01, 20.00, 21.78}, tungsten, 31.83, {42.53, 122.83, 51.92, 44.54, 60.22, 248.9, 305.8}}};
    const double levels[] = {1.17, 0.54, 0.54};
    const double degrees[] = {0.994, 0.875, 0.875};
    for (std::size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(i + 1);
        const Printed& example = examples[i];
        const PublishedModel model(ciecam02, conditionsOf(example.white, example.adaptingLuminance));
        EXPECT_NEAR(model.factors().luminanceLevel, levels[i], 0.005);
        EXPECT_NEAR(model.factors().degreeOfAdaptation, degrees[i], 0.0005);
        const Correlates correlates = model.correlatesOf(example.color);
        expectNear(correlates, example.correlates, 0.005);
        EXPECT_NEAR(correlates.hueDegrees, example.correlates.hueDegrees, 0.05);
        EXPECT_NEAR(correlates.hueQuadrature, example.correlates.hueQuadrature, 0.05);
    }
}

// Conditions of Li and others, Color Research and Application 42, 2017; digits computed in double by two public
// libraries. Responses lie between the two knees of CIE 248:2022.
TEST(PublishedModel, Ciecam16HasThePublishedValues) {
    const Printed examples[] = {
        {{19.01, 20.00, 21.78},
         daylight,
         318.31,
         {41.731207905, 195.371708993, 0.103355739, 0.107436772, 2.345015073, 217.067959767, 275.594986145}},
        {{57.06, 43.06, 31.96},
         daylight,
         31.83,
         {65.428280687, 152.069852679, 49.679564198, 42.624733207, 52.943088676, 17.486592427, 398.030479434}},
        {{19.01, 20.00, 21.78},
         tungsten,
         31.83,
         {41.065617863, 120.632836355, 49.085994083, 42.115454026, 59.086460362, 259.033703421, 311.329175364}}};
    for (const Printed& example : examples) {
        const PublishedModel model(ciecam16, conditionsOf(example.white, example.adaptingLuminance));
        const Correlates correlates = model.correlatesOf(example.color);
        expectNear(correlates, example.correlates, 1e-9);  // not all of them are rounded to the nearest
        EXPECT_NEAR(correlates.hueDegrees, example.correlates.hueDegrees, 1e-9);
        EXPECT_NEAR(correlates.hueQuadrature, example.correlates.hueQuadrature, 1e-9);
    }
}

// The white is compressed without the lines: its response is beyond the upper knee here.
TEST(PublishedModel, Ciecam16HasThePublishedValueUnderAYellowWhite) {
    const PublishedModel model(ciecam16, conditionsOf(tungsten, 318.31));
    const Correlates correlates = model.correlatesOf({19.01, 20.00, 21.78});
    expectNear(correlates, {41.36326063, 194.52011798, 52.81154022, 54.89682038, 53.12406914, 0, 0}, 5e-9);
    EXPECT_NEAR(correlates.hueDegrees, 258.88676291, 5e-9);
    EXPECT_NEAR(correlates.hueQuadrature, 311.24768647, 5e-9);
}

TEST(PublishedModel, InvertsThePrintedValues) {
    const PublishedModel model(ciecam02, conditionsOf(daylight, 31.83));
    // Half a unit of J, C and h is worth less than 0.05 in X, Y, Z.
    const Xyz color = model.colorOf({{}, 65.96, 48.57, 19.6});
    EXPECT_NEAR(color.x, 57.06, 0.05);
    EXPECT_NEAR(color.y, 43.06, 0.05);
    EXPECT_NEAR(color.z, 31.96, 0.05);
}

double levelOf(const Correlates& k, LevelCorrelate kind) {
    return kind == LevelCorrelate::lightness ? k.lightness : k.brightness;
}

double chromaOf(const Correlates& k, ChromaCorrelate kind) {
    return kind == ChromaCorrelate::chroma         ? k.chroma
           : kind == ChromaCorrelate::colorfulness ? k.colorfulness
                                                   : k.saturation;
}

double relativeDistance(const Xyz& a, const Xyz& b) {
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z) / std::hypot(b.x, b.y, b.z);
}

TEST(PublishedModel, InverseReturnsRandomColors) {
    std::mt19937 random(5);
    const auto between = [&random](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    const CorrelateKinds kinds[] = {
        {LevelCorrelate::lightness, ChromaCorrelate::chroma, HueCorrelate::degrees},
        {LevelCorrelate::brightness, ChromaCorrelate::colorfulness, HueCorrelate::quadrature},
        {LevelCorrelate::lightness, ChromaCorrelate::saturation, HueCorrelate::quadrature},
        {LevelCorrelate::brightness, ChromaCorrelate::chroma, HueCorrelate::degrees},
        {LevelCorrelate::lightness, ChromaCorrelate::colorfulness, HueCorrelate::degrees},
        {LevelCorrelate::brightness, ChromaCorrelate::saturation, HueCorrelate::degrees},
    };
    const Surround surrounds[] = {averageSurround, dimSurround, darkSurround};
    double worst = 0;
    int colors = 0;
    for (int set = 0; set < 100; ++set) {
        ViewingConditions conditions =
            conditionsOf(xyzOfChromaticity({between(0.28, 0.40), between(0.29, 0.40)}, between(60, 100)),
                         std::pow(10, between(-1, 4)), between(1, 50), surrounds[set % 3]);
        conditions.discounting = set % 5 == 0;
        for (const AppearanceModelKind kind : {ciecam02, ciecam16}) {
            const PublishedModel model(kind, conditions);
            for (int i = 0; i < 500; ++i, ++colors) {
                const Xyz color = xyzFromSrgb({between(0, 1), between(0, 1), between(0, 1)});
                const Correlates k = model.correlatesOf(color);
                const CorrelateKinds& given = kinds[i % 6];
                const double hue = given.hue == HueCorrelate::degrees ? k.hueDegrees : k.hueQuadrature;
                const Xyz back = model.colorOf({given, levelOf(k, given.level), chromaOf(k, given.chroma), hue});
                worst = std::max(worst, relativeDistance(back, color));
            }
        }
    }
    EXPECT_EQ(colors, 100000);
    EXPECT_LT(worst, 1e-9);
}

TEST(PublishedModel, InverseReturnsColorsBeyondTheKnees) {
    const PublishedModel model(ciecam16, conditionsOf(tungsten, 318.31));
    // Brighter than the white, and nearly black: on the upper and on the lower line.
    for (const Xyz& color : {Xyz{250, 230, 90}, Xyz{0.02, 0.02, 0.01}, Xyz{1e-7, 1e-7, 1e-7}}) {
        const Correlates k = model.correlatesOf(color);
        EXPECT_LT(relativeDistance(model.colorOf({{}, k.lightness, k.chroma, k.hueDegrees}), color), 1e-9);
    }
}

// With negative X, Y, Z but a positive achromatic response: CIECAM02 mirrors, CIECAM16 goes on in a line.
TEST(PublishedModel, InverseReturnsNegativeResponses) {
    for (const AppearanceModelKind kind : {ciecam02, ciecam16}) {
        const PublishedModel model(kind, conditionsOf(daylight, 50));
        for (const Xyz& color : {Xyz{30, 40, -2}, Xyz{10, 30, 0.1}, Xyz{-1, 5, 6}}) {
            const Correlates k = model.correlatesOf(color);
            ASSERT_TRUE(allFinite(k));
            EXPECT_LT(relativeDistance(model.colorOf({{}, k.lightness, k.chroma, k.hueDegrees}), color), 1e-9)
                << nameOf(kind) << ' ' << color.x;
        }
    }
}

TEST(PublishedModel, JoinsAtTheKneesOfCiecam16) {
    // Discounting under the equal-energy white leaves a gray's three responses equal to its Y (rows of the matrix: 1).
    ViewingConditions conditions = conditionsOf({100, 100, 100}, 100);
    conditions.discounting = true;
    const PublishedModel model(ciecam16, conditions);
    const auto lightness = [&model](double y) { return model.correlatesOf({y, y, y}).lightness; };
    for (const double knee : {0.26, 150.0}) {
        const double step = knee * 1e-6;
        EXPECT_NEAR(lightness(knee - step), lightness(knee + step), 1e-3 * lightness(knee) * 1e-2) << knee;
    }
    // Proportional to A below the lower knee, where A is proportional to Y: J ~ Y^(c z).
    const double cz = 0.69 * (1.48 + std::sqrt(0.2));
    EXPECT_NEAR(lightness(0.1) / lightness(0.2), std::pow(0.5, cz), 1e-9);
    // A tangent above the upper one: the slope is the same on both sides.
    const double below = lightness(150) - lightness(149.9);
    const double above = lightness(150.1) - lightness(150);
    EXPECT_NEAR(above / below, 1, 1e-3);
}

TEST(PublishedModel, WhiteIsWhite) {
    for (const ConditionPreset& preset : conditionPresets()) {
        ViewingConditions conditions = preset.conditions;
        conditions.background = conditions.background.value_or(20);
        const PublishedModel model(ciecam02, conditions);
        const Correlates white = model.correlatesOf(conditions.white);
        EXPECT_NEAR(white.lightness, 100, 1e-9) << preset.name;
        EXPECT_TRUE(allFinite(white));
    }
    // Under full adaptation white has no chroma; the white of CIECAM16 lies below the upper knee here.
    for (const AppearanceModelKind kind : {ciecam02, ciecam16}) {
        ViewingConditions conditions = conditionsOf(daylight, 64);
        conditions.discounting = true;
        const Correlates white = PublishedModel(kind, conditions).correlatesOf(daylight);
        EXPECT_NEAR(white.lightness, 100, 1e-9);
        // The rows of the Hunt-Pointer-Estevez matrix add up to 1.00001, 1 and 1.
        EXPECT_NEAR(white.chroma, 0, kind == ciecam02 ? 0.01 : 1e-9);
    }
}

TEST(PublishedModel, BlackHasNoLightnessNorChroma) {
    for (const AppearanceModelKind kind : {ciecam02, ciecam16}) {
        const PublishedModel model(kind, conditionsOf(daylight, 64));
        const Correlates black = model.correlatesOf({0, 0, 0});
        for (const double value : {black.lightness, black.brightness, black.chroma, black.colorfulness,
                                   black.saturation, black.hueDegrees}) {
            EXPECT_EQ(value, 0);
        }
        // As the values near it: no jump.
        const Correlates nearly = model.correlatesOf({0.9505e-9, 1e-9, 1.0888e-9});
        EXPECT_LT(nearly.lightness, 0.01);
        EXPECT_LT(nearly.chroma, 0.01);
        EXPECT_LT(relativeDistance(model.colorOf({{}, 0, 0, 0}), {1, 1, 1}), 2);
        EXPECT_EQ(model.colorOf({{}, 0, 0, 0}).y, 0);
        // Darker than black.
        const Correlates below = model.correlatesOf({-0.01, -0.01, -0.01});
        EXPECT_EQ(below.lightness, 0);
        EXPECT_EQ(below.brightness, 0);
        EXPECT_EQ(below.chroma, 0);
        EXPECT_EQ(below.saturation, 0);
    }
}

TEST(PublishedModel, NoAdaptingLuminanceHasTheLimits) {
    for (const AppearanceModelKind kind : {ciecam02, ciecam16}) {
        const PublishedModel dark(kind, conditionsOf(daylight, 0));
        const PublishedModel nearly(kind, conditionsOf(daylight, 1e-16));
        for (const Xyz& color : {Xyz{57.06, 43.06, 31.96}, Xyz{0.02, 0.02, 0.02}, Xyz{0, 0, 0}, daylight}) {
            const Correlates k = dark.correlatesOf(color);
            const Correlates limit = nearly.correlatesOf(color);
            ASSERT_TRUE(allFinite(k));
            EXPECT_NEAR(k.lightness, limit.lightness, 1e-3);
            EXPECT_NEAR(k.chroma, limit.chroma, 0.05);
            EXPECT_NEAR(k.brightness, limit.brightness, 0.05);
            EXPECT_EQ(k.saturation, 0);
            if (color.y > 1 && color.y < 100) {  // not the neutrals
                EXPECT_NEAR(k.hueDegrees, limit.hueDegrees, 1e-3);
            }
        }
        EXPECT_NEAR(dark.colorOf({{}, 100, 0, 0}).y, 100, 1);
        EXPECT_THROW(dark.colorOf({{}, 50, 1, 0}), std::invalid_argument);
        EXPECT_THROW(dark.colorOf({{LevelCorrelate::brightness}, 50, 0, 0}), std::invalid_argument);
    }
}

TEST(PublishedModel, BlackBackgroundCountsAsTheLeast) {
    for (const AppearanceModelKind kind : {ciecam02, ciecam16}) {
        const PublishedModel black(kind, conditionsOf(daylight, 64, 0));
        const PublishedModel least(kind, conditionsOf(daylight, 64, 0.01));
        EXPECT_EQ(black.factors().backgroundInduction, leastBackgroundRatio);
        for (const Xyz& color : {Xyz{57.06, 43.06, 31.96}, Xyz{0, 0, 0}}) {
            const Correlates k = black.correlatesOf(color);
            EXPECT_TRUE(allFinite(k));
            EXPECT_NEAR(k.lightness, least.correlatesOf(color).lightness, 1e-12);
            EXPECT_NEAR(k.chroma, least.correlatesOf(color).chroma, 1e-12);
        }
    }
}

TEST(PublishedModel, ColorsWithoutAMagnitudeHaveNoChroma) {
    const PublishedModel model(ciecam02, conditionsOf(daylight, 64));
    const Correlates k = model.correlatesOf({5, 5, -200});
    EXPECT_GT(k.lightness, 0);
    EXPECT_TRUE(std::isnan(k.chroma));
    EXPECT_TRUE(std::isnan(k.saturation));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(model.correlatesOf({nan, 1, 1}).lightness));
    EXPECT_TRUE(std::isnan(model.correlatesOf({1, 1, INFINITY}).lightness));
}

TEST(PublishedModel, RefusesCorrelatesThatNoColorHas) {
    const PublishedModel model(ciecam16, conditionsOf(daylight, 64));
    EXPECT_THROW(model.colorOf({{}, -1, 0, 0}), std::invalid_argument);
    EXPECT_THROW(model.colorOf({{}, 50, -1, 0}), std::invalid_argument);
    EXPECT_THROW(model.colorOf({{}, 50, 10, NAN}), std::invalid_argument);
    EXPECT_THROW(model.colorOf({{}, 0, 10, 0}), std::invalid_argument);
    EXPECT_THROW(model.colorOf({{}, 50, 1e6, 270}), std::invalid_argument);
    const PublishedModel hyperbola(ciecam02, conditionsOf(daylight, 64));
    EXPECT_THROW(hyperbola.colorOf({{}, 1e6, 0, 0}), std::invalid_argument);
}

TEST(PublishedModel, RefusesConditions) {
    EXPECT_THROW(PublishedModel(AppearanceModelKind::likeness, {}), std::invalid_argument);
    ViewingConditions drifting;
    drifting.background = std::nullopt;
    EXPECT_THROW(PublishedModel(ciecam02, drifting), std::invalid_argument);
    EXPECT_THROW(PublishedModel(ciecam02, conditionsOf({0, 100, 400}, 20)), std::invalid_argument);
    EXPECT_THROW(PublishedModel(ciecam16, conditionsOf({600, 100, 0}, 20)), std::invalid_argument);
}

TEST(PublishedModel, PartialAdaptationFollowsTheSurround) {
    // D = F (1 - exp((-L_A - 42) / 92) / 3.6), by hand for L_A = 50: exp(-1) / 3.6 = 0.102189.
    EXPECT_NEAR(PublishedModel(ciecam02, conditionsOf(daylight, 50)).factors().degreeOfAdaptation, 0.897811, 5e-7);
    EXPECT_NEAR(PublishedModel(ciecam16, conditionsOf(daylight, 50, 20, darkSurround)).factors().degreeOfAdaptation,
                0.718249, 5e-7);
}

TEST(HueQuadrature, UniqueHuesAreHundreds) {
    // CIE 159:2004, table of the unique hues.
    EXPECT_EQ(hueQuadratureOf(20.14), 0);
    EXPECT_EQ(hueQuadratureOf(90), 100);
    EXPECT_EQ(hueQuadratureOf(164.25), 200);
    EXPECT_EQ(hueQuadratureOf(237.53), 300);
    EXPECT_NEAR(hueQuadratureOf(20.1399), 400, 0.001);
    EXPECT_NEAR(hueQuadratureOf(0), 385.9, 1e-9);
    EXPECT_NEAR(hueQuadratureOf(359.9999), 385.9, 1e-3);
    EXPECT_NEAR(hueQuadratureOf(-122.47), 300, 1e-12);
    for (double h = 0; h < 360; h += 0.25) {
        EXPECT_NEAR(std::remainder(hueDegreesOf(hueQuadratureOf(h)) - h, 360), 0, 1e-10);
    }
}

TEST(HueQuadrature, Composition) {
    EXPECT_EQ(hueComposition(262), "62B 38G");
    EXPECT_EQ(hueComposition(238), "62G 38B");
    EXPECT_EQ(hueComposition(50), "50R 50Y");
    EXPECT_EQ(hueComposition(0), "100R");
    EXPECT_EQ(hueComposition(399.6), "100R");
    EXPECT_EQ(hueComposition(100.4), "100Y");
    EXPECT_EQ(hueComposition(305.8), "94B 6R");
    EXPECT_EQ(hueComposition(NAN), "none");
}

TEST(PublishedModelImages, AreTheColorsRounded) {
    cv::Mat xyz(37, 23, CV_32FC3);
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(-0.05F, 1.2F);
    for (int i = 0; i < xyz.rows; ++i) {
        for (int j = 0; j < xyz.cols; ++j) {
            const float y = std::abs(value(random));
            xyz.at<cv::Vec3f>(i, j) = {y * (0.9F + 0.2F * value(random)), y, y * (1 + 0.3F * value(random))};
        }
    }
    xyz.at<cv::Vec3f>(3, 4) = {0, 0, 0};
    for (const AppearanceModelKind kind : {ciecam02, ciecam16}) {
        const PublishedModel model(kind, conditionsOf(daylight, 64));
        const CorrelateMaps maps = model.correlateMaps(xyz);
        for (int i = 0; i < xyz.rows; ++i) {
            for (int j = 0; j < xyz.cols; ++j) {
                const cv::Vec3d color = cv::Vec3d(xyz.at<cv::Vec3f>(i, j)) * 100;
                const Correlates k = model.correlatesOf({color[0], color[1], color[2]});
                const auto same = [i, j](const cv::Mat& map, double expected) {
                    EXPECT_NEAR(map.at<float>(i, j), expected, 6e-8 * std::abs(expected)) << i << ' ' << j;
                };
                same(maps.lightness, k.lightness);
                same(maps.brightness, k.brightness);
                same(maps.chroma, k.chroma);
                same(maps.colorfulness, k.colorfulness);
                same(maps.saturation, k.saturation);
                same(maps.hueDegrees, k.hueDegrees);
                same(maps.hueQuadrature, k.hueQuadrature);
            }
        }
        // A view gives what its clone does.
        const cv::Rect part(2, 3, 11, 17);
        EXPECT_MAT_EQUAL(model.correlateMaps(xyz(part)).chroma, maps.chroma(part));
        // J, C and h in float are good for some 1e-5 of X, Y, Z.
        const cv::Mat back = model.xyzImageOf({}, maps.lightness, maps.chroma, maps.hueDegrees);
        EXPECT_MAT_NEAR(back, xyz, Tolerance{.absolute = 2e-5});
    }
}

TEST(PublishedModelImages, RefusesOtherTypesAndTakesEmptyOnes) {
    const PublishedModel model(ciecam16, conditionsOf(daylight, 64));
    EXPECT_TRUE(model.correlateMaps(cv::Mat()).lightness.empty());
    EXPECT_TRUE(model.xyzImageOf({}, {}, {}, {}).empty());
    EXPECT_THROW(model.correlateMaps(cv::Mat(2, 2, CV_8UC3)), std::invalid_argument);
    const cv::Mat map = cv::Mat::zeros(2, 2, CV_32FC1);
    EXPECT_THROW(model.xyzImageOf({}, map, map, cv::Mat::zeros(2, 3, CV_32FC1)), std::invalid_argument);
    const cv::Mat none = model.xyzImageOf({}, map, map + 1, map);
    EXPECT_TRUE(std::isnan(none.at<cv::Vec3f>(0, 0)[1]));
}

}  // namespace
}  // namespace likeness::testing
