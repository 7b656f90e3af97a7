// darkroom selftest: the published examples, run on this machine.
#include "commands/subcommands.hpp"
#include "console/published_examples.hpp"

#include <iostream>

namespace likeness::darkroom {

Action declareSelftest(OptionParser&) {
    return [](const Console&) {
        const Agreement agreement = agreementWith(publishedColors(), publishedPairs());
        std::cout << agreement.text;
        return agreement.complete ? ExitStatus::done : ExitStatus::outsideLimits;
    };
}

}  // namespace likeness::darkroom
