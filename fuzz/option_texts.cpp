// Texts of options: the first byte chooses which.
#include "batch/shard.hpp"
#include "console/exposure_times.hpp"
#include "console/option_checks.hpp"
#include "console/tile_options.hpp"
#include "console/viewing_options.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"
#include "photofile/part_text.hpp"

#include <cmath>

using namespace likeness;
using namespace likeness::darkroom;
using namespace likeness::fuzz;

namespace {

void checkLayout(const TileLayout& layout) {
    require(layout.count.width >= 1 && layout.count.height >= 1, "there are tiles");
    require(!layout.pixels || (layout.pixels->width >= 1 && layout.pixels->height >= 1), "a tile has pixels");
    require(layout.stride > 0 && layout.stride <= 1, "a stride is a share of the side");
    require(!layout.stridePixels || *layout.stridePixels >= 1, "a stride has pixels");
}

void read(std::uint8_t which, const std::string& text) {
    TileLayout layout;
    switch (which % 9) {
        case 0:
            readTiles(text, layout);
            checkLayout(layout);
            break;
        case 1:
            readStride(text, layout);
            checkLayout(layout);
            break;
        case 2:
            require(regionIn(text).text == text, "a region keeps its text");
            break;
        case 3: {
            const Shard shard = parseShard(text);
            require(shard.index >= 1 && shard.index <= shard.count && shard.count <= 1000000, "a shard is one of them");
            break;
        }
        case 4:
            for (const float seconds : exposureTimesIn(text, partsOf(text).size())) {
                require(seconds > 0 && std::isfinite(seconds), "a time is above 0");
            }
            break;
        case 5:
            for (const std::size_t count : {1U, 2U, 3U}) {
                const std::vector<double> numbers = numbersIn(text, count);
                require(numbers.empty() || numbers.size() == count, "so many numbers, or none");
            }
            break;
        case 6:
            if (const double number = parseNumber(text); !std::isnan(number)) {
                require(std::isfinite(number), "a number is finite");
                require(parseNumber(shortest(number)) == number, "the shortest text reads back as the number");
            }
            break;
        case 7: {
            ViewingOptions options;
            const std::vector<std::string> parts = partsOf(text);
            (parts.size() == 1 ? options.background : options.white) = text;
            const NamedConditions named = chosenConditions(options, "srgb-display");
            require(!lineOf(named).empty(), "conditions can be told");
            break;
        }
        default: {
            ViewingOptions options;
            options.surround = text;
            const NamedConditions named = chosenConditions(options, "srgb-display");
            options.surround = surroundText(named.conditions.surround);
            require(lineOf(chosenConditions(options, "srgb-display")) == lineOf(named), "a surround is read equal");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const std::uint8_t which = choices.byte();
    try {
        read(which, choices.rest());
    } catch (const Refusal& refusal) {
        require(*refusal.what() != '\0', "a refusal says why");
    }
    return 0;
}
