#include "photofile/space_mark.hpp"

#include "files/standard_input.hpp"
#include "photofile/profile_tagging.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <string_view>

namespace likeness {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::string_view keyword = "darkroom:space";
constexpr std::size_t longestMark = 256;
constexpr unsigned imageDescription = 270;
constexpr unsigned asciiType = 2;

bool beginsWith(const Bytes& bytes, std::initializer_list<unsigned char> beginning) {
    return bytes.size() >= beginning.size() && std::equal(beginning.begin(), beginning.end(), bytes.begin());
}

/// A file's bytes and numbers; what lies behind its end is 0.
class Source {
public:
    explicit Source(const std::string& path) : file_(path, std::ios::binary) {}

    Bytes bytes(std::uint64_t offset, std::size_t count) {
        Bytes result(count);
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(offset));
        file_.read(reinterpret_cast<char*>(result.data()), static_cast<std::streamsize>(count));
        result.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, file_.gcount())));
        return result;
    }

    std::uint64_t number(std::uint64_t offset, std::size_t size, bool bigEndian) {
        Bytes digits = bytes(offset, size);
        digits.resize(size);
        if (!bigEndian) {
            std::reverse(digits.begin(), digits.end());
        }
        std::uint64_t value = 0;
        for (const unsigned char digit : digits) {
            value = value << 8U | digit;
        }
        return value;
    }

private:
    std::ifstream file_;
};

/// What follows the keyword and `separator`, up to a zero.
std::string markIn(const Bytes& text, char separator) {
    const std::string beginning = std::string(keyword) + separator;
    const std::string all(text.begin(), text.end());
    if (all.rfind(beginning, 0) != 0) {
        return "";
    }
    return all.substr(beginning.size(), all.find('\0', beginning.size()) - beginning.size());
}

std::string markOfPng(Source& source) {
    constexpr int mostChunks = 64;
    std::uint64_t offset = 8;
    for (int k = 0; k < mostChunks; ++k) {
        const std::uint64_t length = source.number(offset, 4, true);
        const Bytes type = source.bytes(offset + 4, 4);
        if (type.size() < 4 || std::equal(type.begin(), type.end(), "IDAT")) {
            return "";
        }
        if (std::equal(type.begin(), type.end(), "tEXt")) {
            const std::uint64_t most = keyword.size() + 1 + longestMark;
            const Bytes text = source.bytes(offset + 8, static_cast<std::size_t>(std::min(length, most)));
            if (std::string mark = markIn(text, '\0'); !mark.empty()) {
                return mark;
            }
        }
        offset += 12 + length;
    }
    return "";
}

std::string markOfTiff(Source& source, bool bigEndian) {
    const std::uint64_t directory = source.number(4, 4, bigEndian);
    const std::uint64_t count = std::min<std::uint64_t>(source.number(directory, 2, bigEndian), 4096);
    for (std::uint64_t k = 0; k < count; ++k) {
        const std::uint64_t entry = directory + 2 + 12 * k;
        if (source.number(entry, 2, bigEndian) == imageDescription) {
            const std::uint64_t most = keyword.size() + 1 + longestMark;
            const std::uint64_t length = source.number(entry + 4, 4, bigEndian);
            return markIn(
                source.bytes(source.number(entry + 8, 4, bigEndian), static_cast<std::size_t>(std::min(length, most))),
                ' ');
        }
    }
    return "";
}

}  // namespace

void addSpaceMark(Bytes& file, const std::string& mark) {
    Bytes text(keyword.begin(), keyword.end());
    if (beginsWith(file, {0x89, 'P', 'N', 'G'})) {
        text.push_back(0);
        text.insert(text.end(), mark.begin(), mark.end());
        addToPng(file, "tEXt", text);
    } else if (beginsWith(file, {'I', 'I', 42, 0}) || beginsWith(file, {'M', 'M', 0, 42})) {
        text.push_back(' ');
        text.insert(text.end(), mark.begin(), mark.end());
        text.push_back(0);
        addToTiff(file, imageDescription, asciiType, text);
    }
}

std::string spaceMarkOf(const std::string& path) {
    Source source(placeOfInput(path));
    const Bytes beginning = source.bytes(0, 8);
    if (beginsWith(beginning, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'})) {
        return markOfPng(source);
    }
    const bool bigEndian = beginsWith(beginning, {'M', 'M', 0, 42});
    return bigEndian || beginsWith(beginning, {'I', 'I', 42, 0}) ? markOfTiff(source, bigEndian) : "";
}

}  // namespace likeness
