// alignment_sheet PHOTOGRAPH SHEET [WARPED]: warps a photograph by a swell of 2 pixels, 200 from crest to crest, lays
// the photograph onto the warped one along their optical flow, and writes a sheet of pictures: above, the reference,
// the photograph before and after; below, the length of the displacement and what differs from the reference before and
// after, eight times amplified. The warped photograph itself is written where a third name is given.
#include <likeness/likeness.hpp>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr double amplitude = 2;

cv::Mat swell(cv::Size size) {
    constexpr double wavelength = 200;
    cv::Mat displacement(size, CV_32FC2);
    for (int i = 0; i < size.height; ++i) {
        for (int j = 0; j < size.width; ++j) {
            displacement.at<cv::Vec2f>(i, j) =
                cv::Vec2f(static_cast<float>(amplitude * std::sin(2 * CV_PI * i / wavelength)),
                          static_cast<float>(amplitude * std::cos(2 * CV_PI * j / wavelength)));
        }
    }
    return displacement;
}

cv::Mat warped(const cv::Mat& image, const cv::Mat& displacement) {
    cv::Mat points = displacement.clone();
    for (int i = 0; i < points.rows; ++i) {
        for (int j = 0; j < points.cols; ++j) {
            points.at<cv::Vec2f>(i, j) += cv::Vec2f(static_cast<float>(j), static_cast<float>(i));
        }
    }
    cv::Mat result;
    cv::remap(image, result, points, cv::noArray(), cv::INTER_CUBIC, cv::BORDER_REFLECT_101);
    return result;
}

/// Length of each displacement, the longest white.
cv::Mat lengthPicture(const cv::Mat& displacement) {
    cv::Mat lengths(displacement.size(), CV_32FC3);
    for (int i = 0; i < lengths.rows; ++i) {
        for (int j = 0; j < lengths.cols; ++j) {
            const double length = cv::norm(displacement.at<cv::Vec2f>(i, j)) / (amplitude * std::sqrt(2.0));
            lengths.at<cv::Vec3f>(i, j) = cv::Vec3f::all(static_cast<float>(length));
        }
    }
    return lengths;
}

cv::Mat differencePicture(const cv::Mat& image, const cv::Mat& reference) {
    constexpr double amplification = 8;
    cv::Mat difference;
    cv::absdiff(image, reference, difference);
    return difference * amplification;
}

double meanDifference(const cv::Mat& image, const cv::Mat& reference) {
    return 255 * cv::norm(image, reference, cv::NORM_L1) / (3.0 * static_cast<double>(image.total()));
}

cv::Mat labelled(const cv::Mat& picture, const std::string& label) {
    cv::Mat result;
    picture.convertTo(result, CV_8U, 255);
    const cv::Point foot(8, 22);
    cv::putText(result, label, foot, cv::FONT_HERSHEY_SIMPLEX, 0.6, cv::Scalar::all(0), 4, cv::LINE_AA);
    cv::putText(result, label, foot, cv::FONT_HERSHEY_SIMPLEX, 0.6, cv::Scalar::all(255), 1, cv::LINE_AA);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fputs("usage: alignment_sheet PHOTOGRAPH SHEET [WARPED]\n", stderr);
        return 2;
    }
    cv::Mat moving = cv::imread(argv[1], cv::IMREAD_COLOR);
    if (moving.empty()) {
        std::fprintf(stderr, "alignment_sheet: %s: cannot be read as an image\n", argv[1]);
        return 1;
    }
    moving.convertTo(moving, CV_32F, 1.0 / 255.0);
    const cv::Mat displacement = swell(moving.size());
    cv::Mat reference = warped(moving, displacement);
    if (argc == 4 && !cv::imwrite(argv[3], reference * 255, {cv::IMWRITE_JPEG_QUALITY, 90})) {
        std::fprintf(stderr, "alignment_sheet: %s: cannot be written\n", argv[3]);
        return 1;
    }
    cv::Mat aligned;
    likeness::calculateOpticalFlow(moving, reference, aligned);

    cv::Mat above;
    cv::Mat below;
    cv::Mat sheet;
    cv::hconcat(
        std::vector<cv::Mat>{labelled(reference, "reference"), labelled(moving, "before"), labelled(aligned, "after")},
        above);
    cv::hconcat(std::vector<cv::Mat>{labelled(lengthPicture(displacement), "displacement"),
                                     labelled(differencePicture(moving, reference), "difference before, x 8"),
                                     labelled(differencePicture(aligned, reference), "difference after, x 8")},
                below);
    cv::vconcat(above, below, sheet);
    if (!cv::imwrite(argv[2], sheet, {cv::IMWRITE_JPEG_QUALITY, 85})) {
        std::fprintf(stderr, "alignment_sheet: %s: cannot be written\n", argv[2]);
        return 1;
    }
    std::printf("mean difference of 255: before %.2f, after %.2f\n", meanDifference(moving, reference),
                meanDifference(aligned, reference));
    return 0;
}
