#include "console/published_examples.hpp"
#include "darkroom/darkroom_program.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace likeness::testing {
namespace {

using namespace darkroom;

using DarkroomSelftest = DarkroomProgram;

TEST_F(DarkroomSelftest, AgreesOnThisMachine) {
    const Outcome outcome = expectDone({"selftest"});
    EXPECT_EQ(outcome.err, "");
    const std::vector<std::string> lines = linesOf(outcome.out);
    ASSERT_EQ(lines.size(), publishedColors().size() + 2);
    EXPECT_EQ(lines.back(), "90 of 90 checks agree");
    EXPECT_EQ(lines[7], "ciede2000, Sharma and others 2005: 34 of 34 pairs agree to 4 decimals");
    expectRefused({"selftest", "more"}, "The following argument was not expected: more");
}

TEST(PublishedExamples, TellWhatDiffers) {
    PublishedColor wrong = publishedColors()[0];
    wrong.correlates.lightness = 41.74;
    const Agreement agreement = agreementWith({&wrong, 1}, {});
    EXPECT_FALSE(agreement.complete);
    EXPECT_NE(agreement.text.find("6 of 7 agree"), std::string::npos) << agreement.text;
    EXPECT_NE(agreement.text.find("; J is 41.7311, published 41.74\n"), std::string::npos) << agreement.text;
    const PublishedPair pair = {{50, 0, 0}, {51, 0, 0}, 2};
    EXPECT_FALSE(agreementWith({}, {&pair, 1}).complete);
    const PublishedPair nan = {{50, 0, 0}, {51, 0, 0}, std::numeric_limits<double>::quiet_NaN()};
    EXPECT_FALSE(agreementWith({}, {&nan, 1}).complete);
}

}  // namespace
}  // namespace likeness::testing
