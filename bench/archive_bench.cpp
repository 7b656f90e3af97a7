// Archives of made photographs: a search beside one streaming read of the archive, all pairs, the approximate search beside
// the exact one, and the memory of these. Each on one thread but the pairs, which have two.
//
// usage: archive_bench SCRATCH_FOLDER [PHOTOGRAPHS]     default: 1,000,000, whose graph takes the better part of an hour
#include "archive/approximate_index.hpp"
#include "archive/archive_pairs.hpp"
#include "archive/made_photographs.hpp"

#include <sys/resource.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace likeness;
using Clock = std::chrono::steady_clock;

double secondsOf(const std::function<void()>& work) {
    const Clock::time_point begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

long peakMebibytes() {
    ::rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

/// Photographs that are all different.
void make(const std::string& path, std::size_t photographs) {
    writeArchive(path, testing::madeOrigin(),
                 {photographs, [](std::size_t k) { return archive::stored(testing::madePhotograph(k, k)); }});
}

void readOnce(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<char> block(std::size_t{1} << 20);
    while (file.read(block.data(), static_cast<std::streamsize>(block.size()))) {
    }
}

void benchSearch(const std::string& path) {
    readOnce(path);
    const double stream = secondsOf([&] { readOnce(path); });
    const ArchiveFile archive(path);
    constexpr std::size_t queries = 5;
    double exact = 0;
    for (std::size_t q = 0; q < queries; ++q) {
        const AppearanceDistributions query = archive.distributions(q * archive.size() / queries);
        exact += secondsOf([&] { nearestEntries(archive, query, {}); }) / queries;
    }
    std::printf("search of %zu: %.3f s, %.2f times one streaming read of %.0f MB; %ld MiB at most\n", archive.size(),
                exact, exact / stream, static_cast<double>(archive.bytes()) / 1e6, peakMebibytes());
}

void benchPairs(const std::string& path) {
    const ArchiveFile archive(path);
    PairSearch search;
    search.leastScore = 0.98;
    search.threads = 2;
    std::size_t found = 0;
    const double seconds = secondsOf([&] { found = alikePairs(archive, archive, search).size(); });
    const double pairs = static_cast<double>(archive.size()) * static_cast<double>(archive.size() - 1) / 2;
    std::printf("all pairs of %zu: %.2f s, %.1f million a second, %zu found\n", archive.size(), seconds,
                pairs / seconds / 1e6, found);
}

void benchApproximate(const std::string& path) {
    const ArchiveFile archive(path);
    ApproximateRecall made;
    const double seconds = secondsOf([&] { made = buildApproximateIndex(archive); });
    std::printf(
        "approximate search of %zu: recall at 10 %.3f, %.2f ms, %.1f times as fast as exactly; made in %.0f s\n",
        archive.size(), made.recall, 1000 * made.approximateSeconds, made.exactSeconds / made.approximateSeconds,
        seconds);
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        std::fprintf(stderr, "usage: archive_bench SCRATCH_FOLDER [PHOTOGRAPHS]\n");
        return 2;
    }
    const std::filesystem::path scratch = arguments[1];
    const std::size_t photographs = count > 2 ? std::strtoull(arguments[2], nullptr, 10) : 1'000'000;
    constexpr std::size_t forPairs = 10'000;
    const std::string small = scratch / "pairs.likeness";
    const std::string large = scratch / "search.likeness";
    make(small, forPairs);
    make(large, photographs);
    benchSearch(large);
    benchPairs(small);
    benchApproximate(large);
    return 0;
}
