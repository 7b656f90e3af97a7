// The completions: the scripts do in the shells what the parser would accept.
#include "commands/subcommands.hpp"
#include "console/command_line.hpp"
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
using darkroom::ValueKind;

/// What bash offers, and how it goes on where nothing is offered.
struct Completion {
    std::set<std::string> words;
    std::string ways;  ///< "", the shell's own file names, or the changes to it
};

class DarkroomCompletion : public DarkroomProgram {
protected:
    /// Completes the last of the words in bash, as the function that `complete` registers does it.
    Completion inBash(const std::vector<std::string>& words) const {
        std::string line = "set -u; source ./completion.bash; compopt() { ways=$*; }; ways=; COMP_WORDS=(";
        for (const std::string& word : words) {
            line += " '" + word + "'";
        }
        line += "); COMP_CWORD=" + std::to_string(words.size() - 1) +
                "; _darkroom; printf '%s\\n' \"$ways\" ${COMPREPLY[@]+\"${COMPREPLY[@]}\"}";
        const Outcome outcome = run({"/bin/bash", "--norc", "-c", line}, folder());
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        Completion completion;
        std::istringstream stream(outcome.out);
        std::getline(stream, completion.ways);
        for (std::string word; std::getline(stream, word);) {
            completion.words.insert(word);
        }
        return completion;
    }

    void SetUp() override { expectDone({"completion", "bash", "-o", "completion.bash"}); }
};

