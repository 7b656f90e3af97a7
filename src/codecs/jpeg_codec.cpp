#include "codecs/jpeg_codec.hpp"

#include "codecs/exif_orientation.hpp"
#include "codecs/image_limits.hpp"
#include "codecs/memory_check.hpp"
#include "codecs/reading_flags.hpp"

#include <jpeglib.h>

#include <jerror.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <new>
#include <optional>
#include <utility>

namespace likeness {

// B, G, R as they are, without a pass of their own over the image, is an extension of libjpeg-turbo.
#ifdef JCS_EXTENSIONS

namespace {

constexpr int exifMarker = JPEG_APP0 + 1;

struct JpegErrors {
    ::jpeg_error_mgr functions{};
    std::jmp_buf giveUp{};
    bool isOutOfMemory = false;
};

// The functions below that call setjmp hold nothing that has a destructor.

[[noreturn]] void giveUp(::j_common_ptr codec) {
    auto* const handler = reinterpret_cast<JpegErrors*>(codec->err);
    handler->isOutOfMemory = codec->err->msg_code == JERR_OUT_OF_MEMORY;
    std::longjmp(handler->giveUp, 1);
}

/// Warnings have a level below 0.
void giveUpAtWarning(::j_common_ptr codec, int level) {
    if (level < 0) {
        giveUp(codec);
    }
}

void saySilently(::j_common_ptr /*codec*/) {}

::jpeg_error_mgr* errorFunctions(JpegErrors& handler) {
    ::jpeg_error_mgr* const functions = ::jpeg_std_error(&handler.functions);
    functions->error_exit = giveUp;
    functions->emit_message = giveUpAtWarning;
    functions->output_message = saySilently;
    return functions;
}

class Decompression {
public:
    Decompression() = default;
    ~Decompression() { ::jpeg_destroy_decompress(&codec_); }
    Decompression(const Decompression&) = delete;
    Decompression& operator=(const Decompression&) = delete;

    /// @return  whether the file is one that is taken, as far as its header tells
    bool begin(std::FILE* file) {
        codec_.err = errorFunctions(handler_);
        if (setjmp(handler_.giveUp) != 0) {
            return false;
        }
        ::jpeg_create_decompress(&codec_);
        ::jpeg_stdio_src(&codec_, file);
        ::jpeg_save_markers(&codec_, exifMarker, 0xFFFF);
        ::jpeg_read_header(&codec_, TRUE);
        return isPlain();
    }

    bool isOutOfMemory() const noexcept { return handler_.isOutOfMemory; }
    int rows() const noexcept { return static_cast<int>(codec_.image_height); }
    int cols() const noexcept { return static_cast<int>(codec_.image_width); }
    int storedType() const noexcept { return codec_.num_components > 1 ? CV_8UC3 : CV_8UC1; }

    /// The image library looks at the first of the segments that may hold Exif data.
    std::optional<int> orientation() const noexcept {
        constexpr std::size_t nameLength = 6;
        const ::jpeg_saved_marker_ptr first = codec_.marker_list;  // no others are saved
        if (first == nullptr || first->data_length <= nameLength) {
            return 0;
        }
        return exifOrientation(first->data + nameLength, first->data_length - nameLength);
    }

    static constexpr int rowsAtOnce = 16;

    /// The functions for the rows return whether they went without a complaint.
    bool beginRows(bool color) {
        if (setjmp(handler_.giveUp) != 0) {
            return false;
        }
        codec_.out_color_space = color ? JCS_EXT_BGR : JCS_GRAYSCALE;
        ::jpeg_start_decompress(&codec_);
        return true;
    }

    /// @param data   where the rows begin, `step` bytes from one to the next
    /// @param count  of rows, at most `rowsAtOnce` and those that are left
    bool readRows(uchar* data, std::size_t step, int count) {
        if (setjmp(handler_.giveUp) != 0) {
            return false;
        }
        const ::JDIMENSION end = codec_.output_scanline + static_cast<::JDIMENSION>(count);
        while (codec_.output_scanline < end) {
            std::array<::JSAMPROW, rowsAtOnce> lines{};
            const ::JDIMENSION left = end - codec_.output_scanline;
            for (::JDIMENSION k = 0; k < left; ++k) {
                lines[k] = data + step * (static_cast<::JDIMENSION>(count) - left + k);
            }
            ::jpeg_read_scanlines(&codec_, lines.data(), left);
        }
        return true;
    }

