// What an archive keeps of all its photographs.
#pragma once

#include <likeness/archive/archived_photograph.hpp>
#include <likeness/comparison/analysis.hpp>

#include <string>

namespace likeness {

/// What holds of all photographs of an archive.
struct ArchiveOrigin {
    std::string version;      ///< of the library that analysed
    std::string fingerprint;  ///< of all that changes the numbers
    std::string parameters;   ///< the same in words
    AnalysisOptions options;  ///< model, conditions, hue; there are no maps

    /// Whether entries of the two can stand in one archive.
    bool agreesWith(const ArchiveOrigin& other) const {
        return version == other.version && fingerprint == other.fingerprint && parameters == other.parameters;
    }
};

}  // namespace likeness
