// The man page against the parser.
#include <likeness/version.hpp>
#include "commands/subcommands.hpp"
#include "console/command_line.hpp"
#include "console/exit_status.hpp"
#include "console/parser_view.hpp"
#include "darkroom/darkroom_program.hpp"
#include "support/needed_package.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

namespace likeness::testing {
namespace {

using darkroom::CommandLine;
using darkroom::OptionView;

using DarkroomManual = DarkroomProgram;

/// The page without what makes hyphens and fonts of it.
std::string plain(const std::string& roff) {
    static const std::regex font(R"(\\f[BIR])");
    std::string text = std::regex_replace(roff, font, "");
    for (std::size_t at = 0; (at = text.find("\\-", at)) != std::string::npos;) {
        text.erase(at, 1);
    }
    return text;
}

/// The lines from the heading that begins with `heading` to the next heading.
std::string section(const std::string& page, const std::string& heading) {
    const std::size_t begin = page.find("\n" + heading);
    if (begin == std::string::npos) {
        return "";
    }
    return page.substr(begin + 1, page.find("\n.S", begin + 1) - begin);
}

/// The options that a section explains: what follows each .TP.
std::set<std::string> optionsExplained(const std::string& text) {
    std::set<std::string> names;
    std::istringstream stream(text);
    static const std::regex name(R"((^|, )(--?[A-Za-z][A-Za-z0-9-]*))");
    for (std::string line; std::getline(stream, line);) {
        if (line == ".TP" && std::getline(stream, line) && line.rfind('-', 0) == 0) {
            for (std::sregex_iterator i(line.begin(), line.end(), name), end; i != end; ++i) {
                names.insert((*i)[2]);
            }
        }
    }
    return names;
}

std::set<std::string> namesOf(const std::vector<OptionView>& options, bool common) {
    std::set<std::string> names;
    for (const OptionView& option : options) {
        if (option.common == common) {
            names.insert(option.names.begin(), option.names.end());
        }
    }
    return names;
}

TEST_F(DarkroomManual, ExplainsEveryOptionThatIsParsedAndNoOther) {
    const Outcome outcome = expectDone({"manual"});
    EXPECT_EQ(outcome.err, "");
    const std::string page = plain(outcome.out);
    CommandLine commandLine(darkroom::subcommands());
    std::set<std::string> all = namesOf(darkroom::optionsOf(commandLine.parser()), false);
    EXPECT_EQ(optionsExplained(section(page, ".SH OPTIONS")), all);
    const std::set<std::string> common =
        optionsExplained(section(page, ".SS \"Options of every subcommand that works on images\""));
    EXPECT_EQ(common, (std::set<std::string>{"--assume-profile", "--dumps", "--exposure", "--ignore-profile", "--layer",
                                             "--max-pixels", "--page", "--preview", "--quiet", "--threads", "--verbose",
                                             "-h", "--help"}));
    for (const darkroom::OptionParser* const app : darkroom::subcommandsOf(commandLine.parser())) {
        const std::string text = section(page, ".SS \"darkroom " + app->name());
        const std::vector<OptionView> options = darkroom::optionsOf(*app);
        EXPECT_EQ(optionsExplained(text), namesOf(options, false)) << app->name();
        for (const std::string& name : namesOf(options, true)) {
            EXPECT_EQ(common.count(name), 1U) << name;
        }
        EXPECT_NE(text.find(app->description() + ".\n"), std::string::npos) << app->name();
        for (const OptionView& option : options) {
            EXPECT_NE(page.find('\n' + option.text + '\n'), std::string::npos) << option.names.back();
            all.insert(option.names.begin(), option.names.end());
        }
        for (const OptionView& argument : darkroom::argumentsOf(*app)) {
            EXPECT_NE(text.find(".TP\n" + argument.names.front()), std::string::npos) << argument.names.front();
        }
    }
    EXPECT_EQ(optionsExplained(page), all);
}

TEST_F(DarkroomManual, HasEverySectionAndTheExitStatus) {
    const std::string page = plain(expectDone({"manual"}).out);
    EXPECT_EQ(page.rfind(".TH DARKROOM 1 \"\" \"darkroom " LIKENESS_VERSION "\"", 0), 0U);
    for (const std::string heading : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "SUBCOMMANDS", "FILES",
                                      "EXIT STATUS", "EXAMPLES", "SEE ALSO"}) {
        EXPECT_NE(page.find("\n.SH " + heading + "\n"), std::string::npos) << heading;
    }
    const std::string statuses = section(page, ".SH EXIT STATUS");
    for (const darkroom::ExitStatusText& status : darkroom::exitStatusTexts) {
        EXPECT_NE(statuses.find(".TP\n.B " + std::to_string(static_cast<int>(status.status)) + '\n' + status.text),
                  std::string::npos);
    }
}

TEST_F(DarkroomManual, IsRenderedWithoutAWarning) {
    if (run({"/bin/sh", "-c", "command -v groff"}, folder()).status != 0) {
        SKIP_WITHOUT_PACKAGE("groff is not installed");
    }
    expectDone({"manual", "-o", "darkroom.1"});
    const Outcome outcome = run({"/bin/sh", "-c", "groff -man -ww -Tutf8 darkroom.1"}, folder());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_NE(outcome.out.find("--radius"), std::string::npos);
}

TEST_F(DarkroomManual, Refuses) {
    expectRefused({"manual", "-o", "none/darkroom.1"},
                  "--output: 'none/darkroom.1' cannot be written: the folder 'none' does not exist");
    expectRefused({"manual", "page"}, "The following argument was not expected: page");
    expectRefused({"completion", "fish"}, "SHELL: 'fish' is none of bash, zsh");
    expectRefused({"completion"}, "SHELL is required");
}

}  // namespace
}  // namespace likeness::testing
