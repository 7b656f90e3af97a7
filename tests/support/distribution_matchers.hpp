// Distributions that have to be the same to the bit.
#pragma once

#include <likeness/comparison/analysis.hpp>

#include <gtest/gtest.h>

namespace likeness::testing {

inline void expectEqual(const AppearanceDistributions& actual, const AppearanceDistributions& expected) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ(actual[k], expected[k]) << correlateNames[k].name;
        EXPECT_EQ(actual.nanShares[k], expected.nanShares[k]) << correlateNames[k].name;
    }
    EXPECT_EQ(actual.hue, expected.hue);
    EXPECT_EQ(actual.blackShare, expected.blackShare);
}

}  // namespace likeness::testing
