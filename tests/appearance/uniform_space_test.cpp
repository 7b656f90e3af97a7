#include <likeness/appearance/uniform_space.hpp>

#include <gtest/gtest.h>

#include <cmath>

namespace likeness::testing {
namespace {

Correlates correlatesOf(double lightness, double colorfulness, double hueDegrees) {
    Correlates k;
    k.lightness = lightness;
    k.colorfulness = colorfulness;
    k.hueDegrees = hueDegrees;
    return k;
}

TEST(UniformSpace, HasTheFormulasOfThePaper) {
    // By hand: 1.7 * 50 / 1.35 = 62.963; ln(1 + 0.0228 * 40) / 0.0228 = ln(1.912) / 0.0228 = 28.4276.
    const UniformColor ucs = uniformColorOf(correlatesOf(50, 40, 90));
    EXPECT_NEAR(ucs.lightness, 62.962963, 5e-7);
    EXPECT_NEAR(ucs.a, 0, 1e-12);
    EXPECT_NEAR(ucs.b, 28.4276, 5e-5);
    // ln(1 + 0.0053 * 40) / 0.0053 = ln(1.212) / 0.0053; ln(1 + 0.0363 * 40) / 0.0363 = ln(2.452) / 0.0363.
    EXPECT_NEAR(uniformColorOf(correlatesOf(50, 40, 0), UniformVariant::lcd).a, 36.2777, 5e-5);
    EXPECT_NEAR(uniformColorOf(correlatesOf(50, 40, 180), UniformVariant::scd).a, -24.7081, 5e-5);
}

TEST(UniformSpace, WhiteIsOneHundred) {
    for (const UniformVariant variant : {UniformVariant::ucs, UniformVariant::lcd, UniformVariant::scd}) {
        EXPECT_NEAR(uniformColorOf(correlatesOf(100, 0, 0), variant).lightness, 100, 1e-12);
    }
}

TEST(UniformSpace, DifferenceWeighsLightnessByVariant) {
    const UniformColor first = {50, 3, 0};
    const UniformColor second = {54, 0, 0};
    EXPECT_NEAR(uniformDifference(first, second), 5, 1e-12);
    EXPECT_NEAR(uniformDifference(first, second, UniformVariant::lcd), std::hypot(4 / 0.77, 3), 1e-12);
    EXPECT_NEAR(uniformDifference(second, first, UniformVariant::scd), std::hypot(4 / 1.24, 3), 1e-12);
    EXPECT_EQ(uniformDifference(first, first), 0);
}

TEST(UniformSpace, InverseReturnsTheColor) {
    const PublishedModel model(AppearanceModelKind::ciecam16, {});
    for (const UniformVariant variant : {UniformVariant::ucs, UniformVariant::lcd, UniformVariant::scd}) {
        for (const Xyz& color : {Xyz{57.06, 43.06, 31.96}, Xyz{5, 10, 30}, Xyz{0.5, 0.4, 0.1}}) {
            const Xyz back = model.colorOf(tripleOf(uniformColorOf(model.correlatesOf(color), variant), variant));
            EXPECT_NEAR(back.x / color.x, 1, 1e-10);
            EXPECT_NEAR(back.y / color.y, 1, 1e-10);
            EXPECT_NEAR(back.z / color.z, 1, 1e-10);
        }
    }
}

}  // namespace
}  // namespace likeness::testing
