#include "archive/archive_query.hpp"

#include <likeness/version.hpp>
#include "archive/photograph_index.hpp"
#include "batch/parameters.hpp"
#include "files/refusal.hpp"

#include <utility>

namespace likeness {
namespace {

/// Refuses photographs that would be analysed in another way than those of the archive.
void refuseOtherOrigin(const ArchiveFile& archive, const ProfileChoice& profiles,
                       const std::function<void(const std::string& line)>& warn) {
    const ArchiveOrigin& its = archive.origin();
    const ArchiveOrigin own = originOf(its.options, profiles);
    if (own.version != its.version) {
        throw Refusal("ARCHIVE: '" + archive.path() + "' was made by likeness " + its.version + ", and this is " +
                      own.version + "; darkroom index --overwrite makes it anew");
    }
    if (own.agreesWith(its)) {
        return;
    }
    ProfileChoice whole = profiles;
    whole.part = {};
    if (!profiles.part.isWhole() && originOf(its.options, whole).agreesWith(its)) {
        warn("'" + archive.path() +
             "' is of whole photographs, and a part is searched for: the part that counts of each " +
             "query is held against whole photographs");
        return;
    }
    throw Refusal("ARCHIVE: '" + archive.path() + "' was made with other parameters (" + its.parameters + "; now " +
                  own.parameters +
                  "); give the same options of profiles, and of the part that counts, as its index had. The names of "
                  "its entries are searched for without");
}

}  // namespace

ArchiveQuery archiveQuery(const ArchiveFile& archive, const std::string& path, std::uint64_t mostPixels,
                          const ProfileChoice& asked, const std::function<void(const std::string& line)>& warn) {
    ProfileChoice profiles = asked;
    profiles.whiteLuminance = absoluteWhiteIn(archive.origin().parameters);
    ArchiveQuery query{archive.find(path), {}};
    const bool ofItsPart =
        profiles.part.isWhole() || originOf(archive.origin().options, profiles).agreesWith(archive.origin());
    if (query.entry && ofItsPart) {
        try {
            const ArchivedPhotograph entry = archive.photograph(*query.entry);
            if (!stateOf(path).exists || isCurrent(entry)) {
                if (!entry.analysed()) {
                    throw Refusal("QUERY: cannot read '" + path + "'" + entry.problem);
                }
                query.distributions = archive.distributions(*query.entry);
                return query;
            }
            warn("'" + path +
                 "' has changed since it was indexed: the file is analysed; darkroom index --update brings the archive "
                 "up to date");
        } catch (const ArchiveDamage& damage) {
            if (!stateOf(path).exists) {
                throw;
            }
            warn(damage.what() + std::string("; the file '") + path + "' is analysed");
        }
    }
    refuseOtherOrigin(archive, profiles, warn);
    AnalysisTables tables;
    PhotographAnalysis analysis = analyzePhotograph(path, tables, mostPixels, archive.origin().options, profiles);
    if (!analysis.problem.empty()) {
        throw Refusal("QUERY: cannot read '" + path + "'" + analysis.problem);
    }
    query.distributions = std::move(analysis.distributions);
    return query;
}

}  // namespace likeness
