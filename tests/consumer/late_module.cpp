// Optical flow comes from a module that the library finds by itself, wherever it was installed or built.
#include <likeness/likeness.hpp>

int main() {
    const cv::Mat photograph(40, 60, CV_8UC3, cv::Scalar(40, 90, 160));
    return likeness::alignTo(photograph, photograph).image.size() == photograph.size() ? 0 : 1;
}
