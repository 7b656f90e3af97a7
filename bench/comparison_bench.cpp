// Times the whole program against a floor (only decoding, encoding and writing), `darkroom compare` and the library
// call against decoding, and the program against the literal chain, as whole processes in one run; prints medians and
// ratios.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Run {
    double wall = 0;           // ms
    double cpu = 0;            // ms
    double peak = 0;           // MiB
    double decoding = 0;       // ms, as the stage says
    double afterDecoding = 0;  // ms, as the stage says
};

Run run(const std::vector<std::string>& command) {
    std::vector<char*> argv;
    for (const std::string& word : command) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);
    const auto start = std::chrono::steady_clock::now();
    const ::pid_t child = ::fork();
    if (child == 0) {
        const int out = ::open("stage-output", O_WRONLY | O_CREAT | O_TRUNC, 0666);
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(out, 1);
        ::dup2(null, 2);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    int status = 0;
    ::rusage usage{};
    if (child < 0 || ::wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::cerr << "failed: " << command[0] << ' ' << command[1] << '\n';
        std::exit(1);
    }
    Run result;
    result.wall = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    const auto ms = [](const ::timeval& t) {
        return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
    };
    result.cpu = ms(usage.ru_utime) + ms(usage.ru_stime);
    result.peak = static_cast<double>(usage.ru_maxrss) / 1024;
    std::ifstream("stage-output") >> result.decoding >> result.afterDecoding;
    return result;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

template <typename Of>
std::vector<double> column(const std::vector<Run>& runs, Of of) {
    std::vector<double> values;
    for (const Run& one : runs) {
        values.push_back(of(one));
    }
    return values;
}

/// Ratios run by run: the stages take turns, so that a drift of the machine's speed cancels.
std::vector<double> ratios(const std::vector<double>& a, const std::vector<double>& b) {
    std::vector<double> result;
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
        result.push_back(a[i] / b[i]);
    }
    return result;
}

void print(const char* name, const std::vector<Run>& runs) {
    const std::vector<double> wall = column(runs, [](const Run& r) { return r.wall; });
    std::printf("  %-34s %9.0f ms  (%.0f to %.0f)  cpu %7.0f ms  peak %6.0f MiB\n", name, median(wall),
                *std::min_element(wall.begin(), wall.end()), *std::max_element(wall.begin(), wall.end()),
                median(column(runs, [](const Run& r) { return r.cpu; })),
                median(column(runs, [](const Run& r) { return r.peak; })));
}

void printRatio(const char* name, const std::vector<double>& values, double target = 0) {
    std::printf("  %-58s %7.2f  (%.2f to %.2f)", name, median(values), *std::min_element(values.begin(), values.end()),
                *std::max_element(values.begin(), values.end()));
    if (target > 0) {
        std::printf("  target %.2f", target);
    }
    std::puts("");
}

void printPeak(const std::vector<Run>& runs, double target) {
    std::printf("  %-58s %7.0f MiB", "peak memory of likeness",
                median(column(runs, [](const Run& r) { return r.peak; })));
    if (target > 0) {
        std::printf("  target %.0f", target);
    }
    std::puts("");
}

/// What is to be reached at a size; 0 where nothing is.
struct Targets {
    double compare = 0;  ///< `darkroom compare` / decoding both at once
    double program = 0;  ///< `likeness` with its dumps / the same encoding and writing
    double peak = 0;     ///< MiB of `likeness`
};

struct Size {
    int width;
    int height;
    std::size_t fileBytes;  ///< of a photograph with a camera's detail; 0 for an enlarged one with little noise
    Targets targets = {};
};

/// What does the least, as processes of their own.
struct Floors {
    std::string jpeg;
    std::string start;
};

void benchStart(const std::string& darkroom, const Floors& floors, int repetitions) {
    std::map<std::string, std::vector<Run>> runs;
    for (int i = 0; i < 5 * repetitions; ++i) {
        runs["darkroom"].push_back(run({darkroom, "--version"}));
        runs["floor"].push_back(run({floors.start, ""}));
    }
    const auto wall = [](const Run& r) { return r.wall; };
    std::puts("start");
    print("darkroom --version", runs["darkroom"]);
    print("a program linked with core, imgproc", runs["floor"]);
    printRatio("darkroom --version / the program that does nothing",
               ratios(column(runs["darkroom"], wall), column(runs["floor"], wall)), 2.0);
    std::puts("");
}

