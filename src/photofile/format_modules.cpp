#include "photofile/format_modules.hpp"

#include "modules/module_loader.hpp"
#include "photofile/arbitrary_map_reader.hpp"
#include "photofile/av1_colors.hpp"
#include "photofile/photoshop_reader.hpp"

namespace likeness {

bool isForModule(const ImageHeader& header, const PhotographSelection& selection) {
    switch (header.format) {
        case ImageFileFormat::heic:
        case ImageFileFormat::avif:
        case ImageFileFormat::jpegXl:
        case ImageFileFormat::openExr:
        case ImageFileFormat::gif:
        case ImageFileFormat::photoshop:
            return true;
        case ImageFileFormat::portable:
            return header.misread;
        case ImageFileFormat::tiff: {
            // What the image library has no room for, or would take for something else.
            const bool usual = header.bits == 1 || header.bits == 8 || header.bits == 16 ||
                               (header.bits == 32 && header.floats) || header.bits == 0;
            const bool halves = header.floats && header.bits == 16;
            return header.cameraRaw || !usual || halves || header.misread || header.toldOf || selection.page > 1;
        }
        default:
            return header.cameraRaw;
    }
}

bool hasPages(const ImageHeader& header) noexcept {
    return !header.cameraRaw && (header.format == ImageFileFormat::tiff || header.format == ImageFileFormat::heic ||
                                 header.format == ImageFileFormat::avif);
}

std::string readWithoutPages(const ImageHeader& header) {
    return std::string("--page: ") + (header.cameraRaw ? "camera raw" : nameOf(header.format)) +
           " is read without pages";
}

std::string moduleOf(const ImageHeader& header) {
    if (header.cameraRaw) {
        return "raw";
    }
    switch (header.format) {
        case ImageFileFormat::heic:
        case ImageFileFormat::avif:
            return "heif";
        case ImageFileFormat::jpegXl:
            return "jxl";
        case ImageFileFormat::openExr:
            return "openexr";
        case ImageFileFormat::gif:
            return "gif";
        case ImageFileFormat::tiff:
            return "tiff";
        default:
            return "";
    }
}

namespace {

/// The colours that no box of an AVIF tells are those that its stream tells. Streams of other pages than the first are
/// not looked for.
void takeColorsOfStream(const ByteSource& source, int page, PhotographContent& content) {
    if (!content.icc.empty() || content.codePoints || !content.problem.empty()) {
        return;
    }
    if (page > 1) {
        content.remarks.emplace_back(
            "no box (colr) tells the colours of this page: they are taken for sRGB, whatever "
            "its stream says of them");
        return;
    }
    content.codePoints = codePointsOfAv1(source);
    if (!content.codePoints) {
        content.remarks.emplace_back("neither a box (colr) nor its stream tells its colours: they are taken for sRGB");
    }
}

}  // namespace

PhotographContent readByModule(const ByteSource& source, const ImageHeader& header, const PhotographRequest& request) {
    PhotographContent content;
    if (request.page > 1 && !hasPages(header)) {
        content.problem = readWithoutPages(header);
        return content;
    }
    if (header.format == ImageFileFormat::photoshop) {
        return readPhotoshop(source, request);
    }
    if (header.format == ImageFileFormat::portable) {
        return readArbitraryMap(source, request);
    }
    const auto read = reinterpret_cast<ReadPhotographEntry>(moduleEntry(moduleOf(header), "likeness_read_photograph"));
    read(request, content);
    if (header.format == ImageFileFormat::avif) {
        takeColorsOfStream(source, request.page, content);
    }
    return content;
}

ColorStatement colorStatementOf(const PhotographContent& content, const ByteSource& source, const ImageHeader& header,
                                int page) {
    ColorStatement statement;
    statement.channels = content.channels <= 2 ? StoredChannels::grey : StoredChannels::rgb;
    if (!content.icc.empty()) {
        statement.icc = content.icc;
    } else if (content.codePoints) {
        statement = statementOfCodePoints((*content.codePoints)[0], (*content.codePoints)[1]);
        statement.channels = StoredChannels::rgb;
    } else if (content.chromaticities) {
        takeLinearChromaticities(*content.chromaticities, statement);
    } else if (header.format == ImageFileFormat::tiff && !header.cameraRaw && page <= 1) {
        // Tags in place of a profile; those of later pages are not looked for. Of a raw file they are the preview's.
        ColorStatement tags = readColorStatement(source, header.format);
        statement.colorimetry = std::move(tags.colorimetry);
        statement.problem = std::move(tags.problem);
    }
    if (content.luminanceOfOne > 0) {
        statement.luminanceOfOne = {content.luminanceOfOne, content.luminanceOfOne, content.luminanceOfOne};
    }
    return statement;
}

}  // namespace likeness
