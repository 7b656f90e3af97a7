// No result replaces what is read, nor another result, under whatever name.
#include "console/output_check.hpp"

#include "commands/subcommands.hpp"
#include "console/command_line.hpp"
#include "console/parser_view.hpp"
#include "darkroom/darkroom_program.hpp"
#include "files/refusal.hpp"
#include "photofile/color_profile.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

using darkroom::checkFolder;
using darkroom::checkReadFolder;
using darkroom::CommonOptions;
using darkroom::Console;
using darkroom::OutputPlan;

/// A plan, and what it says of a file.
class OutputPlanTest : public ::testing::Test {
protected:
    std::string refusal(const std::string& path, const std::string& option = "--flow") {
        try {
            plan_.file(option, path);
        } catch (const Refusal& refusal) {
            return refusal.what();
        }
        return "";
    }

    static std::string replaces(const std::string& path) {
        return "--flow: '" + path + "' would replace the input 'in.png'; choose another name";
    }

    const fs::path& folder() const { return folder_.path(); }

private:
    ScratchDirectory folder_;  // the working directory
    bool filesMade_ = std::ofstream("in.png") << "there" && std::ofstream("other.png") << "there";
    Console console_{"test", CommonOptions{}};
    OutputPlan plan_{console_, {"in.png", "", "missing.png", "/dev/null"}};
};

TEST_F(OutputPlanTest, AnInputIsNotReplaced) {
    EXPECT_EQ(refusal("other.png"), "");
    EXPECT_EQ(refusal("in.png"), replaces("in.png"));
    EXPECT_EQ(refusal("./in.png"), replaces("./in.png"));
    EXPECT_EQ(refusal((folder() / "in.png").string()), replaces((folder() / "in.png").string()));
    EXPECT_EQ(refusal("/dev/null"), "");
}

TEST_F(OutputPlanTest, NorThroughLinks) {
    fs::create_symlink("in.png", "link.png");
    fs::create_symlink("link.png", "link_of_link.png");
    fs::create_hard_link("in.png", "second_name.png");
    fs::create_directory_symlink(".", "here");
    for (const char* const name : {"link.png", "link_of_link.png", "second_name.png", "here/in.png", "here/link.png"}) {
        EXPECT_EQ(refusal(name), replaces(name));
    }
}

TEST_F(OutputPlanTest, AnInputThatIsNotThereYetIsNone) {
    EXPECT_EQ(refusal("missing.png"),
              "--flow: 'missing.png' would replace the input 'missing.png'; choose another name");
}

TEST_F(OutputPlanTest, OneFileIsNotTwoResults) {
    EXPECT_EQ(refusal("new.png", "--output"), "");
    fs::create_directory_symlink(".", "here");
    fs::create_symlink("new.png", "leads_to_new.png");
    fs::create_directory("x");
    for (const std::string& name :
         {std::string("new.png"), std::string("./x/../new.png"), (folder() / "new.png").string(),
          std::string("here/new.png"), std::string("leads_to_new.png")}) {
        EXPECT_EQ(refusal(name), "--flow: '" + name + "' is the file of --output too");
    }
    EXPECT_EQ(refusal("other.png", "--output"), "");
    fs::create_hard_link("other.png", "second_name.png");
    EXPECT_EQ(refusal("second_name.png"), "--flow: 'second_name.png' is the file of --output too");
}

TEST_F(OutputPlanTest, ALinkThatLeadsInCirclesIsNoFileOfAnybody) {
    fs::create_symlink("b.png", "a.png");
    fs::create_symlink("a.png", "b.png");
    EXPECT_EQ(refusal("a.png"), "");
}

TEST(OutputPlan, WhatIsReadLaterIsNotReplacedEither) {
    const ScratchDirectory folder;
    std::ofstream("photograph.png") << "there";
    fs::create_symlink("photograph.png", "page.html");
    const Console console("test", CommonOptions{});
    OutputPlan plan(console, {});
    plan.file("--output", "page.html");
    EXPECT_NO_THROW(plan.readsToo("missing.png"));
    try {
        plan.readsToo("photograph.png");
        ADD_FAILURE();
    } catch (const Refusal& refusal) {
        EXPECT_STREQ(refusal.what(),
                     "--output: 'page.html' would replace the input 'photograph.png'; choose another name");
    }
}

