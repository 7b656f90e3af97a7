#include "console/completion.hpp"

#include "console/parser_view.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace likeness::darkroom {
namespace {

std::vector<std::string> namesOf(const std::vector<OptionView>& options) {
    std::vector<std::string> names;
    for (const OptionView& option : options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

std::vector<std::string> subcommandNames(const OptionParser& parser) {
    std::vector<std::string> names;
    for (const OptionParser* const app : subcommandsOf(parser)) {
        const std::vector<std::string> spellings = spellingsOf(*app);
        names.insert(names.end(), spellings.begin(), spellings.end());
    }
    return names;
}

// bash --------------------------------------------------------------------------------------------------------------

constexpr const char* bashHead = R"(# Completion of the command darkroom for bash.

# Offers those of the words that begin as the current one does.
_darkroom_words() {
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$word")
    compopt +o default
}

_darkroom() {
    local word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    # --option=value arrives as three words.
    if [[ $word == = ]]; then
        word=
    elif [[ $option == = ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]}
    fi
)";

/// What an empty list of matches leads to: file names are the shell's own default.
std::string bashValue(ValueKind kind, const std::vector<std::string>& choices) {
    switch (kind) {
        case ValueKind::choice:
            return fmt::format("_darkroom_words '{}'", fmt::join(choices, " "));
        case ValueKind::folder:
            return "compopt -o dirnames +o default";
        case ValueKind::other:
            return "compopt +o default";
        case ValueKind::file:
        case ValueKind::none:
            break;
    }
    return ":";
}

std::string bashSubcommand(const OptionParser& app) {
    const std::vector<OptionView> options = optionsOf(app);
    std::string text = fmt::format("    {})\n", fmt::join(spellingsOf(app), " | "));
    std::string values;
    for (const OptionView& option : options) {
        if (option.kind != ValueKind::none) {
            values += fmt::format("        {}) {}; return ;;\n", fmt::join(option.names, " | "),
                                  bashValue(option.kind, option.choices));
        }
    }
    if (!values.empty()) {
        text += "        case $option in\n" + values + "        esac\n";
    }
    text += fmt::format("        if [[ $word == -* ]]; then\n            _darkroom_words '{}'\n",
                        fmt::join(namesOf(options), " "));
    ValueKind kind = ValueKind::other;
    std::vector<std::string> choices;
    for (const OptionView& argument : argumentsOf(app)) {
        kind = argument.kind;
        choices.insert(choices.end(), argument.choices.begin(), argument.choices.end());
    }
    text += fmt::format("        else\n            {}\n        fi\n        ;;\n", bashValue(kind, choices));
    return text;
}

// zsh ---------------------------------------------------------------------------------------------------------------

/// `text` between single quotes.
std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + '\'';
}

/// `text` within the description of an option, where some characters have a meaning.
std::string zshText(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') {
            result += '\\';
        }
        result += c;
    }
    return result;
}

std::string zshValue(const OptionView& option) {
    switch (option.kind) {
        case ValueKind::none:
            return "";
        case ValueKind::file:
            return ":" + zshText(option.value) + ":_files";
        case ValueKind::folder:
            return ":" + zshText(option.value) + ":_files -/";
        case ValueKind::choice:
            return fmt::format(":{}:({})", zshText(option.names.back()), fmt::join(option.choices, " "));
        case ValueKind::other:
            break;
    }
    return ":" + zshText(option.value) + ": ";
}

/// What fits a line of a menu: the first clause.
std::string brief(const std::string& text) {
    const std::string whole = withoutExample(text);
    return whole.substr(0, std::min(whole.find("; "), whole.find(". ")));
}

std::vector<std::string> zshOptionLines(const OptionParser& app) {
    std::vector<std::string> lines;
    for (const OptionView& option : optionsOf(app)) {
        for (const std::string& name : option.names) {
            const bool isLong = name.rfind("--", 0) == 0;
            lines.push_back(quoted(fmt::format("({}){}{}[{}]{}", fmt::join(option.names, " "), name,
                                               isLong && option.kind != ValueKind::none ? "=" : "",
                                               zshText(brief(option.text)), zshValue(option))));
        }
    }
    for (const OptionView& argument : argumentsOf(app)) {
        OptionView named = argument;
        named.value = argument.names.front();
        lines.push_back(quoted((argument.repeated ? "*" : "") + zshValue(named)));
    }
    return lines;
}

std::string zshArguments(const OptionParser& app, const std::string& indent) {
    return fmt::format("{0}_arguments -s \\\n{0}    {1}\n", indent,
                       fmt::join(zshOptionLines(app), " \\\n" + indent + "    "));
}

}  // namespace

std::string bashCompletion(const OptionParser& parser) {
    std::string text = bashHead;
    text += fmt::format(R"(    if ((COMP_CWORD == 1)); then
        _darkroom_words '{} {}'
        return
    fi
    case ${{COMP_WORDS[1]}} in
)",
                        fmt::join(subcommandNames(parser), " "), fmt::join(namesOf(optionsOf(parser)), " "));
    for (const OptionParser* const app : subcommandsOf(parser)) {
        text += bashSubcommand(*app);
    }
    return text + "    esac\n}\ncomplete -o default -F _darkroom darkroom\n";
}

std::string zshCompletion(const OptionParser& parser) {
    std::string text = R"(#compdef darkroom
# Completion of the command darkroom for zsh.

_darkroom() {
    if ((CURRENT == 2)); then
        local -a subcommands
        subcommands=(
)";
    for (const OptionParser* const app : subcommandsOf(parser)) {
        for (const std::string& name : spellingsOf(*app)) {
            text += "            " + quoted(name + ":" + zshText(app->description())) + "\n";
        }
    }
    text += "        )\n        if [[ $words[2] == -* ]]; then\n" + zshArguments(parser, "            ") +
            R"(        else
            _describe subcommand subcommands
        fi
        return
    fi
    local subcommand=$words[2]
    shift words
    ((CURRENT--))
    case $subcommand in
)";
    for (const OptionParser* const app : subcommandsOf(parser)) {
        text +=
            fmt::format("    {})\n{}        ;;\n", fmt::join(spellingsOf(*app), " | "), zshArguments(*app, "        "));
    }
    return text + R"(    esac
}

if [[ $funcstack[1] == _darkroom ]]; then
    _darkroom "$@"
else
    compdef _darkroom darkroom
fi
)";
}

}  // namespace likeness::darkroom
