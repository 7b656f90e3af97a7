// darkroom batch against only decoding the same photographs. Processor time is compared where one job is at work: it
// depends little on what else the machine does.
//
// usage: batch_bench DARKROOM SCRATCH_FOLDER [sizes | reference | memory | jobs]...
#include "photograph_pair.hpp"

#include <opencv2/imgcodecs.hpp>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Cost {
    double wall = 0;       // seconds
    double processor = 0;  // seconds, user and system
    long peak = 0;         // KiB
};

/// Runs `work` in a process of its own. `watch` is called again and again with its id while it runs.
Cost costOf(const std::function<void()>& work, const std::function<void(::pid_t)>& watch = {}) {
    const Clock::time_point begin = Clock::now();
    const ::pid_t process = ::fork();
    if (process == 0) {
        work();
        ::_exit(0);
    }
    int status = 0;
    ::rusage usage{};
    while (::wait4(process, &status, watch ? WNOHANG : 0, &usage) == 0) {
        watch(process);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "a process failed\n");
        std::exit(1);
    }
    const auto seconds = [](const ::timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return {std::chrono::duration<double>(Clock::now() - begin).count(),
            seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss};
}

class Bench {
public:
    Bench(std::string darkroom, std::string folder) : darkroom_(std::move(darkroom)), folder_(std::move(folder)) {}

    std::string file(const std::string& name) const { return folder_ + '/' + name; }

    /// Saves `count` photographs of about `megapixels`, all different.
    std::vector<std::string> photographs(double megapixels, int count) const {
        const char* const sources[] = {"cat.jpg", "coffee.jpg", "rocket.jpg", "retina.jpg"};
        const int height = static_cast<int>(std::lround(std::sqrt(megapixels * 1e6 / 1.5)));
        std::vector<std::string> paths;
        std::vector<cv::Mat> pictures;
        for (const char* const source : sources) {
            pictures.push_back(likeness::bench::photographLike(source, {height * 3 / 2, height}, 1));
        }
        for (int k = 0; k < count; ++k) {
            cv::Mat changed = pictures[static_cast<std::size_t>(k) % 4] * (1.0 - 0.0005 * (k / 4 % 1000));
            paths.push_back(file(cv::format("p%f_%d.jpg", megapixels, k)));
            cv::imwrite(paths.back(), changed, {cv::IMWRITE_JPEG_QUALITY, 92});
        }
        return paths;
    }

    std::string list(const std::vector<std::pair<std::string, std::string>>& pairs) const {
        std::ofstream out(file("list.csv"));
        out << "id,first,second\n";
        std::size_t number = 0;
        for (const auto& [first, second] : pairs) {
            out << number++ << ',' << first << ',' << second << '\n';
        }
        return file("list.csv");
    }

    Cost batch(const std::string& list, int jobs, const std::function<void(::pid_t)>& watch = {}) const {
        fs::remove(file("out.csv"));
        const std::string jobsText = std::to_string(jobs);
        const std::string out = file("out.csv");
        return costOf(
            [&] {
                ::execl(darkroom_.c_str(), "darkroom", "batch", list.c_str(), "-o", out.c_str(), "--jobs",
                        jobsText.c_str(), "--quiet", static_cast<char*>(nullptr));
            },
            watch);
    }

    static Cost decoding(const std::vector<std::string>& paths) {
        return costOf([&] {
            cv::setNumThreads(1);
            for (const std::string& path : paths) {
                if (cv::imread(path, cv::IMREAD_COLOR).empty()) {
                    ::_exit(1);
                }
            }
        });
    }

    void sizes() const {
        std::puts("megapixels  pairs  decoding [s]  batch [s]  ratio  pairs/s and core  peak [MiB]");
        struct Size {
            double megapixels;
            int photographs;
        };
        for (const auto& [megapixels, count] : {Size{0.3, 800}, Size{2, 160}, Size{8, 48}, Size{18, 24}}) {
            const std::vector<std::string> paths = photographs(megapixels, count);
            std::vector<std::pair<std::string, std::string>> pairs;
            for (std::size_t k = 0; k + 1 < paths.size(); k += 2) {
                pairs.emplace_back(paths[k], paths[k + 1]);
            }
            const std::string name = list(pairs);
            std::vector<double> ratios;
            Cost least{1e9, 1e9, 0};
            double decoded = 1e9;
            for (int repetition = 0; repetition < 3; ++repetition) {
                const Cost alone = decoding(paths);
                const Cost compared = batch(name, 1);
                ratios.push_back(compared.processor / alone.processor);
                decoded = std::min(decoded, alone.processor);
                least.processor = std::min(least.processor, compared.processor);
                least.peak = std::max(least.peak, compared.peak);
            }
            std::sort(ratios.begin(), ratios.end());
            std::printf("%10.1f %6zu %13.3f %10.3f %6.2f %17.1f %11ld\n", megapixels, pairs.size(), decoded,
                        least.processor, ratios[1], static_cast<double>(pairs.size()) / least.processor,
                        least.peak / 1024);
            std::fflush(stdout);
            for (const std::string& path : paths) {
                fs::remove(path);
            }
        }
    }