/// Memory of the program alone: at this size nothing is to be waited for often.
void benchPeak(const std::string& program, const std::string& stages, const Size& size) {
    const std::string w = std::to_string(size.width);
    const std::string h = std::to_string(size.height);
    run({stages, "make", "coffee.jpg", w, h, "1", "first.jpg", "0"});
    run({stages, "make", "cat.jpg", w, h, "2", "second.jpg", "0"});
    std::printf("%.0f megapixels each (%s x %s)\n", size.width * 1e-6 * size.height, w.c_str(), h.c_str());
    printPeak({run({program, "first.jpg", "second.jpg"})}, size.targets.peak);
    std::puts("");
}

void bench(const std::string& program, const std::string& darkroom, const std::string& stages, const Floors& floors,
           const Size& size, int repetitions, bool literal) {
    const auto [width, height, fileBytes, targets] = size;
    const std::vector<std::string> pair = {"first.jpg", "second.jpg"};
    const std::string w = std::to_string(width);
    const std::string h = std::to_string(height);
    run({stages, "make", "coffee.jpg", w, h, "1", pair[0], std::to_string(fileBytes)});
    run({stages, "make", "cat.jpg", w, h, "2", pair[1], std::to_string(fileBytes)});
    std::printf("%.1f megapixels each (%s x %s), files of %.1f and %.1f MB\n", width * 1e-6 * height, w.c_str(),
                h.c_str(), static_cast<double>(fs::file_size(pair[0])) * 1e-6,
                static_cast<double>(fs::file_size(pair[1])) * 1e-6);

    // One run of the program for each photograph tells how much text its brightness dump has.
    run({program, pair[1], pair[0]});
    const std::string firstText = std::to_string(fs::file_size("10_in.txt"));
    run({program, pair[0], pair[1]});
    const std::string secondText = std::to_string(fs::file_size("10_in.txt"));

    std::map<std::string, std::vector<Run>> runs;
    const auto dumpBytes = [] {
        std::ostringstream text;
        for (const char* name : {"A_before.jpg", "mask.jpg", "t_before.jpg"}) {
            text << fs::file_size(name) / 1024 << " KiB ";
        }
        return text.str();
    };
    std::string programDumps;
    std::string floorDumps;
    for (int i = 0; i < repetitions; ++i) {
        runs["program"].push_back(run({program, pair[0], pair[1]}));
        programDumps = dumpBytes();
        runs["floor"].push_back(run({stages, "floor", pair[0], pair[1], firstText, secondText}));
        floorDumps = dumpBytes();
        runs["library"].push_back(run({stages, "library", pair[0], pair[1]}));
        runs["darkroom"].push_back(run({darkroom, "compare", pair[0], pair[1]}));
        runs["published"].push_back(run({darkroom, "compare", pair[0], pair[1], "--model", "ciecam16"}));
        const auto inDisplayP3 = [&](std::vector<std::string> more) {
            std::vector<std::string> command = {darkroom, "compare",          pair[0],
                                                pair[1],  "--assume-profile", "display-p3"};
            command.insert(command.end(), more.begin(), more.end());
            return run(command);
        };
        runs["profile"].push_back(inDisplayP3({}));
        runs["profile published"].push_back(inDisplayP3({"--model", "ciecam16"}));
        runs["decode"].push_back(run({stages, "decode", pair[0], pair[1]}));
        runs["both"].push_back(run({floors.jpeg, pair[0], pair[1]}));
        runs["once"].push_back(run({floors.jpeg, pair[0], pair[1], secondText}));
    }
    if (literal) {
        runs["literal"].push_back(run({stages, "literal", pair[0], pair[1]}));
    }
    print("whole program, with all dumps", runs["program"]);
    print("floor: decode, encode, write", runs["floor"]);
    print("decode and library call, no dumps", runs["library"]);
    print("darkroom compare", runs["darkroom"]);
    print("darkroom compare --model ciecam16", runs["published"]);
    print("the same, in Display P3", runs["profile published"]);
    print("darkroom compare, in Display P3", runs["profile"]);
    print("decode only", runs["decode"]);
    print("libjpeg-turbo decodes both at once", runs["both"]);
    print("the same, three JPEGs, text once", runs["once"]);
    if (literal) {
        print("literal chain, with all dumps", runs["literal"]);
    }
    std::printf("  JPEG dumps (A, mask, t): program %s, floor %s; text %s bytes\n", programDumps.c_str(),
                floorDumps.c_str(), secondText.c_str());

    const auto wall = [](const Run& r) { return r.wall; };
    const auto cpu = [](const Run& r) { return r.cpu; };
    printRatio("program / floor, whole processes", ratios(column(runs["program"], wall), column(runs["floor"], wall)));
    printRatio("program / decoding at once, three JPEGs, text once",
               ratios(column(runs["program"], wall), column(runs["once"], wall)), targets.program);
    printPeak(runs["program"], targets.peak);
    printRatio("darkroom compare / decoding both at once, whole processes",
               ratios(column(runs["darkroom"], wall), column(runs["both"], wall)), targets.compare);
    const Run counting = run({stages, "count", pair[0], pair[1]});
    std::printf("  %-58s %.2f and %.2f  target 1.20\n", "counting the colours, one thread, ns a pixel",
                counting.decoding, counting.afterDecoding);
    printRatio("darkroom compare / decoding both, whole processes",
               ratios(column(runs["darkroom"], wall), column(runs["decode"], wall)));
    printRatio("darkroom compare / decoding both, processor time",
               ratios(column(runs["darkroom"], cpu), column(runs["decode"], cpu)));
    printRatio("darkroom compare --model ciecam16 / the default, processes",
               ratios(column(runs["published"], wall), column(runs["darkroom"], wall)));
    printRatio("the same, both in Display P3",
               ratios(column(runs["profile published"], wall), column(runs["profile"], wall)));
    printRatio("(decode + library call) / decode, inside the process",
               ratios(column(runs["library"], [](const Run& r) { return r.decoding + r.afterDecoding; }),
                      column(runs["decode"], [](const Run& r) { return r.decoding; })));
    printRatio("library call / decode, inside the process",
               ratios(column(runs["library"], [](const Run& r) { return r.afterDecoding; }),
                      column(runs["decode"], [](const Run& r) { return r.decoding; })));
    if (literal) {
        printRatio("literal / program, whole processes",
                   {runs["literal"].front().wall / median(column(runs["program"], wall))});
    }
    std::puts("");
}

