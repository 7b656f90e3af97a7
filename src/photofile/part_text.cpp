#include "photofile/part_text.hpp"

#include "files/number_format.hpp"
#include "files/refusal.hpp"

#include <array>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace likeness {
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

}  // namespace

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

}  // namespace likeness
