#include "support/layered_exr.hpp"

#include <cstdint>
#include <cstring>

namespace likeness::testing {
namespace {

template <typename T>
void put(std::string& bytes, T value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

void putAttribute(std::string& bytes, const std::string& name, const std::string& type, const std::string& value) {
    bytes += name + '\0' + type + '\0';
    put(bytes, static_cast<std::int32_t>(value.size()));
    bytes += value;
}

std::string boxOf(const cv::Size& size) {
    std::string box;
    for (const int side : {0, 0, size.width - 1, size.height - 1}) {
        put(box, static_cast<std::int32_t>(side));
    }
    return box;
}

/// A channel of a file: they stand there in the order of their names.
struct Channel {
    cv::Mat layer;
    int number = 0;
};

std::map<std::string, Channel> channelsOf(const std::map<std::string, cv::Mat>& layers) {
    std::map<std::string, Channel> channels;
    for (const auto& [name, image] : layers) {
        for (int k = 0; k < image.channels(); ++k) {
            channels[(name.empty() ? "" : name + '.') + "BGRA"[k]] = {image, k};
        }
    }
    return channels;
}

std::string channelList(const std::map<std::string, Channel>& channels) {
    std::string list;
    for (const auto& [name, channel] : channels) {
        list += name + '\0';
        // Floats, not perceptually linear, every pixel of every row.
        for (const std::int32_t number : {2, 0, 1, 1}) {
            put(list, number);
        }
    }
    return list + '\0';
}

std::string rowOf(const std::map<std::string, Channel>& channels, int i) {
    std::string row;
    for (const auto& [name, channel] : channels) {
        for (int j = 0; j < channel.layer.cols; ++j) {
            put(row, channel.layer.ptr<float>(i)[j * channel.layer.channels() + channel.number]);
        }
    }
    return row;
}

}  // namespace

std::string layeredExr(const std::map<std::string, cv::Mat>& layers) {
    const cv::Size size = layers.begin()->second.size();
    const std::map<std::string, Channel> channels = channelsOf(layers);
    std::string one;
    put(one, 1.0F);
    std::string bytes;
    put(bytes, std::uint32_t{20000630});
    put(bytes, std::uint32_t{2});
    putAttribute(bytes, "channels", "chlist", channelList(channels));
    putAttribute(bytes, "compression", "compression", std::string(1, '\0'));
    putAttribute(bytes, "dataWindow", "box2i", boxOf(size));
    putAttribute(bytes, "displayWindow", "box2i", boxOf(size));
    putAttribute(bytes, "lineOrder", "lineOrder", std::string(1, '\0'));
    putAttribute(bytes, "pixelAspectRatio", "float", one);
    putAttribute(bytes, "screenWindowCenter", "v2f", std::string(8, '\0'));
    putAttribute(bytes, "screenWindowWidth", "float", one);
    bytes += '\0';
    std::uint64_t place = bytes.size() + 8 * static_cast<std::uint64_t>(size.height);
    std::string rows;
    for (int i = 0; i < size.height; ++i) {
        const std::string row = rowOf(channels, i);
        put(bytes, place);
        put(rows, static_cast<std::int32_t>(i));
        put(rows, static_cast<std::int32_t>(row.size()));
        rows += row;
        place += 8 + row.size();
    }
    return bytes + rows;
}

}  // namespace likeness::testing
