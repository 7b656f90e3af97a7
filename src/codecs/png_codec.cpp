#include "codecs/png_codec.hpp"

#include "codecs/exif_orientation.hpp"
#include "codecs/image_limits.hpp"
#include "codecs/memory_check.hpp"
#include "codecs/reading_flags.hpp"

#include <png.h>
#include <zlib.h>

#include <csetjmp>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

namespace likeness {
namespace {

// The functions below that call setjmp hold nothing that has a destructor.

struct PngErrors {
    std::jmp_buf giveUp{};
    bool isOutOfMemory = false;
};

/// For warnings too: a file that is not spotless goes the image library's road.
[[noreturn]] void giveUp(::png_structp codec, ::png_const_charp /*text*/) {
    std::longjmp(static_cast<PngErrors*>(::png_get_error_ptr(codec))->giveUp, 1);
}

/// Errors have no numbers, only texts, and this is the machine's. Others name memory as well, of a chunk that would take
/// more than is allowed: those are the file's.
[[noreturn]] void giveUpForError(::png_structp codec, ::png_const_charp text) {
    auto* const handler = static_cast<PngErrors*>(::png_get_error_ptr(codec));
    handler->isOutOfMemory = handler->isOutOfMemory || std::strcmp(text, "Out of memory") == 0;
    giveUp(codec, text);
}

class Reading {
public:
    Reading() = default;
    ~Reading() { ::png_destroy_read_struct(&codec_, &info_, &endInfo_); }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    /// @return  whether the file is one that is taken, as far as its header tells
    bool begin(std::FILE* file) {
        if (setjmp(handler_.giveUp) != 0) {
            return false;
        }
        codec_ = ::png_create_read_struct(PNG_LIBPNG_VER_STRING, &handler_, giveUpForError, giveUp);
        if (codec_ == nullptr) {
            return false;
        }
        info_ = ::png_create_info_struct(codec_);
        endInfo_ = ::png_create_info_struct(codec_);
        if (info_ == nullptr || endInfo_ == nullptr) {
            return false;
        }
        ::png_init_io(codec_, file);
        ::png_read_info(codec_, info_);
        ::png_get_IHDR(codec_, info_, &width_, &height_, &bits_, &colorType_, nullptr, nullptr, nullptr);
        return isWithinLimits(width_, height_);
    }

    bool isOutOfMemory() const noexcept { return handler_.isOutOfMemory; }
    int rows() const noexcept { return static_cast<int>(height_); }
    int cols() const noexcept { return static_cast<int>(width_); }

    int storedType() const noexcept {
        const int depth = bits_ == 16 ? CV_16U : CV_8U;
        if ((colorType_ & PNG_COLOR_MASK_ALPHA) != 0) {
            return CV_MAKETYPE(depth, 4);
        }
        if ((colorType_ & PNG_COLOR_MASK_COLOR) == 0) {
            return CV_MAKETYPE(depth, 1);
        }
        // One transparent colour, or the transparency of colours of a palette.
        return CV_MAKETYPE(depth, ::png_get_valid(codec_, info_, PNG_INFO_tRNS) != 0 ? 4 : 3);
    }

    /// @param lines  the beginning of each row of an image of type `type`
    /// @return       whether the whole file was read without a complaint
    bool readRows(::png_bytepp lines, int type) {
        if (setjmp(handler_.giveUp) != 0) {
            return false;
        }
        const int channels = CV_MAT_CN(type);
        if (bits_ == 16 && CV_MAT_DEPTH(type) == CV_8U) {
            ::png_set_strip_16(codec_);
        } else {
            ::png_set_swap(codec_);
        }
        if (channels < 4) {
            ::png_set_strip_alpha(codec_);
        } else {
            ::png_set_tRNS_to_alpha(codec_);
        }
        if (colorType_ == PNG_COLOR_TYPE_PALETTE) {
            ::png_set_palette_to_rgb(codec_);
        }
        const bool colored = (colorType_ & PNG_COLOR_MASK_COLOR) != 0;
        if (!colored && bits_ < 8) {
            ::png_set_expand_gray_1_2_4_to_8(codec_);
        }
        if (colored && channels > 1) {
            ::png_set_bgr(codec_);
        } else if (channels > 1) {
            ::png_set_gray_to_rgb(codec_);
        } else {
            constexpr int silently = 1;
            ::png_set_rgb_to_gray(codec_, silently, 0.299, 0.587);  // ITU-R BT.601
        }
        ::png_set_interlace_handling(codec_);
        ::png_read_update_info(codec_, info_);
        if (::png_get_rowbytes(codec_, info_) != CV_ELEM_SIZE(type) * static_cast<std::size_t>(width_)) {
            return false;
        }
        ::png_read_image(codec_, lines);
        ::png_read_end(codec_, endInfo_);
        return true;
    }

