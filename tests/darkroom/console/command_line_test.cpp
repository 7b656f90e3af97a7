// The parser against what the program says of itself.
#include "console/command_line.hpp"

#include <likeness/version.hpp>
#include "commands/subcommands.hpp"
#include "darkroom/darkroom_program.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <regex>
#include <set>
#include <thread>

namespace likeness::testing {
namespace {

using darkroom::CommandLine;

std::vector<const darkroom::OptionParser*> allParsers(CommandLine& commandLine) {
    std::vector<const darkroom::OptionParser*> parsers = {&commandLine.parser()};
    for (const darkroom::OptionParser* const app : commandLine.parser().subcommands()) {
        parsers.push_back(app);
    }
    return parsers;
}

/// Long names and one-letter names of the options that a parser takes.
std::set<std::string> optionsOf(const darkroom::OptionParser& app) {
    std::set<std::string> names;
    for (const darkroom::Option* const option : app.options()) {
        for (const std::string& name : option->longNames()) {
            names.insert("--" + name);
        }
        for (const std::string& name : option->shortNames()) {
            names.insert("-" + name);
        }
    }
    return names;
}

/// The options that begin a line of a help text.
std::set<std::string> optionsShown(const std::string& help) {
    std::set<std::string> names;
    static const std::regex line(R"(^  ((?:--?[A-Za-z][A-Za-z0-9-]*,?)+))");
    static const std::regex name(R"(--?[A-Za-z][A-Za-z0-9-]*)");
    std::istringstream stream(help);
    for (std::string text; std::getline(stream, text);) {
        std::smatch match;
        if (std::regex_search(text, match, line)) {
            const std::string listed = match[1];
            for (std::sregex_iterator i(listed.begin(), listed.end(), name), end; i != end; ++i) {
                names.insert(i->str());
            }
        }
    }
    return names;
}

using DarkroomHelp = DarkroomProgram;

TEST_F(DarkroomHelp, ShowsEveryOptionThatIsParsedAndNoOther) {
    CommandLine commandLine(darkroom::subcommands());
    for (const darkroom::OptionParser* const app : allParsers(commandLine)) {
        const bool top = app == &commandLine.parser();
        const Outcome outcome =
            expectDone(top ? std::vector<std::string>{"--help"} : std::vector<std::string>{app->name(), "--help"});
        EXPECT_EQ(optionsShown(outcome.out), optionsOf(*app)) << app->name();
        EXPECT_EQ(outcome.err, "");
        for (const darkroom::OptionParser* const subcommand : app->subcommands()) {
            EXPECT_NE(outcome.out.find("\n  " + subcommand->name() + " "), std::string::npos);
        }
        for (const darkroom::Option* const option : app->options()) {
            if (!option->isPositional()) {
                const std::string& text = option->description();
                const std::size_t example = text.find("(example: ");
                ASSERT_NE(example, std::string::npos) << app->name() << ' ' << option->name();
                EXPECT_NE(text.find("--" + option->longNames().front(), example), std::string::npos) << text;
            } else {
                EXPECT_FALSE(option->description().empty()) << option->name();
            }
        }
    }
}

TEST_F(DarkroomHelp, LinesFitATerminal) {
    CommandLine commandLine(darkroom::subcommands());
    for (const darkroom::OptionParser* const app : commandLine.parser().subcommands()) {
        std::istringstream stream(expectDone({app->name(), "--help"}).out);
        for (std::string line; std::getline(stream, line);) {
            EXPECT_LE(line.size(), 100U) << app->name() << ": " << line;
        }
    }
}

using DarkroomCommandLine = DarkroomProgram;

TEST_F(DarkroomCommandLine, PrintsItsVersion) {
    EXPECT_EQ(expectDone({"--version"}).out, "darkroom " LIKENESS_VERSION "\n");
}

TEST_F(DarkroomCommandLine, RefusesWhatIsNoSubcommand) {
    for (const auto& [arguments, message] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{}, "darkroom: a subcommand is required; darkroom --help lists them\n"},
             {{"develop"}, "darkroom: there is no subcommand 'develop'; darkroom --help lists them\n"},
             {{"develop", "--help"}, "darkroom: there is no subcommand 'develop'; darkroom --help lists them\n"},
             {{"--help", "develop"}, "darkroom: there is no subcommand 'develop'; darkroom --help lists them\n"},
             {{"--version", "develop"}, "darkroom: there is no subcommand 'develop'; darkroom --help lists them\n"},
             {{"smoth"},
              "darkroom: there is no subcommand 'smoth'; did you mean 'smooth'? darkroom --help lists them\n"},
             {{"Batch", "-h"},
              "darkroom: there is no subcommand 'Batch'; did you mean 'batch'? darkroom --help lists them\n"},
             {{"vreify"},
              "darkroom: there is no subcommand 'vreify'; did you mean 'verify'? darkroom --help lists them\n"},
             {{"a\nb\x1b"}, "darkroom: there is no subcommand 'a\\nb\\x1b'; darkroom --help lists them\n"},
             {{""}, "darkroom: there is no subcommand ''; darkroom --help lists them\n"},
             {{"--bogus"}, "darkroom: there is no option '--bogus'; darkroom --help lists them\n"}}) {
        const Outcome outcome = darkroom(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, message);
    }
}

