// What comes of one photograph of many on which an operation works.
#pragma once

#include "batch/finished_results.hpp"

#include <string>
#include <vector>

namespace likeness {

struct PhotographOutcome {
    enum class State {
        done,
        skipped,  ///< its results were there already
        failed,
    };

    State state = State::failed;
    std::string lines;                     ///< said on standard error, each with its end
    std::string results;                   ///< of standard output
    std::vector<FinishedResult> finished;  ///< results that were written
};

}  // namespace likeness
