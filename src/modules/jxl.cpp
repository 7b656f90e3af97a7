// The module `jxl`: JPEG XL, with libjxl, which turns pictures upright.
#include "modules/module_entry.hpp"
#include "modules/photograph_decoder.hpp"
#include "modules/photograph_encoder.hpp"

#include <jxl/decode.h>
#include <jxl/decode_cxx.h>
#include <jxl/encode.h>
#include <jxl/encode_cxx.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

namespace {

using likeness::PhotographContent;
using likeness::PhotographRequest;

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

void readBasics(const ::JxlBasicInfo& basics, PhotographContent& content) {
    content.width = basics.xsize;
    content.height = basics.ysize;
    content.orientation = static_cast<int>(basics.orientation);
    if (content.orientation >= 5) {
        std::swap(content.width, content.height);
    }
    content.bits = static_cast<int>(basics.bits_per_sample);
    content.floats = basics.exponent_bits_per_sample > 0;
    content.alpha = basics.alpha_bits > 0;
    content.channels = static_cast<int>(basics.num_color_channels + basics.num_extra_channels);
    content.codec = basics.uses_original_profile != 0 ? "its own colours" : "XYB, lossy";
    if (basics.have_animation != 0) {
        content.remarks.emplace_back("the first frame of an animation is taken");
    }
    if (basics.alpha_premultiplied != 0 && basics.alpha_bits > 0) {
        content.remarks.emplace_back("its colours are multiplied by its alpha, and are taken as they are");
    }
}

/// That of ITU-T H.273; 0, which none has, for primaries of the file's own and for another white than D65.
int codePointOfPrimaries(const ::JxlColorEncoding& encoding) {
    constexpr int displayP3 = 12;  // the library's number is that of the same primaries with the white of cinemas
    return encoding.white_point != ::JXL_WHITE_POINT_D65  ? 0
           : encoding.primaries == ::JXL_PRIMARIES_P3     ? displayP3
           : encoding.primaries == ::JXL_PRIMARIES_CUSTOM ? 0
                                                          : static_cast<int>(encoding.primaries);
}

void readColors(::JxlDecoder* decoder, const ::JxlPixelFormat& format, PhotographContent& content) {
    ::JxlColorEncoding encoding{};
    if (::JxlDecoderGetColorAsEncodedProfile(decoder, &format, ::JXL_COLOR_PROFILE_TARGET_DATA, &encoding) ==
        ::JXL_DEC_SUCCESS) {
        content.linear = encoding.transfer_function == ::JXL_TRANSFER_FUNCTION_LINEAR;
        if (encoding.transfer_function == ::JXL_TRANSFER_FUNCTION_PQ ||
            encoding.transfer_function == ::JXL_TRANSFER_FUNCTION_HLG) {
            content.codePoints = {codePointOfPrimaries(encoding), static_cast<int>(encoding.transfer_function)};
            return;
        }
        constexpr double displayGamma = 1 / 2.2;
        if (encoding.transfer_function == ::JXL_TRANSFER_FUNCTION_GAMMA &&
            std::abs(encoding.gamma - displayGamma) < 1e-4 &&
            (encoding.color_space == ::JXL_COLOR_SPACE_GRAY || encoding.primaries == ::JXL_PRIMARIES_SRGB) &&
            encoding.white_point == ::JXL_WHITE_POINT_D65) {
            // As in a PNG, from which such files come: older writers mean sRGB by it.
            content.remarks.emplace_back("its exponent of 1/2.2 is taken for the curve of sRGB");
            return;
        }
    }
    std::size_t size = 0;
    constexpr std::size_t mostBytes = std::size_t{1} << 24;
    if (::JxlDecoderGetICCProfileSize(decoder, &format, ::JXL_COLOR_PROFILE_TARGET_DATA, &size) == ::JXL_DEC_SUCCESS &&
        size > 0 && size <= mostBytes) {
        content.icc.resize(size);
        if (::JxlDecoderGetColorAsICCProfile(decoder, &format, ::JXL_COLOR_PROFILE_TARGET_DATA, content.icc.data(),
                                             size) != ::JXL_DEC_SUCCESS) {
            content.icc.clear();
        }
    }
}

template <typename Value>
void swapRedAndBlue(cv::Mat& rgb) {
    for (int i = 0; i < rgb.rows; ++i) {
        auto* const row = rgb.ptr<cv::Vec<Value, 3>>(i);
        for (int j = 0; j < rgb.cols; ++j) {
            std::swap(row[j][0], row[j][2]);
        }
    }
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_read_photograph(const PhotographRequest& request, PhotographContent& content) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(request.path.c_str(), "rbe"));
    const JxlDecoderPtr decoder = ::JxlDecoderMake(nullptr);
    if (decoder == nullptr) {
        throw std::bad_alloc();
    }
    if (file == nullptr) {
        content.problem = "it cannot be opened";
        return;
    }
    int events = ::JXL_DEC_BASIC_INFO | ::JXL_DEC_COLOR_ENCODING;
    if (!request.headerOnly) {
        events |= ::JXL_DEC_FULL_IMAGE;
    }
    ::JxlDecoderSubscribeEvents(decoder.get(), events);
    if (request.headerOnly) {
        ::JxlDecoderSetKeepOrientation(decoder.get(), JXL_TRUE);  // else it tells of the picture that it has turned
    }
    ::JxlPixelFormat format{3, ::JXL_TYPE_UINT8, ::JXL_NATIVE_ENDIAN, 0};
    int depth = CV_8U;
    bool multiplied = false;
    std::vector<unsigned char> input;
    std::uint64_t passed = 0;
    const auto damaged = [&content] { content.problem = "its content cannot be decoded: the decoder finds an error"; };
    for (;;) {
        switch (::JxlDecoderProcessInput(decoder.get())) {
            case ::JXL_DEC_NEED_MORE_INPUT: {
                const std::size_t left = ::JxlDecoderReleaseInput(decoder.get());
                input.erase(input.begin(), input.end() - static_cast<std::ptrdiff_t>(left));
                constexpr std::size_t piece = std::size_t{1} << 18;
                input.resize(left + piece);
                const std::size_t count = std::fread(input.data() + left, 1, piece, file.get());
                input.resize(left + count);
                passed += count;
                if (count == 0) {
                    content.pixels.release();
                    content.problem = "it is cut off at byte " + std::to_string(passed);
                    return;
                }
                ::JxlDecoderSetInput(decoder.get(), input.data(), input.size());
                break;
            }
            case ::JXL_DEC_BASIC_INFO: {
                ::JxlBasicInfo basics{};
                if (::JxlDecoderGetBasicInfo(decoder.get(), &basics) != ::JXL_DEC_SUCCESS) {
                    return damaged();
                }
                readBasics(basics, content);
                if (likeness::exceeds(content.width, content.height, request.mostPixels)) {
                    content.problem = likeness::tooManyPixels(content.width, content.height, request.mostPixels);
                    return;
                }
                if (request.alpha && !content.alpha) {
                    return;
                }
                multiplied = basics.alpha_premultiplied != 0;
                // The library gives alpha behind the colours.
                format.num_channels = (basics.num_color_channels == 1 ? 1 : 3) + (request.alpha ? 1 : 0);
                depth = content.floats ? CV_32F : content.bits > 8 ? CV_16U : CV_8U;
                format.data_type = content.floats     ? ::JXL_TYPE_FLOAT
                                   : content.bits > 8 ? ::JXL_TYPE_UINT16
                                                      : ::JXL_TYPE_UINT8;
                break;
            }
            case ::JXL_DEC_COLOR_ENCODING:
                readColors(decoder.get(), format, content);
                if (request.headerOnly) {
                    return;
                }
                break;
            case ::JXL_DEC_NEED_IMAGE_OUT_BUFFER: {
                std::size_t size = 0;
                content.pixels.create(static_cast<int>(content.height), static_cast<int>(content.width),
                                      CV_MAKETYPE(depth, static_cast<int>(format.num_channels)));
                if (::JxlDecoderImageOutBufferSize(decoder.get(), &format, &size) != ::JXL_DEC_SUCCESS ||
                    size != content.pixels.total() * content.pixels.elemSize() ||
                    ::JxlDecoderSetImageOutBuffer(decoder.get(), &format, content.pixels.data, size) !=
                        ::JXL_DEC_SUCCESS) {
                    content.pixels.release();
                    return damaged();
                }
                break;
            }
            case ::JXL_DEC_FULL_IMAGE:
            case ::JXL_DEC_SUCCESS:
                if (content.pixels.empty()) {
                    return damaged();
                }
                if (request.alpha) {
                    cv::Mat alpha;
                    cv::extractChannel(content.pixels, alpha, content.pixels.channels() - 1);
                    content.pixels.release();
                    likeness::takeAlpha(alpha, multiplied, content);
                } else if (content.pixels.channels() == 3) {
                    depth == CV_8U    ? swapRedAndBlue<uchar>(content.pixels)
                    : depth == CV_16U ? swapRedAndBlue<ushort>(content.pixels)
                                      : swapRedAndBlue<float>(content.pixels);
                }
                return;
            default:
                content.pixels.release();
                return damaged();
        }
    }
}