/// A photograph that has many colours: noise over a slope, the same for the same seed.
void writeNoise(const std::string& path, int width, int height, std::uint32_t seed) {
    std::ofstream file(path, std::ios::binary);
    file << "P6\n" << width << ' ' << height << "\n255\n";
    std::string row(std::size_t{3} * static_cast<std::size_t>(width), '\0');
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::size_t slope = 160 * (i / 3) / static_cast<std::size_t>(width);
            row[i] = static_cast<char>(static_cast<unsigned char>(slope + random() % 96));
        }
        file << row;
    }
}

/// A mask whose left half is black; the rest is white, or grey that changes from row to row.
void writeMask(const std::string& path, int width, int height, bool grey) {
    std::ofstream file(path, std::ios::binary);
    file << "P5\n" << width << ' ' << height << "\n255\n";
    for (int y = 0; y < height; ++y) {
        const auto half = static_cast<std::size_t>(width / 2);
        file << std::string(half, '\0')
             << std::string(static_cast<std::size_t>(width) - half,
                            static_cast<char>(static_cast<unsigned char>(grey ? 1 + y % 254 : 255)));
    }
}

/// Tiles, and parts that count, against the plain comparison of the same files.
void benchParts(const std::string& darkroom, const std::string& stages, int width, int height, int repetitions) {
    const std::string w = std::to_string(width);
    const std::string h = std::to_string(height);
    run({stages, "make", "coffee.jpg", w, h, "1", "first.jpg", "0"});
    run({stages, "make", "cat.jpg", w, h, "2", "second.jpg", "0"});
    writeNoise("first.ppm", width, height, 1);
    writeNoise("second.ppm", width, height, 2);
    writeMask("half.pgm", width, height, false);
    writeMask("grey.pgm", width, height, true);
    const std::vector<std::pair<const char*, std::vector<std::string>>> asked = {
        {"--tiles 16", {"--tiles", "16"}},
        {"--mask, black and white", {"--mask", "half.pgm"}},
        {"--mask, grey", {"--mask", "grey.pgm"}},
        {"--region", {"--region", "25%,25%,50%,50%"}},
        {"--tiles 16 --mask, black and white", {"--tiles", "16", "--mask", "half.pgm"}},
        {"--tiles 16 --mask, grey", {"--tiles", "16", "--mask", "grey.pgm"}}};
    for (const std::string extension : {"jpg", "ppm"}) {
        std::printf("parts of %.1f megapixels each, %s\n", width * 1e-6 * height,
                    extension == "jpg" ? "photographs" : "noise");
        const std::vector<std::string> plain = {darkroom, "compare", "first." + extension, "second." + extension};
        std::map<std::string, std::vector<Run>> runs;
        for (int i = 0; i < repetitions; ++i) {
            runs["plain"].push_back(run(plain));
            for (const auto& [name, options] : asked) {
                std::vector<std::string> command = plain;
                command.insert(command.end(), options.begin(), options.end());
                runs[name].push_back(run(command));
            }
        }
        const auto wall = [](const Run& r) { return r.wall; };
        print("darkroom compare", runs["plain"]);
        for (const auto& [name, options] : asked) {
            print(name, runs[name]);
            printRatio("the same / without", ratios(column(runs[name], wall), column(runs["plain"], wall)),
                       std::string(name) == "--tiles 16" ? 2.0 : 0.0);
        }
        std::puts("");
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 7) {
        std::cerr << "usage: comparison_bench LIKENESS DARKROOM STAGES JPEG_FLOOR START_FLOOR SCRATCH_FOLDER "
                     "[REPETITIONS] [small | parts]\n";
        return 2;
    }
    const std::string program = fs::absolute(argv[1]);
    const std::string darkroom = fs::absolute(argv[2]);
    const std::string stages = fs::absolute(argv[3]);
    const Floors floors{fs::absolute(argv[4]), fs::absolute(argv[5])};
    fs::create_directories(argv[6]);
    fs::current_path(argv[6]);
    const int repetitions = argc > 7 ? std::max(1, std::atoi(argv[7])) : 7;
    if (argc > 8 && std::string(argv[8]) == "small") {
        benchStart(darkroom, floors, repetitions);
        bench(program, darkroom, stages, floors, {800, 600, 0}, repetitions, true);
        benchParts(darkroom, stages, 800, 600, repetitions);
        return 0;
    }
    std::printf("%u processors, %d repetitions in turn, medians (least to greatest)\n\n",
                std::thread::hardware_concurrency(), repetitions);
    constexpr std::size_t megabyte = 1'000'000;
    benchStart(darkroom, floors, repetitions);
    if (argc > 8 && std::string(argv[8]) == "parts") {
        benchParts(darkroom, stages, 3264, 2448, repetitions);
        return 0;
    }
    bench(program, darkroom, stages, floors, {600, 450, 0, {2.5, 0, 0}}, repetitions, false);
    bench(program, darkroom, stages, floors, {3264, 2448, 0, {0, 1.25, 170}}, repetitions, true);
    bench(program, darkroom, stages, floors, {3264, 2448, 4 * megabyte, {1.25, 1.25, 170}}, repetitions, false);
    bench(program, darkroom, stages, floors, {5184, 3456, 0, {0, 0, 240}}, repetitions, false);
    bench(program, darkroom, stages, floors, {5184, 3456, 8 * megabyte, {1.25, 0, 240}}, repetitions, false);
    benchParts(darkroom, stages, 3264, 2448, repetitions);
    benchPeak(program, stages, {12240, 8160, 0, {0, 0, 900}});
    return 0;
}
