#include <likeness/likeness.hpp>

#include <iostream>

int main() {
    // Photographs are 8-bit B, G, R images, as cv::imread gives them; here two of one colour.
    const cv::Mat first(40, 60, CV_8UC3, cv::Scalar(40, 90, 160));
    const cv::Mat second(30, 50, CV_8UC3, cv::Scalar(40, 90, 160));
    const likeness::LikenessCoefficients k = likeness::comparePhotographs(first, second);
    std::cout << "brightness " << k.brightness << ", lightness " << k.lightness << ", chroma " << k.chroma
              << ", colourfulness " << k.colorfulness << ", saturation " << k.saturation << '\n';
    return k.brightness == 1 ? 0 : 1;
}
