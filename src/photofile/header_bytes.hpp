// Places of image files, read with bounds: for those who look at headers.
#pragma once

#include "photofile/image_header.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// Numbers at places of a file. What lies behind the end is 0, and `good` is false from then on.
class HeaderBytes {
public:
    explicit HeaderBytes(const ByteSource& source) : source_(source) {}

    bool good() const noexcept { return good_; }

    /// @return  fewer bytes than asked for at the end of the file
    std::vector<unsigned char> bytes(std::uint64_t offset, std::size_t count) {
        std::vector<unsigned char> result(count);
        result.resize(offset > farthest ? 0 : std::min(count, source_(offset, result.data(), count)));
        return result;
    }
    bool holds(std::uint64_t offset, std::string_view text) {
        const std::vector<unsigned char> found = bytes(offset, text.size());
        return found.size() == text.size() && std::equal(text.begin(), text.end(), found.begin(), [](char a, auto b) {
                   return static_cast<unsigned char>(a) == b;
               });
    }
    std::uint64_t number(std::uint64_t offset, std::size_t count, bool bigEndian) {
        std::array<unsigned char, 8> found{};
        if (offset > farthest || source_(offset, found.data(), count) < count) {
            good_ = false;
            return 0;
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < count; ++i) {
            value = value << 8 | found[bigEndian ? i : count - 1 - i];
        }
        return value;
    }
    std::uint64_t big(std::uint64_t offset, std::size_t count) { return number(offset, count, true); }
    std::uint64_t little(std::uint64_t offset, std::size_t count) { return number(offset, count, false); }

private:
    static constexpr std::uint64_t farthest = std::uint64_t{1} << 62;  // sums of an offset and a length do not overflow

    const ByteSource& source_;
    bool good_ = true;
};

/// The words of a text header; lines that begin with '#' are comments.
class HeaderText {
public:
    HeaderText(HeaderBytes& file, std::uint64_t begin) : begin_(begin) {
        constexpr std::size_t longest = std::size_t{1} << 16;
        const std::vector<unsigned char> found = file.bytes(begin, longest);
        text_.assign(found.begin(), found.end());
    }

    std::string word() {
        for (;;) {
            at_ = std::min(text_.find_first_not_of(spaces, at_), text_.size());
            if (at_ == text_.size() || text_[at_] != '#') {
                break;
            }
            at_ = std::min(text_.find('\n', at_), text_.size());
        }
        const std::size_t end = std::min(text_.find_first_of(spaces, at_), text_.size());
        std::string result = text_.substr(at_, end - at_);
        at_ = end;
        return result;
    }

    /// @return  0 if the next word is no number
    std::uint64_t number() { return parseNumber(word()); }

    /// @return  without its end; empty at the end of the text
    std::string line() {
        const std::size_t end = std::min(text_.find('\n', at_), text_.size());
        std::string result = text_.substr(at_, end - at_);
        at_ = std::min(end + 1, text_.size());
        return result;
    }
    bool ended() const noexcept { return at_ >= text_.size(); }
    /// Of the file: what follows the last word or line.
    std::uint64_t place() const noexcept { return begin_ + at_; }

    static std::uint64_t parseNumber(const std::string& word) {
        constexpr std::size_t mostDigits = 18;
        const std::size_t digits = std::min(word.find_first_not_of("0123456789"), word.size());
        return digits == 0 || digits > mostDigits ? 0 : std::stoull(word.substr(0, digits));
    }

private:
    static constexpr const char* spaces = " \t\r\n\v\f";

    std::uint64_t begin_;
    std::string text_;
    std::size_t at_ = 0;
};

/// A segment of a JPEG before its first scan (ITU-T T.81, B.1.1).
struct JpegSegment {
    unsigned marker = 0;        ///< second byte of its marker
    std::uint64_t content = 0;  ///< place of what follows its length
    std::size_t length = 0;     ///< of that

    /// Whether it is a frame header.
    bool isFrame() const noexcept {
        return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    }
};

/// Calls `visit` with the segments of a JPEG in their order, up to the first scan; it returns whether it wants more.
/// At most 2^12 segments.
template <typename Visit>
void forEachJpegSegment(HeaderBytes& file, Visit visit) {
    std::uint64_t at = 2;
    for (int segment = 0; segment < 1 << 12; ++segment) {
        // Decoders skip what is no marker; as much as a small buffer is skipped here.
        const std::vector<unsigned char> next = file.bytes(at, 1024);
        std::size_t skipped = 0;
        while (skipped < next.size() && next[skipped] != 0xFF) {
            ++skipped;
        }
        while (skipped < next.size() && next[skipped] == 0xFF) {
            ++skipped;
        }
        at += skipped;
        if (skipped == next.size()) {
            if (next.empty()) {
                return;
            }
            at -= next.back() == 0xFF ? 1U : 0U;
            if (skipped == 1) {
                return;
            }
            continue;
        }
        const unsigned marker = next[skipped];
        ++at;
        const bool alone = marker == 0 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8);
        if (marker == 0xD9 || marker == 0xDA) {
            return;  // end of the image, or of what stands before its first scan
        }
        if (alone) {
            continue;
        }
        const std::uint64_t length = file.big(at, 2);
        JpegSegment found{marker, at + 2, static_cast<std::size_t>(length < 2 ? 0 : length - 2)};
        // Decoders go by the place of what a frame header says, not by its length.
        if (!file.good() || (length < 2 && !found.isFrame()) || !visit(found) || length < 2) {
            return;
        }
        at += length;
    }
}

/// A box of ISO/IEC 14496-12, 4.2, as JPEG 2000 has them too.
struct Box {
    std::uint64_t at = 0;
    std::uint64_t content = 0;
    std::uint64_t end = 0;
};

/// Calls `visit` with the boxes between two places; it returns whether it wants more. At most 2^10 boxes.
template <typename Visit>
void forEachBox(HeaderBytes& file, std::uint64_t at, std::uint64_t end, Visit visit) {
    constexpr std::uint64_t farthest = std::uint64_t{1} << 61;
    for (int count = 0; count < 1 << 10 && at < std::min(end, farthest); ++count) {
        std::uint64_t length = file.big(at, 4);
        std::uint64_t header = 8;
        if (length == 1) {
            length = file.big(at + 8, 8);
            header = 16;
        }
        if (!file.good()) {
            return;
        }
        length = length == 0 ? end - at : length;  // up to the end
        if (length < header || length > farthest || !visit(Box{at, at + header, std::min(at + length, end)})) {
            return;
        }
        at += length;
    }
}

/// End of the boxes that no other box holds.
inline constexpr std::uint64_t wholeFile = std::numeric_limits<std::uint64_t>::max();

}  // namespace likeness
