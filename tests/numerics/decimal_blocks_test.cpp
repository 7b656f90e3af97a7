#include "numerics/transcendental_blocks.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace likeness::numerics {
namespace {

const double huge = std::numeric_limits<double>::infinity();
const double nan = std::numeric_limits<double>::quiet_NaN();

template <typename Block, typename Scalar>
void expectWithinBound(const std::vector<double>& arguments, Block block, Scalar scalar) {
    std::vector<double> results(arguments.size());
    block(arguments.data(), results.data(), arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const double expected = scalar(arguments[i]);
        if (std::isnan(expected)) {
            EXPECT_TRUE(std::isnan(results[i])) << arguments[i];
        } else if (std::isinf(expected) || expected == 0) {
            EXPECT_EQ(results[i], expected) << arguments[i];
        } else {
            EXPECT_LE(std::abs(results[i] / expected - 1), relativeErrorBound / 4) << arguments[i];
        }
    }
    std::vector<double> inPlace = arguments;
    block(inPlace.data(), inPlace.data(), inPlace.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        EXPECT_TRUE(inPlace[i] == results[i] || std::isnan(results[i])) << arguments[i];
    }
}

TEST(Exp10Block, StaysWithinItsBound) {
    std::vector<double> exponents = {0,     -0.0, 1,     -1,   2,     300, -300,  301,    -301,
                                     308.3, -330, 1e300, huge, -huge, nan, 1e-18, -1e-18, 0.30103};
    std::mt19937_64 random(1);
    for (const double span : {1e-9, 0.01, 1.0, 12.0, 300.0}) {
        std::uniform_real_distribution<double> exponent(-span, span);
        for (int i = 0; i < 5001; ++i) {
            exponents.push_back(exponent(random));
        }
    }
    expectWithinBound(exponents, exp10Block, [](double x) { return std::pow(10.0, x); });
}

TEST(Log10Block, StaysWithinItsBound) {
    std::vector<double> values = {0,      -0.0,  1,     10,   100,   0.1, -1,        1e-6,      1e-6F,   1e-310,
                                  1e-300, 1e300, 1e305, huge, -huge, nan, 1 + 1e-15, 1 - 1e-15, 1 + 1e-8};
    std::mt19937_64 random(2);
    for (const double span : {1e-6, 0.01, 1.0, 12.0, 300.0}) {
        std::uniform_real_distribution<double> exponent(-span, span);
        for (int i = 0; i < 5001; ++i) {
            values.push_back(std::pow(10.0, exponent(random)));
        }
    }
    expectWithinBound(values, log10Block, [](double x) { return std::log10(x); });
}

}  // namespace
}  // namespace likeness::numerics
