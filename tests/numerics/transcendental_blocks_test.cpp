#include "numerics/transcendental_blocks.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace likeness::numerics {
namespace {

using Block = std::vector<double>;

constexpr double errorBound = 0x1p-46;
constexpr std::size_t samples = 400'000;

Block uniform(std::size_t count, double low, double high, std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    std::uniform_real_distribution<double> distribution(low, high);
    Block values(count);
    for (double& value : values) {
        value = distribution(engine);
    }
    return values;
}

/// Of either sign, magnitudes spread over 10^lowest .. 10^highest.
Block spread(std::size_t count, double lowest, double highest, std::uint64_t seed) {
    Block values = uniform(count, lowest, highest, seed);
    std::mt19937_64 engine(seed + 1);
    for (double& value : values) {
        value = std::pow(10.0, value) * ((engine() & 1U) != 0 ? 1 : -1);
    }
    return values;
}

const Block& specialValues() {
    using Limits = std::numeric_limits<double>;
    static const Block values = {0.0,
                                 -0.0,
                                 1.0,
                                 -1.0,
                                 Limits::quiet_NaN(),
                                 -Limits::quiet_NaN(),
                                 Limits::infinity(),
                                 -Limits::infinity(),
                                 Limits::min(),
                                 -Limits::min(),
                                 Limits::denorm_min(),
                                 -Limits::denorm_min(),
                                 Limits::max(),
                                 Limits::lowest(),
                                 1e-200,
                                 -1e-200,
                                 1e200,
                                 -1e200,
                                 1e-310,
                                 1e7,
                                 -1e7,
                                 1e22,
                                 0.5};
    return values;
}

void expectSameBits(const Block& actual, const Block& expected, const std::string& what) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        EXPECT_EQ(std::bit_cast<std::uint64_t>(actual[i]), std::bit_cast<std::uint64_t>(expected[i]))
            << what << ", element " << i << ": " << actual[i] << ", expected " << expected[i];
    }
}

enum class Error { relative, absolute };

double worstError(const Block& actual, const Block& expected, Error kind) {
    double worst = 0;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const double difference = std::abs(actual[i] - expected[i]);
        const double error = kind == Error::relative ? difference / std::abs(expected[i]) : difference;
        if (difference != 0 && !(error <= worst)) {
            worst = error;
        }
    }
    return worst;
}

/// A block function of one argument and what the standard library has for it.
struct Function {
    const char* name;
    void (*BlockFunctions::*block)(const double*, double*, std::size_t);
    double (*scalar)(double);
    Error kind;
};

const Function ofAngle[] = {{"cos", &BlockFunctions::cos, std::cos, Error::absolute},
                            {"sin", &BlockFunctions::sin, std::sin, Error::absolute},
                            {"tan", &BlockFunctions::tan, std::tan, Error::relative}};

Block mapped(const Block& arguments, double (*scalar)(double)) {
    Block values(arguments.size());
    std::transform(arguments.begin(), arguments.end(), values.begin(), scalar);
    return values;
}

Block powers(const Block& bases, double exponent) {
    Block values(bases.size());
    std::transform(bases.begin(), bases.end(), values.begin(), [exponent](double b) { return std::pow(b, exponent); });
    return values;
}

/// Each set of functions that this processor has.
class TranscendentalBlocks : public ::testing::TestWithParam<const BlockFunctions*> {
protected:
    static const BlockFunctions& blocks() { return *GetParam(); }
};

TEST_P(TranscendentalBlocks, PowersAreCloseToTheStandardLibrary) {
    for (const double exponent : {0.25, 0.3333333333333333, 0.4166666666666667, 0.42, 0.73, 0.9, 2.4, -0.42, 5.0}) {
        for (const Block& bases : {uniform(samples / 2, 0.0, 1.2, 1), uniform(samples / 2, 0.0, 1000.0, 2),
                                   spread(samples / 2, -30, 30, 3)}) {
            Block positive = bases;
            for (double& base : positive) {
                base = std::abs(base);
            }
            Block actual(positive.size());
            blocks().pow(positive.data(), exponent, actual.data(), actual.size());
            EXPECT_LT(worstError(actual, powers(positive, exponent), Error::relative), errorBound) << exponent;
        }
    }
}

TEST_P(TranscendentalBlocks, AnglesAreCloseToTheStandardLibrary) {
    for (const Function& function : ofAngle) {
        for (const Block& angles :
             {uniform(samples, -10.0, 10.0, 4), uniform(samples, -1000.0, 1000.0, 5), spread(samples, -12, 5.9, 6)}) {
            Block actual(angles.size());
            (blocks().*function.block)(angles.data(), actual.data(), actual.size());
            EXPECT_LT(worstError(actual, mapped(angles, function.scalar), function.kind), errorBound) << function.name;
        }
    }
}