    bool endRows() {
        if (setjmp(handler_.giveUp) != 0) {
            return false;
        }
        ::jpeg_finish_decompress(&codec_);
        return true;
    }

private:
    bool isPlain() const noexcept {
        // A frame of a motion JPEG has no Huffman tables of its own.
        const bool tables = codec_.arith_code == TRUE || codec_.ac_huff_tbl_ptrs[0] != nullptr ||
                            codec_.ac_huff_tbl_ptrs[1] != nullptr || codec_.dc_huff_tbl_ptrs[0] != nullptr ||
                            codec_.dc_huff_tbl_ptrs[1] != nullptr;
        const bool channels = (codec_.num_components == 1 && codec_.jpeg_color_space == JCS_GRAYSCALE) ||
                              (codec_.num_components == 3 &&
                               (codec_.jpeg_color_space == JCS_YCbCr || codec_.jpeg_color_space == JCS_RGB));
        return tables && channels && codec_.data_precision == 8 &&
               isWithinLimits(codec_.image_width, codec_.image_height);
    }

    JpegErrors handler_;
    ::jpeg_decompress_struct codec_{};
};

/// Takes what is written a piece at a time.
struct Destination {
    ::jpeg_destination_mgr functions{};  // first, so that a pointer to it is one to the whole
    std::vector<uchar>* bytes = nullptr;
    std::array<uchar, std::size_t{1} << 16> piece{};
};

void beginPiece(::j_compress_ptr codec) {
    auto* const destination = reinterpret_cast<Destination*>(codec->dest);
    destination->functions.next_output_byte = destination->piece.data();
    destination->functions.free_in_buffer = destination->piece.size();
}

void append(::j_compress_ptr codec, std::size_t count) {
    auto* const destination = reinterpret_cast<Destination*>(codec->dest);
    bool fits = true;
    try {
        destination->bytes->insert(destination->bytes->end(), destination->piece.data(),
                                   destination->piece.data() + count);
    } catch (const std::bad_alloc&) {
        fits = false;
    }
    if (!fits) {
        codec->err->msg_code = JERR_OUT_OF_MEMORY;
        giveUp(reinterpret_cast<::j_common_ptr>(codec));
    }
}

/// The library fills a piece before it asks, whatever it says of the free bytes.
::boolean appendPiece(::j_compress_ptr codec) {
    append(codec, reinterpret_cast<Destination*>(codec->dest)->piece.size());
    beginPiece(codec);
    return TRUE;
}

void appendRest(::j_compress_ptr codec) {
    append(codec, reinterpret_cast<Destination*>(codec->dest)->piece.size() - codec->dest->free_in_buffer);
}

class Compression {
public:
    Compression() = default;
    ~Compression() { ::jpeg_destroy_compress(&codec_); }
    Compression(const Compression&) = delete;
    Compression& operator=(const Compression&) = delete;

    bool isOutOfMemory() const noexcept { return handler_.isOutOfMemory; }

