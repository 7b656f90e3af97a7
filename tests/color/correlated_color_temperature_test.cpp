#include <likeness/color/correlated_color_temperature.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace likeness {
namespace {

struct Published {
    const char* name;
    double x;
    double y;
    double kelvin;
};

// CIE 015:2018, tables of illuminants; temperatures as the designations have them, with c2 = 0.014388 m K.
constexpr Published illuminants[] = {
    {"A", 0.44758, 0.40745, 2856},   {"D50", 0.34567, 0.35851, 5003}, {"D55", 0.33243, 0.34744, 5503},
    {"D65", 0.31272, 0.32903, 6504}, {"D75", 0.29903, 0.31488, 7504}, {"C", 0.31006, 0.31616, 6774},
};

TEST(CorrelatedColorTemperature, OfPublishedIlluminants) {
    for (const Published& illuminant : illuminants) {
        const PlanckianNeighbor nearest = correlatedColorTemperature({illuminant.x, illuminant.y});
        // The method's 0.1 mired.
        EXPECT_NEAR(1e6 / nearest.kelvin, 1e6 / illuminant.kelvin, 0.1) << illuminant.name;
    }
}

TEST(CorrelatedColorTemperature, DaylightLiesAboveTheLocus) {
    // IES TM-30 and ANSI C78.377: D_uv of D50 and D65 is 0.0032.
    EXPECT_NEAR(correlatedColorTemperature({0.34567, 0.35851}).duv, 0.0032, 1e-4);
    EXPECT_NEAR(correlatedColorTemperature({0.31272, 0.32903}).duv, 0.0032, 1e-4);
    EXPECT_NEAR(correlatedColorTemperature({0.44758, 0.40745}).duv, 0, 1e-4);
}

/// u, v to x, y (CIE 015:2018, 8.1).
cv::Vec2d xyOf(double u, double v) {
    const double denominator = 2 * u - 8 * v + 4;
    return {3 * u / denominator, 2 * v / denominator};
}

TEST(CorrelatedColorTemperature, FindsBlackBodiesOfAnotherPublication) {
    // Krystek, Color Research & Application 10, 1985: rational approximations of the locus from 1000 K to 15000 K,
    // within 8e-5 in u and 9e-5 in v; along the locus that is at most half a mired, the locus being 4e-4 long for a
    // mired at 1000 K and 2e-4 at 15000 K.
    for (double T = 1700; T <= 15000; T *= 1.01) {
        const double u =
            (0.860117757 + 1.54118254e-4 * T + 1.28641212e-7 * T * T) / (1 + 8.42420235e-4 * T + 7.08145163e-7 * T * T);
        const double v =
            (0.317398726 + 4.22806245e-5 * T + 4.20481691e-8 * T * T) / (1 - 2.89741816e-5 * T + 1.61456053e-7 * T * T);
        const PlanckianNeighbor nearest = correlatedColorTemperature(xyOf(u, v));
        EXPECT_NEAR(1e6 / nearest.kelvin, 1e6 / T, 0.6) << T;
        EXPECT_NEAR(nearest.duv, 0, 3e-4) << T;
    }
}

TEST(CorrelatedColorTemperature, FallsAlongTheLinesBetweenBlueAndRed) {
    double last = std::numeric_limits<double>::infinity();
    for (double u = 0.1826; u < 0.336; u += 0.0005) {
        const double v = 0.27 + (u - 0.18) * 0.6;  // below the locus where it is bent, within 0.05
        const double kelvin = correlatedColorTemperature(xyOf(u, v)).kelvin;
        EXPECT_LT(kelvin, last) << u;
        last = kelvin;
    }
}

TEST(CorrelatedColorTemperature, HasNoValueFarFromTheLocus) {
    const PlanckianNeighbor green = correlatedColorTemperature({0.3, 0.6});  // the green of sRGB
    EXPECT_TRUE(std::isnan(green.kelvin));
    EXPECT_GT(green.duv, 0.05);
    const PlanckianNeighbor pink = correlatedColorTemperature(xyOf(0.26, 0.27));
    EXPECT_TRUE(std::isnan(pink.kelvin));
    EXPECT_LT(pink.duv, -0.05);
}

TEST(CorrelatedColorTemperature, HasNoValueOutsideTheLines) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    for (const cv::Vec2d& xy : {cv::Vec2d(0.64, 0.33), cv::Vec2d(0.15, 0.06), cv::Vec2d(none, 0.3),
                                cv::Vec2d(0.3, none), cv::Vec2d(std::numeric_limits<double>::infinity(), 0.3)}) {
        const PlanckianNeighbor nearest = correlatedColorTemperature(xy);
        EXPECT_TRUE(std::isnan(nearest.kelvin)) << xy;
        EXPECT_TRUE(std::isnan(nearest.duv)) << xy;
    }
}

}  // namespace
}  // namespace likeness
