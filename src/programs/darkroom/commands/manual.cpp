// darkroom manual: the man page of the program.
#include "console/manual.hpp"
#include "commands/subcommands.hpp"

#include "console/text_output.hpp"

#include <memory>

namespace likeness::darkroom {

Action declareManual(OptionParser& app) {
    auto output = std::make_shared<TextOutput>();
    addTextOutput(app, *output, "--output darkroom.1");
    return [output, parser = app.parent()](const Console& console) {
        writeText(console, *output, manualPage(*parser));
        return ExitStatus::done;
    };
}

}  // namespace likeness::darkroom
