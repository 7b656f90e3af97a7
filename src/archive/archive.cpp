#include <likeness/archive/archive.hpp>

#include <likeness/archive/archive_index.hpp>
#include <likeness/threads.hpp>
#include "archive/archive_access.hpp"
#include "modules/module_loader.hpp"

#include <algorithm>
#include <stdexcept>

namespace likeness {
namespace {

constexpr std::size_t hueNumber = 5;

const ArchiveFunctions& functions() {
    static const auto* const loaded =
        reinterpret_cast<ArchiveFunctionsEntry>(moduleEntry("archive", "likeness_archive_functions"))();
    return *loaded;
}

template <typename Search>
Search withThreads(const Search& search) {
    Search whole = search;
    whole.threads = search.threads == 0 ? static_cast<unsigned>(threads()) : search.threads;
    return whole;
}

/// Weights and limits, of which those of the hue need one.
void checkScore(const char* function, const RankingScore& score, const std::array<float, 6>& least, bool hue) {
    const auto& weights = score.weights;
    if (!std::all_of(weights.begin(), weights.end(), [](double w) { return w >= 0; }) ||
        std::all_of(weights.begin(), weights.end(), [](double w) { return w == 0; })) {
        throw std::invalid_argument(std::string(function) + ": weights are from 0, and one of them is above");
    }
    if (!hue && (weights[hueNumber] > 0 || least[hueNumber] > 0)) {
        throw std::invalid_argument(std::string(function) + ": the archive has no hue");
    }
}

}  // namespace

Archive::Archive(const std::string& path) : access_(functions().open(path)) {}

std::size_t Archive::size() const {
    return access_->size();
}

AnalysisOptions Archive::options() const {
    return access_->options();
}

std::string Archive::parameters() const {
    return access_->parameters();
}

std::vector<std::string> Archive::damage() const {
    return access_->damage();
}

std::vector<std::string> Archive::check() const {
    return access_->check();
}

std::string Archive::pathOf(std::size_t entry) const {
    return access_->pathOf(entry);
}

ArchivedPhotograph Archive::photograph(std::size_t entry) const {
    return access_->photograph(entry);
}

std::optional<std::size_t> Archive::find(const std::string& path) const {
    return access_->find(path);
}

AppearanceDistributions Archive::distributionsOf(const std::string& path, std::uint64_t mostPixels) const {
    return access_->distributionsOf(path, mostPixels);
}

std::vector<ArchiveHit> Archive::nearest(const AppearanceDistributions& photograph, const ArchiveSearch& search) const {
    if (search.top == 0) {
        throw std::invalid_argument("Archive::nearest: one or more are expected, and `top` is 0");
    }
    checkScore("Archive::nearest", search.score, search.least, options().hue.has_value());
    if (search.approximate &&
        (search.score.kind != RankingScore::Kind::mean || search.score.weights != RankingScore().weights)) {
        throw std::invalid_argument("Archive::nearest: an approximate search is by the mean of the five");
    }
    return access_->nearest(photograph, withThreads(search));
}

std::vector<ArchiveHit> Archive::nearest(const Analysis& photograph, const ArchiveSearch& search) const {
    if (!(photograph.model() == options().model)) {
        throw std::invalid_argument(
            "Archive::nearest: the photograph was seen through another model than the archive's");
    }
    return nearest(photograph.distributions(), search);
}

std::vector<ArchiveHit> Archive::nearest(const cv::Mat& photograph, const ArchiveSearch& search) const {
    return nearest(analyze(photograph, options()), search);
}

std::vector<ArchivePair> Archive::pairs(const ArchivePairSearch& search) const {
    checkScore("Archive::pairs", search.score, search.least, options().hue.has_value());
    return access_->pairs(nullptr, withThreads(search));
}

std::vector<ArchivePair> Archive::pairs(const Archive& other, const ArchivePairSearch& search) const {
    checkScore("Archive::pairs", search.score, search.least, options().hue.has_value());
    return access_->pairs(other.access_.get(), withThreads(search));
}

std::vector<ArchiveCluster> Archive::clusters(const ArchivePairSearch& search) const {
    checkScore("Archive::clusters", search.score, search.least, options().hue.has_value());
    return access_->clusters(withThreads(search));
}

IndexSummary indexPhotographs(const std::vector<std::string>& paths, const std::string& output,
                              const IndexOptions& options) {
    const std::optional<IndexSummary> summary = functions().index(paths, output, options);
    if (!summary) {
        throw Cancelled();
    }
    return *summary;
}

void writeArchive(const std::string& path, const std::vector<ArchivedPhotograph>& photographs,
                  const AnalysisOptions& analysis) {
    functions().write(path, photographs, analysis);
}

}  // namespace likeness
