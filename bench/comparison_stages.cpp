// The parts that a comparison of two photographs is made of, each as a process of its own, for `comparison_bench`.
#include <likeness/likeness.hpp>
#include "comparison/distinct_colors.hpp"
#include "photograph_pair.hpp"
#include "reference/metrics_reference.hpp"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace {

cv::Mat decode(const char* path) {
    cv::Mat image = cv::imread(path, cv::IMREAD_COLOR);
    if (image.empty()) {
        std::cerr << "cannot read " << path << '\n';
        std::exit(1);
    }
    return image;
}

double milliseconds(std::chrono::steady_clock::time_point from) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - from).count();
}

/// Encodes three planes like the dumps of a photograph (a dark one of little contrast, one of chroma, a mask) and
/// writes as many bytes of text as the brightness dump has.
void writeLikeDumps(const cv::Mat& photograph, std::size_t textBytes) {
    std::vector<cv::Mat> planes;
    cv::split(photograph, planes);
    const cv::Mat achromatic = planes[1] / 8;
    cv::Mat chroma;
    cv::absdiff(planes[2], planes[0], chroma);
    const cv::Mat mask = planes[1] > 12;
    cv::imwrite("A_before.jpg", achromatic);
    cv::imwrite("mask.jpg", mask);
    cv::imwrite("t_before.jpg", chroma);
    const std::string block(std::size_t{1} << 18, '7');
    std::ofstream text("10_in.txt", std::ios::binary);
    for (std::size_t written = 0; written < textBytes; written += block.size()) {
        text.write(block.data(), static_cast<std::streamsize>(std::min(block.size(), textBytes - written)));
    }
}

/// Processor time that counting the colours of a photograph takes, in ns a pixel: the least of nine times.
double countingTime(const cv::Mat& photograph) {
    likeness::ColorCounter counter;
    counter.count(photograph, false);  // makes its table
    double least = 1e9;
    for (int round = 0; round < 9; ++round) {
        const std::clock_t begin = std::clock();
        counter.count(photograph, false);
        least = std::min(least, static_cast<double>(std::clock() - begin));
    }
    return least / CLOCKS_PER_SEC * 1e9 / static_cast<double>(photograph.total());
}

int usage() {
    std::cerr << "usage: comparison_stages make NAME WIDTH HEIGHT SEED FILE BYTES\n"
                 "       comparison_stages decode | library | literal | count FIRST SECOND\n"
                 "       comparison_stages floor FIRST SECOND TEXT_BYTES_FIRST TEXT_BYTES_SECOND\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string stage = argc > 1 ? argv[1] : "";
    if (stage == "make" && argc == 8) {
        const std::vector<uchar> file = likeness::bench::photographFile(
            argv[2], {std::atoi(argv[3]), std::atoi(argv[4])}, static_cast<std::uint64_t>(std::atoi(argv[5])),
            std::strtoull(argv[7], nullptr, 10));
        return std::ofstream(argv[6], std::ios::binary)
                       .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()))
                   ? 0
                   : 1;
    }
    if (argc < 4) {
        return usage();
    }
    const auto start = std::chrono::steady_clock::now();
    cv::Mat first = decode(argv[2]);
    cv::Mat second = decode(argv[3]);
    const double decoding = milliseconds(start);
    const auto decoded = std::chrono::steady_clock::now();
    if (stage == "floor" && argc == 6) {
        writeLikeDumps(first, std::strtoull(argv[4], nullptr, 10));
        writeLikeDumps(second, std::strtoull(argv[5], nullptr, 10));
    } else if (stage == "library" && argc == 4) {
        const likeness::LikenessCoefficients k = likeness::comparePhotographs(first, second);
        std::cerr << k.brightness << '\n';
    } else if (stage == "count" && argc == 4) {
        std::cout << countingTime(first) << ' ' << countingTime(second) << std::endl;
        return 0;
    } else if (stage == "literal" && argc == 4) {
        likeness::reference::metrics(first, second);
    } else if (stage != "decode" || argc != 4) {
        return usage();
    }
    // For the caller: milliseconds of decoding, and of what came after it.
    std::cout << decoding << ' ' << milliseconds(decoded) << std::endl;
    return 0;
}