TEST_F(DarkroomCommandLine, WithoutThreadsDoesTheWorkItself) {
    const std::string flash = save("flash.png", examplePhotograph("cat.jpg")(cv::Rect(0, 0, 64, 48)));
    const std::string other = save("other.png", examplePhotograph("cat.jpg")(cv::Rect(4, 4, 64, 48)));
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"compare", flash, other, "--dumps", "."},
                                               {"smooth", flash, "-o", "r.png"},
                                               {"align", flash, "--to", other, "-o", "r.png"},
                                               {"stack", "--flash", flash, "--no-flash", other, "-o", "r"}}) {
        const auto results = [&] {
            std::vector<std::string> all;
            for (const std::string& name : filesLeft()) {
                all.push_back(name + '\n' + contentOf(folder() / name));
                std::filesystem::remove(folder() / name);
            }
            return all;
        };
        const Outcome whole = expectDone(arguments);
        const std::vector<std::string> expected = results();
        const Outcome outcome = darkroomWithoutThreads(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, whole.out);
        EXPECT_TRUE(results() == expected) << arguments.front();
        const std::string warning = "darkroom " + arguments.front() + ": warning: the system does not give ";
        EXPECT_EQ(outcome.err.rfind(warning, 0) == 0, std::thread::hardware_concurrency() > 1) << outcome.err;
    }
}

TEST_F(DarkroomCommandLine, MoreThreadsThanProcessorsAreNoReasonToComplain) {
    const std::string in = save("in.png", randomPhotograph({533, 401}, 3));
    const std::string more = std::to_string(std::thread::hardware_concurrency() + 1);
    EXPECT_EQ(expectDone({"adapt", in, "--to", "d65", "-o", "r.tif", "--threads", more, "--quiet"}).err, "");
    EXPECT_EQ(expectDone({"compare", in, in, "--model", "ciecam16", "--hue", "--threads", more, "--quiet"}).err, "");
}

TEST_F(DarkroomCommandLine, AnyNumberOfThreadsGivesTheSameBytes) {
    const std::string in = save("in.png", randomPhotograph({533, 401}, 3));
    const auto result = [&](const std::vector<std::string>& more, const std::string& environment) {
        std::string command = environment + " exec " LIKENESS_DARKROOM " adapt " + in + " --to d65 -o r.tif";
        for (const std::string& word : more) {
            command += ' ' + word;
        }
        const Outcome outcome = run({"/bin/sh", "-c", command}, folder());
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return contentOf(output("r.tif"));
    };
    const std::string alone = result({"--threads", "1"}, "");
    EXPECT_FALSE(alone.empty());
    EXPECT_TRUE(result({}, "") == alone);
    EXPECT_TRUE(result({"--threads", "8"}, "") == alone);
    EXPECT_TRUE(result({}, "LIKENESS_THREADS=3") == alone);
    for (const std::string value : {"0", "-1", "1025", "two", "1.5"}) {
        EXPECT_EQ(darkroom({"adapt", in, "--to", "d65", "-o", "s.tif", "--threads=" + value}).status, 2) << value;
    }
}

TEST_F(DarkroomCommandLine, AFileThatMayNotGrowIsAnError) {
    const std::string in = save("in.png", examplePhotograph("cat.jpg")(cv::Rect(0, 0, 64, 48)));
    const Outcome outcome = run({LIKENESS_DARKROOM, "smooth", in, "-o", "r.tif", "--depth", "float"}, folder(), [] {
        const ::rlimit limit{4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "darkroom smooth: cannot write 'r.tif': File too large\n");
    EXPECT_EQ(filesLeft(), std::vector<std::string>());
}

TEST_F(DarkroomCommandLine, RefusesUnknownOptionsInEverySubcommand) {
    CommandLine commandLine(darkroom::subcommands());
    for (const darkroom::OptionParser* const app : commandLine.parser().subcommands()) {
        const Outcome outcome = darkroom({app->name(), "--bogus"});
        EXPECT_EQ(outcome.status, 2) << app->name();
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(outcome.err.rfind("darkroom " + app->name() + ": ", 0), 0U) << outcome.err;
    }
}

}  // namespace
}  // namespace likeness::testing
