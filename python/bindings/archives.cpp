// Archives of analysed photographs, as the program `darkroom index` makes them.
#include "calls.hpp"
#include "models.hpp"

#include "archive/archive_operations.hpp"

#include <likeness/threads.hpp>

#include <pybind11/stl.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace likeness::python {
namespace {

namespace py = pybind11;

/// An opened archive. Searches take a kind, six weights, six limits.
class OpenArchive {
public:
    explicit OpenArchive(const std::string& path) : access_(unlocked([&] { return openArchive(path); })) {}

    std::size_t size() const { return access_->size(); }
    std::string parameters() const { return access_->parameters(); }
    std::vector<std::string> damage() const { return access_->damage(); }
    std::vector<std::string> check() const {
        return unlocked([this] { return access_->check(); });
    }
    std::string pathOf(std::size_t entry) const { return access_->pathOf(entry); }
    std::optional<std::size_t> find(const std::string& path) const { return access_->find(path); }
    py::tuple model() const { return tupleOf(access_->options().model); }
    bool sees(const py::tuple& model) const { return comparisonModelOf(model) == access_->options().model; }

    std::optional<std::string> hue() const {
        const std::optional<HueWeights> weights = access_->options().hue;
        return weights ? std::optional<std::string>(*weights == HueWeights::pixels ? "pixels" : "chroma")
                       : std::nullopt;
    }

    py::tuple photograph(std::size_t entry) const {
        const ArchivedPhotograph its = access_->photograph(entry);
        return py::make_tuple(its.path, its.bytes, its.modified,
                              py::bytes(reinterpret_cast<const char*>(its.sha256.data()), its.sha256.size()),
                              its.height, its.width, its.problem, its.profile, its.remarks, its.distributions);
    }

    AppearanceDistributions distributionsOf(const std::string& path, std::uint64_t mostPixels) const {
        return unlocked([&] { return access_->distributionsOf(path, mostPixels); });
    }

    py::list nearest(const AppearanceDistributions& photograph, std::size_t top, bool least,
                     const std::array<double, 6>& weights, const std::array<float, 6>& limits, bool approximate,
                     const std::optional<std::size_t>& except) const {
        ArchiveSearch search;
        search.top = top;
        search.score = scoreOf(least, weights);
        search.least = limits;
        search.approximate = approximate;
        search.threads = static_cast<unsigned>(threads());
        if (except) {
            search.among = [except](std::size_t entry) { return entry != *except; };
        }
        const std::vector<ArchiveHit> hits = unlocked([&] { return access_->nearest(photograph, search); });
        py::list found;
        for (const ArchiveHit& hit : hits) {
            found.append(py::make_tuple(access_->pathOf(hit.entry), hit.entry, fiveOf(hit.coefficients),
                                        hueOf(hit.coefficients), hit.score));
        }
        return found;
    }

    py::list pairs(const OpenArchive* other, bool least, const std::array<double, 6>& weights, double leastScore,
                   const std::array<float, 6>& limits, std::size_t nearest, std::size_t most,
                   const py::object& progress) const {
        const Watch watch = watchOf(progress);
        const ArchivePairSearch search = pairSearch(least, weights, leastScore, limits, nearest, most, watch);
        const std::vector<ArchivePair> pairs =
            unlocked([&] { return access_->pairs(other == nullptr ? nullptr : other->access_.get(), search); });
        const ArchiveAccess& second = other == nullptr ? *access_ : *other->access_;
        py::list found;
        for (const ArchivePair& pair : pairs) {
            found.append(py::make_tuple(access_->pathOf(pair.first), second.pathOf(pair.second),
                                        fiveOf(pair.coefficients), hueOf(pair.coefficients), pair.score));
        }
        return found;
    }

