// The examples in the documents are run, and show what the program prints.
#include "support/process.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

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

/// What the first group of a pattern matches, at every place of a text.
std::set<std::string> wordsIn(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    std::set<std::string> words;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match) {
        words.insert((*match)[1]);
    }
    return words;
}

#ifdef LIKENESS_DARKROOM
/// What follows a prompt, and what the document shows below it.
struct Command {
    std::string line;
    int status = 0;                  ///< as a comment behind the command states it: "# exit status 1"
    std::vector<std::string> shown;  ///< "..." stands for any lines
};

/// Every command of the document's console examples, in order. A backslash at the end of a line continues it.
std::vector<Command> commandsIn(const std::string& text) {
    std::vector<Command> commands;
    std::istringstream stream(text);
    bool open = false;       // within the output of the last command
    std::size_t indent = 0;  // of the block that the command stands in
    for (std::string line; std::getline(stream, line);) {
        const std::size_t begin = std::min(line.find_first_not_of(' '), line.size());
        if (line.compare(begin, 2, "$ ") == 0) {
            indent = begin;
            line.erase(0, indent);
            Command command;
            command.line = line.substr(2);
            for (std::string rest; command.line.back() == '\\' && std::getline(stream, rest);) {
                command.line.back() = ' ';
                command.line += rest;
            }
            static const std::regex status("# exit status ([0-9]+)$");
            std::smatch match;
            if (std::regex_search(command.line, match, status)) {
                command.status = std::stoi(match[1]);
            }
            commands.push_back(command);
            open = true;
        } else if (line.rfind("```", 0) == 0 || line.rfind(".fi", 0) == 0 || begin < indent) {
            open = false;
        } else if (open) {
            commands.back().shown.push_back(line.substr(indent));
        }
    }
    return commands;
}

/// Whether the lines are those that are shown.
bool matches(std::vector<std::string>::const_iterator line, std::vector<std::string>::const_iterator lineEnd,
             std::vector<std::string>::const_iterator shown, std::vector<std::string>::const_iterator shownEnd) {
    if (shown == shownEnd) {
        return line == lineEnd;
    }
    if (*shown == "...") {
        return matches(line, lineEnd, shown + 1, shownEnd) ||
               (line != lineEnd && matches(line + 1, lineEnd, shown, shownEnd));
    }
    return line != lineEnd && *line == *shown && matches(line + 1, lineEnd, shown + 1, shownEnd);
}

/// Runs the commands that begin with `darkroom` or `scripts/darkroom`, and those that make a folder for them or look at
/// a result, as a reader would type them one after the other.
void expectDarkroomExamples(const std::string& document, const std::string& text, std::size_t atLeast) {
    namespace fs = std::filesystem;
    const ScratchDirectory folder;
    fs::copy(source + "/examples", folder.path() / "examples", fs::copy_options::recursive);
    fs::create_directories(folder.path() / "scripts");
    fs::create_symlink(LIKENESS_DARKROOM, folder.path() / "scripts/darkroom");
    std::size_t count = 0;
    for (const Command& command : commandsIn(text)) {
        static const std::regex known("^(scripts/)?darkroom |^(mkdir|cat|head|tail|wc|ls|cut) ");
        if (!std::regex_search(command.line, known)) {
            continue;
        }
        count += command.line.find("darkroom ") <= 8 ? 1 : 0;
        // Both streams as on a terminal.
        const std::string script =
            "exec 2>&1\nPATH=" + fs::path(LIKENESS_DARKROOM).parent_path().string() + ":$PATH\n" + command.line + "\n";
        const Outcome outcome = run({"/bin/sh", "-c", script}, folder.path());
        EXPECT_EQ(outcome.status, command.status) << document << ": " << command.line << '\n' << outcome.out;
        if (!command.shown.empty()) {
            const std::vector<std::string> lines = linesOf(outcome.out);
            EXPECT_TRUE(matches(lines.begin(), lines.end(), command.shown.begin(), command.shown.end()))
                << document << ": " << command.line << '\n'
                << outcome.out;
        }
    }
    EXPECT_GE(count, atLeast) << document;
}

