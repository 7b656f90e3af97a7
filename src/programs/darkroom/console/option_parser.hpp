// The parser of command lines. CLI11 stands behind it, which is large: only the .cpp file compiles it.
#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace likeness::darkroom {

/// Whether an option takes a value: the function returns what is wrong with a text, or nothing. It may change the text.
struct OptionCheck {
    OptionCheck(std::function<std::string(std::string& text)> problem, std::string choices)
        : problemOf(std::move(problem)), words(std::move(choices)) {}

    std::function<std::string(std::string& text)> problemOf;
    std::string words;  ///< to choose from, such as "{csv,tsv}", for the help; may be empty

    std::string operator()(std::string text) const { return problemOf(text); }
};

/// An option, or an argument that goes by its place. Those that change it return it, so that calls can be chained.
class Option {
public:
    explicit Option(CLI::Option& option) : option_(&option) {}

    /// How its value is called in the help, such as "FILE".
    Option* typeName(const std::string& name);
    Option* check(const OptionCheck& check);
    Option* required(bool value = true);
    /// It is refused without the other one.
    Option* needs(Option* other);
    /// It is refused with the other one.
    Option* excludes(Option* other);
    /// Heading of it in the help.
    Option* group(const std::string& name);
    /// Number of its values.
    Option* expected(int count);
    /// Given again, it has all values; else it is refused.
    Option* takeAll();
    /// Whether words after the first value are values too.
    Option* allowExtraArguments(bool value);
    /// The help shows the value that the variable has now.
    Option* showDefault();
    Option* defaultText(const std::string& text);
    Option* description(const std::string& text);

    /// How often it was given, and with what.
    std::size_t count() const;
    std::vector<std::string> results() const;

    /// "--output" of an option with several; of an argument such as "IN".
    std::string name() const;
    std::vector<std::string> shortNames() const;  ///< without "-"
    std::vector<std::string> longNames() const;   ///< without "--"
    std::string typeName() const;                 ///< with the words of its checks
    std::string description() const;
    std::string defaultText() const;
    std::string group() const;
    bool isPositional() const;
    bool isRequired() const;
    bool takesValue() const;
    bool takesSeveral() const;

private:
    CLI::Option* option_;
};

/// What was not understood of a command line; the text is the parser's, one line.
class ParseProblem : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A parser, or a subcommand of one.
class OptionParser {
public:
    OptionParser(const std::string& description, const std::string& name);
    ~OptionParser();
    OptionParser(const OptionParser&) = delete;
    OptionParser& operator=(const OptionParser&) = delete;

    /// @param names  such as "-o,--output", or "IN" for an argument
    /// @param value  lives as long as the parser. For the types of the instances in option_parser.cpp
    template <typename Value>
    Option* addOption(const std::string& names, Value& value, const std::string& text);
    /// @param take  is called with the value
    Option* addOption(const std::string& names, const std::function<void(const std::string&)>& take,
                      const std::string& text);
    Option* addFlag(const std::string& names, bool& value, const std::string& text);
    OptionParser* addSubcommand(const std::string& name, const std::string& description);

    /// Anew, it becomes the last of the options.
    Option* setHelpFlag(const std::string& names, const std::string& text);
    void setVersionFlag(const std::string& names, const std::string& version, const std::string& text);
    /// Text below the help.
    void footer(const std::string& text);
    void requireSubcommand();
    /// Another spelling of its name.
    void alias(const std::string& name);

    /// @return  the help, or the version, where that is asked for; else nothing, and the variables have their values
    /// @throws ParseProblem
    std::string parse(int argc, const char* const* argv);

    std::string name() const;
    std::string description() const;
    std::vector<std::string> aliases() const;
    const OptionParser* parent() const { return parent_; }

    /// @throws std::out_of_range  if there is none of this name
    Option* option(const std::string& name);
    const Option* option(const std::string& name) const;
    /// In the order of the help.
    std::vector<const Option*> options() const;
    /// As often as they were given, in the order of the command line.
    std::vector<const Option*> givenOptions() const;
    /// All, in the order of the help.
    std::vector<const OptionParser*> subcommands() const;
    /// Null where there is none of this name.
    const OptionParser* subcommand(const std::string& name) const;
    /// The one that the command line names; null without one.
    const OptionParser* chosen() const;
    /// Words that were not understood.
    std::vector<std::string> remaining() const;

private:
    OptionParser(CLI::App& app, const OptionParser& parent);
    Option* viewOf(CLI::Option* option) const;

    std::unique_ptr<CLI::App> owned_;  ///< of a parser that is no subcommand
    CLI::App* app_;
    const OptionParser* parent_ = nullptr;
    std::vector<std::unique_ptr<OptionParser>> subcommands_;
    mutable std::map<const CLI::Option*, std::unique_ptr<Option>> options_;
};

/// How the value of an option is called: "{8,16}" where there are words to choose from, else such as "FILE".
std::string valueName(const std::string& typeName);

}  // namespace likeness::darkroom
