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

/// Breaks a text at spaces into lines of at most `width` characters.
std::string wrapped(const std::string& text, std::size_t width) {
    std::string lines;
    std::size_t column = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(' ', begin), text.size());
        const std::size_t length = end - begin;
        if (column > 0) {
            const bool fits = column + 1 + length <= width;
            lines += fits ? ' ' : '\n';
            column = fits ? column + 1 : 0;
        }
        lines.append(text, begin, length);
        column += length;
        begin = end + 1;
    }
    return lines;
}

/// Help whose lines fit a terminal of 100 columns.
class WrappingFormatter : public CLI::Formatter {
public:
    WrappingFormatter() { column_width(nameWidth); }

    /// Never two empty lines in a row, as between groups.
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
        std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
        for (std::size_t at = 0; (at = text.find("\n\n\n", at)) != std::string::npos;) {
            text.erase(at, 1);
        }
        return text;
    }

    /// Other spellings of a name stand behind what it does.
    std::string make_subcommand(const CLI::App* app) const override {
        std::string text = app->get_description();
        for (const std::string& alias : app->get_aliases()) {
            text += "; also spelt " + alias;
        }
        std::stringstream line;
        CLI::detail::format_help(line, app->get_name(), text, column_width_);
        return line.str();
    }

    std::string make_option_desc(const CLI::Option* option) const override {
        return wrapped(option->get_description(), width - nameWidth - 2);
    }

    /// Bounds between options are in their descriptions.
    std::string make_option_opts(const CLI::Option* option) const override {
        std::string text;
        if (option->get_type_size() != 0) {
            text += ' ' + valueName(*option);
            if (!option->get_default_str().empty()) {
                text += '=' + option->get_default_str();
            }
            if (option->get_expected_max() > 1) {
                text += " ...";
            }
            if (option->get_required()) {
                text += " (required)";
            }
        }
        return text;
    }

