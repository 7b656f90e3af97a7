#include "console/text_output.hpp"

#include "batch/result_record.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "files/standard_input.hpp"

#include <filesystem>

namespace likeness::darkroom {

ResultText resultTextFor(const std::string& path, ResultText asked) {
    const std::string extension = lowerCase(std::filesystem::path(path).extension().string());
    const ResultText named = extension == ".json"  ? ResultText::json
                             : extension == ".csv" ? ResultText::csv
                                                   : ResultText::any;
    if (named != ResultText::any && asked != ResultText::any && named != asked) {
        throw Refusal("--output: '" + path + "' is named " + extension + ", and --" +
                      (asked == ResultText::json ? "json" : "csv") + " asks for another format");
    }
    return asked == ResultText::any ? named : asked;
}

void addTextOutput(OptionParser& app, TextOutput& output, const std::string& example) {
    app.addOption("-o,--output", output.path,
                  optionText("File that the text is written to; without it, standard output", example))
        ->typeName("FILE");
}

void writeResult(const Console& console, const std::string& path, const std::string& text, const std::string& what) {
    if (path == standardStream) {
        console.give(text);
        return;
    }
    replaceFile(path, text);
    if (!what.empty()) {
        console.tell("wrote '" + path + "': " + what);
    }
}

void writeText(const Console& console, const TextOutput& output, const std::string& text) {
    if (output.path.empty()) {
        console.give(text);
        return;
    }
    OutputPlan(console, {}).data("--output", output.path);
    writeResult(console, output.path, text, "");
}

}  // namespace likeness::darkroom
