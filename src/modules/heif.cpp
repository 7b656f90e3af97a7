// The module `heif`: HEIC and AVIF, with libheif, which puts the pieces of tiled pictures together and turns them upright.
#include "modules/module_entry.hpp"
#include "modules/photograph_decoder.hpp"
#include "modules/photograph_encoder.hpp"

#include <libheif/heif.h>

#include <algorithm>
#include <memory>
#include <string>
#include <type_traits>

namespace {

using likeness::PhotographContent;
using likeness::PhotographRequest;

struct ContextEnd {
    void operator()(::heif_context* context) const noexcept { ::heif_context_free(context); }
};
struct HandleEnd {
    void operator()(const ::heif_image_handle* handle) const noexcept { ::heif_image_handle_release(handle); }
};
struct ImageEnd {
    void operator()(const ::heif_image* image) const noexcept { ::heif_image_release(image); }
};
struct OptionsEnd {
    void operator()(::heif_decoding_options* options) const noexcept { ::heif_decoding_options_free(options); }
};
struct CodePointsEnd {
    void operator()(::heif_color_profile_nclx* points) const noexcept { ::heif_nclx_color_profile_free(points); }
};

bool failed(const ::heif_error& error, PhotographContent& content) {
    if (error.code == ::heif_error_Ok) {
        return false;
    }
    if (error.code == ::heif_error_Memory_allocation_error &&
        error.subcode != ::heif_suberror_Security_limit_exceeded) {
        throw std::bad_alloc();
    }
    std::string why = error.message == nullptr ? "damaged" : error.message;
    why.erase(why.find_last_not_of('\n') + 1);
    content.problem = "its content cannot be decoded: " + why;
    return true;
}

/// @param found  taken over; may be null
void takeCodePoints(::heif_color_profile_nclx* found, PhotographContent& content) {
    const std::unique_ptr<::heif_color_profile_nclx, CodePointsEnd> points(found);
    if (points != nullptr) {
        content.codePoints = {static_cast<int>(points->color_primaries),
                              static_cast<int>(points->transfer_characteristics)};
    }
}

void readColors(const ::heif_image_handle* handle, PhotographContent& content) {
    const std::size_t size = ::heif_image_handle_get_raw_color_profile_size(handle);
    const ::heif_color_profile_type type = ::heif_image_handle_get_color_profile_type(handle);
    constexpr std::size_t mostBytes = std::size_t{1} << 24;
    if ((type == ::heif_color_profile_type_rICC || type == ::heif_color_profile_type_prof) && size > 0 &&
        size <= mostBytes) {
        content.icc.resize(size);
        if (::heif_image_handle_get_raw_color_profile(handle, content.icc.data()).code != ::heif_error_Ok) {
            content.icc.clear();
        }
        return;
    }
    ::heif_color_profile_nclx* found = nullptr;
    if (::heif_image_handle_get_nclx_color_profile(handle, &found).code == ::heif_error_Ok) {
        takeCodePoints(found, content);
    }
}

/// The colours, B, G, R; or the alpha channel of an image that has one.
/// @param bits  that a value has in the image
template <typename Value>
cv::Mat copied(const ::heif_image* image, int bits, bool alpha) {
    int stride = 0;
    const std::uint8_t* const plane = ::heif_image_get_plane_readonly(image, ::heif_channel_interleaved, &stride);
    const int rows = ::heif_image_get_height(image, ::heif_channel_interleaved);
    const int cols = ::heif_image_get_width(image, ::heif_channel_interleaved);
    if (plane == nullptr || rows <= 0 || cols <= 0) {
        return {};
    }
    const unsigned greatest = (1U << bits) - 1;
    constexpr unsigned whole = std::numeric_limits<Value>::max();
    const int channels = alpha ? 1 : 3;
    const int step = alpha ? 4 : 3;
    const int last = alpha ? 3 : 2;
    cv::Mat copy(rows, cols, CV_MAKETYPE(cv::DataType<Value>::depth, channels));
    for (int i = 0; i < rows; ++i) {
        const auto* const in = reinterpret_cast<const Value*>(plane + static_cast<std::ptrdiff_t>(i) * stride);
        auto* const out = copy.ptr<Value>(i);
        for (int j = 0; j < cols; ++j) {
            for (int c = 0; c < channels; ++c) {
                const unsigned value = in[step * j + last - c];
                out[channels * j + c] = static_cast<Value>((value * whole + greatest / 2) / greatest);
            }
        }
    }
    return copy;
}

/// Coded pictures are padded to whole blocks, of 128 pixels at most.
constexpr int padding = 128;

/// Whether what was decoded is as large as the file says. A padding that is left is told of.
bool isOfToldSize(const ::heif_image* image, std::uint64_t mostPixels, PhotographContent& content) {
    const auto told = [](std::uint64_t width, std::uint64_t height) {
        return std::to_string(width) + " x " + std::to_string(height);
    };
    const auto width = static_cast<std::uint64_t>(::heif_image_get_width(image, ::heif_channel_interleaved));
    const auto height = static_cast<std::uint64_t>(::heif_image_get_height(image, ::heif_channel_interleaved));
    if (width == content.width && height == content.height) {
        return true;
    }
    const std::string sizes = "its header tells of " + told(content.width, content.height) +
                              " pixels, and its content has " + told(width, height);
    const bool padded = width >= content.width && width - content.width <= padding && height >= content.height &&
                        height - content.height <= padding;
    if (!padded) {
        content.problem = sizes;
        return false;
    }
    if (likeness::exceeds(width, height, mostPixels)) {
        content.problem = likeness::tooManyPixels(width, height, mostPixels);
        return false;
    }
    content.remarks.push_back(sizes + ", which are taken");
    return true;
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_read_photograph(const PhotographRequest& request, PhotographContent& content) {
    const std::unique_ptr<::heif_context, ContextEnd> context(::heif_context_alloc());
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    constexpr int greatestSide = 1 << 20;
    ::heif_context_set_maximum_image_size_limit(context.get(), greatestSide);
    if (failed(::heif_context_read_from_file(context.get(), request.path.c_str(), nullptr), content)) {
        return;
    }
    content.pages = ::heif_context_get_number_of_top_level_images(context.get());
    ::heif_image_handle* found = nullptr;
    if (request.page == 1) {
        if (failed(::heif_context_get_primary_image_handle(context.get(), &found), content)) {
            return;
        }
    } else {
        std::vector<::heif_item_id> ids(static_cast<std::size_t>(content.pages));
        ::heif_context_get_list_of_top_level_image_IDs(context.get(), ids.data(), content.pages);
        if (request.page > content.pages) {
            content.problem = "it has " + std::to_string(content.pages) + " pictures, and --page asks for number " +
                              std::to_string(request.page);
            return;
        }
        const auto page = static_cast<std::size_t>(request.page) - 1;
        if (failed(::heif_context_get_image_handle(context.get(), ids[page], &found), content)) {
            return;
        }
    }
    const std::unique_ptr<const ::heif_image_handle, HandleEnd> handle(found);
    content.width = static_cast<std::uint64_t>(::heif_image_handle_get_width(handle.get()));
    content.height = static_cast<std::uint64_t>(::heif_image_handle_get_height(handle.get()));
    content.bits = ::heif_image_handle_get_luma_bits_per_pixel(handle.get());
    content.alpha = ::heif_image_handle_has_alpha_channel(handle.get()) != 0;
    content.channels = content.alpha ? 4 : 3;
    if (content.pages > 1 && request.page == 1) {
        content.remarks.push_back("the first of its " + std::to_string(content.pages) +
                                  " pictures is taken; --page takes another");
    }
    readColors(handle.get(), content);
    if (content.alpha && ::heif_image_handle_is_premultiplied_alpha(handle.get()) != 0) {
        content.remarks.emplace_back("its colours are multiplied by its alpha channel, and are taken as they are");
    }
    if (likeness::exceeds(content.width, content.height, request.mostPixels)) {
        content.problem = likeness::tooManyPixels(content.width, content.height, request.mostPixels);
        return;
    }
    if (request.headerOnly || (request.alpha && !content.alpha)) {
        return;
    }
    // What a picture is put together of may say that it is far larger than the picture: a canvas of gigabytes in a file
    // of 700 bytes. A side that equals the library's limit is refused.
    constexpr int sideOfAnyPart = 8192;
    const int side =
        std::max({::heif_image_handle_get_width(handle.get()), ::heif_image_handle_get_height(handle.get()),
                  ::heif_image_handle_get_ispe_width(handle.get()), ::heif_image_handle_get_ispe_height(handle.get())});
    ::heif_context_set_maximum_image_size_limit(context.get(), std::max(sideOfAnyPart, side + padding));
    const std::unique_ptr<::heif_decoding_options, OptionsEnd> options(::heif_decoding_options_alloc());
    const bool deep = content.bits > 8;
    const ::heif_chroma chroma = request.alpha
                                     ? (deep ? ::heif_chroma_interleaved_RRGGBBAA_LE : ::heif_chroma_interleaved_RGBA)
                                     : (deep ? ::heif_chroma_interleaved_RRGGBB_LE : ::heif_chroma_interleaved_RGB);
    ::heif_image* decoded = nullptr;
    if (failed(::heif_decode_image(handle.get(), &decoded, ::heif_colorspace_RGB, chroma, options.get()), content)) {
        return;
    }
    const std::unique_ptr<const ::heif_image, ImageEnd> image(decoded);
    if (!isOfToldSize(image.get(), request.mostPixels, content)) {
        return;
    }
    // What the decoder made of it counts, not what the boxes say.
    const int stored = ::heif_image_get_bits_per_pixel_range(image.get(), ::heif_channel_interleaved);
    if (!deep) {
        content.pixels = copied<uchar>(image.get(), 8, request.alpha);
    } else if (stored > 8 && stored <= 16) {
        content.pixels = copied<ushort>(image.get(), stored, request.alpha);
    }
    if (content.pixels.empty()) {
        content.problem = "its content cannot be decoded";
        return;
    }
    if (request.alpha) {
        const cv::Mat alpha = content.pixels;
        content.pixels.release();
        likeness::takeAlpha(alpha, ::heif_image_handle_is_premultiplied_alpha(handle.get()) != 0, content);
    }
}

namespace {

struct EncoderEnd {
    void operator()(::heif_encoder* encoder) const noexcept { ::heif_encoder_release(encoder); }
};

bool refused(const ::heif_error& error, std::string& problem) {
    if (error.code == ::heif_error_Ok) {
        return false;
    }
    problem = error.message == nullptr ? "the encoder fails" : error.message;
    return true;
}

template <typename Value>
void copyRows(const cv::Mat& bgr, std::uint8_t* plane, int stride) {
    for (int i = 0; i < bgr.rows; ++i) {
        auto* const row = reinterpret_cast<Value*>(plane + static_cast<std::ptrdiff_t>(i) * stride);
        for (int j = 0; j < bgr.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                row[3 * j + c] = bgr.ptr<Value>(i)[3 * j + 2 - c];
            }
        }
    }
}

/// R, G, B as the encoder wants them.
std::unique_ptr<::heif_image, ImageEnd> imageOf(const cv::Mat& bgr, int bits, std::string& problem) {
    ::heif_image* made = nullptr;
    const ::heif_chroma chroma = bits > 8 ? ::heif_chroma_interleaved_RRGGBB_LE : ::heif_chroma_interleaved_RGB;
    if (refused(::heif_image_create(bgr.cols, bgr.rows, ::heif_colorspace_RGB, chroma, &made), problem)) {
        return nullptr;
    }
    std::unique_ptr<::heif_image, ImageEnd> image(made);
    if (refused(::heif_image_add_plane(made, ::heif_channel_interleaved, bgr.cols, bgr.rows, bits), problem)) {
        return nullptr;
    }
    int stride = 0;
    std::uint8_t* const plane = ::heif_image_get_plane(made, ::heif_channel_interleaved, &stride);
    bits > 8 ? copyRows<ushort>(bgr, plane, stride) : copyRows<uchar>(bgr, plane, stride);
    return image;
}

::heif_error append(::heif_context* /*context*/, const void* data, std::size_t size, void* bytes) {
    const auto* const first = static_cast<const unsigned char*>(data);
    static_cast<std::vector<unsigned char>*>(bytes)->assign(first, first + size);
    return {::heif_error_Ok, ::heif_suberror_Unspecified, "done"};
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_write_photograph(const cv::Mat& bgr, const likeness::EncodingRequest& request,
                                                     std::vector<unsigned char>& bytes, std::string& problem) {
    const std::unique_ptr<::heif_context, ContextEnd> context(::heif_context_alloc());
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    ::heif_encoder* found = nullptr;
    if (refused(::heif_context_get_encoder_for_format(context.get(), ::heif_compression_AV1, &found), problem)) {
        problem = "there is no AV1 encoder: " + problem;
        return;
    }
    const std::unique_ptr<::heif_encoder, EncoderEnd> encoder(found);
    // Of 10 bits the library's encoder ends the process with any other chroma (libheif 1.15).
    const char* const chroma = request.bits == 10 ? "422" : "444";
    if (refused(::heif_encoder_set_lossy_quality(encoder.get(), request.quality), problem) ||
        refused(::heif_encoder_set_parameter_string(encoder.get(), "chroma", chroma), problem)) {
        return;
    }
    const std::unique_ptr<::heif_image, ImageEnd> image = imageOf(bgr, request.bits, problem);
    if (image == nullptr) {
        return;
    }
    const std::unique_ptr<::heif_color_profile_nclx, CodePointsEnd> points(::heif_nclx_color_profile_alloc());
    if (points == nullptr) {
        throw std::bad_alloc();
    }
    points->color_primaries = ::heif_color_primaries_ITU_R_BT_709_5;
    points->transfer_characteristics = ::heif_transfer_characteristic_IEC_61966_2_1;
    points->matrix_coefficients = ::heif_matrix_coefficients_ITU_R_BT_601_6;
    points->full_range_flag = 1;
    if (refused(request.icc.empty()
                    ? ::heif_image_set_nclx_color_profile(image.get(), points.get())
                    : ::heif_image_set_raw_color_profile(image.get(), "prof", request.icc.data(), request.icc.size()),
                problem)) {
        return;
    }
    ::heif_image_handle* handle = nullptr;
    if (refused(::heif_context_encode_image(context.get(), image.get(), encoder.get(), nullptr, &handle), problem)) {
        return;
    }
    const std::unique_ptr<const ::heif_image_handle, HandleEnd> end(handle);
    if (!request.exif.empty() && refused(::heif_context_add_exif_metadata(context.get(), handle, request.exif.data(),
                                                                          static_cast<int>(request.exif.size())),
                                         problem)) {
        return;
    }
    if (!request.xmp.empty() && refused(::heif_context_add_XMP_metadata(context.get(), handle, request.xmp.data(),
                                                                        static_cast<int>(request.xmp.size())),
                                        problem)) {
        return;
    }
    ::heif_writer writer{1, append};
    refused(::heif_context_write(context.get(), &writer, &bytes), problem);
}