    /// @return  entries, means and place of the representative of each
    py::list clusters(bool least, const std::array<double, 6>& weights, double leastScore,
                      const std::array<float, 6>& limits, std::size_t nearest, std::size_t most,
                      const py::object& progress) const {
        const Watch watch = watchOf(progress);
        const ArchivePairSearch search = pairSearch(least, weights, leastScore, limits, nearest, most, watch);
        const std::vector<ArchiveCluster> clusters = unlocked([&] { return access_->clusters(search); });
        py::list found;
        for (const ArchiveCluster& cluster : clusters) {
            found.append(py::make_tuple(cluster.entries, cluster.means, cluster.representative));
        }
        return found;
    }

private:
    /// @param watch  must stay as long as what is returned
    static ArchivePairSearch pairSearch(bool least, const std::array<double, 6>& weights, double leastScore,
                                        const std::array<float, 6>& limits, std::size_t nearest, std::size_t most,
                                        const Watch& watch) {
        ArchivePairSearch search;
        search.score = scoreOf(least, weights);
        search.leastScore = leastScore;
        search.least = limits;
        search.nearest = nearest;
        search.most = most;
        search.threads = static_cast<unsigned>(threads());
        search.progress = [&watch](std::size_t done, std::size_t entries) {
            return watch.progress(static_cast<int>(done), static_cast<int>(entries));
        };
        return search;
    }

    static RankingScore scoreOf(bool least, const std::array<double, 6>& weights) {
        return {least ? RankingScore::Kind::least : RankingScore::Kind::mean, weights};
    }

    static py::tuple fiveOf(const PairCoefficients& coefficients) {
        const LikenessCoefficients& its = coefficients.five;
        return py::make_tuple(its.brightness, its.lightness, its.chroma, its.colorfulness, its.saturation);
    }

    static std::optional<float> hueOf(const PairCoefficients& coefficients) { return coefficients.hue; }

    std::shared_ptr<const ArchiveAccess> access_;
};

/// @return  photographs, failed, added, changed, removed; the warnings. None where it was stopped
py::object index(const std::vector<std::string>& paths, const std::string& output, const std::string& existing,
                 bool retryFailed, bool approximate, const py::tuple& model, const std::optional<std::string>& hue,
                 unsigned jobs, std::uint64_t mostPixels, const std::string& profile, const py::object& progress) {
    IndexOptions options;
    options.profile = profile;
    using Existing = IndexOptions::Existing;
    options.existing = existing == "updated"    ? Existing::updated
                       : existing == "resumed"  ? Existing::resumed
                       : existing == "replaced" ? Existing::replaced
                                                : Existing::refused;
    options.analysis.model = comparisonModelOf(model);
    options.analysis.hue = hueWeightsOf(hue);
    options.retryFailed = retryFailed;
    options.approximate = approximate;
    options.jobs = jobs;
    options.mostPixels = mostPixels;
    const Watch watch = watchOf(progress);
    options.progress = [&watch](std::size_t done, std::size_t all) {
        return watch.progress(static_cast<int>(done), static_cast<int>(all));
    };
    std::vector<std::string> warnings;
    options.warn = [&warnings](const std::string& line) { warnings.push_back(line); };
    const std::optional<IndexSummary> made = unlocked([&] { return indexedArchive(paths, output, options); });
    if (!made) {
        return py::none();
    }
    return py::make_tuple(made->photographs, made->failed, made->added, made->changed, made->removed, warnings);
}

}  // namespace

void bindArchives(py::module_& module) {
    py::class_<OpenArchive>(module, "Archive")
        .def(py::init<const std::string&>())
        .def("__len__", &OpenArchive::size)
        .def("parameters", &OpenArchive::parameters)
        .def("damage", &OpenArchive::damage)
        .def("check", &OpenArchive::check)
        .def("path_of", &OpenArchive::pathOf)
        .def("find", &OpenArchive::find)
        .def("model", &OpenArchive::model)
        .def("sees", &OpenArchive::sees)
        .def("hue", &OpenArchive::hue)
        .def("photograph", &OpenArchive::photograph)
        .def("distributions_of", &OpenArchive::distributionsOf)
        .def("nearest", &OpenArchive::nearest)
        .def("pairs", &OpenArchive::pairs)
        .def("clusters", &OpenArchive::clusters);
    module.def("index", index);
}

}  // namespace likeness::python
