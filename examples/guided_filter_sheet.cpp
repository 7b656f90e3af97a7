// Makes a contact sheet of what the guided filter does to a photograph.
//
//     guided_filter_sheet PHOTOGRAPH SHEET
//
// First row: the photograph; noise added to it; the noise filtered under the photograph's green channel, and under all
// three channels. Second row: the photograph under its own channels one by one, at growing radius and regulariser, and
// the white image that the per-pixel white estimate makes of it.
#include <likeness/likeness.hpp>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int tileWidth = 480;

cv::Mat read(const std::string& path) {
    const cv::Mat bytes = cv::imread(path, cv::IMREAD_COLOR);
    if (bytes.empty()) {
        throw std::runtime_error("cannot read " + path + " as an image");
    }
    cv::Mat smaller;
    cv::resize(bytes, smaller, cv::Size(tileWidth, tileWidth * bytes.rows / bytes.cols), 0, 0, cv::INTER_AREA);
    cv::Mat image;
    smaller.convertTo(image, CV_32F, 1.0 / 255.0);
    return image;
}

cv::Mat withNoise(const cv::Mat& image) {
    cv::Mat noise(image.size(), image.type());
    cv::RNG(1).fill(noise, cv::RNG::NORMAL, 0.0, 0.08);
    return image + noise;
}

/// Each channel smoothed under itself: edges of one channel do not show in another.
cv::Mat selfGuided(const cv::Mat& image, int radius, double eps) {
    std::vector<cv::Mat> planes;
    cv::split(image, planes);
    for (cv::Mat& plane : planes) {
        plane = likeness::guidedFilter(plane, plane, radius, eps, -1);
    }
    cv::Mat smoothed;
    cv::merge(planes, smoothed);
    return smoothed;
}

cv::Mat tile(const cv::Mat& image, const std::string& caption) {
    cv::Mat bytes;
    image.convertTo(bytes, CV_8U, 255.0);
    cv::Mat framed;
    cv::copyMakeBorder(bytes, framed, 4, 28, 4, 4, cv::BORDER_CONSTANT, cv::Scalar::all(32));
    cv::putText(framed, caption, cv::Point(8, framed.rows - 9), cv::FONT_HERSHEY_SIMPLEX, 0.55, cv::Scalar::all(230), 1,
                cv::LINE_AA);
    return framed;
}

cv::Mat contactSheet(cv::Mat photograph) {
    const likeness::Diagnostics& nowhere = likeness::dropAll();  // the filter would write its planes beside the sheet
    const cv::Mat noisy = withNoise(photograph);
    cv::Mat green;
    cv::extractChannel(photograph, green, 1);
    cv::Mat white;
    likeness::computeWhiteImg(photograph, white, 16, nowhere);

    cv::Mat first;
    cv::hconcat(
        std::vector<cv::Mat>{
            tile(photograph, "photograph"),
            tile(noisy, "noise of 0.08 added"),
            tile(likeness::guidedFilter(green, noisy, 4, 1e-4, -1), "noise, green guide, r 4, eps 1e-4"),
            tile(likeness::guidedFilter(photograph, noisy, 4, 0.0, -1, nowhere), "noise, colour guide, r 4"),
        },
        first);
    cv::Mat second;
    cv::hconcat(
        std::vector<cv::Mat>{
            tile(selfGuided(photograph, 2, 0.01), "self-guided, r 2, eps 0.01"),
            tile(selfGuided(photograph, 8, 0.01), "self-guided, r 8, eps 0.01"),
            tile(selfGuided(photograph, 8, 0.16), "self-guided, r 8, eps 0.16"),
            tile(white, "white image"),
        },
        second);
    cv::Mat sheet;
    cv::vconcat(first, second, sheet);
    return sheet;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: guided_filter_sheet PHOTOGRAPH SHEET\n");
        return 2;
    }
    try {
        if (!cv::imwrite(argv[2], contactSheet(read(argv[1])), {cv::IMWRITE_JPEG_QUALITY, 85})) {
            std::fprintf(stderr, "guided_filter_sheet: cannot write %s\n", argv[2]);
            return 1;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "guided_filter_sheet: %s\n", error.what());
        return 1;
    }
    return 0;
}
