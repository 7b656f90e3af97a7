#include "filter/plane_quotient.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace likeness {
namespace {

template <typename T>
class PlaneQuotient : public ::testing::Test {};
using Depths = ::testing::Types<float, double>;
TYPED_TEST_SUITE(PlaneQuotient, Depths);

TYPED_TEST(PlaneQuotient, IsZeroWhereTheDivisorIsZero) {
    using Limits = std::numeric_limits<TypeParam>;
    for (const TypeParam dividend :
         {TypeParam(0), TypeParam(1), TypeParam(-3), Limits::infinity(), Limits::quiet_NaN()}) {
        for (const TypeParam zero : {TypeParam(0), -TypeParam(0)}) {
            EXPECT_EQ(quotient(dividend, zero), 0) << dividend;
            EXPECT_FALSE(std::signbit(quotient(dividend, zero))) << dividend;
        }
    }
}

TYPED_TEST(PlaneQuotient, IsTheOrdinaryQuotientElsewhere) {
    using Limits = std::numeric_limits<TypeParam>;
    EXPECT_EQ(quotient(TypeParam(3), TypeParam(4)), TypeParam(0.75));
    EXPECT_EQ(quotient(TypeParam(-3), Limits::denorm_min()), -Limits::infinity());
    EXPECT_EQ(quotient(TypeParam(3), Limits::infinity()), TypeParam(0));
    EXPECT_TRUE(std::isnan(quotient(TypeParam(3), Limits::quiet_NaN())));
    EXPECT_TRUE(std::isnan(quotient(Limits::quiet_NaN(), TypeParam(3))));
}

}  // namespace
}  // namespace likeness
