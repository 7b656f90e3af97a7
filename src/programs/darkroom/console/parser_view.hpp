// What the parser knows of its options, as the man page and the completions show it.
#pragma once

#include "console/option_parser.hpp"

#include <string>
#include <vector>

namespace likeness::darkroom {

/// Heading, in the help, of the options that every subcommand has.
inline constexpr const char* commonGroup = "Common options";

/// What may stand for an argument or for an option's value.
enum class ValueKind { none, file, folder, choice, other };

/// An option, or an argument that goes by its place.
struct OptionView {
    std::vector<std::string> names;    ///< "-o", "--output"; of an argument its name, such as "IN"
    std::string value;                 ///< how the value is called, such as "FILE" or "{8,16}"; empty for a flag
    ValueKind kind = ValueKind::none;  ///< of the value
    std::vector<std::string> choices;  ///< the words to choose from
    std::string text;                  ///< what it does
    std::string defaultText;
    bool required = false;
    bool repeated = false;  ///< takes several values
    bool common = false;    ///< every subcommand has it
};

/// The arguments of a parser that go by their place, in order.
std::vector<OptionView> argumentsOf(const OptionParser& app);

/// Its options, in the order of the help.
std::vector<OptionView> optionsOf(const OptionParser& app);

/// Its subcommands, in the order of the help.
std::vector<const OptionParser*> subcommandsOf(const OptionParser& app);

/// The name of a subcommand and its other spellings.
std::vector<std::string> spellingsOf(const OptionParser& app);

/// The text without the example at its end.
std::string withoutExample(const std::string& text);

}  // namespace likeness::darkroom
