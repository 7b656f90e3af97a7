#include "console/text_output.hpp"

#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/replaced_file.hpp"

#include <iostream>

namespace likeness::darkroom {

void addTextOutput(CLI::App& app, TextOutput& output, const std::string& example) {
    app.add_option("-o,--output", output.path,
                   optionText("File that the text is written to; without it, standard output", example))
        ->type_name("FILE");
}

void writeText(const Console& console, const TextOutput& output, const std::string& text) {
    if (output.path.empty()) {
        std::cout << text;
        return;
    }
    OutputPlan(console, {}).file("--output", output.path);
    replaceFile(output.path, text);
}

}  // namespace likeness::darkroom