    std::optional<int> orientation() const noexcept {
#ifdef PNG_eXIf_SUPPORTED
        for (::png_infop info : {info_, endInfo_}) {
            ::png_uint_32 size = 0;
            ::png_bytep bytes = nullptr;
            if (::png_get_valid(codec_, info, PNG_INFO_eXIf) != 0 &&
                ::png_get_eXIf_1(codec_, info, &size, &bytes) != 0 && bytes != nullptr && size > 0) {
                return exifOrientation(bytes, size);
            }
        }
#endif
        return 0;
    }

private:
    PngErrors handler_;
    ::png_structp codec_ = nullptr;
    ::png_infop info_ = nullptr;
    ::png_infop endInfo_ = nullptr;
    ::png_uint_32 width_ = 0;
    ::png_uint_32 height_ = 0;
    int bits_ = 0;
    int colorType_ = 0;
};

void append(::png_structp codec, ::png_bytep data, std::size_t count) {
    auto& bytes = *static_cast<std::vector<uchar>*>(::png_get_io_ptr(codec));
    bool fits = true;
    try {
        bytes.insert(bytes.end(), data, data + count);
    } catch (const std::bad_alloc&) {
        fits = false;
    }
    if (!fits) {
        static_cast<PngErrors*>(::png_get_error_ptr(codec))->isOutOfMemory = true;
        ::png_error(codec, "no room for the file");
    }
}

void flushNothing(::png_structp /*codec*/) {}

class Writing {
public:
    Writing() = default;
    ~Writing() { ::png_destroy_write_struct(&codec_, &info_); }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;

    bool isOutOfMemory() const noexcept { return handler_.isOutOfMemory; }

    bool run(::png_bytepp lines, cv::Size size, int type, std::vector<uchar>& bytes) {
        if (setjmp(handler_.giveUp) != 0) {
            return false;
        }
        codec_ = ::png_create_write_struct(PNG_LIBPNG_VER_STRING, &handler_, giveUpForError, giveUp);
        if (codec_ == nullptr) {
            return false;
        }
        info_ = ::png_create_info_struct(codec_);
        if (info_ == nullptr) {
            return false;
        }
        ::png_set_write_fn(codec_, &bytes, append, flushNothing);
        // Fast rather than small, as the image library writes.
        ::png_set_filter(codec_, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
        ::png_set_compression_level(codec_, Z_BEST_SPEED);
        ::png_set_compression_strategy(codec_, Z_RLE);
        const int channels = CV_MAT_CN(type);
        ::png_set_IHDR(codec_, info_, static_cast<::png_uint_32>(size.width), static_cast<::png_uint_32>(size.height),
                       CV_MAT_DEPTH(type) == CV_8U ? 8 : 16,
                       channels == 1   ? PNG_COLOR_TYPE_GRAY
                       : channels == 3 ? PNG_COLOR_TYPE_RGB
                                       : PNG_COLOR_TYPE_RGBA,
                       PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        ::png_write_info(codec_, info_);
        ::png_set_bgr(codec_);
        ::png_set_swap(codec_);
        ::png_write_image(codec_, lines);
        ::png_write_end(codec_, info_);
        return true;
    }

private:
    PngErrors handler_;
    ::png_structp codec_ = nullptr;
    ::png_infop info_ = nullptr;
};

std::vector<::png_bytep> linesOf(const cv::Mat& image) {
    std::vector<::png_bytep> lines;
    lines.reserve(static_cast<std::size_t>(image.rows));
    for (int i = 0; i < image.rows; ++i) {
        lines.push_back(const_cast<::png_bytep>(image.ptr(i)));
    }
    return lines;
}

}  // namespace

cv::Mat decodedPng(std::FILE* file, int flags, cv::Mat room) {
    Reading png;
    const bool begun = areUsualFlags(flags) && png.begin(file);
    requireMemory(png);
    if (!begun) {
        return {};
    }
    cv::Mat image = std::move(room);
    image.create(png.rows(), png.cols(), typeAsked(png.storedType(), flags));
    std::vector<::png_bytep> lines = linesOf(image);
    const bool read = png.readRows(lines.data(), image.type());
    requireMemory(png);
    if (!read) {
        return {};
    }
    const std::optional<int> orientation = png.orientation();
    if (!orientation) {
        return {};
    }
    if (flags != cv::IMREAD_UNCHANGED) {
        applyOrientation(*orientation, image);
    }
    return image;
}

bool encodePng(const cv::Mat& image, std::vector<uchar>& bytes) {
    if (image.empty() || image.dims > 2 || image.channels() == 2 || image.channels() > 4) {
        return false;
    }
    cv::Mat rounded = image;
    if (image.depth() != CV_8U && image.depth() != CV_16U) {
        image.convertTo(rounded, CV_8U);
    }
    bytes.clear();
    std::vector<::png_bytep> lines = linesOf(rounded);
    Writing png;
    const bool done = png.run(lines.data(), rounded.size(), rounded.type(), bytes);
    requireMemory(png);
    return done;
}

}  // namespace likeness
