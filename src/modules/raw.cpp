// The module `raw`: raw files of cameras, with LibRaw.
#include "modules/module_entry.hpp"
#include "modules/photograph_decoder.hpp"

#include <libraw/libraw.h>

#include <algorithm>
#include <cmath>
#include <locale>
#include <memory>
#include <sstream>

namespace {

using likeness::PhotographContent;
using likeness::PhotographRequest;

/// Primaries and white of ROMM RGB, ISO 22028-2: wide enough for what cameras record.
constexpr std::array<double, 8> rommChromaticities{0.3457, 0.3585, 0.7347, 0.2653, 0.1596, 0.8404, 0.0366, 0.0001};
constexpr int rommOutput = 4;  // the library's number for it
constexpr int adaptiveHomogeneity = 3;

bool failed(int status, PhotographContent& content) {
    if (status == LIBRAW_SUCCESS) {
        return false;
    }
    if (status == LIBRAW_UNSUFFICIENT_MEMORY) {
        throw std::bad_alloc();
    }
    content.problem = status == LIBRAW_IO_ERROR
                          ? "its content is cut off or damaged"
                          : std::string("its content cannot be decoded: ") + ::libraw_strerror(status);
    return true;
}

void setParameters(libraw_output_params_t& parameters) {
    parameters.use_camera_wb = 1;
    parameters.use_camera_matrix = 1;
    parameters.output_color = rommOutput;
    parameters.output_bps = 16;
    parameters.gamm[0] = 1;
    parameters.gamm[1] = 1;
    parameters.no_auto_bright = 1;
    parameters.adjust_maximum_thr = 0;  // the white level of the camera, whatever the picture holds
    parameters.user_qual = adaptiveHomogeneity;
}

void readPreview(LibRaw& raw, std::uint64_t mostPixels, PhotographContent& content) {
    if (failed(raw.unpack_thumb(), content)) {
        content.problem = "it has no preview that can be read";
        return;
    }
    const libraw_thumbnail_t& preview = raw.imgdata.thumbnail;
    if (likeness::exceeds(preview.twidth, preview.theight, mostPixels)) {
        content.problem = likeness::tooManyPixels(preview.twidth, preview.theight, mostPixels);
        return;
    }
    if (preview.tformat == LIBRAW_THUMBNAIL_JPEG) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(preview.thumb);
        content.encoded.assign(bytes, bytes + preview.tlength);
    } else if (preview.tformat == LIBRAW_THUMBNAIL_BITMAP &&
               preview.tlength >= std::uint64_t{3} * preview.twidth * preview.theight) {
        content.pixels.create(preview.theight, preview.twidth, CV_8UC3);
        const auto* in = reinterpret_cast<const unsigned char*>(preview.thumb);
        for (int i = 0; i < content.pixels.rows; ++i) {
            auto* const out = content.pixels.ptr<cv::Vec3b>(i);
            for (int j = 0; j < content.pixels.cols; ++j, in += 3) {
                out[j] = {in[2], in[1], in[0]};
            }
        }
    } else {
        content.problem = "its preview is of a kind that is not read";
    }
    content.bits = 8;
    content.channels = 3;
    content.linear = false;
    content.chromaticities.reset();
    content.codec = "preview";
    content.asStored = true;
    content.remarks.clear();
    content.remarks.emplace_back("its embedded preview is taken, as sRGB, as --preview asks");
}

/// The library's number has a bit each for left and right changed, top and bottom changed, and both sides changed.
int orientationOf(int flip) {
    constexpr std::array<int, 8> orientations = {1, 2, 4, 3, 5, 8, 6, 7};
    return orientations[static_cast<std::size_t>(flip & 7)];
}

void develop(LibRaw& raw, PhotographContent& content) {
    if (failed(raw.unpack(), content) || failed(raw.dcraw_process(), content)) {
        return;
    }
    int status = LIBRAW_SUCCESS;
    libraw_processed_image_t* const made = raw.dcraw_make_mem_image(&status);
    if (made == nullptr || failed(status, content)) {
        content.problem = content.problem.empty() ? "its content cannot be decoded" : content.problem;
        return;
    }
    const auto end = [](libraw_processed_image_t* image) { LibRaw::dcraw_clear_mem(image); };
    const std::unique_ptr<libraw_processed_image_t, decltype(end)> image(made, end);
    if (image->type != LIBRAW_IMAGE_BITMAP || image->bits != 16 || (image->colors != 3 && image->colors != 1)) {
        content.problem = "it has " + std::to_string(image->colors) + " colours, which is not read";
        return;
    }
    const auto* in = reinterpret_cast<const ushort*>(image->data);
    content.pixels.create(image->height, image->width, CV_MAKETYPE(CV_16U, image->colors));
    for (int i = 0; i < content.pixels.rows; ++i) {
        auto* const out = content.pixels.ptr<ushort>(i);
        const int count = content.pixels.cols * image->colors;
        std::copy(in, in + count, out);
        in += count;
        for (int e = 0; image->colors == 3 && e < count; e += 3) {
            std::swap(out[e], out[e + 2]);
        }
    }
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_read_photograph(const PhotographRequest& request, PhotographContent& content) {
    const auto raw = std::make_unique<LibRaw>();
    setParameters(raw->imgdata.params);
    if (failed(raw->open_file(request.path.c_str()), content) || failed(raw->adjust_sizes_info_only(), content)) {
        return;
    }
    const libraw_image_sizes_t& sizes = raw->imgdata.sizes;
    content.width = sizes.iwidth;
    content.height = sizes.iheight;
    content.orientation = orientationOf(sizes.flip);
    content.bits = 16;
    content.channels = raw->imgdata.idata.colors;
    content.linear = true;
    content.chromaticities = rommChromaticities;
    content.codec = std::string(raw->imgdata.idata.make) + ' ' + raw->imgdata.idata.model;
    const bool mosaic = raw->imgdata.idata.filters != 0;
    constexpr unsigned filtersOfSix = 9;  // the library's number for them
    const bool sixBySix = raw->imgdata.idata.filters == filtersOfSix;
    content.remarks.push_back(std::string("developed from the raw values: the camera's white as shot") +
                              (sixBySix ? ", interpolated for its colour filters of 6 x 6"
                               : mosaic ? ", interpolated by adaptive homogeneity (AHD)"
                                        : "") +
                              "; --preview takes its embedded preview");
    const float baseline = raw->imgdata.color.dng_levels.baseline_exposure;
    constexpr float greatestBaseline = 30;  // beyond it the library means that there is none
    if (baseline != 0 && std::abs(baseline) < greatestBaseline) {
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text << "its baseline exposure of " << baseline << " EV is not applied; --exposure " << baseline << " does";
        content.remarks.push_back(text.str());
    }
    if (likeness::exceeds(sizes.raw_width, sizes.raw_height, request.mostPixels)) {
        content.problem = likeness::tooManyPixels(sizes.raw_width, sizes.raw_height, request.mostPixels);
        return;
    }
    if (request.headerOnly || request.alpha) {
        return;
    }
    // Asked for the size alone, the library forgets what it has to know for the work.
    raw->recycle();
    if (failed(raw->open_file(request.path.c_str()), content)) {
        return;
    }
    if (request.preview) {
        readPreview(*raw, request.mostPixels, content);
    } else {
        develop(*raw, content);
    }
}
