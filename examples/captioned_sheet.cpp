// captioned_sheet SHEET COLUMNS WIDTH CAPTION=PICTURE...: pictures side by side, from left to right and from above, each
// scaled to a width, with its caption. All cells have the height of the first; an empty caption writes nothing.
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

void caption(cv::Mat& cell, const std::string& words) {
    const cv::Point foot(7, 17);
    cv::putText(cell, words, foot, cv::FONT_HERSHEY_SIMPLEX, 0.42, cv::Scalar::all(0), 4, cv::LINE_AA);
    cv::putText(cell, words, foot, cv::FONT_HERSHEY_SIMPLEX, 0.42, cv::Scalar::all(255), 1, cv::LINE_AA);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        std::cerr << "usage: captioned_sheet SHEET COLUMNS WIDTH CAPTION=PICTURE...\n";
        return 2;
    }
    const int columns = std::max(1, std::atoi(argv[2]));
    const int width = std::max(1, std::atoi(argv[3]));
    cv::Mat sheet;
    cv::Size size;
    for (int k = 4; k < argc; ++k) {
        const std::string argument = argv[k];
        const std::size_t sign = argument.rfind('=');
        const cv::Mat picture =
            sign == std::string::npos ? cv::Mat() : cv::imread(argument.substr(sign + 1), cv::IMREAD_COLOR);
        if (picture.empty()) {
            std::cerr << "captioned_sheet: cannot read the picture of '" << argument << "'\n";
            return 2;
        }
        if (sheet.empty()) {
            size = {width, std::max(1, picture.rows * width / picture.cols)};
            const int cells = argc - 4;
            sheet = cv::Mat((cells + columns - 1) / columns * size.height, std::min(cells, columns) * size.width,
                            CV_8UC3, cv::Scalar::all(255));
        }
        cv::Mat cell;
        cv::resize(picture, cell, size, 0, 0, cv::INTER_AREA);
        caption(cell, argument.substr(0, sign));
        const int place = k - 4;
        cell.copyTo(sheet(cv::Rect({place % columns * size.width, place / columns * size.height}, size)));
    }
    if (!cv::imwrite(argv[1], sheet, {cv::IMWRITE_JPEG_QUALITY, 90})) {
        std::cerr << "captioned_sheet: cannot write '" << argv[1] << "'\n";
        return 2;
    }
    return 0;
}