TEST_P(TranscendentalBlocks, DirectionsAreCloseToTheStandardLibrary) {
    const auto expectClose = [](const Block& y, const Block& x) {
        Block actual(y.size());
        blocks().atan2(y.data(), x.data(), actual.data(), actual.size());
        Block expected(y.size());
        for (std::size_t i = 0; i < y.size(); ++i) {
            expected[i] = std::atan2(y[i], x[i]);
        }
        EXPECT_LT(worstError(actual, expected, Error::relative), errorBound);
    };
    expectClose(uniform(samples, -20.0, 20.0, 7), uniform(samples, -20.0, 20.0, 8));
    expectClose(uniform(samples, -1e-3, 1e-3, 9), uniform(samples, -20.0, 20.0, 10));
    expectClose(spread(samples, -10, 10, 11), spread(samples, -10, 10, 12));
}

TEST_P(TranscendentalBlocks, SpecialArgumentsAreTheStandardLibrarys) {
    const Block& values = specialValues();
    Block actual(values.size());
    for (const double exponent : {0.0, 0.42, 0.9, 2.4, -1.5, 1000.0}) {
        for (const double base : values) {
            if (base > 0.4 && base < 1e8) {
                continue;  // ordinary, for the bound of the other tests
            }
            const Block eight(8, base);
            Block result(8);
            blocks().pow(eight.data(), exponent, result.data(), 8);
            expectSameBits(result, Block(8, std::pow(base, exponent)), "pow " + std::to_string(exponent));
        }
    }
    for (const Function& function : ofAngle) {
        for (const double angle : values) {
            if (std::abs(angle) >= 0.5 && std::abs(angle) <= 1) {
                continue;
            }
            const Block eight(8, angle);
            Block result(8);
            (blocks().*function.block)(eight.data(), result.data(), 8);
            expectSameBits(result, Block(8, function.scalar(angle)), function.name);
        }
    }
    for (const double y : values) {
        for (const double x : values) {
            const auto ordinary = [](double v) { return std::abs(v) >= 1e-130 && std::abs(v) <= 1e130; };
            if (ordinary(y) && ordinary(x)) {
                continue;
            }
            const Block ys(8, y);
            const Block xs(8, x);
            Block result(8);
            blocks().atan2(ys.data(), xs.data(), result.data(), 8);
            expectSameBits(result, Block(8, std::atan2(y, x)), "atan2");
        }
    }
}

TEST_P(TranscendentalBlocks, SmallPowersOfInfinityAreInfinityOrZero) {
    const Block infinite(8, std::numeric_limits<double>::infinity());
    for (const double exponent : {0.01, 0.02, -0.01}) {
        Block result(8);
        blocks().pow(infinite.data(), exponent, result.data(), 8);
        expectSameBits(result, Block(8, std::pow(infinite[0], exponent)), "pow " + std::to_string(exponent));
    }
}

TEST_P(TranscendentalBlocks, AnElementDoesNotDependOnItsNeighbours) {
    Block arguments = uniform(37, 0.01, 3.0, 13);
    arguments[5] = std::numeric_limits<double>::quiet_NaN();
    arguments[10] = -1.0;
    arguments[11] = 0.0;
    const Block x = uniform(37, -3.0, 3.0, 14);
    Block together(37);
    blocks().pow(arguments.data(), 0.42, together.data(), 37);
    Block directions(37);
    blocks().atan2(arguments.data(), x.data(), directions.data(), 37);
    for (std::size_t i = 0; i < 37; ++i) {
        const Block eight(8, arguments[i]);
        const Block eightX(8, x[i]);
        Block alone(8);
        blocks().pow(eight.data(), 0.42, alone.data(), 8);
        const Block difference = {together[i] - alone[0]};
        EXPECT_TRUE(std::isnan(together[i]) ? std::isnan(alone[0])
                                            : std::abs(difference[0]) <= errorBound * std::abs(alone[0]))
            << i;
        blocks().atan2(eight.data(), eightX.data(), alone.data(), 8);
        EXPECT_TRUE(std::isnan(directions[i]) ? std::isnan(alone[0])
                                              : std::abs(directions[i] - alone[0]) <= errorBound * std::abs(alone[0]))
            << i;
    }
}

TEST_P(TranscendentalBlocks, EveryLengthIsFilledAndNothingBeyond) {
    for (std::size_t count = 0; count <= 19; ++count) {
        const Block arguments = uniform(count + 1, 0.1, 2.0, 15 + count);
        const Block x = uniform(count + 1, -2.0, 2.0, 40 + count);
        const auto check = [&](const char* name, auto call, auto scalar) {
            Block actual(count + 4, 12345.0);
            call(actual.data());
            for (std::size_t i = 0; i < count; ++i) {
                EXPECT_NEAR(actual[i], scalar(i), 4 * errorBound) << name << ", element " << i << " of " << count;
            }
            for (std::size_t i = count; i < actual.size(); ++i) {
                EXPECT_EQ(actual[i], 12345.0) << name << ", beyond " << count;
            }
        };
        check(
            "pow", [&](double* out) { blocks().pow(arguments.data(), 0.42, out, count); },
            [&](std::size_t i) { return std::pow(arguments[i], 0.42); });
        check(
            "atan2", [&](double* out) { blocks().atan2(arguments.data(), x.data(), out, count); },
            [&](std::size_t i) { return std::atan2(arguments[i], x[i]); });
        for (const Function& function : ofAngle) {
            // The tangent stays below 2 here, where the absolute bound holds for it too.
            check(
                function.name, [&](double* out) { (blocks().*function.block)(x.data(), out, count); },
                [&](std::size_t i) { return function.scalar(x[i]); });
        }
    }
}

