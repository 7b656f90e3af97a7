#include "console/part_options.hpp"

#include "console/option_checks.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "photofile/part_text.hpp"

#include <fmt/format.h>

namespace likeness::darkroom {
namespace {

/// Without the mask.
PartChoice sharedPart(const PartOptions& options) {
    PartChoice choice;
    choice.alpha = alphaIn(options.alpha);
    for (const std::string& region : options.regions) {
        choice.regions.push_back(regionIn(region));
    }
    choice.centerWeighted = options.centerWeighted;
    return choice;
}

/// A parser's check by a function that refuses.
template <typename Read>
OptionCheck readBy(Read read) {
    return {[read](std::string& text) {
                try {
                    read(text);
                    return std::string();
                } catch (const Refusal& refusal) {
                    return std::string(refusal.what());
                }
            },
            ""};
}

}  // namespace

void addMaskOption(OptionParser& app, const std::string& name, std::string& mask, const std::string& what) {
    app.addOption(name, mask,
                  optionText("Image that says what counts of " + what +
                                 ": white counts, grey weighs, black does not; of its size",
                             name + " mask.png"))
        ->typeName("FILE");
}

void addPartOptions(OptionParser& app, PartOptions& options) {
    addMaskOption(app, "--mask", options.mask, "a photograph");
    addPartOptionsWithoutMask(app, options);
}

void addPartOptionsWithoutMask(OptionParser& app, PartOptions& options) {
    app.addOption("--alpha", options.alpha,
                  optionText("What transparent pixels are: use, they count as much as they are opaque; ignore, they "
                             "count as the file has them, the default; over COLOUR, they are laid over white, black, "
                             "#rrggbb or R,G,B of 0 to 255",
                             "--alpha over white"))
        ->typeName("ALPHA")
        ->check(readBy([](const std::string& text) { alphaIn(text); }));
    app.addOption("--region", options.regions,
                  optionText("Rectangle that counts, x,y,width,height in pixels or with % of the photograph; "
                             "ellipse:x,y,width,height is the ellipse in it. Several unite; what lies beyond the "
                             "photograph is cut off",
                             "--region 25%,25%,50%,50%"))
        ->typeName("X,Y,W,H")
        ->expected(1)
        ->takeAll()
        ->check(readBy([](const std::string& text) { regionIn(text); }));
    app.addFlag("--center-weighted", options.centerWeighted,
                optionText("The middle counts most: by a Gaussian about it whose standard deviations are a quarter of "
                           "width and height",
                           "--center-weighted"));
}

PartChoice chosenPart(const PartOptions& options) {
    PartChoice choice = sharedPart(options);
    choice.mask = options.mask;
    return choice;
}

std::pair<PartChoice, PartChoice> chosenParts(const PartOptions& options) {
    std::pair<PartChoice, PartChoice> parts{sharedPart(options), sharedPart(options)};
    parts.first.mask = options.firstMask.empty() ? options.mask : options.firstMask;
    parts.second.mask = options.secondMask.empty() ? options.mask : options.secondMask;
    return parts;
}

nlohmann::ordered_json jsonOfPart(const PartChoice& choice, double countedPixels, double pixels) {
    nlohmann::ordered_json json = {{"counted_pixels", roundedToNineDigits(countedPixels)},
                                   {"counted_share", roundedToNineDigits(pixels > 0 ? countedPixels / pixels : 0)}};
    if (!choice.mask.empty()) {
        json["file"] = validUtf8(choice.mask);
    }
    if (!choice.alpha.text.empty()) {
        json["alpha"] = choice.alpha.text;
    }
    for (const RegionChoice& region : choice.regions) {
        json["regions"].push_back(region.text);
    }
    if (choice.centerWeighted) {
        json["center_weighted"] = true;
    }
    return json;
}

std::string lineOfPart(const std::string& path, double countedPixels, double pixels) {
    return fmt::format("'{}': {:.9g} of {:.0f} pixels count, {:.3g} %", path, countedPixels, pixels,
                       100 * countedPixels / pixels);
}

std::vector<std::string> withColorsOfAlpha(int argc, const char* const* argv) {
    std::vector<std::string> words;
    for (int k = 0; k < argc; ++k) {
        const std::string word = argv[k];
        const bool joins = word == "over" && k + 1 < argc && !words.empty() && words.back() == "--alpha";
        if (joins || (word == "--alpha=over" && k + 1 < argc)) {
            words.push_back(word + ' ' + argv[++k]);
        } else {
            words.push_back(word);
        }
    }
    return words;
}

}  // namespace likeness::darkroom
