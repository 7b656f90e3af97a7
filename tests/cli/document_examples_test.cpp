// The examples in the documents are run, and show what the program prints.
#include <gtest/gtest.h>

#include <sstream>

#include "support/process.hpp"
#include "support/scratch_directory.hpp"

namespace likeness::testing {
namespace {

const std::string source = LIKENESS_SOURCE_DIRECTORY;

struct Example {
    std::vector<std::string> arguments;
    std::string expected;
};

/// Every line "$ likeness FIRST SECOND" or "$ scripts/compare FIRST SECOND" with the line behind it.
std::vector<Example> examplesIn(const std::string& document) {
    std::vector<Example> examples;
    std::istringstream stream(contentOf(source + "/" + document));
    for (std::string line; std::getline(stream, line);) {
        std::istringstream words(line);
        std::string prompt;
        std::string command;
        words >> prompt >> command;
        if (prompt == "$" && (command == "likeness" || command == "scripts/compare")) {
            Example example;
            for (std::string word; words >> word;) {
                example.arguments.push_back(source + "/" + word);
            }
            std::getline(stream, example.expected);
            examples.push_back(example);
        }
    }
    return examples;
}

void expectTrue(const std::string& document, std::size_t atLeast) {
    const std::vector<Example> examples = examplesIn(document);
    EXPECT_GE(examples.size(), atLeast) << document;
    for (const Example& example : examples) {
        const ScratchDirectory folder;
        std::vector<std::string> command = {LIKENESS_PROGRAM};
        command.insert(command.end(), example.arguments.begin(), example.arguments.end());
        EXPECT_EQ(run(command, folder.path()).out, example.expected + "\n") << document;
    }
}

TEST(DocumentExamples, Readme) {
    expectTrue("README.md", 2);
}

TEST(DocumentExamples, ManPage) {
    expectTrue("man/likeness.1", 1);
}

TEST(DocumentExamples, ReadmeProgramIsTheOneThatIsBuilt) {
    const std::string readme = contentOf(source + "/README.md");
    EXPECT_NE(readme.find(contentOf(source + "/tests/consumer/main.cpp")), std::string::npos);
}

}  // namespace
}  // namespace likeness::testing
