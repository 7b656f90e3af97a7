// How batch and index guard themselves against files that crash, hang or fill the memory.
#pragma once

#include "batch/isolated_workers.hpp"
#include "console/option_parser.hpp"

#include <optional>
#include <string>

namespace likeness::darkroom {

struct IsolationOptions {
    std::string isolate = "yes";
    double fileSeconds = 300;
    std::string fileMemory;  ///< empty: as much as the machine has

    /// Without a value where photographs are read in the program's own process.
    /// @throws Refusal  if a limit is given that nothing would hold
    std::optional<WorkLimits> limits() const;
};

void addIsolationOptions(OptionParser& app, IsolationOptions& options);

/// Bytes of "512", which are MiB, "512M", "2G" or "1500K", in steps of 1024; 0 if the text is none of these.
std::uint64_t memoryIn(const std::string& text);

}  // namespace likeness::darkroom
