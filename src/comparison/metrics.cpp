#include <likeness/comparison/metrics.hpp>

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include "comparison/report.hpp"
#include "diagnostics/number_text.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <array>
#include <iostream>
#include <string>

namespace likeness {

void normImg(cv::Mat& src, cv::Mat& dst) {
    requireType("normImg", CV_8UC3, {{"src", src}});
    requireRoom("normImg", src.size(), CV_32FC3, {{"dst", dst}});
    std::array<float, 256> normalized{};
    for (std::size_t value = 0; value < normalized.size(); ++value) {
        normalized[value] = static_cast<float>(static_cast<double>(value) / 255.0);
    }
    const ImageWalk walk = walkOver(src, dst);
    for (int i = 0; i < walk.rows; ++i) {
        const uchar* const in = src.ptr<uchar>(i);
        float* const out = dst.ptr<float>(i);
        for (std::size_t c = 0; c < 3 * static_cast<std::size_t>(walk.cols); ++c) {
            out[c] = normalized[in[c]];
        }
    }
}

void compute_cat(cv::Mat& src, cv::Mat& dst) {
    requireType("compute_cat", CV_32FC3, {{"src", src}});
    requireRoom("compute_cat", src.size(), CV_32FC3, {{"dst", dst}});
    requireType("compute_cat", CV_32FC3, {{"dst", dst}});
    cv::Mat xyz(src.size(), CV_32FC3);
    convertBGRToXYZDirect(src, xyz);
    convertXYZtoSharpenedBGR(xyz, dst);
    // Every pixel is its own white; the third image is not read.
    iCAMCATByD65(dst, dst, xyz);
}

void report(const LikenessCoefficients& k) {
    std::string report;
    std::string line;
    for (const float coefficient : {k.brightness, k.lightness, k.chroma, k.colorfulness, k.saturation}) {
        const std::string text = numberText(coefficient);
        report += text + '\n';
        line += (line.empty() ? "" : ",") + text;
    }
    const std::string problem = appendToReport("For_fit.txt", report);
    if (!problem.empty()) {
        std::cerr << "likeness: warning: For_fit.txt: " + problem + '\n';
    }
    std::cout << line << std::endl;
}

void metrics(cv::Mat& first, cv::Mat& second, const Diagnostics& diagnostics) {
    // The comparison takes floats too; the report is one of 8-bit photographs.
    requireType("metrics", CV_8UC3, {{"first", first}, {"second", second}});
    report(comparePhotographs(first, second, diagnostics));
}

}  // namespace likeness