private:
    static constexpr std::size_t width = 100;
    static constexpr std::size_t nameWidth = 32;
};

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
std::string noSubcommand(const std::string& word, const CLI::App& app) {
    std::string nearest;
    std::size_t least = std::max<std::size_t>(1, std::min<std::size_t>(word.size(), 8) / 3) + 1;
    for (const CLI::App* const subcommand : app.get_subcommands({})) {
        const std::size_t distance = misspellings(word, subcommand->get_name());
        if (distance < least) {
            least = distance;
            nearest = subcommand->get_name();
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

bool isSubcommand(const std::string& word, const CLI::App& app) {
    const std::vector<const CLI::App*> all = app.get_subcommands({});
    return std::any_of(all.begin(), all.end(), [&](const CLI::App* one) { return one->get_name() == word; });
}

/// "; did you mean '--output'?" where an argument that was not expected is like an option's name; where it is like none,
/// what lists them; nothing where it is no option.
std::string nearestOption(const CLI::App& subcommand) {
    for (const std::string& argument : subcommand.remaining()) {
        const std::string name = argument.substr(0, argument.find('='));
        if (name.rfind("--", 0) != 0) {
            continue;
        }
        std::string nearest;
        std::size_t least = std::min<std::size_t>(3, (name.size() - 2) / 3) + 1;
        for (const CLI::Option* const option : subcommand.get_options()) {
            for (const std::string& known : option->get_lnames()) {
                const std::size_t distance = misspellings(name.substr(2), known);
                if (distance < least) {
                    least = distance;
                    nearest = known;
                }
            }
        }
        return nearest.empty() ? "; darkroom " + subcommand.get_name() + " --help lists the options"
                               : "; did you mean '--" + nearest + "'?";
    }
    return "";
}

/// Why the arguments were not understood.
std::string problemOf(const CLI::ParseError& error, const CLI::App& app, int argc, const char* const* argv) {
    if (!app.get_subcommands().empty() || argc < 2) {
        return argc < 2 ? "a subcommand is required; darkroom --help lists them"
                        : error.what() + nearestOption(*app.get_subcommands().front());
    }
    const std::string first = argv[1];
    return first.rfind('-', 0) == 0 ? "there is no option '" + first + "'; darkroom --help lists them"
                                    : noSubcommand(first, app);
}

std::shared_ptr<CommonOptions> addCommonOptions(CLI::App& app) {
    auto options = std::make_shared<CommonOptions>();
    app.add_option("--dumps", options->dumps,
                   optionText("Existing folder that keeps the diagnostic images and texts of the operation; without "
                              "it they are dropped",
                              "--dumps dumps"))
        ->type_name("DIR")
        ->group(commonGroup);
    app.add_option("--max-pixels", options->mostPixels,
                   optionText("Most pixels, 1 or more, of an image that is read; a larger one is refused before "
                              "anything of it is decoded",
                              "--max-pixels 100000000"))
        ->type_name("N")
        ->check(integerBetween(1, std::int64_t{1} << 53))
        ->capture_default_str()
        ->group(commonGroup);
    app.add_option(
           "--assume-profile", options->assumedProfile,
           optionText("Colour profile of photographs that have none in place of sRGB: the file of an ICC profile, "
                      "or srgb, display-p3, adobe-rgb, prophoto",
                      "--assume-profile adobe-rgb"))
        ->type_name("PROFILE")
        ->group(commonGroup);
    app.add_flag("--ignore-profile", options->ignoreProfiles,
                 optionText("Take photographs with a colour profile as if they had none", "--ignore-profile"))
        ->group(commonGroup);
    app.add_option(
           "--exposure", options->exposure,
           optionText("Exposure that linear photographs (OpenEXR, float maps, Radiance, camera raw) are encoded "
                      "at, -30 to 30 EV: 1 doubles their values",
                      "--exposure -1.5"))
        ->type_name("EV")
        ->check(numberBetween(-30, 30))
        ->default_str("0")
        ->group(commonGroup);
    app.add_option("--page", options->selection.page,
                   optionText("Page of a TIFF, or picture of a HEIC or AVIF, that is read, from 1 on", "--page 2"))
        ->type_name("N")
        ->check(integerBetween(1, 65535))
        ->capture_default_str()
        ->group(commonGroup);
    app.add_option("--layer", options->selection.layer,
                   optionText("Layer or part of an OpenEXR file that is read; without it the first with colours",
                              "--layer diffuse"))
        ->type_name("NAME")
        ->group(commonGroup);
    app.add_flag("--preview", options->selection.preview,
                 optionText("Read the embedded preview of a camera's raw file in place of the photograph", "--preview"))
        ->group(commonGroup);
    auto* const quiet =
        app.add_flag("--quiet", options->quiet, optionText("Say nothing but warnings and errors", "--quiet"))
            ->group(commonGroup);
    app.add_flag("--verbose", options->verbose,
                 optionText("Also show the operation's messages, on standard error", "--verbose"))
        ->excludes(quiet)
        ->group(commonGroup);
    return options;
}

void addThreadsOption(CLI::App& app, CommonOptions& options) {
    app.add_option(
           "--threads", options.threads,
           optionText("Threads that work at the same time, 1 to 1024; by default what LIKENESS_THREADS says, or "
                      "as many as there are processors. Results are the same bytes for any number. Not for "
                      "batch, which has --jobs",
                      "--threads 1"))
        ->type_name("N")
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
    app_.formatter(std::make_shared<WrappingFormatter>());
    app_.set_version_flag("--version", "darkroom " LIKENESS_VERSION, "Print the version and exit (example: --version)");
    app_.set_help_flag(helpNames, helpText);
    app_.require_subcommand(1);
    app_.footer(
        "darkroom SUBCOMMAND --help shows the options of a subcommand.\n"
        "Exit status: 0 done (and within limits), 1 outside the limits, or some of many failed, 2 could not\n"
        "run; a batch, or work on many photographs, that a signal stopped ends with 130 or 143.");
    for (const Subcommand& subcommand : subcommands) {
        CLI::App* const app = app_.add_subcommand(subcommand.name, subcommand.summary);
        app->footer("");
        Entry entry;
        entry.action = subcommand.declare(*app);
        entry.onPixels = subcommand.onPixels;
        entry.common = subcommand.onImages ? addCommonOptions(*app) : std::make_shared<CommonOptions>();
        if (subcommand.onPixels) {
            addThreadsOption(*app, *entry.common);
        }
        app->set_help_flag(helpNames, helpText)->group(commonGroup);  // anew, so that it is the last
        entries_.emplace(app, std::move(entry));
    }
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
        app_.parse(argc, argv);
        const CLI::App* const chosen = app_.get_subcommands().front();
        command = chosen->get_name();
        const Entry& entry = entries_.at(chosen);
        const Console console(command, *entry.common);
        if (entry.onPixels) {
            useThreadsThatThereAre(console, entry.common->threads);
        }
        const ExitStatus status = entry.action(console);
        console.reportDumps();
        if (!std::cout.flush()) {
            return refuse(command, "cannot write to standard output");
        }
        return status;
    } catch (const CLI::Success& information) {  // --help, --version
        const std::string word = firstWord(argc, argv);
        if (!word.empty() && !isSubcommand(word, app_)) {
            return refuse(command, noSubcommand(word, app_));
        }
        app_.exit(information, std::cout, std::cerr);
        return std::cout.flush() ? ExitStatus::done : ExitStatus::couldNotRun;
    } catch (const CLI::ParseError& error) {
        const auto parsed = app_.get_subcommands();
        return refuse(parsed.empty() ? command : parsed.front()->get_name(), problemOf(error, app_, argc, argv));
    } catch (const cv::Exception& error) {
        return refuse(command, isMemoryShortage(error) ? memoryShortageText : onOneLine(error.what()));
    } catch (const std::exception& error) {
        return refuse(command, isMemoryShortage(error) ? memoryShortageText : error.what());
    }
}

}  // namespace likeness::darkroom
