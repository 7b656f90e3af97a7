// The lightness of each pixel as a picture: appearance_maps PHOTOGRAPH RESULT
#include <likeness/likeness.hpp>

#include <opencv2/imgcodecs.hpp>

#include <iostream>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    const likeness::AppearanceMaps maps = likeness::appearanceMaps(cv::imread(argv[1]));
    std::cout << "mean brightness " << cv::mean(maps.brightness)[0] << ", mean chroma " << cv::mean(maps.chroma)[0]
              << '\n';
    return cv::imwrite(argv[2], maps.lightness * 2.55) ? 0 : 1;  // 0..100 becomes 0..255
}
