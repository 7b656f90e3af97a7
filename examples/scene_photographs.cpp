// From one photograph, the files of examples/scene: the scene with flash and without, and a bracket of five exposures
// with the exposure times in their EXIF data.
//
//     scene_photographs examples/photos/coffee.jpg examples/scene
#include <likeness/likeness.hpp>
#include "made_scene.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int width = 300;

/// Reciprocal exposure times in seconds. At 1/8 s the scene's white is just not clipped.
constexpr std::uint32_t reciprocals[] = {60, 30, 15, 8, 4};

/// Little-endian, as the tags of a camera's note are written here.
class Note {
public:
    template <typename Integer>
    Note& add(Integer value) {
        for (std::size_t byte = 0; byte < sizeof value; ++byte) {
            bytes_ += static_cast<char>(value >> (8 * byte) & 0xFF);
        }
        return *this;
    }
    Note& entry(std::uint16_t tag, std::uint16_t type, std::uint32_t value) {
        return add(tag).add(type).add<std::uint32_t>(1).add(value);
    }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

/// The APP1 segment of a JPEG file with exposure time 1 / `reciprocal` s, f-number 8 and ISO 100 (CIPA DC-008, 4.6).
std::string exifSegment(std::uint32_t reciprocal) {
    constexpr std::uint16_t shortType = 3;
    constexpr std::uint16_t longType = 4;
    constexpr std::uint16_t rationalType = 5;
    constexpr std::uint32_t exifDirectory = 26;  // behind the header (8) and a directory of one entry (18)
    constexpr std::uint32_t rationals = exifDirectory + 2 + 3 * 12 + 4;
    Note note;
    note.add<std::uint16_t>(0x4949).add<std::uint16_t>(42).add<std::uint32_t>(8);  // byte order, mark, first directory
    note.add<std::uint16_t>(1).entry(0x8769, longType, exifDirectory).add<std::uint32_t>(0);
    note.add<std::uint16_t>(3)
        .entry(0x829A, rationalType, rationals)      // ExposureTime
        .entry(0x829D, rationalType, rationals + 8)  // FNumber
        .entry(0x8827, shortType, 100)               // PhotographicSensitivity
        .add<std::uint32_t>(0);
    note.add<std::uint32_t>(1).add(reciprocal).add<std::uint32_t>(8).add<std::uint32_t>(1);
    const std::string content = std::string("Exif\0\0", 6) + note.bytes();
    const std::size_t length = content.size() + 2;
    return std::string("\xFF\xE1") + static_cast<char>(length >> 8) + static_cast<char>(length & 0xFF) + content;
}

/// @param segment  goes behind the two bytes that begin the file
bool save(const std::string& path, const cv::Mat& image, const std::string& segment = "") {
    cv::Mat bytes;
    image.convertTo(bytes, CV_8U, 255);
    std::vector<uchar> jpeg;
    cv::imencode(".jpg", bytes, jpeg, {cv::IMWRITE_JPEG_QUALITY, 90});
    std::string content(jpeg.begin(), jpeg.end());
    content.insert(2, segment);
    std::ofstream file(path, std::ios::binary);
    return static_cast<bool>(file << content);
}

cv::Mat exposureOf(const cv::Mat& light, double gain) {
    cv::Mat exposure = light.clone();
    std::for_each(exposure.begin<cv::Vec3f>(), exposure.end<cv::Vec3f>(), [gain](cv::Vec3f& pixel) {
        for (int c = 0; c < 3; ++c) {
            pixel[c] = static_cast<float>(made_scene::stored(std::max(0.0, pixel[c] * gain)));
        }
    });
    return exposure;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: scene_photographs PHOTOGRAPH FOLDER\n");
        return 2;
    }
    cv::Mat photograph = cv::imread(argv[1], cv::IMREAD_COLOR);
    if (photograph.empty()) {
        std::fprintf(stderr, "scene_photographs: %s: cannot be read as an image\n", argv[1]);
        return 1;
    }
    cv::resize(photograph, photograph, {width, width * photograph.rows / photograph.cols}, 0, 0, cv::INTER_AREA);
    cv::Mat scene(photograph.size(), CV_32FC3);
    likeness::normImg(photograph, scene);
    const std::string folder = argv[2];

    const made_scene::Pair pair = made_scene::flashPair(scene);
    bool saved = save(folder + "/flash.jpg", pair.flash) && save(folder + "/ambient.jpg", pair.nonFlash);
    const cv::Mat light = made_scene::linear(scene);
    int number = 1;
    for (const std::uint32_t reciprocal : reciprocals) {
        saved = saved && save(folder + "/bracket_" + std::to_string(number++) + ".jpg",
                              exposureOf(light, 8.0 / reciprocal), exifSegment(reciprocal));
    }
    return saved ? 0 : 1;
}
