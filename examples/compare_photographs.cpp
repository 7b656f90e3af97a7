// How alike two photographs look: compare_photographs FIRST SECOND
#include <likeness/likeness.hpp>

#include <opencv2/imgcodecs.hpp>

#include <iostream>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    const likeness::Analysis first = likeness::analyze(cv::imread(argv[1]));
    const likeness::Analysis second = likeness::analyze(cv::imread(argv[2]));
    const likeness::LikenessCoefficients k = likeness::compare(first, second);
    std::cout << "brightness " << k.brightness << ", lightness " << k.lightness << ", chroma " << k.chroma
              << ", colourfulness " << k.colorfulness << ", saturation " << k.saturation << '\n';
}
