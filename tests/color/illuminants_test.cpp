#include <likeness/color/illuminants.hpp>

#include <likeness/color/correlated_color_temperature.hpp>

#include <gtest/gtest.h>

#include <cmath>

namespace likeness::testing {
namespace {

Chromaticity of(std::string_view name) {
    for (const NamedWhite& candidate : standardIlluminants) {
        if (candidate.name == name) {
            return chromaticityOf(candidate.white);
        }
    }
    ADD_FAILURE() << name;
    return {};
}

// CIE 015:2018, table of chromaticities of the illuminants, 1931 observer.
TEST(Illuminants, HaveThePublishedChromaticities) {
    const struct {
        std::string_view name;
        double x;
        double y;
    } published[] = {{"A", 0.44758, 0.40745},
                     {"D50", 0.34567, 0.35851},
                     {"D55", 0.33243, 0.34744},
                     {"D65", 0.31272, 0.32903},
                     {"E", 1 / 3.0, 1 / 3.0}};
    for (const auto& expected : published) {
        EXPECT_NEAR(of(expected.name).x, expected.x, 2e-5) << expected.name;
        EXPECT_NEAR(of(expected.name).y, expected.y, 2e-5) << expected.name;
    }
}

TEST(Illuminants, DaylightRunsThroughD50D55AndD65) {
    // Their temperatures are 5000, 5500 and 6500 K times 1.4388 / 1.438; the formula defines chromaticities to 1e-4.
    const std::pair<std::string_view, double> daylights[] = {{"D50", 5000}, {"D55", 5500}, {"D65", 6500}};
    for (const auto& [name, nominal] : daylights) {
        const Chromaticity xy = daylightChromaticity(nominal * 1.4388 / 1.438);
        EXPECT_NEAR(xy.x, of(name).x, 2e-4) << name;
        EXPECT_NEAR(xy.y, of(name).y, 2e-4) << name;
    }
    // The two branches meet at 7000 K.
    EXPECT_NEAR(daylightChromaticity(7000).x, daylightChromaticity(7000.001).x, 1e-4);
    EXPECT_NO_THROW(daylightChromaticity(4000));
    EXPECT_NO_THROW(daylightChromaticity(25000));
    EXPECT_THROW(daylightChromaticity(3999), std::invalid_argument);
    EXPECT_THROW(daylightChromaticity(25001), std::invalid_argument);
    EXPECT_THROW(daylightChromaticity(NAN), std::invalid_argument);
}

TEST(Illuminants, BlackBodiesLieOnTheLocus) {
    for (const double kelvin : {1700.0, 2000.0, 2856.0, 4000.0, 6500.0, 10000.0, 15000.0}) {
        const Chromaticity xy = planckianChromaticity(kelvin);
        const PlanckianNeighbor nearest = correlatedColorTemperature({xy.x, xy.y});
        EXPECT_NEAR(1e6 / nearest.kelvin, 1e6 / kelvin, 1.0) << kelvin;
        EXPECT_NEAR(nearest.duv, 0, 2e-4) << kelvin;
    }
    EXPECT_NEAR(planckianChromaticity(2856).x, of("A").x, 2e-4);
    EXPECT_THROW(planckianChromaticity(999), std::invalid_argument);
    EXPECT_THROW(planckianChromaticity(15001), std::invalid_argument);
}

}  // namespace
}  // namespace likeness::testing
