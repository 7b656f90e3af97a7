#include "adaptation/degree_of_adaptation.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "reference/adaptation_reference.hpp"

namespace likeness {
namespace {

constexpr double halfADigit = 5.1e-8;  // of the seven printed ones, and half a unit of the float

TEST(DegreeOfAdaptation, HasItsPrintedValues) {
    EXPECT_NEAR(computeAdapFactD(0.0F), 0.5615073, halfADigit);
    EXPECT_NEAR(computeAdapFactD(0.2F), 0.5624595, halfADigit);
    EXPECT_NEAR(computeAdapFactD(20.0F), 0.6471822, halfADigit);  // the published sign would give 0.8584
    EXPECT_NEAR(computeAdapFactD(42.0F), 0.7222222, halfADigit);
    EXPECT_NEAR(computeAdapFactD(100.0F), 0.8521221, halfADigit);
}

TEST(DegreeOfAdaptation, IsNotLimited) {
    EXPECT_GT(computeAdapFactD(-75.8F), 0.0F);
    EXPECT_LT(computeAdapFactD(-75.9F), 0.0F);
    EXPECT_LT(computeAdapFactD(-1000.0F), -10000.0F);
    EXPECT_EQ(computeAdapFactD(1e5F), 1.0F);
    EXPECT_TRUE(std::isnan(computeAdapFactD(std::numeric_limits<float>::quiet_NaN())));
}

TEST(DegreeOfAdaptation, IsTheLiteralVersion) {
    for (float luminance = -200.0F; luminance < 2000.0F; luminance += 0.37F) {
        EXPECT_EQ(computeAdapFactD(luminance), reference::computeAdapFactD(luminance)) << luminance;
    }
}

}  // namespace
}  // namespace likeness
