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

OptionView viewOf(const CLI::Option& option) {
    OptionView view;
    const bool positional = option.get_positional();
    if (positional) {
        view.names.push_back(option.get_name(true));
    }
    for (const std::string& name : option.get_snames()) {
        view.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        view.names.push_back("--" + name);
    }
    view.text = option.get_description();
    view.required = option.get_required();
    view.common = option.get_group() == commonGroup;
    if (option.get_items_expected_max() > 0) {
        view.value = valueName(option);
        view.choices = choicesIn(view.value);
        view.kind = kindOf(view, positional);
        view.defaultText = option.get_default_str();
        view.repeated = option.get_expected_max() > 1;
    }
    return view;
}

std::vector<OptionView> viewsOf(const CLI::App& app, bool positional) {
    std::vector<OptionView> views;
    for (const CLI::Option* const option : app.get_options()) {
        if (option->get_positional() == positional) {
            views.push_back(viewOf(*option));
        }
    }
    return views;
}

}  // namespace

std::string valueName(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    const std::size_t begin = name.find('{');
    return begin == std::string::npos ? name : name.substr(begin, name.find('}', begin) - begin + 1);
}

std::vector<OptionView> argumentsOf(const CLI::App& app) {
    return viewsOf(app, true);
}

std::vector<OptionView> optionsOf(const CLI::App& app) {
    return viewsOf(app, false);
}

std::vector<const CLI::App*> subcommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::vector<std::string> spellingsOf(const CLI::App& app) {
    std::vector<std::string> names = {app.get_name()};
    names.insert(names.end(), app.get_aliases().begin(), app.get_aliases().end());
    return names;
}

std::string withoutExample(const std::string& text) {
    return text.substr(0, text.find(" (example: "));
}

}  // namespace likeness::darkroom
