// palette_sheet INPUT TARGET SHEET: carries the palette of one photograph onto another in L*a*b*, part of the way and
// all of it, and writes a sheet of pictures: above, the input and the target; in the middle, the input with its chroma
// transferred, and below with lightness and chroma transferred, for t = 0, 0.25, 0.5, 0.75 and 1. Prints the mean and
// the covariance of the colours of each.
#include <likeness/likeness.hpp>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <string>
#include <vector>

namespace {

const std::vector<float> positions = {0, 0.25F, 0.5F, 0.75F, 1};
constexpr int cellWidth = 280;

cv::Mat labOf(const cv::Mat& photograph) {
    cv::Mat lab;
    photograph.convertTo(lab, CV_32F, 1.0 / 255.0);
    cv::cvtColor(lab, lab, cv::COLOR_BGR2Lab);
    return lab;
}

cv::Mat transferred(const cv::Mat& input, const cv::Mat& target, float t, int dims) {
    cv::Mat result(input.size(), CV_32FC(dims));
    cv::Mat inpMeanRow(1, dims, CV_32F);
    cv::Mat tarMeanRow(1, dims, CV_32F);
    cv::Mat map(dims, dims, CV_32F);
    cv::Mat unused;
    likeness::applyOptimalTransport(input, target, result, unused, inpMeanRow, unused, tarMeanRow, map, t, dims,
                                    likeness::dropAll());
    if (dims == 3) {
        return result;
    }
    cv::Mat lab(input.size(), CV_32FC3);
    const cv::Mat sources[] = {input, result};
    const int fromTo[] = {0, 0, 3, 1, 4, 2};  // lightness of the input, chroma of the result
    cv::mixChannels(sources, 2, &lab, 1, fromTo, 3);
    return lab;
}

void printStatistics(const std::string& name, const cv::Mat& lab) {
    float values[3];
    float* means = values;
    likeness::computeWeightedMeanVector(lab, means, 3, likeness::dropAll());
    cv::Mat c(3, 3, CV_32F);
    likeness::computeCovariance(lab, c, 3, likeness::dropAll());
    const auto at = [&c](int i, int j) { return static_cast<double>(c.at<float>(i, j)); };
    std::printf("| %s | %.1f, %.1f, %.1f | %.1f | %.1f | %.1f | %.1f | %.1f | %.1f |\n", name.c_str(),
                static_cast<double>(means[0]), static_cast<double>(means[1]), static_cast<double>(means[2]), at(0, 0),
                at(1, 1), at(2, 2), at(0, 1), at(0, 2), at(1, 2));
}

cv::Mat cell(const cv::Mat& lab, const std::string& label, int height) {
    cv::Mat picture;
    cv::cvtColor(lab, picture, cv::COLOR_Lab2BGR);
    picture.convertTo(picture, CV_8U, 255);
    const double scale =
        std::min(static_cast<double>(cellWidth) / picture.cols, static_cast<double>(height) / picture.rows);
    cv::resize(picture, picture, {}, scale, scale, cv::INTER_AREA);
    cv::Mat result(height, cellWidth, CV_8UC3, cv::Scalar::all(255));
    picture.copyTo(result(cv::Rect(0, 0, picture.cols, picture.rows)));
    const cv::Point foot(8, 20);
    cv::putText(result, label, foot, cv::FONT_HERSHEY_SIMPLEX, 0.55, cv::Scalar::all(0), 4, cv::LINE_AA);
    cv::putText(result, label, foot, cv::FONT_HERSHEY_SIMPLEX, 0.55, cv::Scalar::all(255), 1, cv::LINE_AA);
    return result;
}

cv::Mat rowOf(std::vector<cv::Mat> cells) {
    while (cells.size() < positions.size()) {
        cells.emplace_back(cells.front().size(), CV_8UC3, cv::Scalar::all(255));
    }
    cv::Mat row;
    cv::hconcat(cells, row);
    return row;
}

std::string positionText(float t) {
    return cv::format("t = %g", static_cast<double>(t));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: palette_sheet INPUT TARGET SHEET\n", stderr);
        return 2;
    }
    const cv::Mat inputPhotograph = cv::imread(argv[1], cv::IMREAD_COLOR);
    const cv::Mat targetPhotograph = cv::imread(argv[2], cv::IMREAD_COLOR);
    if (inputPhotograph.empty() || targetPhotograph.empty()) {
        std::fprintf(stderr, "palette_sheet: %s is not a readable image\n", argv[inputPhotograph.empty() ? 1 : 2]);
        return 1;
    }
    const cv::Mat input = labOf(inputPhotograph);
    const cv::Mat target = labOf(targetPhotograph);
    const int height = cellWidth * input.rows / input.cols;

    std::puts(
        "| photograph | mean L\\*, a\\*, b\\* | var L\\* | var a\\* | var b\\* | cov L\\*a\\* | cov L\\*b\\* | cov "
        "a\\*b\\* |");
    std::puts("| --- | --- | --- | --- | --- | --- | --- | --- |");
    printStatistics("input", input);
    std::vector<cv::Mat> rows = {rowOf({cell(input, "input", height), cell(target, "target", height)})};
    for (const int dims : {2, 3}) {
        std::vector<cv::Mat> cells;
        for (const float t : positions) {
            const cv::Mat lab = transferred(input, target, t, dims);
            const std::string label = std::to_string(dims) + " dims, " + positionText(t);
            printStatistics(label, lab);
            cells.push_back(cell(lab, label, height));
        }
        rows.push_back(rowOf(cells));
    }
    printStatistics("target", target);
    cv::Mat sheet;
    cv::vconcat(rows, sheet);
    if (!cv::imwrite(argv[3], sheet, {cv::IMWRITE_JPEG_QUALITY, 85})) {
        std::fprintf(stderr, "palette_sheet: %s cannot be written\n", argv[3]);
        return 1;
    }
    return 0;
}
