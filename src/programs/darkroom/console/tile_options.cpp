#include "console/tile_options.hpp"

#include "console/option_checks.hpp"
#include "files/refusal.hpp"

#include <cmath>
#include <optional>
#include <string_view>

namespace likeness::darkroom {
namespace {

constexpr int mostAcross = 1 << 20;

/// A whole number from 1 in decimal digits alone.
std::optional<int> wholeNumberIn(std::string_view text) {
    if (text.empty() || text.size() > 7 || text.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    const int number = std::stoi(std::string(text));
    return number >= 1 && number <= mostAcross ? std::optional(number) : std::nullopt;
}

/// Cuts an ending off.
bool endsIn(std::string_view& text, std::string_view ending) {
    if (text.size() < ending.size() || text.substr(text.size() - ending.size()) != ending) {
        return false;
    }
    text.remove_suffix(ending.size());
    return true;
}

cv::Size countOrSides(std::string_view text, const std::string& typed) {
    const std::size_t by = text.find('x');
    const auto width = wholeNumberIn(text.substr(0, by));
    const auto height = by == std::string_view::npos ? width : wholeNumberIn(text.substr(by + 1));
    if (!width || !height) {
        throw Refusal("'" + typed +
                      "' is not N or NxM tiles, as in 16 or 16x12, nor the side of a tile in pixels, as in 64px; whole "
                      "numbers from 1 to 1048576");
    }
    return {*width, *height};
}

}  // namespace

void readTiles(const std::string& text, TileLayout& layout) {
    std::string_view rest = text;
    const bool pixels = endsIn(rest, "px");
    const cv::Size size = countOrSides(rest, text);
    if (pixels) {
        layout.pixels = size;
    } else {
        layout.count = size;
    }
}

void readStride(const std::string& text, TileLayout& layout) {
    std::string_view rest = text;
    const bool percent = endsIn(rest, "%");
    std::string_view digits = text;
    endsIn(digits, "px");
    if (const auto pixels = wholeNumberIn(digits)) {
        layout.stridePixels = *pixels;
        return;
    }
    const double share = parseNumber(std::string(rest)) / (percent ? 100 : 1);
    if (!(share > 0 && share <= 1)) {
        throw Refusal("'" + text +
                      "' is neither pixels, as in 32px, nor a share of a tile's side above 0 and up to 1, as in 0.5 or "
                      "50%");
    }
    layout.stride = share;
}

TileLayout tileLayoutIn(const TileTexts& texts) {
    TileLayout layout;
    if (!texts.tiles.empty()) {
        readTiles(texts.tiles, layout);
    }
    if (!texts.stride.empty()) {
        readStride(texts.stride, layout);
    }
    return layout;
}

}  // namespace likeness::darkroom
