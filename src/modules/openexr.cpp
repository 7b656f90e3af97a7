// The module `openexr`: OpenEXR files of one part or several, with layers.
#include "modules/module_entry.hpp"
#include "modules/photograph_decoder.hpp"
#include "modules/photograph_encoder.hpp"

#include <ImathBox.h>
#include <ImfChannelList.h>
#include <ImfChromaticitiesAttribute.h>
#include <ImfCompression.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfInputPart.h>
#include <ImfMultiPartInputFile.h>
#include <ImfOutputFile.h>
#include <ImfPartType.h>
#include <ImfRgbaFile.h>
#include <ImfStandardAttributes.h>

#include <algorithm>
#include <set>

namespace {

using likeness::PhotographContent;
using likeness::PhotographRequest;

/// Where the colours are: a part, and what stands before the letters of its channels.
struct Place {
    int part = 0;
    std::string prefix;
    std::string name;  ///< by which it is asked for; empty of the only colours of a file with one part
    bool grey = false;
    bool lumaChroma = false;
};

bool has(const Imf::ChannelList& channels, const std::string& name) {
    return channels.findChannel(name) != nullptr;
}

std::vector<Place> placesIn(const Imf::MultiPartInputFile& file) {
    std::vector<Place> places;
    for (int part = 0; part < file.parts(); ++part) {
        const Imf::Header& header = file.header(part);
        const std::string name = header.hasName() ? header.name() : "";
        const Imf::ChannelList& channels = header.channels();
        std::set<std::string> prefixes{""};
        std::set<std::string> layers;
        channels.layers(layers);
        for (const std::string& layer : layers) {
            prefixes.insert(layer + '.');
        }
        for (const std::string& prefix : prefixes) {
            const bool colors =
                has(channels, prefix + "R") && has(channels, prefix + "G") && has(channels, prefix + "B");
            const bool grey = !colors && has(channels, prefix + "Y");
            if (!colors && !grey) {
                continue;
            }
            Place place{part, prefix, name, grey, grey && has(channels, prefix + "RY")};
            if (!prefix.empty()) {
                const std::string layer = prefix.substr(0, prefix.size() - 1);
                place.name = file.parts() > 1 && !name.empty() && name != layer ? name + '.' + layer : layer;
            }
            places.push_back(place);
        }
    }
    return places;
}

std::string namesOf(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "'" : ", '") + name + '\'';
    }
    return text;
}

const char* nameOf(Imf::Compression compression) {
    switch (compression) {
        case Imf::NO_COMPRESSION:
            return "not compressed";
        case Imf::RLE_COMPRESSION:
            return "RLE";
        case Imf::ZIPS_COMPRESSION:
        case Imf::ZIP_COMPRESSION:
            return "ZIP";
        case Imf::PIZ_COMPRESSION:
            return "PIZ";
        case Imf::PXR24_COMPRESSION:
            return "PXR24";
        case Imf::B44_COMPRESSION:
        case Imf::B44A_COMPRESSION:
            return "B44";
        default:
            return "DWA";
    }
}

std::vector<std::string> colorsOf(const Place& place) {
    if (place.grey) {
        return {place.prefix + "Y"};
    }
    return {place.prefix + "B", place.prefix + "G", place.prefix + "R"};
}

cv::Mat readPlanes(Imf::MultiPartInputFile& file, const Place& place, const std::vector<std::string>& names,
                   const PhotographContent& content) {
    const Imf::Header& header = file.header(place.part);
    const Imath::Box2i window = header.dataWindow();
    const auto channels = static_cast<int>(names.size());
    cv::Mat pixels(static_cast<int>(content.height), static_cast<int>(content.width), CV_32FC(channels),
                   cv::Scalar::all(0));
    const std::size_t xStride = sizeof(float) * static_cast<std::size_t>(channels);
    const std::size_t yStride = pixels.step[0];
    // The library adds the place of a pixel in the data window to the address of the first.
    const std::ptrdiff_t origin = static_cast<std::ptrdiff_t>(window.min.y) * static_cast<std::ptrdiff_t>(yStride) +
                                  static_cast<std::ptrdiff_t>(window.min.x) * static_cast<std::ptrdiff_t>(xStride);
    Imf::FrameBuffer frame;
    for (std::size_t c = 0; c < names.size(); ++c) {
        char* const base = reinterpret_cast<char*>(pixels.data) + c * sizeof(float) - origin;
        frame.insert(names[c], Imf::Slice(Imf::FLOAT, base, xStride, yStride));
    }
    Imf::InputPart part(file, place.part);
    part.setFrameBuffer(frame);
    part.readPixels(window.min.y, window.max.y);
    return pixels;
}

