#include "color/image_library_lab.hpp"

#include <opencv2/imgproc.hpp>

namespace likeness {
namespace {

void makeTables() {
    static const bool made = [] {
        cv::Mat pixel(1, 1, CV_32FC3, cv::Scalar::all(0.5));
        cv::cvtColor(pixel, pixel, cv::COLOR_BGR2Lab);
        cv::cvtColor(pixel, pixel, cv::COLOR_Lab2BGR);
        return true;
    }();
    static_cast<void>(made);
}

}  // namespace

void labByImageLibrary(const cv::Mat& bgr, cv::Mat& lab) {
    makeTables();
    cv::cvtColor(bgr, lab, cv::COLOR_BGR2Lab);
}

void bgrByImageLibrary(const cv::Mat& lab, cv::Mat& bgr) {
    makeTables();
    cv::cvtColor(lab, bgr, cv::COLOR_Lab2BGR);
}

}  // namespace likeness
