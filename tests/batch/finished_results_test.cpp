// The record of what is done beside the results.
#include "batch/finished_results.hpp"

#include "files/refusal.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace likeness::testing {
namespace {

FinishedResult resultOf(const std::string& name, char digit) {
    return {name, "0123", std::string(64, digit), std::string(64, 'f')};
}

TEST(FinishedResults, AreFoundAgain) {
    const ScratchDirectory directory;
    const std::string odd = "a \\ name\nof two lines ";
    {
        FinishedResults record(".", "adapt");
        EXPECT_EQ(record.find("x"), nullptr);
        record.add({resultOf("x", '1'), resultOf(odd, '2')});
        record.add({resultOf("x", '3')});
        record.add({});
    }
    const FinishedResults record(".", "adapt");
    ASSERT_NE(record.find("x"), nullptr);
    EXPECT_EQ(*record.find("x"), resultOf("x", '3'));
    ASSERT_NE(record.find(odd), nullptr);
    EXPECT_EQ(*record.find(odd), resultOf(odd, '2'));
    // Each once.
    const std::string text = contentOf(".darkroom-adapt.done");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST(FinishedResults, WhatIsNoWholeLineDoesNotCount) {
    const ScratchDirectory directory;
    const std::string sum(64, 'a');
    const auto line = [&](const std::string& name) { return "p " + sum + ' ' + sum + ' ' + name; };
    std::ofstream(".darkroom-smooth.done") << "\nnonsense\n"
                                           << line("good") << "\n"
                                           << "p " << sum << " 12 short\n"
                                           << line("bad\\x") << "\n"
                                           << line("") << "\n"
                                           << line("cut");
    const FinishedResults record(".", "smooth");
    EXPECT_NE(record.find("good"), nullptr);
    for (const char* const name : {"short", "bad\\x", "", "cut"}) {
        EXPECT_EQ(record.find(name), nullptr) << name;
    }
}

TEST(FinishedResults, AreWrittenByOneAtATime) {
    const ScratchDirectory directory;
    const FinishedResults record(".", "adapt");
    EXPECT_THROW(FinishedResults(".", "adapt"), Refusal);
    EXPECT_NO_THROW(FinishedResults(".", "smooth"));
    EXPECT_THROW(FinishedResults("missing", "adapt"), Refusal);
}

}  // namespace
}  // namespace likeness::testing
