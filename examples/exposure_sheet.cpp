// From one photograph: a flash / no-flash pair through the exposure stack, and a bracket through response recovery.
//
//     exposure_sheet examples/photos/coffee.jpg FOLDER
//
// leaves exposure_stack.jpg, exposure_bracket.jpg and response_curve.png in FOLDER, with everything that the operations
// write in folders beside them.
#include <likeness/likeness.hpp>
#include "made_scene.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace made_scene;

constexpr int tileWidth = 250;
constexpr float brightness = 11.5F;
constexpr int iterations = 2;
constexpr int exposures = 6;

cv::Mat captioned(const cv::Mat& image, const std::string& caption) {
    cv::Mat tile;
    cv::copyMakeBorder(image, tile, 28, 4, 4, 4, cv::BORDER_CONSTANT, cv::Scalar::all(255));
    cv::putText(tile, caption, {8, 19}, cv::FONT_HERSHEY_SIMPLEX, 0.5, cv::Scalar::all(0), 1, cv::LINE_AA);
    return tile;
}

cv::Mat bytesOf(const cv::Mat& image) {
    cv::Mat bytes;
    image.convertTo(bytes, CV_8U, 255);
    return bytes;
}

/// Lays tiles out in rows of `columns`; the last row is filled with white.
cv::Mat sheetOf(std::vector<cv::Mat> tiles, std::size_t columns) {
    while (tiles.size() % columns != 0) {
        tiles.emplace_back(tiles[0].size(), tiles[0].type(), cv::Scalar::all(255));
    }
    std::vector<cv::Mat> rows;
    for (std::size_t first = 0; first < tiles.size(); first += columns) {
        rows.emplace_back();
        cv::hconcat(std::vector<cv::Mat>(tiles.begin() + static_cast<std::ptrdiff_t>(first),
                                         tiles.begin() + static_cast<std::ptrdiff_t>(first + columns)),
                    rows.back());
    }
    cv::Mat sheet;
    cv::vconcat(rows, sheet);
    return sheet;
}

Pair clone(const Pair& pair) {
    return {pair.flash.clone(), pair.nonFlash.clone()};
}

/// All three versions on one pair.
cv::Mat stackSheet(const cv::Mat& scene, const std::string& folder) {
    const Pair pair = flashPair(scene);
    std::vector<cv::Mat> tiles = {captioned(bytesOf(pair.flash), "flash"),
                                  captioned(bytesOf(pair.nonFlash), "no flash")};
    const auto add = [&](const std::string& path, const std::string& caption) {
        tiles.push_back(captioned(cv::imread(path, cv::IMREAD_COLOR), caption));
    };
    const auto diagnosticsIn = [](const std::string& name) {
        std::filesystem::create_directories(name);
        return likeness::DirectoryDiagnostics(name, likeness::DirectoryDiagnostics::Messages::dropped);
    };
    const std::string full = folder + "/stack";
    Pair modified = clone(pair);
    likeness::createBrightnessExposures(modified.flash, modified.nonFlash, brightness, iterations, full + "/out",
                                        diagnosticsIn(full));
    add(full + "/out.jpg", "tone-mapped");
    add(full + "/outfusion.jpg", "fused");
    for (int i = 0; i < exposures; ++i) {
        char caption[64];
        std::snprintf(caption, sizeof caption, "exposure %d, factor %.1f", i,
                      static_cast<double>(brightness) - 0.7 * i);
        add(full + "/" + std::to_string(i) + "_nonFlash.jpg", caption);
    }
    add(full + "/out0_00_final.jpg", "tinted to 0, 1 round");
    add(full + "/out1_00_final.jpg", "tinted to 0, 2 rounds");
    add(full + "/out0_05_final.jpg", "tinted to 5, 1 round");
    add(full + "/out1_05_final.jpg", "tinted to 5, 2 rounds");

    const std::string second = folder + "/second";
    modified = clone(pair);
    likeness::createBrightnessExposuresVs2(modified.flash, modified.nonFlash, brightness, iterations, second + "/out",
                                           diagnosticsIn(second));
    add(second + "/outfusion.jpg", "second version, fused");
    const std::string third = folder + "/third";
    modified = clone(pair);
    likeness::createBrightnessExposuresVs3(modified.flash, modified.nonFlash, brightness, iterations, "",
                                           diagnosticsIn(third));
    tiles.push_back(captioned(bytesOf(modified.flash), "third version, tinted"));
    return sheetOf(tiles, 4);
}

/// Six exposures of the scene by that camera, from the recovery's shortest time (1/512) to its longest (1/16).
std::vector<cv::Mat> bracketOf(const cv::Mat& scene) {
    const cv::Mat light = linear(scene);
    std::vector<cv::Mat> bracket;
    for (int k = 0; k < exposures; ++k) {
        cv::Mat exposure = light.clone();
        const double gain = std::ldexp(1.0, k - 3);  // the scene's white saturates from the fourth exposure on
        std::for_each(exposure.begin<cv::Vec3f>(), exposure.end<cv::Vec3f>(), [gain](cv::Vec3f& pixel) {
            for (int c = 0; c < 3; ++c) {
                pixel[c] = static_cast<float>(stored(std::max(0.0, pixel[c] * gain)));
            }
        });
        bracket.push_back(exposure);
    }
    return bracket;
}