TEST_F(DarkroomCompletion, PrintsOrWritesTheScript) {
    const Outcome outcome = expectDone({"completion", "bash"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(contentOf(folder() / "completion.bash"), outcome.out);
    const Outcome zsh = expectDone({"completion", "zsh"});
    EXPECT_EQ(zsh.out.rfind("#compdef darkroom\n", 0), 0U);
}

TEST_F(DarkroomCompletion, BashOffersTheSubcommands) {
    std::set<std::string> expected = {"--help", "-h", "--version"};
    CommandLine commandLine(darkroom::subcommands());
    for (const darkroom::OptionParser* const app : darkroom::subcommandsOf(commandLine.parser())) {
        const std::vector<std::string> spellings = darkroom::spellingsOf(*app);
        expected.insert(spellings.begin(), spellings.end());
    }
    EXPECT_EQ(inBash({"darkroom", ""}).words, expected);
    EXPECT_EQ(inBash({"darkroom", "struc"}).words, std::set<std::string>{"structure"});
    EXPECT_EQ(inBash({"darkroom", "--v"}).words, std::set<std::string>{"--version"});
    EXPECT_TRUE(inBash({"darkroom", "develop"}).words.empty());
}

TEST_F(DarkroomCompletion, BashOffersTheOptionsOfEverySubcommand) {
    CommandLine commandLine(darkroom::subcommands());
    for (const darkroom::OptionParser* const app : darkroom::subcommandsOf(commandLine.parser())) {
        std::set<std::string> expected;
        for (const OptionView& option : darkroom::optionsOf(*app)) {
            expected.insert(option.names.begin(), option.names.end());
        }
        EXPECT_EQ(inBash({"darkroom", app->name(), "-"}).words, expected);
        EXPECT_EQ(expected.count("--help"), 1U);
    }
}

TEST_F(DarkroomCompletion, BashOffersWhatAnOptionTakes) {
    CommandLine commandLine(darkroom::subcommands());
    for (const darkroom::OptionParser* const app : darkroom::subcommandsOf(commandLine.parser())) {
        for (const OptionView& option : darkroom::optionsOf(*app)) {
            if (option.kind == ValueKind::none) {
                continue;
            }
            SCOPED_TRACE(app->name() + " " + option.names.back());
            const Completion completion = inBash({"darkroom", app->name(), option.names.front(), ""});
            EXPECT_EQ(completion.words, std::set<std::string>(option.choices.begin(), option.choices.end()));
            const std::string ways = option.kind == ValueKind::file     ? ""
                                     : option.kind == ValueKind::folder ? "-o dirnames +o default"
                                                                        : "+o default";
            EXPECT_EQ(completion.ways, ways);
        }
    }
    EXPECT_EQ(inBash({"darkroom", "structure", "--bits", ""}).words, (std::set<std::string>{"8", "16"}));
    EXPECT_EQ(inBash({"darkroom", "structure", "--bits", "1"}).words, std::set<std::string>{"16"});
    // --bits=1 arrives in three words, --bits= in two.
    EXPECT_EQ(inBash({"darkroom", "structure", "--bits", "=", "1"}).words, std::set<std::string>{"16"});
    EXPECT_EQ(inBash({"darkroom", "structure", "--bits", "="}).words, (std::set<std::string>{"8", "16"}));
    EXPECT_EQ(inBash({"darkroom", "structure", "--dumps", ""}).ways, "-o dirnames +o default");
}

TEST_F(DarkroomCompletion, BashOffersFilesOrWordsWhereAnArgumentGoes) {
    const Completion image = inBash({"darkroom", "structure", "pho"});
    EXPECT_TRUE(image.words.empty());
    EXPECT_EQ(image.ways, "");
    EXPECT_EQ(inBash({"darkroom", "completion", ""}).words, (std::set<std::string>{"bash", "zsh"}));
    EXPECT_EQ(inBash({"darkroom", "manual", ""}).ways, "+o default");
}

TEST(DarkroomParser, KnowsWhatAnOptionTakes) {
    CommandLine commandLine(darkroom::subcommands());
    const auto option = [&](const std::string& subcommand, const std::string& name) {
        for (const OptionView& view : darkroom::optionsOf(*commandLine.parser().subcommand(subcommand))) {
            if (view.names.back() == name) {
                return view;
            }
        }
        ADD_FAILURE() << subcommand << ' ' << name;
        return OptionView{};
    };
    EXPECT_EQ(option("align", "--to").kind, ValueKind::file);
    EXPECT_EQ(option("align", "--flow").kind, ValueKind::file);
    EXPECT_EQ(option("adapt", "--like").kind, ValueKind::file);
    EXPECT_EQ(option("compare", "--report").kind, ValueKind::file);
    EXPECT_EQ(option("compare", "--maps").kind, ValueKind::folder);
    EXPECT_EQ(option("transfer", "--palette").kind, ValueKind::file);
    EXPECT_EQ(option("smooth", "--radius").kind, ValueKind::other);
    EXPECT_EQ(option("smooth", "--color").kind, ValueKind::none);
    EXPECT_EQ(option("transfer", "--palette").required, true);
    EXPECT_EQ(option("smooth", "--output").required, false);
    EXPECT_EQ(option("smooth", "--eps").defaultText, "0.01");
    EXPECT_EQ(option("transfer", "--dims").choices, (std::vector<std::string>{"2", "3"}));
    EXPECT_EQ(option("tint", "--form").choices, (std::vector<std::string>{"gain", "regression"}));
    EXPECT_EQ(option("convert", "--to").choices.front(), "xyz");
    EXPECT_TRUE(option("convert", "--help").common);
}

class DarkroomZshCompletion : public DarkroomProgram {
protected:
    void SetUp() override {
        if (run({"/bin/sh", "-c", "command -v zsh"}, folder()).status != 0) {
            SKIP_WITHOUT_PACKAGE("zsh is not installed");
        }
        expectDone({"completion", "zsh", "-o", "_darkroom"});
    }

    /// Lets zsh complete a line as typed on a terminal and returns what it shows.
    std::string typed(const std::string& line) const {
        const std::string script = R"(
zmodload zsh/zpty
zpty terminal "PS1=READY TERM=dumb zsh -f -i"
zpty -w terminal "fpath=($PWD \$fpath); autoload -Uz compinit; compinit -D -u; zstyle ':completion:*' list-prompt ''; LISTMAX=1000; PS1=READY; setopt no_beep; print STA''RTED"
expected=*STARTED*READY*
zpty -r terminal out "$expected"
zpty -w -n terminal "$1"$'\t'$'\t'
sleep 0.5
text=
while zpty -r -t terminal chunk; do text+=$chunk; done
print -r -- $text
zpty -d terminal
)";
        return run({"/bin/sh", "-c", "zsh -f -c \"$0\" zsh \"$1\"", script, line}, folder()).out;
    }
};

TEST_F(DarkroomZshCompletion, ScriptIsZsh) {
    const Outcome outcome = run({"/bin/sh", "-c", "zsh -n _darkroom"}, folder());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(DarkroomZshCompletion, DescribesEveryOption) {
    const std::string script = contentOf(folder() / "_darkroom");
    CommandLine commandLine(darkroom::subcommands());
    for (const darkroom::OptionParser* const app : darkroom::subcommandsOf(commandLine.parser())) {
        std::string pattern = app->name();
        for (const std::string& alias : app->aliases()) {
            pattern += " | " + alias;
        }
        const std::size_t begin = script.find("\n    " + pattern + ")\n");
        ASSERT_NE(begin, std::string::npos) << pattern;
        const std::string part = script.substr(begin, script.find(";;", begin) - begin);
        std::set<std::string> expected;
        for (const OptionView& option : darkroom::optionsOf(*app)) {
            expected.insert(option.names.begin(), option.names.end());
        }
        std::set<std::string> offered;
        static const std::regex description(R"(\n            '\([^)]*\)(--?[A-Za-z-]+)=?\[)");
        for (std::sregex_iterator i(part.begin(), part.end(), description), end; i != end; ++i) {
            offered.insert((*i)[1]);
        }
        EXPECT_EQ(offered, expected);
    }
}

TEST_F(DarkroomZshCompletion, CompletesOnATerminal) {
    saveText("unused", "");
    EXPECT_NE(typed("darkroom struc").find("structure "), std::string::npos);
    const std::string bits = typed("darkroom structure --bits ");
    EXPECT_NE(bits.find("16"), std::string::npos) << bits;
    const std::string options = typed("darkroom smooth --");
    EXPECT_NE(options.find("--radius"), std::string::npos) << options;
    EXPECT_NE(options.find("--dumps"), std::string::npos) << options;
}

}  // namespace
}  // namespace likeness::testing