    bool run(const uchar* data, std::size_t step, cv::Size size, bool color, int quality, cv::Size chroma,
             std::vector<uchar>& bytes) {
        codec_.err = errorFunctions(handler_);
        if (setjmp(handler_.giveUp) != 0) {
            return false;
        }
        ::jpeg_create_compress(&codec_);
        destination_.bytes = &bytes;
        destination_.functions.init_destination = beginPiece;
        destination_.functions.empty_output_buffer = appendPiece;
        destination_.functions.term_destination = appendRest;
        codec_.dest = &destination_.functions;
        codec_.image_width = static_cast<::JDIMENSION>(size.width);
        codec_.image_height = static_cast<::JDIMENSION>(size.height);
        codec_.input_components = color ? 3 : 1;
        codec_.in_color_space = color ? JCS_EXT_BGR : JCS_GRAYSCALE;
        ::jpeg_set_defaults(&codec_);
        ::jpeg_set_quality(&codec_, quality, TRUE);
        if (color) {
            codec_.comp_info[0].h_samp_factor = chroma.width;
            codec_.comp_info[0].v_samp_factor = chroma.height;
        }
        ::jpeg_start_compress(&codec_, TRUE);
        while (codec_.next_scanline < codec_.image_height) {
            ::JSAMPROW line = const_cast<uchar*>(data) + step * codec_.next_scanline;
            ::jpeg_write_scanlines(&codec_, &line, 1);
        }
        ::jpeg_finish_compress(&codec_);
        return true;
    }

private:
    JpegErrors handler_;
    Destination destination_;
    ::jpeg_compress_struct codec_{};
};

/// @return  that of a file that is taken, by its header
std::optional<int> orientationOfPlain(Decompression& jpeg, std::FILE* file) {
    const bool isPlain = jpeg.begin(file);
    requireMemory(jpeg);
    return isPlain ? jpeg.orientation() : std::nullopt;
}

}  // namespace

cv::Mat decodedJpeg(std::FILE* file, int flags, cv::Mat room) {
    Decompression jpeg;
    const std::optional<int> orientation = areUsualFlags(flags) ? orientationOfPlain(jpeg, file) : std::nullopt;
    if (!orientation) {
        return {};
    }
    cv::Mat image = std::move(room);
    image.create(jpeg.rows(), jpeg.cols(), typeAsked(jpeg.storedType(), flags));
    bool read = jpeg.beginRows(image.channels() > 1);
    for (int first = 0; read && first < image.rows; first += Decompression::rowsAtOnce) {
        read = jpeg.readRows(image.ptr(first), image.step, std::min(Decompression::rowsAtOnce, image.rows - first));
    }
    read = read && jpeg.endRows();
    requireMemory(jpeg);
    if (!read) {
        return {};
    }
    if (flags != cv::IMREAD_UNCHANGED) {
        applyOrientation(*orientation, image);
    }
    return image;
}

std::optional<cv::Size> decodeJpegRows(std::FILE* file, RowReceiver& receiver) {
    Decompression jpeg;
    const std::optional<int> orientation = orientationOfPlain(jpeg, file);
    if (!orientation) {
        return std::nullopt;
    }
    const cv::Size size(jpeg.cols(), jpeg.rows());
    cv::Mat band(std::min(size.height, Decompression::rowsAtOnce), size.width, CV_8UC3);
    receiver.begin(size);
    bool read = jpeg.beginRows(true);
    for (int first = 0; read && first < size.height; first += band.rows) {
        const int count = std::min(band.rows, size.height - first);
        read = jpeg.readRows(band.data, band.step, count);
        if (read) {
            receiver.take(band.rowRange(0, count));
        }
    }
    read = read && jpeg.endRows();
    requireMemory(jpeg);
    if (!read) {
        return std::nullopt;
    }
    constexpr int firstOfTransposed = 5;
    return *orientation >= firstOfTransposed ? cv::Size(size.height, size.width) : size;
}

bool encodeJpeg(const cv::Mat& image, int quality, std::vector<uchar>& bytes, cv::Size chroma) {
    if (image.empty() || image.dims > 2 || (image.channels() != 1 && image.channels() != 3)) {
        return false;
    }
    cv::Mat rounded = image;
    if (image.depth() != CV_8U) {
        image.convertTo(rounded, CV_8U);
    }
    bytes.clear();
    Compression jpeg;
    const bool done = jpeg.run(rounded.data, rounded.step, rounded.size(), rounded.channels() == 3,
                               std::clamp(quality, 0, 100), chroma, bytes);
    requireMemory(jpeg);
    return done;
}

#else

cv::Mat decodedJpeg(std::FILE* /*file*/, int /*flags*/, cv::Mat /*room*/) {
    return {};
}

std::optional<cv::Size> decodeJpegRows(std::FILE* /*file*/, RowReceiver& /*receiver*/) {
    return std::nullopt;
}

bool encodeJpeg(const cv::Mat& /*image*/, int /*quality*/, std::vector<uchar>& /*bytes*/, cv::Size /*chroma*/) {
    return false;
}

#endif

}  // namespace likeness
