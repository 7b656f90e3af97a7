#include "console/brightness_factor.hpp"

#include <likeness/exposure/brightness_increase.hpp>
#include "console/option_checks.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

namespace likeness::darkroom {

OptionCheck brightnessFactorRange() {
    return {[](std::string& text) {
                const double factor = parseNumber(text);
                return factor > 0 && factor <= 100 ? std::string()
                                                   : "'" + text + "' is not a number above 0 and up to 100";
            },
            ""};
}

void checkBrightnessFactor(const std::string& option, float first, int pass) {
    const int last = pass == 0 ? brightnessPasses : pass;
    const float factor = brightnessFactor(first, last - 1);
    if (!(factor > 0)) {
        throw Refusal(fmt::format("{}: {:g} leaves pass {} with the factor {:g}, which must be above 0", option, first,
                                  last, factor));
    }
}

}  // namespace likeness::darkroom
