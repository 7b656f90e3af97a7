#include "support/made_dng.hpp"

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace likeness::testing {
namespace {

void append(std::string& bytes, std::uint64_t number, int count) {
    for (int k = 0; k < count; ++k) {
        bytes += static_cast<char>(number >> 8 * k & 0xFF);
    }
}

/// Bits, the most significant first.
class BitWriter {
public:
    /// @param stuffed  whether a byte of 0 follows one of 255, as in the scan of a JPEG
    explicit BitWriter(bool stuffed) : stuffed_(stuffed) {}

    void put(std::uint32_t value, int count) {
        for (int k = count - 1; k >= 0; --k) {
            byte_ = static_cast<std::uint8_t>(static_cast<unsigned>(byte_) << 1U | (value >> k & 1U));
            if (++filled_ == 8) {
                bytes_ += static_cast<char>(byte_);
                if (stuffed_ && byte_ == 0xFF) {
                    bytes_ += '\0';
                }
                filled_ = 0;
            }
        }
    }
    void fillByte() {
        while (filled_ != 0) {
            put(stuffed_ ? 1 : 0, 1);
        }
    }
    const std::string& bytes() const { return bytes_; }

private:
    bool stuffed_;
    std::string bytes_;
    std::uint8_t byte_ = 0;
    int filled_ = 0;
};

using Values = std::vector<std::uint32_t>;

std::string packed(const Values& values, int perRow, int bits) {
    std::string bytes;
    for (std::size_t begin = 0; begin < values.size(); begin += static_cast<std::size_t>(perRow)) {
        BitWriter row(false);
        for (std::size_t k = begin; k < begin + static_cast<std::size_t>(perRow); ++k) {
            // Whole words are in the order of the file.
            if (bits == 16) {
                append(bytes, values[k], 2);
            } else {
                row.put(values[k], bits);
            }
        }
        row.fillByte();
        bytes += row.bytes();
    }
    return bytes;
}

/// One component, predicted from the left.
std::string losslessJpeg(const Values& values, int rows, int cols, int bits) {
    const auto big = [](int number) { return std::string{static_cast<char>(number >> 8), static_cast<char>(number)}; };
    std::string lengths(16, '\0');
    lengths[4] = 17;  // codes of five bits for the 17 sizes of a difference
    std::string sizes;
    for (char size = 0; size < 17; ++size) {
        sizes += size;
    }
    std::string bytes = "\xFF\xD8\xFF\xC4" + big(2 + 1 + 16 + 17) + std::string(1, '\0') + lengths + sizes;
    bytes += "\xFF\xC3" + big(11) + static_cast<char>(bits) + big(rows) + big(cols) + "\x01\x01\x11" + '\0';
    bytes += "\xFF\xDA" + big(8) + std::string("\x01\x01\x00\x01\x00\x00", 6);
    BitWriter scan(true);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            const auto at = [&](int y, int x) {
                return static_cast<int>(values[static_cast<std::size_t>(y * cols + x)]);
            };
            const int predicted = j > 0 ? at(i, j - 1) : i > 0 ? at(i - 1, 0) : 1 << (bits - 1);
            const int difference = at(i, j) - predicted;
            int size = 0;
            while (std::abs(difference) >> size != 0) {
                ++size;
            }
            scan.put(static_cast<std::uint32_t>(size), 5);
            if (size > 0 && size < 16) {
                scan.put(static_cast<std::uint32_t>(difference < 0 ? difference + (1 << size) - 1 : difference), size);
            }
        }
    }
    scan.fillByte();
    return bytes + scan.bytes() + "\xFF\xD9";
}

/// A directory of a TIFF with what it points to.
class Directory {
public:
    enum Type { byte = 1, ascii = 2, word = 3, doubleWord = 4, rational = 5, signedRational = 10 };

    void add(int tag, Type type, const std::vector<std::int64_t>& numbers) {
        constexpr int bytesOf[] = {0, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4};
        std::string content;
        for (const std::int64_t number : numbers) {
            append(content, static_cast<std::uint64_t>(number), bytesOf[type]);
        }
        const bool pairs = type == rational || type == signedRational;
        entries_.push_back({tag, type, numbers.size() / (pairs ? 2 : 1), content});
    }
    void add(int tag, const std::string& text) { entries_.push_back({tag, ascii, text.size() + 1, text + '\0'}); }
    void add(int tag, Type type, const std::vector<double>& fractions) {
        constexpr double denominator = 1e6;
        std::vector<std::int64_t> numbers;
        for (const double fraction : fractions) {
            numbers.push_back(std::lround(fraction * denominator));
            numbers.push_back(std::lround(denominator));
        }
        add(tag, type, numbers);
    }

    /// @param at    where it stands
    std::string bytes(std::size_t at) const {
        std::string directory;
        std::string content;
        append(directory, entries_.size(), 2);
        const std::size_t behind = at + 2 + 12 * entries_.size() + 4;
        for (const Entry& entry : entries_) {
            append(directory, static_cast<std::uint64_t>(entry.tag), 2);
            append(directory, static_cast<std::uint64_t>(entry.type), 2);
            append(directory, entry.count, 4);
            if (entry.content.size() <= 4) {
                directory += entry.content + std::string(4 - entry.content.size(), '\0');
            } else {
                append(directory, behind + content.size(), 4);
                content += entry.content + std::string(entry.content.size() % 2, '\0');
            }
        }
        append(directory, 0, 4);
        return directory + content;
    }

private:
    struct Entry {
        int tag;
        int type;
        std::size_t count;
        std::string content;
    };
    std::vector<Entry> entries_;
};

}  // namespace

