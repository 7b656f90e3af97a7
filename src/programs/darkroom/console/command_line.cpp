#include "console/command_line.hpp"

#include <likeness/threads.hpp>
#include <likeness/version.hpp>
#include "codecs/memory_check.hpp"
#include "console/option_checks.hpp"
#include "console/parser_view.hpp"
#include "console/part_options.hpp"
#include "console/thread_supply.hpp"
#include "diagnostics/shown_text.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>
#include <omp.h>
#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <thread>

namespace likeness::darkroom {
namespace {

constexpr const char* helpNames = "-h,--help";
constexpr const char* helpText = "Print this help and exit (example: --help)";

/// A text of the image library's, which has line ends of its own, on one line.
std::string onOneLine(std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

ExitStatus refuse(const std::string& command, const std::string& why) {
    std::cerr << "darkroom" + (command.empty() ? "" : ' ' + command) + ": " + shownText(why) + '\n';
    return ExitStatus::couldNotRun;
}

/// How many letters must be put in, left out, replaced or swapped with their neighbours to make one word of the other
/// (Damerau, "A technique for computer detection and correction of spelling errors", Communications of the ACM, 1964).
std::size_t misspellings(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

/// The refusal of a word that names no subcommand; with the nearest name where one is near.
std::string noSubcommand(const std::string& word, const OptionParser& app) {
    std::string nearest;
    std::size_t least = std::max<std::size_t>(1, std::min<std::size_t>(word.size(), 8) / 3) + 1;
    for (const OptionParser* const subcommand : app.subcommands()) {
        const std::size_t distance = misspellings(word, subcommand->name());
        if (distance < least) {
            least = distance;
            nearest = subcommand->name();
        }
    }
    return "there is no subcommand '" + word + "'" + (nearest.empty() ? "" : "; did you mean '" + nearest + "'?") +
           (nearest.empty() ? "; " : " ") + "darkroom --help lists them";
}

/// The first argument that is no option: before it, no option of the program takes a value.
std::string firstWord(int argc, const char* const* argv) {
    const auto* const found =
        std::find_if(argv + std::min(argc, 1), argv + argc, [](const char* argument) { return argument[0] != '-'; });
    return found == argv + argc ? "" : *found;
}

bool isSubcommand(const std::string& word, const OptionParser& app) {
    const std::vector<const OptionParser*> all = app.subcommands();
    return std::any_of(all.begin(), all.end(), [&](const OptionParser* one) { return one->name() == word; });
}

/// "; did you mean '--output'?" where an argument that was not expected is like an option's name; where it is like none,
/// what lists them; nothing where it is no option.
std::string nearestOption(const OptionParser& subcommand) {
    for (const std::string& argument : subcommand.remaining()) {
        const std::string name = argument.substr(0, argument.find('='));
        if (name.rfind("--", 0) != 0) {
            continue;
        }
        std::string nearest;
        std::size_t least = std::min<std::size_t>(3, (name.size() - 2) / 3) + 1;
        for (const Option* const option : subcommand.options()) {
            for (const std::string& known : option->longNames()) {
                const std::size_t distance = misspellings(name.substr(2), known);
                if (distance < least) {
                    least = distance;
                    nearest = known;
                }
            }
        }
        return nearest.empty() ? "; darkroom " + subcommand.name() + " --help lists the options"
                               : "; did you mean '--" + nearest + "'?";
    }
    return "";
}

/// Why the arguments were not understood.
std::string problemOf(const ParseProblem& problem, const OptionParser& app, int argc, const char* const* argv) {
    if (app.chosen() != nullptr || argc < 2) {
        return argc < 2 ? "a subcommand is required; darkroom --help lists them"
                        : problem.what() + nearestOption(*app.chosen());
    }
    const std::string first = argv[1];
    return first.rfind('-', 0) == 0 ? "there is no option '" + first + "'; darkroom --help lists them"
                                    : noSubcommand(first, app);
}

std::shared_ptr<CommonOptions> addCommonOptions(OptionParser& app) {
    auto options = std::make_shared<CommonOptions>();
    app.addOption("--dumps", options->dumps,
                  optionText("Existing folder that keeps the diagnostic images and texts of the operation; without "
                             "it they are dropped",
                             "--dumps dumps"))
        ->typeName("DIR")
        ->group(commonGroup);
    app.addOption("--max-pixels", options->mostPixels,
                  optionText("Most pixels, 1 or more, of an image that is read; a larger one is refused before "
                             "anything of it is decoded",
                             "--max-pixels 100000000"))
        ->typeName("N")
        ->check(integerBetween(1, std::int64_t{1} << 53))
        ->showDefault()
        ->group(commonGroup);
    app.addOption(
           "--assume-profile", options->assumedProfile,
           optionText("Colour profile of photographs that have none in place of sRGB: the file of an ICC profile, "
                      "or srgb, display-p3, adobe-rgb, prophoto",
                      "--assume-profile adobe-rgb"))
        ->typeName("PROFILE")
        ->group(commonGroup);
    app.addFlag("--ignore-profile", options->ignoreProfiles,
                optionText("Take photographs with a colour profile as if they had none", "--ignore-profile"))
        ->group(commonGroup);
    app.addOption("--exposure", options->exposure,
                  optionText("Exposure that linear photographs (OpenEXR, float maps, Radiance, camera raw) are encoded "
                             "at, -30 to 30 EV: 1 doubles their values",
                             "--exposure -1.5"))
        ->typeName("EV")
        ->check(numberBetween(-30, 30))
        ->defaultText("0")
        ->group(commonGroup);
    app.addOption("--page", options->selection.page,
                  optionText("Page of a TIFF, or picture of a HEIC or AVIF, that is read, from 1 on", "--page 2"))
        ->typeName("N")
        ->check(integerBetween(1, 65535))
        ->showDefault()
        ->group(commonGroup);
    app.addOption("--layer", options->selection.layer,
                  optionText("Layer or part of an OpenEXR file that is read; without it the first with colours",
                             "--layer diffuse"))
        ->typeName("NAME")
        ->group(commonGroup);
    app.addFlag("--preview", options->selection.preview,
                optionText("Read the embedded preview of a camera's raw file in place of the photograph", "--preview"))
        ->group(commonGroup);
    auto* const quiet =
        app.addFlag("--quiet", options->quiet, optionText("Say nothing but warnings and errors", "--quiet"))
            ->group(commonGroup);
    app.addFlag("--verbose", options->verbose,
                optionText("Also show the operation's messages, on standard error", "--verbose"))
        ->excludes(quiet)
        ->group(commonGroup);
    return options;
}

void addThreadsOption(OptionParser& app, CommonOptions& options) {
    app.addOption("--threads", options.threads,
                  optionText("Threads that work at the same time, 1 to 1024; by default what LIKENESS_THREADS says, or "
                             "as many as there are processors. Results are the same bytes for any number. Not for "
                             "batch, which has --jobs",
                             "--threads 1"))
        ->typeName("N")
        ->check(integerBetween(1, 1024))
        ->group(commonGroup);
}

/// Also those of the image library and of OpenMP.
void setAllThreads(int count) {
    setThreads(count);
    // The image library's scheduler complains on standard error of more threads than there are processors.
    const auto processors = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    cv::setNumThreads(std::min(count, processors));
    ::omp_set_num_threads(count);
}

/// The libraries' loops end the program, or the work, where they get no threads.
void useThreadsThatThereAre(const Console& console, int wanted) {
    const int count = wanted > 0 ? wanted : threads();
    if (count != cv::getNumThreads() || wanted > 0) {
        setAllThreads(count);
    }
    if (count > 1 && !threadsAvailable(static_cast<unsigned>(count - 1))) {
        console.warn(fmt::format("the system does not give {} threads: one does the work", count));
        setAllThreads(1);
    }
}

}  // namespace

CommandLine::CommandLine(const std::vector<Subcommand>& subcommands)
    : app_("Colour science and computational photography on image files, one operation at a time.", "darkroom") {
    app_.setVersionFlag("--version", "darkroom " LIKENESS_VERSION, "Print the version and exit (example: --version)");
    app_.setHelpFlag(helpNames, helpText);
    app_.requireSubcommand();
    app_.footer(
        "darkroom SUBCOMMAND --help shows the options of a subcommand.\n"
        "Exit status: 0 done (and within limits), 1 outside the limits, or some of many failed, 2 could not\n"
        "run; a batch, or work on many photographs, that a signal stopped ends with 130 or 143.");
    entries_.reserve(subcommands.size());
    for (const Subcommand& subcommand : subcommands) {
        OptionParser* const app = app_.addSubcommand(subcommand.name, subcommand.summary);
        if (subcommand.otherSpelling != nullptr) {
            app->alias(subcommand.otherSpelling);
        }
        entries_.push_back({&subcommand, app, nullptr, nullptr});
    }
}

void CommandLine::declare(Entry& entry) {
    if (entry.action) {
        return;
    }
    OptionParser& app = *entry.parser;
    app.footer("");
    entry.action = entry.subcommand->declare(app);
    entry.common = entry.subcommand->onImages ? addCommonOptions(app) : std::make_shared<CommonOptions>();
    if (entry.subcommand->onPixels) {
        addThreadsOption(app, *entry.common);
    }
    app.setHelpFlag(helpNames, helpText)->group(commonGroup);  // anew, so that it is the last
}

void CommandLine::declareWhatIsNamed(const std::string& word) {
    for (Entry& entry : entries_) {
        const std::vector<std::string> spellings = spellingsOf(*entry.parser);
        if (std::find(spellings.begin(), spellings.end(), word) == spellings.end()) {
            continue;
        }
        declare(entry);
        if (entry.subcommand->showsOptionsOfAll) {
            parser();
        }
    }
}

const OptionParser& CommandLine::parser() {
    for (Entry& entry : entries_) {
        declare(entry);
    }
    return app_;
}

ExitStatus CommandLine::run(int givenCount, const char* const* given) {
    const std::vector<std::string> words = withColorsOfAlpha(givenCount, given);
    std::vector<const char*> joined;
    joined.reserve(words.size());
    for (const std::string& word : words) {
        joined.push_back(word.c_str());
    }
    const auto argc = static_cast<int>(joined.size());
    const char* const* const argv = joined.data();
    std::string command;
    try {
        declareWhatIsNamed(firstWord(argc, argv));
        const std::string information = app_.parse(argc, argv);
        if (!information.empty()) {  // --help, --version
            const std::string word = firstWord(argc, argv);
            if (!word.empty() && !isSubcommand(word, app_)) {
                return refuse(command, noSubcommand(word, app_));
            }
            std::cout << information;
            return std::cout.flush() ? ExitStatus::done : ExitStatus::couldNotRun;
        }
        const OptionParser* const chosen = app_.chosen();
        command = chosen->name();
        const Entry& entry =
            *std::find_if(entries_.begin(), entries_.end(), [&](const Entry& one) { return one.parser == chosen; });
        const Console console(command, *entry.common);
        if (entry.subcommand->onPixels) {
            useThreadsThatThereAre(console, entry.common->threads);
        }
        const ExitStatus status = entry.action(console);
        console.reportDumps();
        if (!std::cout.flush()) {
            return refuse(command, "cannot write to standard output");
        }
        return status;
    } catch (const ParseProblem& problem) {
        return refuse(app_.chosen() == nullptr ? command : app_.chosen()->name(), problemOf(problem, app_, argc, argv));
    } catch (const cv::Exception& error) {
        return refuse(command, isMemoryShortage(error) ? memoryShortageText : onOneLine(error.what()));
    } catch (const std::exception& error) {
        return refuse(command, isMemoryShortage(error) ? memoryShortageText : error.what());
    }
}

}  // namespace likeness::darkroom
