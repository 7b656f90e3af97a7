#include "photofile/part_choice.hpp"

#include "files/file_checksum.hpp"

#include <fmt/format.h>

namespace likeness {

std::string PartChoice::parameters() const {
    std::string text;
    const auto add = [&text](const std::string& parameter) { text += (text.empty() ? "" : ";") + parameter; };
    if (!mask.empty()) {
        add("mask=" + fingerprintOf(mask).sha256);
    }
    if (alpha.use == AlphaChoice::Use::weight) {
        add("alpha=use");
    } else if (alpha.use == AlphaChoice::Use::over) {
        add(fmt::format("alpha=over:{},{},{}", alpha.under[2], alpha.under[1], alpha.under[0]));
    }
    for (const RegionChoice& region : regions) {
        add("region=" + region.text);
    }
    if (centerWeighted) {
        add("center-weighted");
    }
    return text;
}

}  // namespace likeness
