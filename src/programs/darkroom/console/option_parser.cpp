#include "console/option_parser.hpp"

#include <CLI/CLI.hpp>

#include <optional>
#include <sstream>

namespace likeness::darkroom {
namespace {

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
            text += ' ' + valueName(option->get_type_name());
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

}  // namespace

std::string valueName(const std::string& typeName) {
    const std::size_t begin = typeName.find('{');
    return begin == std::string::npos ? typeName : typeName.substr(begin, typeName.find('}', begin) - begin + 1);
}

Option* Option::typeName(const std::string& name) {
    option_->type_name(name);
    return this;
}

Option* Option::check(const OptionCheck& check) {
    option_->check(CLI::Validator(check.problemOf, check.words));
    return this;
}

Option* Option::required(bool value) {
    option_->required(value);
    return this;
}

Option* Option::needs(Option* other) {
    option_->needs(other->option_);
    return this;
}

Option* Option::excludes(Option* other) {
    option_->excludes(other->option_);
    return this;
}

Option* Option::group(const std::string& name) {
    option_->group(name);
    return this;
}

Option* Option::expected(int count) {
    option_->expected(count);
    return this;
}

Option* Option::takeAll() {
    option_->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    return this;
}

Option* Option::allowExtraArguments(bool value) {
    option_->allow_extra_args(value);
    return this;
}

Option* Option::showDefault() {
    option_->capture_default_str();
    return this;
}

Option* Option::defaultText(const std::string& text) {
    option_->default_str(text);
    return this;
}

Option* Option::description(const std::string& text) {
    option_->description(text);
    return this;
}

std::size_t Option::count() const {
    return option_->count();
}

std::vector<std::string> Option::results() const {
    return option_->results();
}

std::string Option::name() const {
    return option_->get_name(isPositional());
}

std::vector<std::string> Option::shortNames() const {
    return option_->get_snames();
}

std::vector<std::string> Option::longNames() const {
    return option_->get_lnames();
}

std::string Option::typeName() const {
    return option_->get_type_name();
}

std::string Option::description() const {
    return option_->get_description();
}

std::string Option::defaultText() const {
    return option_->get_default_str();
}

std::string Option::group() const {
    return option_->get_group();
}

bool Option::isPositional() const {
    return option_->get_positional();
}

bool Option::isRequired() const {
    return option_->get_required();
}

bool Option::takesValue() const {
    return option_->get_items_expected_max() > 0;
}

bool Option::takesSeveral() const {
    return option_->get_expected_max() > 1;
}

OptionParser::OptionParser(const std::string& description, const std::string& name)
    : owned_(std::make_unique<CLI::App>(description, name)), app_(owned_.get()) {
    app_->formatter(std::make_shared<WrappingFormatter>());
}

OptionParser::OptionParser(CLI::App& app, const OptionParser& parent) : app_(&app), parent_(&parent) {}

OptionParser::~OptionParser() = default;

template <typename Value>
Option* OptionParser::addOption(const std::string& names, Value& value, const std::string& text) {
    return viewOf(app_->add_option(names, value, text));
}

// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a type
#define INSTANCE(Value) template Option* OptionParser::addOption(const std::string&, Value&, const std::string&)
INSTANCE(std::string);
INSTANCE(std::vector<std::string>);
INSTANCE(int);
INSTANCE(float);
INSTANCE(double);
INSTANCE(unsigned);
INSTANCE(unsigned long);
INSTANCE(unsigned long long);
INSTANCE(long);
INSTANCE(std::optional<int>);
INSTANCE(std::optional<long>);
#undef INSTANCE

Option* OptionParser::addOption(const std::string& names, const std::function<void(const std::string&)>& take,
                                const std::string& text) {
    return viewOf(app_->add_option_function<std::string>(names, take, text));
}

Option* OptionParser::addFlag(const std::string& names, bool& value, const std::string& text) {
    return viewOf(app_->add_flag(names, value, text));
}

OptionParser* OptionParser::addSubcommand(const std::string& name, const std::string& description) {
    CLI::App* const app = app_->add_subcommand(name, description);
    subcommands_.emplace_back(new OptionParser(*app, *this));
    return subcommands_.back().get();
}

Option* OptionParser::setHelpFlag(const std::string& names, const std::string& text) {
    options_.erase(app_->get_help_ptr());  // removed by the next line
    return viewOf(app_->set_help_flag(names, text));
}

void OptionParser::setVersionFlag(const std::string& names, const std::string& version, const std::string& text) {
    app_->set_version_flag(names, version, text);
}

void OptionParser::footer(const std::string& text) {
    app_->footer(text);
}

void OptionParser::requireSubcommand() {
    app_->require_subcommand(1);
}

void OptionParser::alias(const std::string& name) {
    app_->alias(name);
}

std::string OptionParser::parse(int argc, const char* const* argv) {
    try {
        app_->parse(argc, argv);
        return {};
    } catch (const CLI::Success& information) {  // --help, --version
        std::ostringstream text;
        app_->exit(information, text, text);
        return text.str();
    } catch (const CLI::ParseError& error) {
        throw ParseProblem(error.what());
    }
}

std::string OptionParser::name() const {
    return app_->get_name();
}

std::string OptionParser::description() const {
    return app_->get_description();
}

std::vector<std::string> OptionParser::aliases() const {
    return app_->get_aliases();
}

Option* OptionParser::viewOf(CLI::Option* option) const {
    std::unique_ptr<Option>& view = options_[option];
    if (view == nullptr) {
        view = std::make_unique<Option>(*option);
    }
    return view.get();
}

Option* OptionParser::option(const std::string& name) {
    CLI::Option* const found = app_->get_option_no_throw(name);
    if (found == nullptr) {
        throw std::out_of_range("there is no option " + name);
    }
    return viewOf(found);
}

const Option* OptionParser::option(const std::string& name) const {
    return const_cast<OptionParser*>(this)->option(name);  // changes nothing but the list of views
}

std::vector<const Option*> OptionParser::options() const {
    std::vector<const Option*> views;
    for (CLI::Option* const option : app_->get_options([](CLI::Option*) { return true; })) {
        views.push_back(viewOf(option));
    }
    return views;
}

std::vector<const Option*> OptionParser::givenOptions() const {
    std::vector<const Option*> views;
    for (CLI::Option* const option : app_->parse_order()) {
        views.push_back(viewOf(option));
    }
    return views;
}

std::vector<const OptionParser*> OptionParser::subcommands() const {
    std::vector<const OptionParser*> all;
    for (const auto& subcommand : subcommands_) {
        all.push_back(subcommand.get());
    }
    return all;
}

const OptionParser* OptionParser::subcommand(const std::string& name) const {
    for (const auto& subcommand : subcommands_) {
        if (subcommand->name() == name) {
            return subcommand.get();
        }
    }
    return nullptr;
}

const OptionParser* OptionParser::chosen() const {
    const std::vector<CLI::App*> parsed = app_->get_subcommands();
    for (const auto& subcommand : subcommands_) {
        if (!parsed.empty() && subcommand->app_ == parsed.front()) {
            return subcommand.get();
        }
    }
    return nullptr;
}

std::vector<std::string> OptionParser::remaining() const {
    return app_->remaining();
}

}  // namespace likeness::darkroom