/// Luminance and chroma: the library makes R, G, B of them.
void readLumaChroma(const PhotographRequest& request, const Imath::Box2i& window, PhotographContent& content) {
    Imf::RgbaInputFile file(request.path.c_str());
    std::vector<Imf::Rgba> row(content.width);
    cv::Mat pixels(static_cast<int>(content.height), static_cast<int>(content.width), CV_32FC3);
    for (int y = window.min.y; y <= window.max.y; ++y) {
        const std::ptrdiff_t before = -static_cast<std::ptrdiff_t>(window.min.x);
        file.setFrameBuffer(row.data() + before, 1, 0);
        file.readPixels(y);
        auto* const out = pixels.ptr<cv::Vec3f>(y - window.min.y);
        for (std::size_t x = 0; x < row.size(); ++x) {
            out[x] = {row[x].b, row[x].g, row[x].r};
        }
    }
    content.pixels = pixels;
}

void read(const PhotographRequest& request, PhotographContent& content) {
    Imf::MultiPartInputFile file(request.path.c_str(), 1);
    const std::vector<Place> places = placesIn(file);
    for (const Place& place : places) {
        if (!place.name.empty()) {
            content.layers.push_back(place.name);
        }
    }
    content.pages = file.parts();
    content.floats = true;
    content.linear = true;
    auto chosen = places.begin();
    if (!request.layer.empty()) {
        chosen = std::find_if(places.begin(), places.end(), [&](const Place& p) { return p.name == request.layer; });
    }
    if (chosen == places.end()) {
        content.problem =
            request.layer.empty() ? "it has no channels R, G, B or Y" : "it has no layer '" + request.layer + "'";
        if (!content.layers.empty()) {
            content.problem += "; it has " + namesOf(content.layers);
        }
        return;
    }
    const Imf::Header& header = file.header(chosen->part);
    const Imath::Box2i window = header.dataWindow();
    content.width = static_cast<std::uint64_t>(std::int64_t{window.max.x} - window.min.x + 1);
    content.height = static_cast<std::uint64_t>(std::int64_t{window.max.y} - window.min.y + 1);
    content.codec = nameOf(header.compression());
    const Imf::ChannelList& channels = header.channels();
    for (auto channel = channels.begin(); channel != channels.end(); ++channel) {
        ++content.channels;
    }
    content.alpha = has(channels, chosen->prefix + "A");
    content.multiplied = content.alpha;  // as the format has it
    const std::string first = chosen->prefix + (chosen->grey ? "Y" : "R");
    const Imf::Channel& sample = channels[first.c_str()];
    content.bits = sample.type == Imf::HALF ? 16 : 32;
    if (Imf::hasChromaticities(header)) {
        const Imf::Chromaticities& c = Imf::chromaticities(header);
        content.chromaticities = {c.white.x, c.white.y, c.red.x, c.red.y, c.green.x, c.green.y, c.blue.x, c.blue.y};
    }
    if (Imf::hasWhiteLuminance(header) && Imf::whiteLuminance(header) > 0) {
        content.luminanceOfOne = static_cast<double>(Imf::whiteLuminance(header));
    }
    if (places.size() > 1 && request.layer.empty()) {
        content.remarks.push_back((chosen->name.empty() ? "its main layer" : "its layer '" + chosen->name + '\'') +
                                  " is taken; --layer takes one of " + namesOf(content.layers));
    }
    if (window != header.displayWindow()) {
        content.placed = true;
        content.remarks.emplace_back("its data window is taken, which is not its display window");
    }
    if (likeness::exceeds(content.width, content.height, request.mostPixels)) {
        content.problem = likeness::tooManyPixels(content.width, content.height, request.mostPixels);
        return;
    }
    if (header.hasType() && Imf::isDeepData(header.type())) {
        content.problem = "it holds deep data, which are no picture before they are flattened";
        return;
    }
    if (!chosen->lumaChroma && (sample.xSampling != 1 || sample.ySampling != 1)) {
        content.problem = "its colours have fewer pixels than the picture, which is not read";
        return;
    }
    if (chosen->lumaChroma && (file.parts() > 1 || !chosen->prefix.empty())) {
        content.problem = "luminance and chroma in one of several layers are not read";
        return;
    }
    if (request.headerOnly || (request.alpha && !content.alpha)) {
        return;
    }
    if (request.alpha) {
        likeness::takeAlpha(readPlanes(file, *chosen, {chosen->prefix + "A"}, content), content.multiplied, content);
    } else if (chosen->lumaChroma) {
        readLumaChroma(request, window, content);
    } else {
        content.pixels = readPlanes(file, *chosen, colorsOf(*chosen), content);
    }
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_read_photograph(const PhotographRequest& request, PhotographContent& content) {
    try {
        read(request, content);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        content.pixels.release();
        content.problem = std::string("its content is cut off or damaged: ") + error.what();
    }
}

namespace {

/// A file in memory.
class MemoryStream final : public Imf::OStream {
public:
    explicit MemoryStream(std::vector<unsigned char>& bytes) : Imf::OStream("memory"), bytes_(bytes) {}

    void write(const char* bytes, int count) override {
        const std::size_t end = at_ + static_cast<std::size_t>(count);
        bytes_.resize(std::max(bytes_.size(), end));
        std::copy_n(bytes, count, reinterpret_cast<char*>(bytes_.data()) + at_);
        at_ = end;
    }
    std::uint64_t tellp() override { return at_; }
    void seekp(std::uint64_t place) override { at_ = static_cast<std::size_t>(place); }

private:
    std::vector<unsigned char>& bytes_;
    std::size_t at_ = 0;
};

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_write_photograph(const cv::Mat& bgr, const likeness::EncodingRequest& request,
                                                     std::vector<unsigned char>& bytes, std::string& problem) {
    try {
        Imf::Header header(bgr.cols, bgr.rows);
        header.compression() = Imf::ZIP_COMPRESSION;
        Imf::addChromaticities(header, Imf::Chromaticities());  // the library's own are those of sRGB
        const Imf::PixelType type = request.half ? Imf::HALF : Imf::FLOAT;
        cv::Mat stored = bgr;
        if (request.half) {
            stored.create(bgr.size(), CV_16UC3);
            for (int i = 0; i < bgr.rows; ++i) {
                for (int j = 0; j < 3 * bgr.cols; ++j) {
                    // What is beyond the greatest half, on either side, stays a number.
                    constexpr float greatest = 65504;
                    const float value = bgr.ptr<float>(i)[j];
                    stored.ptr<ushort>(i)[j] = half(value > greatest    ? greatest
                                                    : value < -greatest ? -greatest
                                                                        : value)
                                                   .bits();
                }
            }
        }
        Imf::FrameBuffer frame;
        const std::size_t size = stored.elemSize1();
        for (int c = 0; c < 3; ++c) {
            const std::string name(1, "BGR"[c]);
            header.channels().insert(name, Imf::Channel(type));
            frame.insert(name,
                         Imf::Slice(type, reinterpret_cast<char*>(stored.data) + static_cast<std::size_t>(c) * size,
                                    3 * size, stored.step[0]));
        }
        MemoryStream stream(bytes);
        Imf::OutputFile file(stream, header);
        file.setFrameBuffer(frame);
        file.writePixels(bgr.rows);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        problem = error.what();
    }
}
