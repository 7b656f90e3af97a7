// What the library calls of the module `archive`.
#pragma once

#include <likeness/archive/archive_index.hpp>
#include <likeness/archive/archive_search.hpp>
#include <likeness/archive/archived_photograph.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// An opened archive, as `Archive` has it. Numbers of threads are numbers; what is wrong is a `std::runtime_error`.
class ArchiveAccess {
public:
    virtual ~ArchiveAccess() = default;

    virtual std::size_t size() const = 0;
    virtual AnalysisOptions options() const = 0;
    virtual std::string parameters() const = 0;
    virtual std::vector<std::string> damage() const = 0;
    virtual std::vector<std::string> check() const = 0;
    virtual std::string pathOf(std::size_t entry) const = 0;
    virtual ArchivedPhotograph photograph(std::size_t entry) const = 0;
    virtual std::optional<std::size_t> find(const std::string& path) const = 0;
    virtual AppearanceDistributions distributionsOf(const std::string& path, std::uint64_t mostPixels) const = 0;
    virtual std::vector<ArchiveHit> nearest(const AppearanceDistributions& photograph,
                                            const ArchiveSearch& search) const = 0;
    virtual std::vector<ArchivePair> pairs(const ArchiveAccess* other, const ArchivePairSearch& search) const = 0;
    virtual std::vector<ArchiveCluster> clusters(const ArchivePairSearch& search) const = 0;
};

/// What the module's entry `likeness_archive_functions` gives.
struct ArchiveFunctions {
    std::shared_ptr<const ArchiveAccess> (*open)(const std::string& path);
    /// @return  nothing if it was stopped
    std::optional<IndexSummary> (*index)(const std::vector<std::string>& paths, const std::string& output,
                                         const IndexOptions& options);
    void (*write)(const std::string& path, const std::vector<ArchivedPhotograph>& photographs,
                  const AnalysisOptions& analysis);
};

using ArchiveFunctionsEntry = const ArchiveFunctions* (*)();

}  // namespace likeness