std::string whatIsRefused(const std::function<void()>& check) {
    try {
        check();
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "";
}

TEST(OutputPlan, PagesHaveNamesOfPages) {
    const ScratchDirectory directory;
    const Console console("test", CommonOptions{});
    OutputPlan plan(console, {});
    for (const std::string name : {"a.html", "b.htm"}) {
        EXPECT_EQ(whatIsRefused([&] { plan.page("--report", name); }), "");
    }
    for (const std::string name : {"c.png", "d", ".html"}) {
        EXPECT_EQ(whatIsRefused([&] { plan.page("--report", name); }),
                  "--report: '" + name + "' has none of the extensions .html, .htm");
    }
    EXPECT_NE(whatIsRefused([&] { plan.page("--output", "a.html"); }), "") << "another result";
}

TEST(CheckReadFolder, TakesFoldersThatCannotBeWrittenToo) {
    const ScratchDirectory directory;
    std::ofstream("file") << "there";
    EXPECT_EQ(whatIsRefused([] { checkReadFolder("--root", ""); }), "") << "not given";
    EXPECT_EQ(whatIsRefused([] { checkReadFolder("--root", "/proc/self"); }), "");
    EXPECT_EQ(whatIsRefused([] { checkReadFolder("--root", "file"); }), "--root: 'file' is not a folder");
    EXPECT_EQ(whatIsRefused([] { checkReadFolder("--root", "none"); }), "--root: 'none' does not exist");
}

TEST(CheckFolder, FoldersMustBeThere) {
    const ScratchDirectory folder;
    std::ofstream("file") << "there";
    EXPECT_NO_THROW(checkFolder("--maps", "."));
    for (const auto& [path, problem] : std::vector<std::pair<std::string, std::string>>{
             {"none", "does not exist"}, {"file", "is not a folder"}, {"", "does not exist"}}) {
        try {
            checkFolder("--maps", path);
            ADD_FAILURE() << path;
        } catch (const Refusal& refusal) {
            EXPECT_EQ(refusal.what(), "--maps: '" + path + "' " + problem);
        }
    }
}

/// The options and arguments of a subcommand that name files or folders.
struct Files {
    std::set<std::string> read;
    std::set<std::string> written;
};

/// Of every subcommand. An option that is new belongs here; one that writes has a call in `calls` too.
const std::map<std::string, Files>& filesOfSubcommands() {
    static const std::map<std::string, Files> all = {
        {"compare",
         {{"FIRST", "SECOND", "--conditions", "--predict", "--mask", "--first-mask", "--second-mask"},
          {"--output", "--maps", "--report", "--tile-maps", "--tile-table", "--difference-maps"}}},
        {"info", {{"FILE"}, {}}},
        {"sweep", {{"FIRST", "SECOND", "--conditions"}, {"--output", "--plot"}}},
        {"appearance", {{"IN", "--conditions", "--mask"}, {"--output"}}},
        {"convert", {{"IN"}, {"--output"}}},
        {"white", {{"IN", "--mask"}, {"--output"}}},
        {"adapt", {{"IN", "--like", "--mask"}, {"--output"}}},
        {"brighten", {{"IN"}, {"--output"}}},
        {"tint", {{"FLASH", "--like"}, {"--output"}}},
        {"stack", {{"--flash", "--no-flash"}, {"--output"}}},
        {"fit", {{"RESULTS", "--scores", "--root"}, {"--output", "--predictions", "--report"}}},
        {"fuse", {{"IMG"}, {"--output", "--response", "--plot"}}},
        {"match-brightness", {{"IN", "--like", "--mask", "--first-mask", "--second-mask"}, {"--output"}}},
        {"align", {{"MOVING", "--to"}, {"--output", "--flow"}}},
        {"structure", {{"IN"}, {"--output", "--coherence"}}},
        {"smooth", {{"IN", "--guide"}, {"--output"}}},
        {"transfer", {{"IN", "--palette", "--mask", "--first-mask", "--second-mask"}, {"--output"}}},
        {"batch", {{"LIST", "--root", "--conditions", "--archive", "--predict"}, {"--output"}}},
        {"index",
         {{"PHOTOS", "--list", "--conditions", "--mask", "--output"}, {}}},  // what is no archive is not replaced
        {"search", {{"ARCHIVE", "QUERY", "--list", "--mask"}, {"--output", "--report"}}},
        {"pairs", {{"ARCHIVE", "OTHER"}, {"--output", "--clusters"}}},
        {"repair", {{"ARCHIVE"}, {"--output"}}},
        {"merge", {{"OUT", "IN"}, {}}},
        {"verify", {{"LIST", "RESULTS"}, {}}},
        {"report", {{"RESULTS", "--root"}, {"--output"}}},
        {"colour", {{"--conditions"}, {}}},
        {"conditions", {{"NAME", "--conditions"}, {}}},
        {"selftest", {{}, {}}},
        {"completion", {{}, {"--output"}}},
        {"manual", {{}, {"--output"}}},
    };
    return all;
}

/// A call that would replace its input, "IN", under the name "alias" and an extension.
struct Call {
    std::vector<std::string> arguments;
    std::string option;  ///< that names the output
    std::string alias;   ///< the file that would be written
};

const std::vector<Call>& calls() {
    static const std::vector<Call> all = {
        {{"compare", "IN", "b.png", "-o", "alias.txt"}, "--output", "alias.txt"},
        {{"compare", "b.png", "IN", "--report", "alias.html"}, "--report", "alias.html"},
        {{"compare", "b.png", "IN", "--maps", "."}, "--maps", "./first_chroma.tif"},
        {{"compare", "IN", "b.png", "--tiles", "1", "--tile-maps", "alias"}, "--tile-maps", "alias_chroma.tif"},
        {{"compare", "b.png", "IN", "--tiles", "1", "--tile-table", "alias.csv"}, "--tile-table", "alias.csv"},
        {{"compare", "b.png", "IN", "--difference-maps", "."}, "--difference-maps", "./difference_chroma.tif"},
        {{"sweep", "IN", "b.png", "-o", "alias.csv"}, "--output", "alias.csv"},
        {{"sweep", "b.png", "IN", "--plot", "alias.html"}, "--plot", "alias.html"},
        {{"appearance", "IN", "-o", "."}, "--output", "./in_hue.tif"},
        {{"convert", "IN", "--to", "lab", "-o", "alias.tif"}, "--output", "alias.tif"},
        {{"white", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"adapt", "IN", "--to", "d65", "-o", "alias.png"}, "--output", "alias.png"},
        {{"adapt", "b.png", "--like", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"adapt", "b.png", "--like", "b.png", "--from", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"adapt", "b.png", "--like", "b.png", "--mask", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"brighten", "IN", "--factor", "9", "--pass", "1", "-o", "alias.png"}, "--output", "alias.png"},
        {{"brighten", "IN", "--factor", "9", "-o", "alias.png"}, "--output", "alias_6.png"},
        {{"tint", "IN", "--like", "b.png", "-o", "alias.png"}, "--output", "alias.png"},
        {{"tint", "b.png", "--like", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"stack", "--flash", "IN", "--no-flash", "b.png", "-o", "alias"}, "--output", "aliasfusion.jpg"},
        {{"stack", "--flash", "b.png", "--no-flash", "IN", "--version", "2", "-o", "alias"},
         "--output",
         "aliastinted.png"},
        {{"fuse", "b.png", "IN", "--times", "1,2", "-o", "alias"}, "--output", "alias.hdr"},
        {{"fuse", "IN", "b.png", "--times", "1,2", "--response", "alias.jpg"}, "--response", "alias.jpg"},
        {{"fuse", "IN", "b.png", "--times", "1,2", "--plot", "alias.jpg"}, "--plot", "alias.jpg"},
        {{"match-brightness", "IN", "--like", "b.png", "-o", "alias.png"}, "--output", "alias.png"},
        {{"match-brightness", "b.png", "--like", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"align", "IN", "--to", "b.png", "-o", "alias.png"}, "--output", "alias.png"},
        {{"align", "b.png", "--to", "IN", "-o", "c.png", "--flow", "alias.png"}, "--flow", "alias.png"},
        {{"structure", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"structure", "IN", "-o", "c.png", "--coherence", "alias.png"}, "--coherence", "alias.png"},
        {{"smooth", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"smooth", "b.png", "--guide", "IN", "-o", "alias.png"}, "--output", "alias.png"},
        {{"transfer", "IN", "--palette", "b.png", "-o", "alias.png"}, "--output", "alias.png"},
        {{"transfer", "b.png", "--palette", "IN", "--frames", "2", "-o", "alias.png"}, "--output", "alias_001.png"},
        {{"search", "IN", "b.png", "-o", "alias.csv"}, "--output", "alias.csv"},
        {{"search", "b.png", "IN", "--report", "alias.html"}, "--report", "alias.html"},
        {{"pairs", "IN", "--min", "0.5", "-o", "alias.csv"}, "--output", "alias.csv"},
        {{"pairs", "IN", "--min", "0.5", "-o", "c.csv", "--clusters", "alias.csv"}, "--clusters", "alias.csv"},
        {{"repair", "IN", "-o", "alias.likeness"}, "--output", "alias.likeness"},
        {{"batch", "IN", "-o", "alias.csv"}, "--output", "alias.csv"},
        {{"batch", "IN", "-o", "alias.csv", "--timing"}, "--timing", "alias.csv.timing.csv"},
        {{"batch", "IN", "-o", "alias.csv"}, "--output", "alias.csv.previous"},
        {{"merge", "alias.csv", "IN", "--overwrite"}, "OUT", "alias.csv"},
        {{"fit", "IN", "--scores", "s.csv", "-o", "alias.json"}, "--output", "alias.json"},
        {{"fit", "r.csv", "--scores", "IN", "--predictions", "alias.csv"}, "--predictions", "alias.csv"},
        {{"fit", "r.csv", "--scores", "IN", "--report", "alias.html"}, "--report", "alias.html"},
        {{"report", "IN", "-o", "alias.html"}, "--output", "alias.html"},
    };
    return all;
}

/// Options and arguments of a subcommand that name files or folders, as far as the parser sees it.
std::set<std::string> seenToNameFiles(const darkroom::OptionParser& app) {
    std::set<std::string> names;
    for (const auto& views : {darkroom::argumentsOf(app), darkroom::optionsOf(app)}) {
        for (const darkroom::OptionView& view : views) {
            const bool files = view.kind == darkroom::ValueKind::file || view.kind == darkroom::ValueKind::folder;
            if (files && !view.common) {
                names.insert(view.names.back());
            }
        }
    }
    return names;
}

TEST(OptionsThatNameFiles, AreReadOrChecked) {
    darkroom::CommandLine commandLine(darkroom::subcommands());
    std::set<std::string> called;
    for (const Call& call : calls()) {
        called.insert(call.arguments.front() + ' ' + call.option);
    }
    for (const darkroom::OptionParser* const app : darkroom::subcommandsOf(commandLine.parser())) {
        const Files& files = filesOfSubcommands().at(app->name());
        std::set<std::string> known = files.read;
        known.insert(files.written.begin(), files.written.end());
        EXPECT_EQ(seenToNameFiles(*app), known) << app->name();
        for (const std::string& option : files.written) {
            EXPECT_TRUE(files.read.empty() || called.count(app->name() + ' ' + option) == 1)
                << app->name() << ' ' << option;
        }
    }
}

class OutputsOntoInputs : public DarkroomProgram {
protected:
    void expectRefusedAs(const Call& call, const std::string& in, const fs::path& alias) {
        std::vector<std::string> arguments = call.arguments;
        for (std::string& argument : arguments) {
            argument = argument == "IN" ? in : argument;
        }
        expectRefused(arguments,
                      call.option + ": '" + call.alias + "' would replace the input '" + in + "'; choose another name");
        fs::remove(alias);
    }
};

TEST_F(OutputsOntoInputs, ConditionsAndProfilesAreInputsToo) {
    const std::string in = save("in.png", randomPhotograph({12, 9}, 1));
    const std::string conditions = saveText("c.json", expectDone({"conditions", "cinema", "--json"}).out);
    const auto p3 = ColorProfile::named("display-p3");
    const std::string profile = saveText("p3.icc", std::string(p3->icc().begin(), p3->icc().end()));
    const auto refused = [&](std::vector<std::string> arguments, const std::string& option, const std::string& alias,
                             const std::string& input) {
        const fs::path place = folder() / alias;
        fs::create_symlink(input, place);
        expectRefused(std::move(arguments),
                      option + ": '" + alias + "' would replace the input '" + input + "'; choose another name");
        fs::remove(place);
    };
    refused({"compare", in, in, "--model", "ciecam16", "--conditions", conditions, "-o", "a.json"}, "--output",
            "a.json", conditions);
    refused({"sweep", in, in, "--conditions", conditions, "--plot", "a.html"}, "--plot", "a.html", conditions);
    refused({"appearance", in, "--model", "ciecam16", "--conditions", conditions, "-o", "."}, "--output",
            "./in_hue.tif", conditions);
    refused({"smooth", in, "--assume-profile", profile, "-o", "a.png"}, "--output", "a.png", profile);
    refused({"smooth", in, "--output-profile", profile, "-o", "a.png"}, "--output", "a.png", profile);
}

TEST_F(OutputsOntoInputs, AreRefusedThroughLinks) {
    const std::string in = save("in.png", randomPhotograph({12, 9}, 1));
    for (const Call& call : calls()) {
        const fs::path alias = folder() / call.alias;
        fs::create_symlink(in, alias);
        expectRefusedAs(call, in, alias);
        fs::create_hard_link(in, alias);
        expectRefusedAs(call, in, alias);
    }
}

TEST_F(OutputsOntoInputs, DumpsLeaveInputsAndResultsAlone) {
    const cv::Mat image = randomPhotograph({30, 20}, 1);
    const std::string in = save("in.png", image);
    std::ifstream before(in, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(before), std::istreambuf_iterator<char>()};
    fs::create_directory(folder() / "dumps");
    fs::create_symlink(in, folder() / "dumps" / "lms_before.jpg");
    const Outcome outcome = expectDone(
        {"brighten", in, "--factor", "9", "--pass", "1", "--dumps", "dumps", "-o", "dumps/dst.jpg", "--quiet"});
    EXPECT_EQ(outcome.err,
              "darkroom brighten: warning: --dumps: 'dumps/lms_before.jpg' is left out, it would replace the input '" +
                  in +
                  "'\n"
                  "darkroom brighten: warning: --dumps: 'dumps/dst.jpg' is left out, it would replace the result "
                  "'dumps/dst.jpg'\n");
    std::ifstream after(in, std::ios::binary);
    EXPECT_EQ(bytes, std::string(std::istreambuf_iterator<char>(after), std::istreambuf_iterator<char>()));
    EXPECT_TRUE(fs::exists(output("dumps/lms_after.jpg")));
}

TEST_F(OutputsOntoInputs, ABatchEmptiesNoFileThatHoldsNoTimes) {
    const std::string in = save("in.png", randomPhotograph({12, 9}, 1));
    const std::string list = saveText("list.csv", "first,second\n" + in + ',' + in + '\n');
    fs::create_symlink(in, folder() / "r.csv.timing.csv");
    expectRefused({"batch", list, "-o", "r.csv", "--timing"}, "--timing: 'r.csv.timing.csv' exists; move it away");
    expectRefused({"batch", list, "-o", "r.csv", "--timing", "--resume"},
                  "'r.csv.timing.csv' is no file of times, and it would be overwritten; move it away");
}

TEST_F(OutputsOntoInputs, WhatIsNoImageReplacesNone) {
    const std::string in = save("in.png", randomPhotograph({12, 9}, 1));
    const std::string other = save("other.png", randomPhotograph({12, 9}, 2));
    const std::string list = saveText("list.csv", "first,second\n" + in + ',' + in + '\n');
    expectDone({"batch", list, "-o", "r.csv", "--quiet"});
    expectDone({"index", in, "-o", "a.likeness", "--quiet"});
    fs::create_symlink(other, folder() / "image.csv");
    const std::string before = contentOf(other);
    const std::string problem = "'image.csv' is an image, and is not replaced by what is none; choose another name";
    expectRefused({"compare", in, in, "-o", "image.csv"}, "--output: " + problem);
    expectRefused({"search", "a.likeness", in, "-o", "image.csv"}, "--output: " + problem);
    expectRefused({"merge", "image.csv", "r.csv", "--overwrite"}, "OUT: " + problem);
    expectRefused({"pairs", "a.likeness", "--nearest", "1", "-o", "p.csv", "--clusters", "image.csv"},
                  "--clusters: " + problem);
    expectRefused({"completion", "bash", "-o", "image.csv"}, "--output: " + problem);
    expectRefused({"repair", "a.likeness", "-o", "image.csv", "--overwrite"},
                  "--output: 'image.csv' is no archive, and is not replaced");
    EXPECT_EQ(contentOf(other), before);
}

TEST_F(OutputsOntoInputs, AJournalWithoutItsDatabaseStays) {
    const std::string in = save("in.png", randomPhotograph({12, 9}, 1));
    const std::string list = saveText("list.csv", "first,second\n" + in + ',' + in + '\n');
    for (const std::string ending : {"-wal", "-journal", "-shm"}) {
        std::ofstream(output("q.db" + ending)) << "precious";
        expectRefused({"batch", list, "-o", "q.db"},
                      "'q.db" + ending + "' is there without its database; move it away");
        EXPECT_EQ(contentOf(output("q.db" + ending)), "precious");
        fs::remove(output("q.db" + ending));
    }
}

TEST_F(OutputsOntoInputs, AReportReplacesNoPhotograph) {
    const std::string in = save("in.png", randomPhotograph({12, 9}, 1));
    const std::string list = saveText("list.csv", "first,second\n" + in + ',' + in + '\n');
    expectDone({"batch", list, "-o", "r.csv", "--quiet"});
    fs::create_symlink(in, folder() / "page.html");
    expectRefused({"report", "r.csv", "-o", "page.html"},
                  "--output: 'page.html' would replace the input '" + in + "'; choose another name");
}

}  // namespace
}  // namespace likeness::testing
