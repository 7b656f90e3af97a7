/// @file
/// What an archive keeps of a photograph.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace likeness {

/// What an archive keeps of one photograph.
struct ArchivedPhotograph {
    std::string path;                       ///< as it was named
    std::uint64_t bytes = 0;                ///< of the file; 0 if there was none
    std::int64_t modified = 0;              ///< of the file, nanoseconds since 1970
    std::array<std::uint8_t, 32> sha256{};  ///< of the file; zeros if it could not be read
    int width = 0;                          ///< pixels; 0 if there is a problem
    int height = 0;                         ///< likewise
    std::string problem;                    ///< why it has no appearance: follows "cannot read 'PATH'"; or empty
    std::string profile;                    ///< colour profile that its colours were taken by; empty: sRGB
    std::vector<std::string> remarks;       ///< of the decoder, and how its colour profile was used
    AppearanceDistributions distributions;  ///< empty if there is a problem

    /// Whether it has an appearance, and so can be compared.
    bool analysed() const noexcept { return problem.empty(); }
};

}  // namespace likeness