namespace {

bool addBox(::JxlEncoder* encoder, const char* type, const std::vector<std::uint8_t>& bytes) {
    return ::JxlEncoderAddBox(encoder, type, bytes.data(), bytes.size(), JXL_FALSE) == ::JXL_ENC_SUCCESS;
}

/// Boxes of ISO/IEC 18181-2 beside the picture.
bool addMetadata(::JxlEncoder* encoder, const likeness::EncodingRequest& request) {
    if (request.exif.empty() && request.xmp.empty()) {
        return true;
    }
    bool good = ::JxlEncoderUseBoxes(encoder) == ::JXL_ENC_SUCCESS;
    if (!request.exif.empty()) {
        std::vector<std::uint8_t> exif(4, 0);  // where the TIFF header begins
        exif.insert(exif.end(), request.exif.begin(), request.exif.end());
        good = good && addBox(encoder, "Exif", exif);
    }
    if (!request.xmp.empty()) {
        good = good && addBox(encoder, "xml ", {request.xmp.begin(), request.xmp.end()});
    }
    return good;
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_write_photograph(const cv::Mat& bgr, const likeness::EncodingRequest& request,
                                                     std::vector<unsigned char>& bytes, std::string& problem) {
    const JxlEncoderPtr encoder = ::JxlEncoderMake(nullptr);
    if (encoder == nullptr) {
        throw std::bad_alloc();
    }
    const bool deep = bgr.depth() == CV_16U;
    const bool lossless = request.quality >= 100;
    ::JxlBasicInfo basics{};
    ::JxlEncoderInitBasicInfo(&basics);
    basics.xsize = static_cast<std::uint32_t>(bgr.cols);
    basics.ysize = static_cast<std::uint32_t>(bgr.rows);
    basics.bits_per_sample = deep ? 16 : 8;
    basics.uses_original_profile = lossless ? JXL_TRUE : JXL_FALSE;
    bool good = ::JxlEncoderSetBasicInfo(encoder.get(), &basics) == ::JXL_ENC_SUCCESS;
    good = good && addMetadata(encoder.get(), request);
    if (request.icc.empty()) {
        ::JxlColorEncoding srgb{};
        ::JxlColorEncodingSetToSRGB(&srgb, JXL_FALSE);
        good = good && ::JxlEncoderSetColorEncoding(encoder.get(), &srgb) == ::JXL_ENC_SUCCESS;
    } else {
        good = good &&
               ::JxlEncoderSetICCProfile(encoder.get(), request.icc.data(), request.icc.size()) == ::JXL_ENC_SUCCESS;
    }
    ::JxlEncoderFrameSettings* const settings = ::JxlEncoderFrameSettingsCreate(encoder.get(), nullptr);
    if (lossless) {
        ::JxlEncoderSetFrameLossless(settings, JXL_TRUE);
    } else {
        // The scale of the format's own tool: quality 90 is distance 1, where a difference begins to be seen.
        const double distance = request.quality >= 30 ? 0.1 + (100 - request.quality) * 0.09
                                                      : 6.4 + std::pow(2.5, (30 - request.quality) / 5.0) / 6.25;
        ::JxlEncoderSetFrameDistance(settings, static_cast<float>(std::min(distance, 15.0)));
    }
    cv::Mat rgb = bgr.clone();
    deep ? swapRedAndBlue<ushort>(rgb) : swapRedAndBlue<uchar>(rgb);
    const ::JxlPixelFormat format{3, deep ? ::JXL_TYPE_UINT16 : ::JXL_TYPE_UINT8, ::JXL_NATIVE_ENDIAN, 0};
    good = good &&
           ::JxlEncoderAddImageFrame(settings, &format, rgb.data, rgb.total() * rgb.elemSize()) == ::JXL_ENC_SUCCESS;
    ::JxlEncoderCloseInput(encoder.get());
    constexpr std::size_t piece = std::size_t{1} << 16;
    bytes.assign(piece, 0);
    std::uint8_t* next = bytes.data();
    std::size_t left = bytes.size();
    ::JxlEncoderStatus status = good ? ::JXL_ENC_NEED_MORE_OUTPUT : ::JXL_ENC_ERROR;
    while (status == ::JXL_ENC_NEED_MORE_OUTPUT) {
        status = ::JxlEncoderProcessOutput(encoder.get(), &next, &left);
        if (status == ::JXL_ENC_NEED_MORE_OUTPUT) {
            const auto done = static_cast<std::size_t>(next - bytes.data());
            bytes.resize(2 * bytes.size());
            next = bytes.data() + done;
            left = bytes.size() - done;
        }
    }
    bytes.resize(static_cast<std::size_t>(next - bytes.data()));
    if (status != ::JXL_ENC_SUCCESS) {
        problem = "the encoder does not take an image like this";
    }
}
