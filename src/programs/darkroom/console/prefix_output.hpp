// Results whose names an operation of the library makes itself, from a stem.
#pragma once

#include "console/output_check.hpp"
#include "console/session.hpp"
#include "files/interrupt_cleanup.hpp"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// One of the results.
struct PrefixedResult {
    std::string ending;  ///< what follows the stem: "fusion.jpg"
    std::string what;    ///< what it shows, for the line that tells
};

/// What the merging of a stack of exposures writes.
std::vector<PrefixedResult> mergedResults();

/// Adds -o/--output, the stem.
/// @param endings  the names that come of it, for the help: "PREFIX.hdr, PREFIX.jpg"
CLI::Option* addPrefixOutput(CLI::App& app, std::string& prefix, const std::string& endings);

/// Refuses, before the work begins, a stem that names none, or a place that the plan refuses.
/// @throws Refusal
void checkPrefixOutput(const std::string& prefix, const std::vector<PrefixedResult>& results, OutputPlan& plan);

/// A folder with a temporary name beside the results, where the operation writes them first. It goes, with everything
/// in it, when this object does or the program is interrupted.
class StagedResults {
public:
    /// @throws Refusal  if the folder cannot be made
    explicit StagedResults(std::string prefix);
    ~StagedResults();
    StagedResults(const StagedResults&) = delete;
    StagedResults& operator=(const StagedResults&) = delete;

    /// The stem that the operation is given.
    const std::string& stagedPrefix() const noexcept { return stagedPrefix_; }

    /// Puts the results in their places, each as a whole, and tells of each. If one is missing, none is put there.
    /// @throws Refusal
    void publish(const Session& session, const std::vector<PrefixedResult>& results) const;

    /// A message of the operation as if it had been given the user's stem.
    std::string withUsersPrefix(std::string_view message) const;

private:
    std::string prefix_;
    std::string folder_;
    std::string stagedPrefix_;
    std::optional<RemovedOnInterrupt> onInterrupt_;
};

}  // namespace likeness::darkroom
