#include "diagnostics/number_text.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <sstream>
#include <string>

namespace likeness {
namespace {

std::string streamText(float value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

/// What the stream writes, found faster: the tests below compare the two forms on part of their numbers.
std::string printfText(float value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(value));
    return text;
}

void expectBothSigns(float value) {
    ASSERT_EQ(numberText(value), printfText(value)) << std::bit_cast<std::uint32_t>(value);
    ASSERT_EQ(numberText(-value), printfText(-value)) << std::bit_cast<std::uint32_t>(-value);
}

TEST(NumberTextRounding, ShowsSixSignificantDigitsWithoutTrailingZeros) {
    EXPECT_EQ(numberText(0.0F), "0");
    EXPECT_EQ(numberText(-0.0F), "-0");
    EXPECT_EQ(numberText(1.0F), "1");
    EXPECT_EQ(numberText(-1.5F), "-1.5");
    EXPECT_EQ(numberText(100.0F), "100");
    EXPECT_EQ(numberText(123456.0F), "123456");
    EXPECT_EQ(numberText(0.464159F), "0.464159");
    EXPECT_EQ(numberText(0.00012345678F), "0.000123457");
    EXPECT_EQ(numberText(1234567.0F), "1.23457e+06");
    EXPECT_EQ(numberText(std::numeric_limits<float>::min()), "1.17549e-38");
    EXPECT_EQ(numberText(std::numeric_limits<float>::quiet_NaN()), "nan");
    EXPECT_EQ(numberText(-std::numeric_limits<float>::quiet_NaN()), "-nan");
    EXPECT_EQ(numberText(std::numeric_limits<float>::infinity()), "inf");
    EXPECT_EQ(numberText(-std::numeric_limits<float>::infinity()), "-inf");
}

TEST(NumberTextRounding, RoundingUpGainsADigit) {
    EXPECT_EQ(numberText(9.9999996F), "10");
    EXPECT_EQ(numberText(0.09999999F), "0.1");
    EXPECT_EQ(numberText(99999.96F), "100000");
    EXPECT_EQ(numberText(999998.9375F), "999999");
    EXPECT_EQ(numberText(999999.5F), "1e+06");
    EXPECT_EQ(numberText(1e-4F), "0.0001");  // the float lies below 1/10000
    EXPECT_EQ(numberText(std::nextafter(1e-4F, 0.0F)), "0.0001");
    EXPECT_EQ(numberText(9.9999e-5F), "9.9999e-05");
}

TEST(NumberTextRounding, TiesGoToTheEvenDigit) {
    EXPECT_EQ(numberText(100000.5F), "100000");
    EXPECT_EQ(numberText(100001.5F), "100002");
    EXPECT_EQ(numberText(12345.25F), "12345.2");
    EXPECT_EQ(numberText(12345.75F), "12345.8");
}

// j / 2^(k + 1) with an odd j, scaled by 10^k, ends in exactly one half.
TEST(NumberTextRounding, EveryKindOfTieIsTheStreams) {
    std::mt19937 random(1);
    for (int k = 0; k <= 9; ++k) {
        const double low = std::pow(10.0, 5 - k) * std::ldexp(1.0, k + 1);
        const double high = std::min(10 * low, 16777215.0);
        if (low >= high) {
            continue;
        }
        std::uniform_int_distribution<std::int64_t> numerator(static_cast<std::int64_t>(low),
                                                              static_cast<std::int64_t>(high));
        for (int i = 0; i < 20000; ++i) {
            const auto j = static_cast<float>(numerator(random) | 1);
            expectBothSigns(std::ldexp(j, -(k + 1)));
        }
    }
}

TEST(NumberTextRounding, RandomBitPatternsAreTheStreams) {
    std::mt19937 random(2);
    for (int i = 0; i < 300000; ++i) {
        expectBothSigns(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    }
}

TEST(NumberTextRounding, OrdinaryMagnitudesAreTheStreams) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> exponent(-5.0F, 7.0F);
    for (int i = 0; i < 400000; ++i) {
        expectBothSigns(std::pow(10.0F, exponent(random)));
    }
    for (int i = 0; i < 20000; ++i) {
        const float value = std::pow(10.0F, exponent(random));
        ASSERT_EQ(numberText(value), streamText(value));
    }
}

TEST(NumberTextRounding, DecimalNumbersAndTheirNeighboursAreTheStreams) {
    for (int k = -6; k <= 7; ++k) {
        for (const double factor : {1.0, 2.0, 5.0, 9.99999, 9.999995, 9.9999949, 1.000005, 1.0000049, 1.2345, 6.5}) {
            const auto value = static_cast<float>(factor * std::pow(10.0, k));
            float below = value;
            float above = value;
            for (int step = 0; step < 50; ++step) {
                expectBothSigns(below);
                expectBothSigns(above);
                below = std::nextafter(below, 0.0F);
                above = std::nextafter(above, std::numeric_limits<float>::infinity());
            }
        }
    }
    for (int e = -16; e <= 21; ++e) {
        expectBothSigns(std::ldexp(1.0F, e));
        expectBothSigns(std::nextafter(std::ldexp(1.0F, e), 0.0F));
    }
}

}  // namespace
}  // namespace likeness
