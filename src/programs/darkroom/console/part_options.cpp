#include "console/part_options.hpp"

#include "console/option_checks.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <array>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <optional>

namespace likeness::darkroom {
namespace {

constexpr const char* alphaForms =
    "use, ignore or over COLOUR, where COLOUR is white, black, #rrggbb or R,G,B of whole numbers 0 to 255";

std::optional<RegionLength> lengthIn(std::string text) {
    RegionLength length;
    if (!text.empty() && text.back() == '%') {
        length.percent = true;
        text.pop_back();
    }
    length.value = parseNumber(text);
    return std::isnan(length.value) ? std::nullopt : std::optional(length);
}

/// Levels 0 to 255 of R, G, B.
std::optional<std::array<int, 3>> colorIn(const std::string& text) {
    if (text == "white") {
        return {{255, 255, 255}};
    }
    if (text == "black") {
        return {{0, 0, 0}};
    }
    std::array<int, 3> rgb{};
    if (text.size() == 7 && text[0] == '#') {
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t digit = 1 + 2 * c; digit < 3 + 2 * c; ++digit) {
                const auto letter = static_cast<unsigned char>(text[digit]);
                if (std::isxdigit(letter) == 0) {
                    return std::nullopt;
                }
                rgb[c] = 16 * rgb[c] + (std::isdigit(letter) != 0 ? letter - '0' : (letter | 0x20) - 'a' + 10);
            }
        }
        return rgb;
    }
    const std::vector<std::string> parts = partsOf(text);
    if (parts.size() != 3) {
        return std::nullopt;
    }
    for (std::size_t c = 0; c < 3; ++c) {
        const double level = parseNumber(parts[c]);
        if (!(level >= 0 && level <= 255 && level == std::floor(level))) {
            return std::nullopt;
        }
        rgb[c] = static_cast<int>(level);
    }
    return rgb;
}

AlphaChoice alphaIn(const std::string& text) {
    AlphaChoice alpha;
    alpha.text = text;
    if (text.empty() || text == "ignore") {
        return alpha;
    }
    if (text == "use") {
        alpha.use = AlphaChoice::Use::weight;
        return alpha;
    }
    const std::string over = "over";
    if (text.rfind(over, 0) == 0 && text.size() > over.size() + 1 &&
        (text[over.size()] == ' ' || text[over.size()] == ':')) {
        if (const auto rgb = colorIn(text.substr(over.size() + 1))) {
            alpha.use = AlphaChoice::Use::over;
            alpha.under = {(*rgb)[2] / 255.0, (*rgb)[1] / 255.0, (*rgb)[0] / 255.0};
            return alpha;
        }
    }
    throw Refusal("'" + text + "' is not one of " + alphaForms);
}

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

RegionChoice regionIn(const std::string& text) {
    RegionChoice choice{text, {}};
    std::string numbers = text;
    for (const auto& [prefix, shape] :
         {std::pair<std::string, PhotographRegion::Shape>{"ellipse:", PhotographRegion::Shape::ellipse},
          {"rectangle:", PhotographRegion::Shape::rectangle}}) {
        if (text.rfind(prefix, 0) == 0) {
            numbers = text.substr(prefix.size());
            choice.region.shape = shape;
        }
    }
    const std::vector<std::string> parts = partsOf(numbers);
    std::vector<RegionLength> lengths;
    for (const std::string& part : parts) {
        if (const std::optional<RegionLength> length = lengthIn(part)) {
            lengths.push_back(*length);
        }
    }
    if (parts.size() != 4 || lengths.size() != 4) {
        throw Refusal("'" + text +
                      "' is not x,y,width,height, each in pixels or with % of the photograph, with or without "
                      "ellipse: before it");
    }
    choice.region.x = lengths[0];
    choice.region.y = lengths[1];
    choice.region.width = lengths[2];
    choice.region.height = lengths[3];
    if (!(lengths[2].value > 0 && lengths[3].value > 0)) {
        throw Refusal("'" + text + "': width and height must be above 0");
    }
    return choice;
}

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
