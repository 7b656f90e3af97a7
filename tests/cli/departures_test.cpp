// Holds docs/departures.md against the code: the names of tests that it mentions are there, and the code names each
// number where it departs, and no others.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace likeness {
namespace {

namespace fs = std::filesystem;

const fs::path source = LIKENESS_SOURCE_DIRECTORY;

std::string contentOf(const fs::path& path) {
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

/// The first groups of all matches in the C++ files of a folder.
std::set<std::string> foundIn(const std::string& folder, const std::regex& pattern, const std::string& join = "") {
    std::set<std::string> found;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(source / folder)) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".cpp" && extension != ".hpp") {
            continue;
        }
        const std::string content = contentOf(entry.path());
        for (std::sregex_iterator i(content.begin(), content.end(), pattern), end; i != end; ++i) {
            found.insert(join.empty() ? (*i)[1].str() : (*i)[1].str() + join + (*i)[2].str());
        }
    }
    return found;
}

TEST(Departures, AreNumberedFromOneAndTheirTestsExist) {
    const std::set<std::string> tests = foundIn("tests", std::regex(R"(\nTEST(?:_F|_P)?\((\w+), (\w+)\))"), ".");
    std::istringstream lines(contentOf(source / "docs/departures.md"));
    const std::regex row(R"(\| (\d+) \| .* \| ([^|]*) \|)");
    const std::regex name(R"(`(\w+\.\w+)`)");
    int number = 0;
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (!std::regex_match(line, match, row)) {
            continue;
        }
        EXPECT_EQ(std::stoi(match[1]), ++number);
        const std::string held = match[2];
        std::sregex_iterator i(held.begin(), held.end(), name);
        EXPECT_NE(i, std::sregex_iterator()) << "no test holds departure " << number;
        for (; i != std::sregex_iterator(); ++i) {
            EXPECT_EQ(tests.count((*i)[1]), 1U) << "departure " << number << ": no test " << (*i)[1];
        }
    }
    EXPECT_GT(number, 20);
}

TEST(Departures, AreThoseThatTheCodeNames) {
    const std::regex named(R"([Dd]eparture (\d+))");
    std::set<std::string> ofCode = foundIn("src", named);
    ofCode.merge(foundIn("include", named));
    const std::string table = contentOf(source / "docs/departures.md");
    const std::regex row(R"(\n\| (\d+) \|)");
    std::set<std::string> ofTable;
    for (std::sregex_iterator i(table.begin(), table.end(), row), end; i != end; ++i) {
        ofTable.insert((*i)[1]);
    }
    EXPECT_GT(ofTable.size(), 20U);
    EXPECT_EQ(ofCode, ofTable);
}

}  // namespace
}  // namespace likeness
