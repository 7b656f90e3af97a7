#include <likeness/appearance/conditions.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace likeness::testing {
namespace {

TEST(Conditions, PresetsAreWithinTheRangesAndNamedOnce) {
    std::set<std::string_view> names;
    for (const ConditionPreset& preset : conditionPresets()) {
        EXPECT_NO_THROW(checkViewingConditions(preset.conditions)) << preset.name;
        EXPECT_TRUE(names.insert(preset.name).second);
        EXPECT_EQ(&conditionPreset(preset.name), &preset);
        EXPECT_FALSE(preset.text.empty());
    }
    EXPECT_EQ(names, (std::set<std::string_view>{"likeness-default", "srgb-display", "bright-office", "print-d50",
                                                 "print-d50-p2", "cinema"}));
    EXPECT_THROW(conditionPreset("moonlight"), std::invalid_argument);
}

TEST(Conditions, PresetsHaveTheLuminancesOfTheirStandards) {
    // A fifth of: 80 cd/m2; 2000 lx / pi; 500 lx / pi; 48 cd/m2.
    EXPECT_NEAR(conditionPreset("srgb-display").conditions.adaptingLuminance, 16, 1e-12);
    EXPECT_NEAR(conditionPreset("print-d50").conditions.adaptingLuminance, 127.32, 0.005);
    EXPECT_NEAR(conditionPreset("print-d50-p2").conditions.adaptingLuminance, 31.83, 0.005);
    EXPECT_NEAR(conditionPreset("cinema").conditions.adaptingLuminance, 9.6, 1e-12);
    EXPECT_FALSE(conditionPreset("likeness-default").conditions.background.has_value());
    EXPECT_EQ(conditionPreset("likeness-default").conditions.adaptingLuminance, 20);
    EXPECT_TRUE(conditionPreset("srgb-display").conditions.surround == dimSurround);
}

TEST(Conditions, ChecksRanges) {
    const auto refused = [](auto change) {
        ViewingConditions conditions;
        change(conditions);
        EXPECT_THROW(checkViewingConditions(conditions), std::invalid_argument);
    };
    EXPECT_NO_THROW(checkViewingConditions({}));
    refused([](ViewingConditions& c) { c.white.y = 0; });
    refused([](ViewingConditions& c) { c.white.x = -1; });
    refused([](ViewingConditions& c) { c.white.z = NAN; });
    refused([](ViewingConditions& c) { c.white.y = 1001; });
    refused([](ViewingConditions& c) { c.adaptingLuminance = -1; });
    refused([](ViewingConditions& c) { c.adaptingLuminance = INFINITY; });
    refused([](ViewingConditions& c) { c.background = -0.1; });
    refused([](ViewingConditions& c) { c.background = 100.1; });
    refused([](ViewingConditions& c) { c.background = NAN; });
    refused([](ViewingConditions& c) { c.surround.adaptation = 1.1; });
    refused([](ViewingConditions& c) { c.surround.impact = 0; });
    refused([](ViewingConditions& c) { c.surround.induction = 3; });
}

TEST(Conditions, AreEqualInEverything) {
    const ViewingConditions one;
    EXPECT_TRUE(one == ViewingConditions());
    const auto differs = [&one](auto change) {
        ViewingConditions other;
        change(other);
        EXPECT_FALSE(one == other);
        EXPECT_FALSE(other == one);
    };
    differs([](ViewingConditions& c) { c.white.x += 1; });
    differs([](ViewingConditions& c) { c.white.y += 1; });
    differs([](ViewingConditions& c) { c.white.z += 1; });
    differs([](ViewingConditions& c) { c.adaptingLuminance += 1; });
    differs([](ViewingConditions& c) { c.background = c.background.value_or(0) + 1; });
    differs([](ViewingConditions& c) { c.surround.adaptation -= 0.1; });
    differs([](ViewingConditions& c) { c.surround.impact -= 0.1; });
    differs([](ViewingConditions& c) { c.surround.induction -= 0.1; });
    differs([](ViewingConditions& c) { c.discounting = !c.discounting; });
}

}  // namespace
}  // namespace likeness::testing
