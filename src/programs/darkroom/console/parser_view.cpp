#include "console/parser_view.hpp"

#include <regex>
#include <sstream>

namespace likeness::darkroom {
namespace {

/// The words of "{A,B}" within a type name.
std::vector<std::string> choicesIn(const std::string& typeName) {
    std::vector<std::string> choices;
    const std::size_t begin = typeName.find('{');
    const std::size_t end = typeName.find('}', begin);
    if (begin != std::string::npos && end != std::string::npos) {
        std::istringstream words(typeName.substr(begin + 1, end - begin - 1));
        for (std::string word; std::getline(words, word, ',');) {
            choices.push_back(word);
        }
    }
    return choices;
}

/// Whether the example of an option gives it a file: "--flow flow.png".
bool exampleNamesAFile(const OptionView& option) {
    static const std::regex fileName(R"(\(example: --\S+ \S+\.(png|jpe?g|tiff?|hdr|svg|csv|json|html|txt)\b)");
    return std::regex_search(option.text, fileName);
}

ValueKind kindOf(const OptionView& option, bool positional) {
    if (!option.choices.empty()) {
        return ValueKind::choice;
    }
    if (option.value.rfind("DIR", 0) == 0) {
        return ValueKind::folder;
    }
    // What goes by its place and has no words to choose from is an image.
    const bool file = option.value.rfind("FILE", 0) == 0 || option.value == "PREFIX" || exampleNamesAFile(option);
    return file || (positional && option.value == "TEXT") ? ValueKind::file : ValueKind::other;
}

OptionView viewOf(const Option& option) {
    OptionView view;
    const bool positional = option.isPositional();
    if (positional) {
        view.names.push_back(option.name());
    }
    for (const std::string& name : option.shortNames()) {
        view.names.push_back("-" + name);
    }
    for (const std::string& name : option.longNames()) {
        view.names.push_back("--" + name);
    }
    view.text = option.description();
    view.required = option.isRequired();
    view.common = option.group() == commonGroup;
    if (option.takesValue()) {
        view.value = valueName(option.typeName());
        view.choices = choicesIn(view.value);
        view.kind = kindOf(view, positional);
        view.defaultText = option.defaultText();
        view.repeated = option.takesSeveral();
    }
    return view;
}

std::vector<OptionView> viewsOf(const OptionParser& app, bool positional) {
    std::vector<OptionView> views;
    for (const Option* const option : app.options()) {
        if (option->isPositional() == positional) {
            views.push_back(viewOf(*option));
        }
    }
    return views;
}

}  // namespace

std::vector<OptionView> argumentsOf(const OptionParser& app) {
    return viewsOf(app, true);
}

std::vector<OptionView> optionsOf(const OptionParser& app) {
    return viewsOf(app, false);
}

std::vector<const OptionParser*> subcommandsOf(const OptionParser& app) {
    return app.subcommands();
}

std::vector<std::string> spellingsOf(const OptionParser& app) {
    std::vector<std::string> names = {app.name()};
    const std::vector<std::string> aliases = app.aliases();
    names.insert(names.end(), aliases.begin(), aliases.end());
    return names;
}

std::string withoutExample(const std::string& text) {
    return text.substr(0, text.find(" (example: "));
}

}  // namespace likeness::darkroom
