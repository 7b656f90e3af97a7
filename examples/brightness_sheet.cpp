// Brightens a photograph with several factors and saves a contact sheet.
//
//     brightness_sheet examples/photos/coffee.jpg sheet.jpg
#include <likeness/likeness.hpp>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

/// An adapted image back as 8-bit B, G, R.
cv::Mat displayed(cv::Mat adapted, cv::Mat& white) {
    cv::Mat xyz(adapted.size(), CV_32FC3);
    cv::Mat bgr(adapted.size(), CV_32FC3);
    likeness::inverseCATByD65(adapted, white, xyz);
    likeness::convertSharpenedBGRtoXYZ(adapted, xyz);
    likeness::convertXYZToBGRDirect(xyz, bgr);
    cv::Mat bytes;
    bgr.convertTo(bytes, CV_8U, 255);
    return bytes;
}

cv::Mat captioned(const cv::Mat& image, const char* caption) {
    cv::Mat tile;
    cv::copyMakeBorder(image, tile, 28, 4, 4, 4, cv::BORDER_CONSTANT, cv::Scalar::all(255));
    cv::putText(tile, caption, {8, 19}, cv::FONT_HERSHEY_SIMPLEX, 0.5, cv::Scalar::all(0), 1, cv::LINE_AA);
    return tile;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: brightness_sheet PHOTOGRAPH SHEET\n");
        return 2;
    }
    cv::Mat photograph = cv::imread(argv[1], cv::IMREAD_COLOR);
    if (photograph.empty()) {
        std::fprintf(stderr, "brightness_sheet: %s: cannot be read as an image\n", argv[1]);
        return 1;
    }
    cv::resize(photograph, photograph, {300, 300 * photograph.rows / photograph.cols}, 0, 0, cv::INTER_AREA);
    cv::Mat bgr(photograph.size(), CV_32FC3);
    likeness::normImg(photograph, bgr);
    cv::Mat xyz(bgr.size(), CV_32FC3);
    cv::Mat white(bgr.size(), CV_32FC3);  // every pixel is its own white, as in the comparison
    likeness::convertBGRToXYZDirect(bgr, xyz);
    likeness::convertXYZtoSharpenedBGR(xyz, white);
    cv::Mat src = white.clone();
    likeness::iCAMCATByD65(src, white, xyz);

    std::array<cv::Mat, likeness::brightnessPasses> brightened;
    for (cv::Mat& image : brightened) {
        image.create(src.size(), CV_32FC3);
    }
    constexpr float first = 11.4F;
    likeness::increaseBrightness(src, brightened.data(), first, likeness::dropAll());

    std::vector<cv::Mat> rows;
    std::vector<cv::Mat> row = {captioned(photograph, "photograph")};
    for (int k = 0; k < likeness::brightnessPasses - 1; ++k) {
        const double factor = first - 0.7 * k;
        char caption[64];
        std::snprintf(caption, sizeof caption, "factor %.1f, gamma %.3f", factor, std::log10(10 / factor) + 1);
        row.push_back(captioned(displayed(brightened[static_cast<std::size_t>(k)], white), caption));
        if (row.size() == 3) {
            rows.emplace_back();
            cv::hconcat(row, rows.back());
            row.clear();
        }
    }
    cv::Mat sheet;
    cv::vconcat(rows, sheet);
    return cv::imwrite(argv[2], sheet, {cv::IMWRITE_JPEG_QUALITY, 85}) ? 0 : 1;
}
