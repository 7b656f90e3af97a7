// Archives: index beside batch over as many photographs of 2 megapixels; of made photographs a search beside one streaming
// read of the archive, all pairs beside a batch with everything cached, the approximate search beside the exact one, and
// the memory of these. Each on one thread but the pairs, which have two.
//
// usage: archive_bench DARKROOM SCRATCH_FOLDER [PHOTOGRAPHS]     default: 1,000,000, whose graph takes the better part of an
//        hour
#include "archive/approximate_index.hpp"
#include "archive/archive_pairs.hpp"
#include "archive/made_photographs.hpp"
#include "photograph_pair.hpp"

#include <opencv2/imgcodecs.hpp>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
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

struct Cost {
    double wall = 0;       // seconds
    double processor = 0;  // seconds, user and system
};

/// The least of three runs of the program, in both.
/// @param output  removed before each
Cost costOf(const std::vector<std::string>& call, const std::string& output) {
    Cost least{1e300, 1e300};
    for (int run = 0; run < 3; ++run) {
        std::filesystem::remove(output);
        const Clock::time_point begin = Clock::now();
        const ::pid_t process = ::fork();
        if (process == 0) {
            std::vector<char*> words;
            for (const std::string& word : call) {
                words.push_back(const_cast<char*>(word.c_str()));
            }
            words.push_back(nullptr);
            ::execv(words[0], words.data());
            ::_exit(127);
        }
        int status = 0;
        ::rusage usage{};
        ::wait4(process, &status, 0, &usage);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            std::fprintf(stderr, "%s %s failed\n", call[0].c_str(), call[1].c_str());
            std::exit(1);
        }
        const auto seconds = [](const ::timeval& time) {
            return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
        };
        least.wall = std::min(least.wall, std::chrono::duration<double>(Clock::now() - begin).count());
        least.processor = std::min(least.processor, seconds(usage.ru_utime) + seconds(usage.ru_stime));
    }
    return least;
}

std::string listOf(const std::string& path, const std::vector<std::pair<std::string, std::string>>& pairs) {
    std::ofstream out(path);
    out << "id,first,second\n";
    std::size_t number = 0;
    for (const auto& [first, second] : pairs) {
        out << number++ << ',' << first << ',' << second << '\n';
    }
    return path;
}

void benchIndex(const std::string& darkroom, const std::string& scratch) {
    constexpr int photographs = 30;
    const std::array<const char*, 3> sources = {"cat.jpg", "coffee.jpg", "rocket.jpg"};
    std::vector<std::string> index = {darkroom, "index"};
    std::vector<std::pair<std::string, std::string>> pairs;
    for (int k = 0; k < photographs; ++k) {
        const cv::Mat like = likeness::bench::photographLike(sources[static_cast<std::size_t>(k) % 3], {1732, 1155}, 1);
        index.push_back(scratch + cv::format("/p%d.jpg", k));
        cv::imwrite(index.back(), like * (1.0 - 0.01 * k / 3), {cv::IMWRITE_JPEG_QUALITY, 92});
        if (k % 2 == 1) {
            pairs.emplace_back(index[index.size() - 2], index.back());
        }
    }
    const std::string archive = scratch + "/index.likeness";
    index.insert(index.end(), {"-o", archive, "--jobs", "1", "--quiet"});
    const std::string list = listOf(scratch + "/list.csv", pairs);
    const std::string results = scratch + "/out.csv";
    const Cost batch = costOf({darkroom, "batch", list, "-o", results, "--jobs", "1", "--quiet"}, results);
    const Cost made = costOf(index, archive);
    std::printf("index of %d, 2 megapixels, one job: %.2f s, %.2f times batch of as many (processor time %.2f times)\n",
                photographs, made.wall, made.wall / batch.wall, made.processor / batch.processor);
}

/// Seconds of a pair of a batch on two threads that has both photographs at hand.
double cachedPair(const std::string& darkroom, const std::string& scratch) {
    constexpr int photographs = 250;
    std::vector<std::string> paths;
    for (int k = 0; k < photographs; ++k) {
        paths.push_back(scratch + cv::format("/s%d.jpg", k));
        const cv::Mat like = likeness::bench::photographLike(k % 2 == 0 ? "cat.jpg" : "coffee.jpg", {120, 80}, 1);
        cv::imwrite(paths.back(), like * (1.0 - 0.002 * k));
    }
    std::vector<std::pair<std::string, std::string>> few;
    std::vector<std::pair<std::string, std::string>> all;
    for (const std::string& first : paths) {
        few.emplace_back(first, first);
        for (const std::string& second : paths) {
            all.emplace_back(first, second);
        }
    }
    const auto secondsOfBatch = [&](const std::vector<std::pair<std::string, std::string>>& pairs) {
        const std::string results = scratch + "/out.csv";
        return costOf(
                   {darkroom, "batch", listOf(scratch + "/list.csv", pairs), "-o", results, "--jobs", "2", "--quiet"},
                   results)
            .wall;
    };
    return (secondsOfBatch(all) - secondsOfBatch(few)) / static_cast<double>(all.size() - few.size());
}

void benchPairs(const std::string& path, double cached) {
    const ArchiveFile archive(path);
    PairSearch search;
    search.leastScore = 0.98;
    search.threads = 2;
    std::size_t found = 0;
    const double seconds = secondsOf([&] { found = alikePairs(archive, archive, search).size(); });
    const double pairs = static_cast<double>(archive.size()) * static_cast<double>(archive.size() - 1) / 2;
    std::printf(
        "all pairs of %zu: %.2f s, %.1f million a second, %zu found; %.0f times a cached pair of batch (%.1f us)\n",
        archive.size(), seconds, pairs / seconds / 1e6, found, cached / (seconds / pairs), 1e6 * cached);
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
    if (count < 3) {
        std::fprintf(stderr, "usage: archive_bench DARKROOM SCRATCH_FOLDER [PHOTOGRAPHS]\n");
        return 2;
    }
    const std::string darkroom = arguments[1];
    const std::filesystem::path scratch = arguments[2];
    const std::size_t photographs = count > 3 ? std::strtoull(arguments[3], nullptr, 10) : 1'000'000;
    constexpr std::size_t forPairs = 10'000;
    const std::string small = scratch / "pairs.likeness";
    const std::string large = scratch / "search.likeness";
    benchIndex(darkroom, scratch);
    const double cached = cachedPair(darkroom, scratch);
    make(small, forPairs);
    make(large, photographs);
    benchSearch(large);
    benchPairs(small, cached);
    benchApproximate(large);
    return 0;
}
