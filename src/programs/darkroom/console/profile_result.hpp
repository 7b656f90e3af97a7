// How the colours of a photograph were taken, in results.
#pragma once

#include "files/markup_text.hpp"
#include "photofile/managed_colors.hpp"

#include <nlohmann/json.hpp>

#include <string>

namespace likeness::darkroom {

/// Gives an object of a result the member `profile` (docs/formats.md), and `linear_exposure_ev` and luminances where its
/// values are linear. A photograph whose numbers are those of sRGB has neither.
inline void addProfile(nlohmann::ordered_json& photograph, const ProfileUse& use) {
    if (use.linear) {
        photograph["linear_exposure_ev"] = use.exposure;
        if (use.luminanceOfOne > 0) {
            photograph["luminance_of_one_cd_per_m2"] = use.luminanceOfOne;
        }
        if (use.whiteLuminance > 0) {
            photograph["white_luminance_cd_per_m2"] = use.whiteLuminance;
        }
    }
    if (use.origin == ProfileUse::Origin::none && use.problem.empty()) {
        return;
    }
    photograph["profile"] = {{"description", nullptr}, {"origin", use.originName()}};
    if (!use.description.empty()) {
        photograph["profile"]["description"] = validUtf8(use.description);
    }
}

/// What a table has for it: "Display P3 (embedded)"; "none" for a profile that cannot be used; empty for the numbers of
/// sRGB.
inline std::string profileText(const ProfileUse& use) {
    if (use.origin == ProfileUse::Origin::none) {
        return use.problem.empty() ? "" : "none";
    }
    return use.description + " (" + std::string(use.originName()) + ')';
}

}  // namespace likeness::darkroom
