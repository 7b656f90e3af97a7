// Histograms of archives. The first two bytes are the number of pixels.
#include "archive/histogram_code.hpp"
#include "archive/made_photographs.hpp"
#include "harness.hpp"

using namespace likeness;
using namespace likeness::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const std::uint64_t pixels = 1U + (choices.byte() | std::uint64_t{choices.byte()} << 8U);
    const std::string bytes = choices.rest();
    AppearanceDistributions distributions;
    try {
        distributions = archive::decodedHistograms(bytes, pixels);
    } catch (const archive::HistogramDamage&) {
        return 0;
    }
    std::string encoded;
    try {
        encoded = archive::encodedHistograms(distributions, pixels);
    } catch (const std::invalid_argument&) {
        return 0;  // floats that no photograph has
    }
    require(testing::sameDistributions(archive::decodedHistograms(encoded, pixels), distributions),
            "distributions come back to the bit");
    return 0;
}
