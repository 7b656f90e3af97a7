#include <likeness/adaptation/degree_of_adaptation.hpp>

#include "reference/adaptation_reference.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

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

TEST(DegreeOfAdaptation, OfManyLuminancesIsThatOfEach) {
    std::vector<float> luminances = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                     -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max(),
                                     std::numeric_limits<float>::lowest()};
    for (float luminance = -200.0F; luminance < 2000.0F; luminance += 0.0137F) {
        luminances.push_back(luminance);
    }
    for (float luminance = 0.0F; luminance < 0.25F; luminance += 1.7e-6F) {
        luminances.push_back(luminance);
    }
    std::vector<float> degrees = luminances;
    computeAdapFactD(degrees.data(), degrees.data(), degrees.size());
    for (std::size_t k = 0; k < luminances.size(); ++k) {
        const float expected = reference::computeAdapFactD(luminances[k]);
        ASSERT_TRUE(degrees[k] == expected || (std::isnan(degrees[k]) && std::isnan(expected))) << luminances[k];
    }
}

}  // namespace
}  // namespace likeness
