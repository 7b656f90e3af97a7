// darkroom selftest: the published examples, run on this machine.
#include <iostream>

#include "darkroom/published_examples.hpp"
#include "darkroom/subcommands.hpp"

namespace likeness::darkroom {

Action declareSelftest(CLI::App&) {
    return [](const Session&) {
        const Agreement agreement = agreementWith(publishedColors(), publishedPairs());
        std::cout << agreement.text;
        return agreement.complete ? ExitStatus::done : ExitStatus::outsideLimits;
    };
}

}  // namespace likeness::darkroom
