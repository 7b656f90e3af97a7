// What two threads gain in the operations on pixels, and how long operations take beside a peer: each ratio from calls
// of both sides in turn, so that a machine whose speed changes changes both.
#include <likeness/color/lab.hpp>
#include <likeness/filter/guidedfilter.hpp>
#include <likeness/threads.hpp>
#include "reference/transport_reference.hpp"
#include "support/pixel_operations.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#ifdef LIKENESS_HAVE_XIMGPROC
#include <opencv2/ximgproc.hpp>
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using Work = std::function<void()>;

double secondsOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The median of time of `first` / time of `second`, of `rounds` rounds.
double ratioOf(const Work& first, const Work& second, int rounds) {
    std::vector<double> ratios;
    first();
    second();
    for (int k = 0; k < rounds; ++k) {
        const double a = secondsOf(first);
        const double b = secondsOf(second);
        ratios.push_back(a / b);
    }
    std::nth_element(ratios.begin(), ratios.begin() + rounds / 2, ratios.end());
    return ratios[static_cast<std::size_t>(rounds / 2)];
}

void show(const std::string& what, const std::string& against, double ratio, const std::string& target) {
    std::printf("%-40s %-34s %7.2f  %s\n", what.c_str(), against.c_str(), ratio, target.c_str());
    std::fflush(stdout);
}

cv::Mat photograph(const std::string& name, cv::Size size) {
    cv::Mat image = cv::imread(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name, cv::IMREAD_COLOR);
    cv::resize(image, image, size);
    return image;
}

Work onThreads(int count, Work work) {
    return [count, work = std::move(work)] {
        likeness::setThreads(count);
        work();
    };
}

void showThreads(cv::Size size) {
    const cv::Mat first = photograph("coffee.jpg", size);
    const cv::Mat second = photograph("rocket.jpg", size);
    for (const auto& operation : likeness::testing::pixelOperations()) {
        const Work run = [&] { operation.run(first, second); };
        show(operation.name, "two threads (one / two)", ratioOf(onThreads(1, run), onThreads(2, run), 7),
             "at least 1.8");
    }
}

void showPeers(cv::Size size) {
    likeness::setThreads(2);
    cv::setNumThreads(2);
    cv::Mat unit;
    photograph("coffee.jpg", size).convertTo(unit, CV_32F, 1 / 255.0);
    cv::Mat white(1, 1, CV_32FC3, cv::Scalar(0.9, 0.95, 1.0));
    cv::Mat overwritten = unit.clone();
    cv::Mat lab(size, CV_32FC3);
    cv::Mat bgr(size, CV_32FC3);
    cv::Mat theirs;
    // The conversion leaves linear values behind: it gets the photograph anew, and so does the peer.
    show("convertBGRToLab", "cv::cvtColor, two threads each",
         ratioOf([&] { unit.copyTo(overwritten), likeness::convertBGRToLab(overwritten, white, lab); },
                 [&] { unit.copyTo(overwritten), cv::cvtColor(overwritten, theirs, cv::COLOR_BGR2Lab); }, 15),
         "at most 3.0");
    show("convertLabToBGR", "cv::cvtColor, two threads each",
         ratioOf([&] { likeness::convertLabToBGR(lab, white, bgr); },
                 [&] { cv::cvtColor(lab, theirs, cv::COLOR_Lab2BGR); }, 15),
         "at most 3.0");

    const cv::Size small(433, 289);
    cv::Mat guide;
    cv::Mat input;
    photograph("coffee.jpg", small).convertTo(guide, CV_32F);
    photograph("rocket.jpg", small).convertTo(input, CV_32F);
    show(
        "transport filter, literal", "ours, two threads",
        ratioOf([&] { likeness::reference::filterColorChannelsMK(guide, input, 9); },
                [&] { likeness::GuidedFilterColor(guide, 9, 0, likeness::dropAll()).filterColorChannelsMK(input); }, 3),
        "at least 80");

#ifdef LIKENESS_HAVE_XIMGPROC
    constexpr int radius = 16;
    constexpr double epsilon = 1e-4;
    cv::Mat gray;
    cv::extractChannel(unit, gray, 1);
    struct Case {
        const char* name;
        const cv::Mat& guide;
        const cv::Mat& input;
    };
    for (const Case& c : {Case{"guided filter, gray guide, 1 channel", gray, gray},
                          Case{"guided filter, gray guide, 3 channels", gray, unit},
                          Case{"guided filter, colour guide, 1 channel", unit, gray},
                          Case{"guided filter, colour guide, 3 channels", unit, unit}}) {
        show(c.name, "cv::ximgproc, two threads each",
             ratioOf([&] { likeness::guidedFilter(c.guide, c.input, radius, epsilon, -1, likeness::dropAll()); },
                     [&] { cv::ximgproc::guidedFilter(c.guide, c.input, theirs, radius, epsilon); }, 9),
             "at most 0.9");
    }
#endif
}

}  // namespace

int main() {
    const cv::Size size(1600, 1200);
    showThreads(size);
    showPeers(size);
}