TEST_P(TranscendentalBlocks, ResultsMayReplaceArguments) {
    const Block arguments = spread(1001, -3, 3, 60);
    const Block x = spread(1001, -3, 3, 61);
    const std::size_t count = arguments.size();
    Block apart(count);
    Block inPlace = arguments;
    blocks().pow(arguments.data(), 0.42, apart.data(), count);
    blocks().pow(inPlace.data(), 0.42, inPlace.data(), count);
    expectSameBits(inPlace, apart, "pow");
    for (const Function& function : ofAngle) {
        inPlace = arguments;
        (blocks().*function.block)(arguments.data(), apart.data(), count);
        (blocks().*function.block)(inPlace.data(), inPlace.data(), count);
        expectSameBits(inPlace, apart, function.name);
    }
    blocks().atan2(arguments.data(), x.data(), apart.data(), count);
    inPlace = arguments;
    blocks().atan2(inPlace.data(), x.data(), inPlace.data(), count);
    expectSameBits(inPlace, apart, "atan2 into y");
    inPlace = x;
    blocks().atan2(arguments.data(), inPlace.data(), inPlace.data(), count);
    expectSameBits(inPlace, apart, "atan2 into x");
}

TEST_P(TranscendentalBlocks, OneElementThatIsNotDecidedIsNoticed) {
    for (std::size_t count = 1; count <= 37; ++count) {
        const Block values = uniform(count, 0.1, 2.0, 80 + count);
        Block floats(count);
        std::transform(values.begin(), values.end(), floats.begin(),
                       [](double value) { return static_cast<double>(static_cast<float>(value)); });
        std::vector<float> rounded(count);
        EXPECT_TRUE(blocks().roundAll(floats.data(), rounded.data(), count, errorBound)) << count;
        EXPECT_TRUE(std::equal(rounded.begin(), rounded.end(), floats.begin())) << count;
        for (std::size_t place = 0; place < count; ++place) {
            Block close = floats;
            close[place] = 1.0 + 0x1p-24;  // half way between two floats
            EXPECT_FALSE(blocks().roundAll(close.data(), rounded.data(), count, errorBound))
                << place << " of " << count;
        }
    }
}

TEST(RoundedOr, AsksForTheExactValueOnlyWhereItMatters) {
    int asked = 0;
    const auto exact = [&asked](double value) {
        return [&asked, value] {
            ++asked;
            return value;
        };
    };
    EXPECT_EQ(roundedOr(1.0, exact(5.0)), 1.0F);
    EXPECT_EQ(roundedOr(-0.3, exact(5.0)), -0.3F);
    EXPECT_EQ(roundedOr(0.0, exact(5.0)), 0.0F);
    EXPECT_EQ(roundedOr(std::numeric_limits<double>::infinity(), exact(5.0)), std::numeric_limits<float>::infinity());
    EXPECT_EQ(roundedOr(1e300, exact(5.0)), std::numeric_limits<float>::infinity());
    EXPECT_EQ(asked, 0);

    const double middle = 1.0 + 0x1p-24;  // half way between two floats
    EXPECT_EQ(roundedOr(middle * (1 + 0x1p-50), exact(middle)), 1.0F);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(roundedOr(middle * (1 - 0x1p-50), exact(middle * (1 + 0x1p-48))), std::nextafter(1.0F, 2.0F));
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(roundedOr(std::numeric_limits<double>::quiet_NaN(), exact(7.0)), 7.0F);
    EXPECT_EQ(asked, 3);
}

TEST(RoundedOr, GivesTheStandardLibrarysFloat) {
    const Block bases = uniform(samples, 0.0, 1.0, 70);
    Block approximate(bases.size());
    powBlock(bases.data(), 2.4, approximate.data(), approximate.size());
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < bases.size(); ++i) {
        const float rounded = roundedOr(approximate[i], [&] { return std::pow(bases[i], 2.4); });
        wrong += rounded != static_cast<float>(std::pow(bases[i], 2.4)) ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0U);
}

TEST(ForEachBlock, CoversEveryElementOnce) {
    for (const std::size_t total :
         {std::size_t{0}, std::size_t{1}, blockSize - 1, blockSize, blockSize + 1, 5 * blockSize + 3}) {
        std::size_t next = 0;
        forEachBlock(total, [&](std::size_t first, std::size_t count) {
            EXPECT_EQ(first, next);
            EXPECT_GT(count, 0U);
            EXPECT_LE(count, blockSize);
            next = first + count;
        });
        EXPECT_EQ(next, total);
    }
}

INSTANTIATE_TEST_SUITE_P(OfEveryProcessor, TranscendentalBlocks, ::testing::ValuesIn(blockFunctions()),
                         [](const auto& tested) { return std::string(tested.param->name); });

}  // namespace
}  // namespace likeness::numerics
