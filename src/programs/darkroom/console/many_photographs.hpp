// Operations that make one photograph of one, on as many as are asked for.
#pragma once

#include "console/console.hpp"
#include "console/exit_status.hpp"
#include "console/photograph_inputs.hpp"

#include <functional>
#include <string>
#include <utility>

namespace likeness::darkroom {

/// What an operation does.
struct PhotographOperation {
    /// With one photograph. Called from several threads; where more than one photograph is asked for, the console is one
    /// that notes what is said.
    std::function<ExitStatus(const Console& console, const std::string& input, const ImageOutput& output)> work;
    /// Refuses options that do not fit together, before anything is read or written; may be null.
    std::function<void()> check;
    ResultFiles files;    ///< null: the output alone
    std::string heading;  ///< given before what is given of many
};

/// Works on one photograph, or on many: as many at the same time as there are threads, which are shared out, so that
/// none works beside what was asked for. A photograph that cannot be done does not keep the others from it. What is said
/// and given comes in the order of the photographs, a line that would be said of several of them once. The first SIGINT
/// or SIGTERM has those at hand finished.
/// @return  `done`; `outsideLimits` where some of many failed; `interrupted` or `terminated`
/// @throws Refusal
ExitStatus onPhotographs(const Console& console, const PhotographInputs& inputs, const ImageOutput& output,
                         const PhotographOperation& operation);

/// The same for the options of a subcommand, which have an `input`, an `output` and `inputs`.
/// @param work   takes the console and the options of one photograph
/// @param check  takes the options
template <typename Options, typename Work, typename Check>
ExitStatus onEach(const Console& console, const Options& options, Work work, Check check, ResultFiles files = {},
                  std::string heading = {}) {
    PhotographOperation operation;
    operation.work = [&](const Console& own, const std::string& input, const ImageOutput& output) {
        Options one = options;
        one.input = input;
        one.output = output;
        return work(own, one);
    };
    operation.check = [&] { check(options); };
    operation.files = std::move(files);
    operation.heading = std::move(heading);
    return onPhotographs(console, options.inputs, options.output, operation);
}

}  // namespace likeness::darkroom
