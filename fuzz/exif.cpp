// The orientation in Exif data.
#include "codecs/exif_orientation.hpp"
#include "harness.hpp"

using namespace likeness;
using namespace likeness::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::optional<int> orientation = exifOrientation(data, size);
    require(!orientation || (*orientation >= 0 && *orientation <= 8), "an orientation is one of eight");
    require(exifOrientation(data, size) == orientation, "an orientation that is read twice is the same");
    return 0;
}