TEST(DocumentExamples, DarkroomPage) {
    expectDarkroomExamples("docs/darkroom.md", contentOf(source + "/docs/darkroom.md"), 5);
}

TEST(DocumentExamples, FitPage) {
    expectDarkroomExamples("docs/fit.md", contentOf(source + "/docs/fit.md"), 3);
}

TEST(DocumentExamples, DarkroomInReadme) {
    expectDarkroomExamples("README.md", contentOf(source + "/README.md"), 1);
}

TEST(DocumentExamples, DarkroomManPage) {
    const ScratchDirectory folder;
    std::string page = run({LIKENESS_DARKROOM, "manual"}, folder.path()).out;
    for (std::size_t at = 0; (at = page.find("\\-", at)) != std::string::npos;) {
        page.erase(at, 1);
    }
    expectDarkroomExamples("darkroom.1", page, 4);
}

/// The part from one line to the next that begins with `end`.
std::string partOf(const std::string& text, const std::string& begin, const std::string& end) {
    const std::size_t first = text.find(begin);
    EXPECT_NE(first, std::string::npos) << begin;
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find(end, first + begin.size()) - first);
}

TEST(DarkroomPage, HasASectionForEverySubcommand) {
    const ScratchDirectory folder;
    const std::string help = run({LIKENESS_DARKROOM, "--help"}, folder.path()).out;
    const std::set<std::string> subcommands = wordsIn(partOf(help, "Subcommands:\n", "\n\n"), "\n  ([a-z-]+) ");
    EXPECT_GE(subcommands.size(), 20U);
    EXPECT_EQ(wordsIn(contentOf(source + "/docs/darkroom.md"), "\n## ([a-z-]+)\n"), subcommands);
}

TEST(DarkroomPage, ReadmeNamesEverySubcommand) {
    const ScratchDirectory folder;
    const std::string readme = contentOf(source + "/README.md");
    const std::set<std::string> own = {"completion", "manual"};  // of the program itself, found in its help
    const std::string help = run({LIKENESS_DARKROOM, "--help"}, folder.path()).out;
    for (const std::string& name : wordsIn(partOf(help, "Subcommands:\n", "\n\n"), "\n  ([a-z-]+) ")) {
        EXPECT_TRUE(own.count(name) == 1 || std::regex_search(readme, std::regex("`" + name + "[ `]"))) << name;
    }
}

TEST(DarkroomPage, HasARowForEveryColorSpace) {
    const ScratchDirectory folder;
    const std::string help = run({LIKENESS_DARKROOM, "convert", "--help"}, folder.path()).out;
    const std::set<std::string> choices = wordsIn(partOf(help, "--to {", "}") + ',', "([a-z0-9-]+),");
    EXPECT_GE(choices.size(), 7U);
    const std::string section = partOf(contentOf(source + "/docs/darkroom.md"), "\n## convert\n", "\n## ");
    EXPECT_EQ(wordsIn(section, "\n\\| `([a-z0-9-]+)` \\|"), choices);
}
#endif

TEST(DocumentExamples, StatementsOfTheTablesAreThoseThatAreBuiltAndRun) {
    const std::string readme = contentOf(source + "/README.md");
    const std::string program = contentOf(source + "/tests/consumer/one_statement.cpp");
    const std::set<std::string> statements = wordsIn(readme, "\n\\| [^`\n]* \\| `([^`\n]*;)` \\|");
    EXPECT_EQ(statements.size(), 14U);
    for (const std::string& statement : statements) {
        EXPECT_NE(program.find("        " + statement + '\n'), std::string::npos) << statement;
    }
    const std::string reference = contentOf(source + "/docs/reference/mainpage.md");
    EXPECT_EQ(wordsIn(reference, "\n\\| [^`\n]* \\| `([^`\n]*;)` \\|"), statements);
}

TEST(DocumentExamples, ReadmeProgramIsTheOneThatIsBuilt) {
    const std::string readme = contentOf(source + "/README.md");
    EXPECT_NE(readme.find(contentOf(source + "/tests/consumer/main.cpp")), std::string::npos);
}

}  // namespace
}  // namespace likeness::testing
