#include "console/manual.hpp"

#include <likeness/version.hpp>
#include "console/exit_status.hpp"
#include "console/parser_view.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace likeness::darkroom {
namespace {

constexpr const char* description = R"(.B darkroom
reaches each operation of the likeness library from the command line. A subcommand reads ordinary image files, does one
operation and writes its result into the file that
.B \-\-output
names, or prints it on standard output; all else that it has to say goes to standard error.
.PP
Everything is checked before the work begins: what cannot be done is refused with one line on standard error, and
nothing is written. Work that takes over a second shows its progress on a terminal.
.PP
A file is written as a whole: it appears under its name when it is complete, with the permissions of the file that it
replaces. An input is overwritten only if it is named as the output.
)";

constexpr const char* files =
    R"(Images are read with 8 or 16 bits per channel or as floats, in any format that the image library reads. The EXIF
orientation is applied, alpha is dropped (with a warning where it is not opaque), grey is spread to three channels.
8-bit values are divided by 255, 16-bit values by 65535; floats are taken as they are.
.PP
The extension of a result gives its format, and the scale is stated on standard error:
.TP
.I .png
8 bits per channel, or 16 with
.BR \-\-bits ;
values outside the range that is shown are clipped, and their share is stated.
.TP
.IR .jpg ", " .jpeg
8 bits per channel, with
.BR \-\-quality ;
clipped likewise.
.TP
.IR .tif ", " .tiff
8 or 16 bits as the photograph, clipped likewise; 32-bit floats, values as they are, of what has floats, with
.BR "\-\-depth float" ,
and of maps.
.TP
.I .hdr
Radiance; negative values become 0.
.PP
The page
.I docs/formats.md
of the sources describes the JSON and CSV that is written.
)";

constexpr const char* examples = R"(Compare two photographs:
.PP
.nf
$ darkroom compare examples/photos/cat.jpg examples/photos/coffee.jpg
.fi
.PP
Smooth a photograph and keep its edges, with 16 bits per channel:
.PP
.nf
$ darkroom smooth examples/photos/cat.jpg \-\-radius 8 \-\-bits 16 \-\-output smooth.png
.fi
.PP
Maps of oriented structure as 32-bit floats, and the diagnostic images of the operation:
.PP
.nf
$ mkdir \-p dumps
$ darkroom structure examples/photos/cat.jpg \-\-output strength.tif \-\-dumps dumps
.fi
.PP
Lay a photograph onto another of the same scene and show the displacements:
.PP
.nf
$ darkroom align examples/photos/cat.jpg \-\-to smooth.png \-o aligned.png \-\-flow flow.png
.fi
)";

/// Plain text for roff: no character of it is a command.
std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\') {
            result += "\\e";
        } else if (c == '-') {
            result += "\\-";
        } else {
            result += c;
        }
    }
    return !result.empty() && (result.front() == '.' || result.front() == '\'') ? "\\&" + result : result;
}

std::string bold(const std::string& text) {
    return "\\fB" + escaped(text) + "\\fR";
}

std::string italic(const std::string& text) {
    return "\\fI" + escaped(text) + "\\fR";
}

std::string paragraph(const OptionView& option, bool argument) {
    std::string head;
    for (const std::string& name : option.names) {
        head += (head.empty() ? "" : ", ") + (argument ? italic(name) : bold(name));
    }
    if (!argument && !option.value.empty()) {
        head += ' ' + italic(option.value);
    }
    if (option.repeated) {
        head += " ...";
    }
    if (option.required && !argument) {
        head += " (required)";
    }
    if (!option.defaultText.empty()) {
        head += " (default " + escaped(option.defaultText) + ')';
    }
    return ".TP\n" + head + '\n' + escaped(option.text) + '\n';
}

/// The heading of a subcommand, with what it must be given.
std::string usage(const OptionParser& app) {
    std::string text = "darkroom " + app.name();
    for (const OptionView& argument : argumentsOf(app)) {
        const std::string word = argument.names.front() + (argument.repeated ? "..." : "");
        text += ' ' + (argument.required ? word : '[' + word + ']');
    }
    for (const OptionView& option : optionsOf(app)) {
        if (option.required) {
            text += ' ' + option.names.back() + ' ' + option.value;
        }
    }
    return text;
}

std::string subcommandSection(const OptionParser& app) {
    std::string text = ".SS \"" + escaped(usage(app)) + "\"\n" + escaped(app.description()) + ".\n";
    for (const std::string& alias : app.aliases()) {
        text += "Also spelt " + bold("darkroom " + alias) + ".\n";
    }
    for (const OptionView& argument : argumentsOf(app)) {
        text += paragraph(argument, true);
    }
    for (const OptionView& option : optionsOf(app)) {
        if (!option.common) {
            text += paragraph(option, false);
        }
    }
    return text;
}

/// Options of the group that every subcommand has, each once.
std::vector<OptionView> commonOptions(const OptionParser& parser) {
    std::vector<OptionView> common;
    for (const OptionParser* const app : subcommandsOf(parser)) {
        for (const OptionView& option : optionsOf(*app)) {
            const bool known = std::any_of(common.begin(), common.end(),
                                           [&](const OptionView& other) { return other.names == option.names; });
            if (option.common && !known) {
                common.push_back(option);
            }
        }
    }
    return common;
}

/// "Colour science." as the name section has it: "colour science".
std::string inNameSection(std::string text) {
    if (!text.empty()) {
        text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
    }
    return text.substr(0, text.find_last_not_of('.') + 1);
}

}  // namespace

std::string manualPage(const OptionParser& parser) {
    std::string page = fmt::format(".TH DARKROOM 1 \"\" \"darkroom {}\" \"User Commands\"\n", LIKENESS_VERSION);
    page += ".SH NAME\ndarkroom \\- " + escaped(inNameSection(parser.description())) + '\n';
    page += ".SH SYNOPSIS\n.B darkroom\n.I SUBCOMMAND\n.RI [ argument ...]\n.RI [ option ...]\n";
    page += ".SH DESCRIPTION\n";
    page += description;
    page += ".SH OPTIONS\n";
    for (const OptionView& option : optionsOf(parser)) {
        page += paragraph(option, false);
    }
    page += ".SS \"Options of every subcommand that works on images\"\n";
    for (const OptionView& option : commonOptions(parser)) {
        page += paragraph(option, false);
    }
    page += ".SH SUBCOMMANDS\n";
    for (const OptionParser* const app : subcommandsOf(parser)) {
        page += subcommandSection(*app);
    }
    page += ".SH FILES\n";
    page += files;
    page += ".SH EXIT STATUS\n";
    for (const ExitStatusText& status : exitStatusTexts) {
        page += fmt::format(".TP\n.B {}\n{}\n", static_cast<int>(status.status), escaped(status.text));
    }
    page += ".SH EXAMPLES\n";
    page += examples;
    page += ".SH SEE ALSO\n.BR likeness (1)\n";
    return page;
}

}  // namespace likeness::darkroom
