// Times a call of the library on demand, so that who starts it can take turns with another: python_bench.py.
// usage: comparison_call WIDTH HEIGHT FIRST SECOND     files of R, G, B bytes
// For each line of standard input it compares once, and prints the seconds that took and the coefficients.
#include <likeness/comparison/analysis.hpp>

#include <opencv2/core.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

cv::Mat bytesIn(const char* path, int width, int height) {
    cv::Mat image(height, width, CV_8UC3);
    std::ifstream file(path, std::ios::binary);
    const auto size = static_cast<std::streamsize>(image.total() * image.elemSize());
    if (!file.read(reinterpret_cast<char*>(image.data), size)) {
        throw std::runtime_error(std::string(path).append(" has fewer bytes than ").append(std::to_string(size)));
    }
    return image;
}

void compareOnDemand(const cv::Mat& first, const cv::Mat& second) {
    likeness::Comparer comparer;
    likeness::AnalysisOptions options;
    options.order = likeness::ChannelOrder::rgb;
    for (std::string line; std::getline(std::cin, line);) {
        const auto begin = std::chrono::steady_clock::now();
        const auto [one, other] = comparer.analyzePair(first, second, options);
        const likeness::LikenessCoefficients its = likeness::compare(one, other);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        std::printf("%.9f", taken.count());
        for (const float coefficient : {its.brightness, its.lightness, its.chroma, its.colorfulness, its.saturation}) {
            std::printf(" %.9g", static_cast<double>(coefficient));
        }
        std::puts("");
        std::fflush(stdout);
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 5) {
            throw std::runtime_error("usage: comparison_call WIDTH HEIGHT FIRST SECOND");
        }
        const int width = std::atoi(argv[1]);
        const int height = std::atoi(argv[2]);
        compareOnDemand(bytesIn(argv[3], width, height), bytesIn(argv[4], width, height));
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return 1;
    }
}
