// darkroom batch against only decoding the same photographs. Processor time is compared where one job is at work: it
// depends little on what else the machine does.
//
// usage: batch_bench DARKROOM SCRATCH_FOLDER [sizes | reference | memory | jobs]...
#include "direct_jpeg.hpp"
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

    /// @param processors  how many the batch may use
    Cost batch(const std::string& list, int jobs, int processors,
               const std::function<void(::pid_t)>& watch = {}) const {
        fs::remove(file("out.csv"));
        const std::string jobsText = std::to_string(jobs);
        const std::string out = file("out.csv");
        return costOf(
            [&] {
                ::setenv("LIKENESS_THREADS", std::to_string(processors).c_str(), 1);
                ::execl(darkroom_.c_str(), "darkroom", "batch", list.c_str(), "-o", out.c_str(), "--jobs",
                        jobsText.c_str(), "--quiet", static_cast<char*>(nullptr));
            },
            watch);
    }

    /// Decoding alone, on one thread, by the faster of two readers: the image library's, and libjpeg-turbo directly.
    static Cost decoding(const std::vector<std::string>& paths) {
        const Cost library = costOf([&] {
            cv::setNumThreads(1);
            for (const std::string& path : paths) {
                if (cv::imread(path, cv::IMREAD_COLOR).empty()) {
                    ::_exit(1);
                }
            }
        });
        const Cost direct = costOf([&] {
            for (const std::string& path : paths) {
                likeness::bench::decoded(path.c_str());
            }
        });
        return direct.processor < library.processor ? direct : library;
    }

    void sizes() const {
        std::puts("megapixels  pairs  decoding [s]  batch [s]  ratio  target  pairs/s and core  peak [MiB]");
        struct Size {
            double megapixels;
            int photographs;
            const char* target;
        };
        for (const auto& [megapixels, count, target] :
             {Size{0.3, 800, "1.80"}, Size{2, 160, "1.70"}, Size{8, 48, "1.70"}, Size{18, 24, ""}}) {
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
                const Cost compared = batch(name, 1, 1);
                ratios.push_back(compared.processor / alone.processor);
                decoded = std::min(decoded, alone.processor);
                least.processor = std::min(least.processor, compared.processor);
                least.peak = std::max(least.peak, compared.peak);
            }
            std::sort(ratios.begin(), ratios.end());
            std::printf("%10.1f %6zu %13.3f %10.3f %6.2f %7s %17.1f %11ld\n", megapixels, pairs.size(), decoded,
                        least.processor, ratios[1], target, static_cast<double>(pairs.size()) / least.processor,
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
        const Cost compared = batch(name, 1, 1);
        std::printf("one reference against 1000 of 0.3 megapixels: decoding %.2f s, batch %.2f s, ratio %.2f\n",
                    alone.processor, compared.processor, compared.processor / alone.processor);
        const Cost twoJobs = batch(name, 2, 2);
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
        batch(name, 2, 2, [&](::pid_t process) {
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

    /// Wall time: what a second processor gains, by a second job and by both photographs of a pair at the same time.
    void jobs() const {
        for (const auto& [megapixels, count] : {std::pair(0.3, 800), std::pair(2.0, 200), std::pair(8.0, 64)}) {
            const std::vector<std::string> paths = photographs(megapixels, count);
            std::vector<std::pair<std::string, std::string>> pairs;
            for (std::size_t k = 0; k + 1 < paths.size(); k += 2) {
                pairs.emplace_back(paths[k], paths[k + 1]);
            }
            const std::string name = list(pairs);
            std::vector<double> jobs;
            std::vector<double> atOnce;
            for (int repetition = 0; repetition < 3; ++repetition) {
                const Cost one = batch(name, 1, 1);
                jobs.push_back(one.wall / batch(name, 2, 2).wall);
                atOnce.push_back(one.wall / batch(name, 1, 2).wall);
            }
            std::sort(jobs.begin(), jobs.end());
            std::sort(atOnce.begin(), atOnce.end());
            std::printf(
                "%zu pairs of %.1f megapixels: two jobs %.2f times as fast as one (%.2f to %.2f), target 1.90; one "
                "job on two processors %.2f times\n",
                pairs.size(), megapixels, jobs[1], jobs[0], jobs[2], atOnce[1]);
            std::fflush(stdout);
            for (const std::string& path : paths) {
                fs::remove(path);
            }
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
