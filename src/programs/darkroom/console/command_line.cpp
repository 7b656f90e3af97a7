#include "console/command_line.hpp"

#include "console/option_checks.hpp"
#include "console/parser_view.hpp"
#include "console/subcommands.hpp"
#include "files/refusal.hpp"

#include <algorithm>
#include <iostream>
#include <sstream>

namespace likeness::darkroom {
namespace {

constexpr const char* helpNames = "-h,--help";
constexpr const char* helpText = "Print this help and exit (example: --help)";

/// The line for standard error, whatever the thrower's text holds.
std::string oneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

ExitStatus refuse(const std::string& command, const std::string& why) {
    std::cerr << "darkroom" + (command.empty() ? "" : ' ' + command) + ": " + oneLine(why) + '\n';
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

/// Why the arguments were not understood.
std::string problemOf(const CLI::ParseError& error, const CLI::App& app, int argc, const char* const* argv) {
    if (!app.get_subcommands().empty() || argc < 2) {
        return argc < 2 ? "a subcommand is required; darkroom --help lists them" : error.what();
    }
    const std::string first = argv[1];
    return (first.rfind('-', 0) == 0 ? "there is no option '" : "there is no subcommand '") + first +
           "'; darkroom --help lists them";
}

std::shared_ptr<CommonOptions> addCommonOptions(CLI::App& app) {
    auto options = std::make_shared<CommonOptions>();
    app.add_option("--dumps", options->dumps,
                   optionText("Existing folder that keeps the diagnostic images and texts of the operation; without "
                              "it they are dropped",
                              "--dumps dumps"))
        ->type_name("DIR")
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

}  // namespace

CommandLine::CommandLine()
    : app_("Colour science and computational photography on image files, one operation at a time.", "darkroom") {
    app_.formatter(std::make_shared<WrappingFormatter>());
    app_.set_version_flag("--version", "darkroom " LIKENESS_VERSION, "Print the version and exit (example: --version)");
    app_.set_help_flag(helpNames, helpText);
    app_.require_subcommand(1);
    app_.footer(
        "darkroom SUBCOMMAND --help shows the options of a subcommand.\n"
        "Exit status: 0 done (and within limits), 1 compared and outside the limits, 2 could not run;\n"
        "a batch that a signal stopped ends with 130 or 143.");
    for (const Subcommand& subcommand : subcommands()) {
        CLI::App* const app = app_.add_subcommand(subcommand.name, subcommand.summary);
        app->footer("");
        Entry entry;
        entry.action = subcommand.declare(*app);
        entry.common = subcommand.onImages ? addCommonOptions(*app) : std::make_shared<CommonOptions>();
        app->set_help_flag(helpNames, helpText)->group(commonGroup);  // anew, so that it is the last
        entries_.emplace(app, std::move(entry));
    }
}

ExitStatus CommandLine::run(int argc, const char* const* argv) {
    std::string command;
    try {
        app_.parse(argc, argv);
        const CLI::App* const chosen = app_.get_subcommands().front();
        command = chosen->get_name();
        const Entry& entry = entries_.at(chosen);
        const Session session(command, *entry.common);
        const ExitStatus status = entry.action(session);
        session.reportDumps();
        if (!std::cout.flush()) {
            return refuse(command, "cannot write to standard output");
        }
        return status;
    } catch (const CLI::Success& information) {  // --help, --version
        app_.exit(information, std::cout, std::cerr);
        return std::cout.flush() ? ExitStatus::done : ExitStatus::couldNotRun;
    } catch (const CLI::ParseError& error) {
        const auto parsed = app_.get_subcommands();
        return refuse(parsed.empty() ? command : parsed.front()->get_name(), problemOf(error, app_, argc, argv));
    } catch (const std::exception& error) {
        return refuse(command, error.what());
    }
}

}  // namespace likeness::darkroom
