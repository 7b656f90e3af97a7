// darkroom completion: what a shell needs to complete the command line.
#include "console/completion.hpp"
#include "commands/subcommands.hpp"

#include "console/option_checks.hpp"
#include "console/text_output.hpp"

#include <memory>

namespace likeness::darkroom {
namespace {

struct CompletionArguments {
    std::string shell;
    TextOutput output;
};

}  // namespace

Action declareCompletion(OptionParser& app) {
    auto options = std::make_shared<CompletionArguments>();
    app.addOption("SHELL", options->shell,
                  "Shell that the script is for, bash or zsh; source <(darkroom completion bash) takes it at once")
        ->typeName("")
        ->check(oneOf({"bash", "zsh"}))
        ->required();
    addTextOutput(app, options->output, "--output _darkroom");
    return [options, parser = app.parent()](const Console& console) {
        writeText(console, options->output,
                  options->shell == "bash" ? bashCompletion(*parser) : zshCompletion(*parser));
        return ExitStatus::done;
    };
}

}  // namespace likeness::darkroom