std::string dngOf(const cv::Mat& linear, const MadeDng& camera) {
    const double greatest = std::pow(2, camera.bits) - 1;
    Values values;
    for (int i = 0; i < linear.rows; ++i) {
        for (int j = 0; j < linear.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                if (!camera.mosaic || c == i % 2 + j % 2) {
                    const double seen = linear.at<cv::Vec3d>(i, j)[c] * camera.neutral[c];
                    values.push_back(static_cast<std::uint32_t>(std::lround(seen * greatest)));
                }
            }
        }
    }
    const int perPixel = camera.mosaic ? 1 : 3;
    const std::string raw = camera.compressed ? losslessJpeg(values, linear.rows, linear.cols, camera.bits)
                                              : packed(values, perPixel * linear.cols, camera.bits);
    std::string file("II*\0", 4);
    const std::size_t first = 8 + raw.size() + raw.size() % 2;
    append(file, first, 4);
    file += raw + std::string(raw.size() % 2, '\0');

    Directory directory;
    const std::int64_t depth = camera.bits;
    directory.add(254, Directory::doubleWord, std::vector<std::int64_t>{0});
    directory.add(256, Directory::doubleWord, std::vector<std::int64_t>{linear.cols});
    directory.add(257, Directory::doubleWord, std::vector<std::int64_t>{linear.rows});
    directory.add(258, Directory::word, std::vector<std::int64_t>(static_cast<std::size_t>(perPixel), depth));
    directory.add(259, Directory::word, std::vector<std::int64_t>{camera.compressed ? 7 : 1});
    directory.add(262, Directory::word, std::vector<std::int64_t>{camera.mosaic ? 32803 : 34892});
    directory.add(271, "Maker");
    directory.add(272, "Model 1");
    directory.add(273, Directory::doubleWord, std::vector<std::int64_t>{8});
    directory.add(274, Directory::word, std::vector<std::int64_t>{camera.orientation});
    directory.add(277, Directory::word, std::vector<std::int64_t>{perPixel});
    directory.add(278, Directory::doubleWord, std::vector<std::int64_t>{linear.rows});
    directory.add(279, Directory::doubleWord, std::vector<std::int64_t>{static_cast<std::int64_t>(raw.size())});
    directory.add(284, Directory::word, std::vector<std::int64_t>{1});
    std::string preview;
    if (!camera.preview.empty()) {
        // A directory of its own, among the sub-directories.
        const std::size_t sub = first + 4096;
        Directory small;
        small.add(254, Directory::doubleWord, std::vector<std::int64_t>{1});
        small.add(256, Directory::doubleWord, std::vector<std::int64_t>{linear.cols});
        small.add(257, Directory::doubleWord, std::vector<std::int64_t>{linear.rows});
        small.add(258, Directory::word, std::vector<std::int64_t>{8, 8, 8});
        small.add(259, Directory::word, std::vector<std::int64_t>{7});
        small.add(262, Directory::word, std::vector<std::int64_t>{6});
        small.add(273, Directory::doubleWord, std::vector<std::int64_t>{static_cast<std::int64_t>(sub) + 1024});
        small.add(277, Directory::word, std::vector<std::int64_t>{3});
        small.add(278, Directory::doubleWord, std::vector<std::int64_t>{linear.rows});
        small.add(279, Directory::doubleWord,
                  std::vector<std::int64_t>{static_cast<std::int64_t>(camera.preview.size())});
        preview = small.bytes(sub);
        preview.resize(1024);
        preview += camera.preview;
        directory.add(330, Directory::doubleWord, std::vector<std::int64_t>{static_cast<std::int64_t>(sub)});
    }
    if (camera.mosaic) {
        directory.add(33421, Directory::word, std::vector<std::int64_t>{2, 2});
        directory.add(33422, Directory::byte, std::vector<std::int64_t>{0, 1, 1, 2});
    }
    directory.add(50706, Directory::byte, std::vector<std::int64_t>{1, 4, 0, 0});
    directory.add(50707, Directory::byte, std::vector<std::int64_t>{1, 1, 0, 0});
    directory.add(50708, "Maker Model 1");
    directory.add(50717, Directory::doubleWord,
                  std::vector<std::int64_t>(static_cast<std::size_t>(perPixel), std::lround(greatest)));
    // From X, Y, Z to linear sRGB, IEC 61966-2-1.
    directory.add(50721, Directory::signedRational,
                  std::vector<double>{3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570});
    directory.add(50728, Directory::rational,
                  std::vector<double>{camera.neutral[0], camera.neutral[1], camera.neutral[2]});
    if (camera.baselineExposure != 0) {
        directory.add(50730, Directory::signedRational, std::vector<double>{camera.baselineExposure});
    }
    directory.add(50778, Directory::word, std::vector<std::int64_t>{21});  // D65
    file += directory.bytes(first);
    if (!preview.empty()) {
        file.resize(first + 4096);
        file += preview;
    }
    return file;
}

}  // namespace likeness::testing
