#include "archive/archived_analyses.hpp"

#include "archive/photograph_index.hpp"
#include "files/file_stamp.hpp"
#include "files/refusal.hpp"

#include <utility>

namespace likeness {

ArchivedAnalyses::ArchivedAnalyses(const std::string& option, const std::string& path, bool check,
                                   const AnalysisOptions& analysis, const ProfileChoice& profiles,
                                   const ResultOrigin& origin, const std::function<void(const std::string&)>& warn)
    : archive_(path), check_(check), wholePhotographs_(profiles.part.isWhole()) {
    if (!archive_.origin().agreesWith(originOf(analysis, profiles))) {
        throw Refusal(option + ": '" + path + "' was made with other parameters (" + archive_.origin().fingerprint +
                      ", likeness " + archive_.origin().version + ") than this batch has (" + origin.parameters +
                      ", likeness " + origin.version + ")");
    }
    for (const std::string& damage : archive_.damage()) {
        warn("'" + path + "': " + damage + "; what stands there is analysed");
    }
}

std::optional<PhotographAnalysis> ArchivedAnalyses::of(const std::string& path) const {
    try {
        const std::optional<std::size_t> entry = archive_.find(path);
        if (!entry) {
            return std::nullopt;
        }
        ArchivedPhotograph photograph = archive_.photograph(*entry);
        const bool same = check_ ? hasChecksum(photograph) : isCurrent(photograph);
        if (!same || !photograph.analysed()) {
            return std::nullopt;
        }
        photograph.distributions = archive_.distributions(*entry);
        PhotographAnalysis analysis = analysisOf(std::move(photograph));
        analysis.countedPixels = wholePhotographs_ ? 0 : -1;
        analysis.facts.stamp = stampOf(path);
        return analysis;
    } catch (const ArchiveDamage&) {  // it is analysed
        return std::nullopt;
    }
}

}  // namespace likeness