    void reference() const {
        constexpr int count = 1001;
        const std::vector<std::string> paths = photographs(0.3, count);
        std::vector<std::pair<std::string, std::string>> pairs;
        for (std::size_t k = 1; k < paths.size(); ++k) {
            pairs.emplace_back(paths[0], paths[k]);
        }
        const std::string name = list(pairs);
        const Cost alone = decoding(paths);
        const Cost compared = batch(name, 1);
        std::printf("one reference against 1000 of 0.3 megapixels: decoding %.2f s, batch %.2f s, ratio %.2f\n",
                    alone.processor, compared.processor, compared.processor / alone.processor);
        const Cost twoJobs = batch(name, 2);
        std::printf("  wall time: decoding in one process %.2f s, batch with two jobs %.2f s, ratio %.2f\n", alone.wall,
                    twoJobs.wall, twoJobs.wall / alone.wall);
        for (const std::string& path : paths) {
            fs::remove(path);
        }
    }

    void memory() const {
        const std::vector<std::string> paths = photographs(0.05, 150);
        std::vector<std::pair<std::string, std::string>> pairs;
        for (std::size_t k = 0; k < 10000; ++k) {
            pairs.emplace_back(paths[k % 150], paths[(k / 150 + k) % 150]);
        }
        const std::string name = list(pairs);
        long atFirst = 0;
        long greatest = 0;
        batch(name, 2, [&](::pid_t process) {
            std::ifstream status("/proc/" + std::to_string(process) + "/statm");
            long total = 0;
            long resident = 0;
            status >> total >> resident;
            resident *= ::sysconf(_SC_PAGESIZE) / 1024;
            std::ifstream out(file("out.csv"));
            const auto lines = std::count(std::istreambuf_iterator<char>(out), std::istreambuf_iterator<char>(), '\n');
            if (lines > 1000 && atFirst == 0) {
                atFirst = resident;
            }
            greatest = std::max(greatest, resident);
        });
        std::printf("10000 pairs: resident after the first 1000 %ld KiB, greatest %ld KiB\n", atFirst, greatest);
        for (const std::string& path : paths) {
            fs::remove(path);
        }
    }

    void jobs() const {
        const std::vector<std::string> paths = photographs(2, 200);
        std::vector<std::pair<std::string, std::string>> pairs;
        for (std::size_t k = 0; k + 1 < paths.size(); k += 2) {
            pairs.emplace_back(paths[k], paths[k + 1]);
        }
        const std::string name = list(pairs);
        for (int repetition = 0; repetition < 3; ++repetition) {
            const Cost one = batch(name, 1);
            const Cost two = batch(name, 2);
            std::printf(
                "100 pairs of 2 megapixels: one job %.2f s (processor %.2f s), two jobs %.2f s (%.2f s): %.2f times\n",
                one.wall, one.processor, two.wall, two.processor, one.wall / two.wall);
        }
        for (const std::string& path : paths) {
            fs::remove(path);
        }
    }

private:
    std::string darkroom_;
    std::string folder_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: batch_bench DARKROOM SCRATCH_FOLDER [sizes | reference | memory | jobs]...\n");
        return 2;
    }
    const Bench bench(argv[1], argv[2]);
    const auto asked = [&](const std::string& what) {
        return argc == 3 || std::find(argv + 3, argv + argc, what) != argv + argc;
    };
    if (asked("sizes")) {
        bench.sizes();
    }
    if (asked("reference")) {
        bench.reference();
    }
    if (asked("memory")) {
        bench.memory();
    }
    if (asked("jobs")) {
        bench.jobs();
    }
    return 0;
}
