// darkroom manual: the man page of the program.
#include "darkroom/manual.hpp"

#include <memory>

#include "darkroom/subcommands.hpp"
#include "darkroom/text_output.hpp"

namespace likeness::darkroom {

Action declareManual(CLI::App& app) {
    auto output = std::make_shared<TextOutput>();
    addTextOutput(app, *output, "--output darkroom.1");
    return [output, parser = app.get_parent()](const Session& session) {
        writeText(session, *output, manualPage(*parser));
        return ExitStatus::done;
    };
}

}  // namespace likeness::darkroom