/// Byte values over the logarithm of the exposure, true (black) and recovered (blue, green, red), joined at byte 128.
cv::Mat plotOf(const cv::Mat& response) {
    constexpr int side = 512;
    constexpr int margin = 48;
    cv::Mat plot(side + 2 * margin, side + 2 * margin, CV_8UC3, cv::Scalar::all(255));
    const auto place = [](double exposure, double byte) {
        const double stops = std::log2(exposure);  // from -10 to 2
        return cv::Point(margin + cvRound((stops + 10) / 12 * side), margin + side - cvRound(byte / 255 * side));
    };
    const auto text = [&plot](const std::string& words, cv::Point where, const cv::Scalar& color) {
        cv::putText(plot, words, where, cv::FONT_HERSHEY_SIMPLEX, 0.45, color, 1, cv::LINE_AA);
    };
    for (int stops = -10; stops <= 2; stops += 2) {
        const int x = place(std::exp2(stops), 0).x;
        cv::line(plot, {x, margin}, {x, margin + side}, cv::Scalar::all(220));
        text(std::to_string(stops), {x - 8, margin + side + 18}, cv::Scalar::all(0));
    }
    for (int byte = 0; byte <= 255; byte += 51) {
        const int y = place(1, byte).y;
        cv::line(plot, {margin, y}, {margin + side, y}, cv::Scalar::all(220));
        text(std::to_string(byte), {10, y + 5}, cv::Scalar::all(0));
    }
    text("byte over log2 of exposure; thin black: the camera; colours: recovered", {margin, 24}, cv::Scalar::all(0));
    const cv::Scalar colors[] = {{255, 80, 0}, {0, 160, 0}, {0, 0, 230}};
    for (int c = 0; c < 3; ++c) {
        const double scale = std::pow(128 / 255.0, 2.2) / response.at<cv::Vec3f>(128)[c];
        std::vector<cv::Point> curve;
        for (int byte = 0; byte < 256; ++byte) {
            const cv::Point point = place(response.at<cv::Vec3f>(byte)[c] * scale, byte);
            if (point.x >= margin && point.x <= margin + side) {
                curve.push_back(point);
            }
        }
        cv::polylines(plot, curve, false, colors[c], 2, cv::LINE_AA);
    }
    std::vector<cv::Point> truth;
    for (int byte = 11; byte < 256; ++byte) {  // the first within the plot
        truth.push_back(place(std::pow(byte / 255.0, 2.2), byte));
    }
    cv::polylines(plot, truth, false, cv::Scalar::all(0), 1, cv::LINE_AA);
    return plot;
}

/// The channels of a response as `recoverCRF` leaves them in its text files.
cv::Mat responseFrom(const std::string& folder) {
    cv::Mat response(256, 1, CV_32FC3);
    const char* const names[] = {"/Breal.txt", "/Greal.txt", "/Rreal.txt"};
    for (int c = 0; c < 3; ++c) {
        std::FILE* const file = std::fopen((folder + names[c]).c_str(), "r");
        for (int byte = 0; file != nullptr && byte < 256; ++byte) {
            if (std::fscanf(file, "%f", &response.at<cv::Vec3f>(byte)[c]) != 1) {
                break;
            }
        }
        if (file != nullptr) {
            std::fclose(file);
        }
    }
    return response;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: exposure_sheet PHOTOGRAPH FOLDER\n");
        return 2;
    }
    cv::Mat photograph = cv::imread(argv[1], cv::IMREAD_COLOR);
    if (photograph.empty()) {
        std::fprintf(stderr, "exposure_sheet: %s: cannot be read as an image\n", argv[1]);
        return 1;
    }
    cv::resize(photograph, photograph, {tileWidth, tileWidth * photograph.rows / photograph.cols}, 0, 0,
               cv::INTER_AREA);
    cv::Mat scene(photograph.size(), CV_32FC3);
    likeness::normImg(photograph, scene);
    const std::string folder = argv[2];

    const cv::Mat stack = stackSheet(scene, folder);

    const std::string bracketFolder = folder + "/bracket";
    std::filesystem::create_directories(bracketFolder);
    std::vector<cv::Mat> bracket = bracketOf(scene);
    std::vector<cv::Mat> tiles;
    for (int k = 0; k < exposures; ++k) {
        tiles.push_back(
            captioned(bytesOf(bracket[static_cast<std::size_t>(k)]), "1/" + std::to_string(512 >> k) + " s"));
    }
    cv::Mat* array = bracket.data();
    cv::Mat nonFlash = scene.clone();
    const likeness::DirectoryDiagnostics diagnostics(bracketFolder, likeness::DirectoryDiagnostics::Messages::dropped);
    likeness::recoverCRF(array, nonFlash, exposures, bracketFolder + "/run", diagnostics);
    tiles.push_back(captioned(cv::imread(bracketFolder + "/run.jpg", cv::IMREAD_COLOR), "tone-mapped"));
    tiles.push_back(captioned(cv::imread(bracketFolder + "/runfusion.jpg", cv::IMREAD_COLOR), "fused"));

    const std::vector<int> quality = {cv::IMWRITE_JPEG_QUALITY, 82};
    const bool written = cv::imwrite(folder + "/exposure_stack.jpg", stack, quality) &&
                         cv::imwrite(folder + "/exposure_bracket.jpg", sheetOf(tiles, 4), quality) &&
                         cv::imwrite(folder + "/response_curve.png", plotOf(responseFrom(bracketFolder)));
    return written ? 0 : 1;
}
