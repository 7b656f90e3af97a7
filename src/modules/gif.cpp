// The module `gif`: the first frame of a GIF, with giflib.
#include "modules/module_entry.hpp"
#include "modules/photograph_decoder.hpp"

#include <gif_lib.h>

#include <algorithm>
#include <memory>

namespace {

using likeness::PhotographContent;
using likeness::PhotographRequest;

struct CloseGif {
    void operator()(::GifFileType* file) const noexcept {
        int error = 0;
        ::DGifCloseFile(file, &error);
    }
};

cv::Vec3b colorOf(const ::ColorMapObject& map, int index) {
    if (index < 0 || index >= map.ColorCount) {
        return {0, 0, 0};
    }
    const ::GifColorType& color = map.Colors[index];
    return {color.Blue, color.Green, color.Red};
}

/// Rows of an interlaced picture come in four passes (GIF89a, appendix E).
std::vector<int> orderOfRows(int rows, bool interlaced) {
    std::vector<int> order;
    constexpr int firsts[] = {0, 4, 2, 1};
    constexpr int steps[] = {8, 8, 4, 2};
    for (int pass = 0; pass < (interlaced ? 4 : 1); ++pass) {
        for (int row = interlaced ? firsts[pass] : 0; row < rows; row += interlaced ? steps[pass] : 1) {
            order.push_back(row);
        }
    }
    return order;
}

void readFrame(::GifFileType& file, PhotographContent& content) {
    const ::GifImageDesc& frame = file.Image;
    const ::ColorMapObject* const map = frame.ColorMap != nullptr ? frame.ColorMap : file.SColorMap;
    if (map == nullptr || frame.Width <= 0 || frame.Height <= 0 || frame.Left < 0 || frame.Top < 0) {
        content.problem = "its first frame has no colours";
        return;
    }
    cv::Mat bgr(static_cast<int>(content.height), static_cast<int>(content.width), CV_8UC3, cv::Scalar::all(0));
    if (file.SColorMap != nullptr) {
        bgr.setTo(colorOf(*file.SColorMap, file.SBackGroundColor));
    }
    std::vector<::GifPixelType> line(static_cast<std::size_t>(frame.Width));
    for (const int row : orderOfRows(frame.Height, frame.Interlace)) {
        if (::DGifGetLine(&file, line.data(), frame.Width) == GIF_ERROR) {
            content.problem = "its first frame is cut off or damaged";
            return;
        }
        for (int j = 0; j < frame.Width && frame.Top + row < bgr.rows && frame.Left + j < bgr.cols; ++j) {
            bgr.at<cv::Vec3b>(frame.Top + row, frame.Left + j) = colorOf(*map, line[static_cast<std::size_t>(j)]);
        }
    }
    content.pixels = bgr;
    content.remarks.emplace_back("the first frame of a GIF is taken, without transparency");
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_read_photograph(const PhotographRequest& request, PhotographContent& content) {
    int error = 0;
    const std::unique_ptr<::GifFileType, CloseGif> file(::DGifOpenFileName(request.path.c_str(), &error));
    if (file == nullptr) {
        if (error == D_GIF_ERR_NOT_ENOUGH_MEM) {
            throw std::bad_alloc();
        }
        content.problem = "its header is cut off or damaged";
        return;
    }
    content.width = static_cast<std::uint64_t>(std::max(0, file->SWidth));
    content.height = static_cast<std::uint64_t>(std::max(0, file->SHeight));
    content.bits = 8;
    content.channels = 3;
    content.codec = "palette, LZW";
    if (likeness::exceeds(content.width, content.height, request.mostPixels)) {
        content.problem = likeness::tooManyPixels(content.width, content.height, request.mostPixels);
        return;
    }
    if (content.width == 0 || content.height == 0) {
        content.problem = "it has no pixels";
        return;
    }
    if (request.headerOnly) {
        return;
    }
    for (;;) {
        ::GifRecordType record = UNDEFINED_RECORD_TYPE;
        if (::DGifGetRecordType(file.get(), &record) == GIF_ERROR) {
            break;
        }
        if (record == IMAGE_DESC_RECORD_TYPE) {
            if (::DGifGetImageDesc(file.get()) == GIF_ERROR) {
                break;
            }
            return readFrame(*file, content);
        }
        if (record == TERMINATE_RECORD_TYPE) {
            content.problem = "it has no frame";
            return;
        }
        if (record == EXTENSION_RECORD_TYPE) {
            int code = 0;
            ::GifByteType* data = nullptr;
            bool good = ::DGifGetExtension(file.get(), &code, &data) != GIF_ERROR;
            while (good && data != nullptr) {
                good = ::DGifGetExtensionNext(file.get(), &data) != GIF_ERROR;
            }
            if (!good) {
                break;
            }
        }
    }
    content.problem = "its first frame is cut off or damaged";
}
