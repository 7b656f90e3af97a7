#include "console/option_checks.hpp"

#include "console/output_check.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

namespace likeness::testing {
namespace {

using namespace darkroom;

std::string refusal(const OptionCheck& check, const std::string& text) {
    return check(text);
}

TEST(OptionChecks, NumbersAreReadAsAWhole) {
    const OptionCheck share = numberBetween(0, 1);
    for (const std::string accepted : {"0", "1", "0.5", ".5", "1.", "5e-1", "+0.25", "0.0", "-0", "1e-300"}) {
        EXPECT_EQ(refusal(share, accepted), "") << accepted;
    }
    for (const std::string refused : {"", " ", "0.5x", "x", "nan", "NaN", "inf", "-inf", "infinity", "1.1", "-0.1",
                                      "0x1", "0,5", " 0.5", "0.5 ", "1e400", "--", "e", "."}) {
        EXPECT_EQ(refusal(share, refused), "'" + refused + "' is not a number from 0 to 1");
    }
    EXPECT_EQ(refusal(numberAbove(0), "1e-9"), "");
    EXPECT_EQ(refusal(numberAbove(0), "0"), "'0' is not a number above 0");
    EXPECT_EQ(refusal(numberAbove(0), "nan"), "'nan' is not a number above 0");
    EXPECT_EQ(refusal(finiteNumber(), "-7.5e3"), "");
    EXPECT_EQ(refusal(finiteNumber(), "inf"), "'inf' is not a finite number");
}

TEST(OptionChecks, WholeNumbersAreDecimalDigits) {
    const OptionCheck check = integerBetween(-5, 20);
    for (const std::string accepted : {"-5", "0", "8", "20"}) {
        EXPECT_EQ(refusal(check, accepted), "") << accepted;
    }
    // "010" would be read as an octal 8, "0x8" as 8, and "1e1" and "3.0" not at all.
    for (const std::string refused :
         {"", "-", "21", "-6", "2.5", "3.0", "1e1", "010", "0x8", "nan", "8 ", "99999999999"}) {
        EXPECT_EQ(refusal(check, refused), "'" + refused + "' is not a whole number from -5 to 20");
    }
    EXPECT_EQ(check.words, "");
    EXPECT_EQ(integerBetween(1, 3).words, "{1,2,3}");
}

TEST(OptionChecks, WordsStandInTheHelp) {
    const OptionCheck check = oneOf({"gain", "regression"});
    EXPECT_EQ(refusal(check, "gain"), "");
    EXPECT_EQ(refusal(check, "Gain"), "'Gain' is none of gain, regression; did you mean 'gain'?");
    EXPECT_EQ(check.words, "{gain,regression}");
}

TEST(NumberFormat, HasNineSignificantDigits) {
    EXPECT_EQ(nineDigits(0.987654321987), "0.987654322");
    EXPECT_EQ(nineDigits(1), "1");
    EXPECT_EQ(nineDigits(0), "0");
    EXPECT_EQ(nineDigits(-2.5), "-2.5");
    EXPECT_EQ(nineDigits(1.5e-7), "1.5e-07");
    EXPECT_EQ(nineDigits(123456789), "123456789");
    EXPECT_EQ(nineDigits(1234567891), "1.23456789e+09");
    EXPECT_EQ(nineDigits(std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(nineDigits(-std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(nineDigits(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(nineDigits(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(NumberFormat, FloatsReadBackExactly) {
    for (float value = 1e-38F; value < 1e38F; value *= 1.37F) {
        EXPECT_EQ(std::strtof(nineDigits(value).c_str(), nullptr), value);
        EXPECT_EQ(static_cast<float>(roundedToNineDigits(value)), value);
    }
    EXPECT_EQ(roundedToNineDigits(0.1 + 0.2), 0.3);
    EXPECT_TRUE(std::isnan(roundedToNineDigits(std::numeric_limits<double>::quiet_NaN())));
}

}  // namespace
}  // namespace likeness::testing
