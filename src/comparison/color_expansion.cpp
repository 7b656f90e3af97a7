#include "comparison/color_expansion.hpp"

#include "comparison/distinct_colors.hpp"
#include "diagnostics/number_text.hpp"
#include "numerics/beside.hpp"

#include <cstring>
#include <utility>

namespace likeness {
namespace {

bool isJpeg(const std::string& name) {
    const auto endsWith = [&name](std::string_view end) {
        return name.size() >= end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
    };
    return endsWith(".jpg") || endsWith(".jpeg") || endsWith(".JPG");
}

}  // namespace

ColorExpansion::ColorExpansion(const cv::Mat& indices, const Diagnostics& receiver)
    : indices_(indices), receiver_(receiver) {}

void ColorExpansion::writeImage(const std::string& name, const cv::Mat& image) const {
    cv::Mat perColor;
    if (isJpeg(name)) {
        image.convertTo(perColor, CV_8U);  // what the writer does with floats, once per colour instead of per pixel
    } else {
        perColor = image.clone();
    }
    const std::scoped_lock lock(mutex_);
    images_.push_back({name, perColor});
}

void ColorExpansion::writeMap(const std::string& name, const cv::Mat& map, int /*rows*/, int cols) const {
    std::vector<Line> lines(static_cast<std::size_t>(cols));
    const float* value = map.ptr<float>(0);
    for (Line& line : lines) {
        char* end = writeNumber(line.text, *value++);
        *end++ = '\n';
        line.length = static_cast<unsigned char>(end - line.text);
    }
    const std::scoped_lock lock(mutex_);
    texts_.push_back({name, std::move(lines)});
}

void ColorExpansion::handOn() {
    auto images = beside([this] { handOnImages(); });
    try {
        handOnTexts();
    } catch (...) {
        images.wait();  // also where it waits to be asked: what is left does not depend on the number of threads
        throw;
    }
    images.get();
}

void ColorExpansion::handOnImages() const {
    cv::Mat expanded;
    for (const Image& image : images_) {
        expanded = expandColors(image.perColor, indices_, std::move(expanded));
        receiver_.writeImage(image.name, expanded);
    }
}

void ColorExpansion::handOnTexts() const {
    std::vector<char> buffer(std::size_t{1} << 18);
    char* const begin = buffer.data();
    const char* const full = begin + buffer.size() - sizeof(Line);
    for (const Text& text : texts_) {
        const std::unique_ptr<TextDump> file = receiver_.openText(text.name);
        const Line* const lines = text.perColor.data();
        char* end = begin;
        for (int i = 0; i < indices_.rows; ++i) {
            const int* const index = indices_.ptr<int>(i);
            for (int j = 0; j < indices_.cols; ++j) {
                const Line& line = lines[index[j]];
                std::memcpy(end, &line, sizeof(Line));  // a fixed size: the next line overwrites what is too much
                end += line.length;
                if (end > full) {
                    file->write({begin, static_cast<std::size_t>(end - begin)});
                    end = begin;
                }
            }
        }
        file->write({begin, static_cast<std::size_t>(end - begin)});
    }
}

}  // namespace likeness
