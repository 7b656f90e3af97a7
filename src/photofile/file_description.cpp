#include "photofile/file_description.hpp"

#include "files/standard_input.hpp"
#include "modules/module_loader.hpp"
#include "photofile/cut_off.hpp"
#include "photofile/format_modules.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/opened_file.hpp"
#include "photofile/stored_orientation.hpp"

namespace likeness {
namespace {

void takeHeader(const ImageHeader& header, FileDescription& description) {
    description.format = header.cameraRaw ? "camera raw" : nameOf(header.format);
    description.codec = header.codec;
    description.width = header.width;
    description.height = header.height;
    description.bits = header.bits;
    description.floats = header.floats;
    description.channels = header.channels;
    if (header.channels > 0) {
        description.alpha = header.alpha;
    }
    description.pages = header.pages;
}

void takeContent(const PhotographContent& content, FileDescription& description) {
    const auto takeText = [](const std::string& from, std::string& to) { to = from.empty() ? to : from; };
    takeText(content.codec, description.codec);
    if (content.width != 0) {
        description.width = content.width;
        description.height = content.height;
        description.bits = content.bits;
        description.floats = content.floats;
        description.channels = content.channels;
        description.alpha = content.alpha;
        description.pages = content.pages;
    }
    description.placed = content.placed || content.luminanceOfOne > 0;
    description.layers = content.layers;
    description.orientation = content.orientation;
    description.remarks = content.remarks;
}

void takeColors(const ProfileUse& use, FileDescription& description) {
    const bool other = use.origin != ProfileUse::Origin::none;
    description.otherChannels = use.otherChannels;
    description.profile = other ? use.description : "sRGB";
    description.transfer = use.light == LightCurve::pq    ? "PQ"
                           : use.light == LightCurve::hlg ? "HLG"
                           : use.linear                   ? "linear"
                           : other                        ? "that of the profile"
                                                          : "sRGB";
    for (const std::string& text : {use.warning(), use.remark()}) {
        if (!text.empty()) {
            description.remarks.push_back(text);
        }
    }
}

void takeNotes(const std::string& path, FileDescription& description) {
    try {
        const auto read = reinterpret_cast<ReadNotesEntry>(moduleEntry("metadata", "likeness_read_notes"));
        CameraNotes notes;
        read(path, notes);
        description.notes = std::move(notes);
    } catch (const ModuleProblem& problem) {
        description.remarks.push_back(std::string("what the camera noted is not known: ") + problem.what());
    }
}

/// Of what a module reads it is known already, but for HEIC and AVIF; of a TIFF the notes have it.
void takeOrientation(const ByteSource& source, const ImageHeader& header, FileDescription& description) {
    const int found = storedOrientation(source, header.format).value_or(0);
    if (found != 0) {
        description.orientation = found;
    } else if (header.format == ImageFileFormat::tiff && !header.cameraRaw && description.notes) {
        description.orientation = description.notes->orientation.value_or(0);
    }
}

/// What the end of the file says, of one that is read without it.
void takeEnd(const ByteSource& source, const ImageHeader& header, std::uint64_t size, FileDescription& description) {
    if (!description.problem.empty()) {
        return;
    }
    switch (endOf(source, header, size)) {
        case FileEnd::there:
            break;
        case FileEnd::missing:
            description.isCutOff = true;
            description.remarks.push_back("it is cut off at byte " + std::to_string(size) +
                                          ", and is read as far as it goes");
            break;
        case FileEnd::untold:
            description.remarks.emplace_back(
                "whether it is whole is known once it is decoded: its header was looked at");
            break;
    }
}

std::string readingOf(const FileDescription& description) {
    // 32 and 64 bits of integers are more than 16 hold.
    const std::string depth = description.floats || description.bits > 16 ? "floats"
                              : description.bits == 0                     ? "as they are"
                              : description.bits > 8                      ? "16 bits"
                                                                          : "8 bits";
    std::string text = "B, G, R, " + depth;
    if (description.orientation > 1) {
        text += ", turned upright";
    }
    if (description.alpha.value_or(false)) {
        text += ", without alpha";
    }
    if (description.transfer == "linear") {
        text += ", encoded for sRGB";
    } else if (description.profile != "sRGB") {
        text += ", converted to sRGB";
    }
    return text;
}

}  // namespace

FileDescription describeFile(const FileAccess& access, const std::string& name) {
    const std::string path = placeOfInput(name);
    FileDescription description;
    const OpenedFile file(path);
    description.bytes = file.size();
    if (!file.problem().empty()) {
        description.problem = file.problem();
        return description;
    }
    const ByteSource source = file.source();
    const ImageHeader header = readImageHeader(source);
    takeHeader(header, description);
    if (header.format == ImageFileFormat::unknown && !header.cameraRaw) {
        description.problem = ": its content is of no image format that is known";
        return description;
    }
    ManagedColors colors(access.profiles());
    colors.inspect(source, header);
    const bool direct = header.format == ImageFileFormat::jpeg || header.format == ImageFileFormat::png ||
                        header.format == ImageFileFormat::photoshop;
    try {
        if (isForModule(header, access.profiles().selection)) {
            description.module = moduleOf(header);
            const PhotographSelection& selection = access.profiles().selection;
            PhotographRequest request{path, access.mostPixels(), selection.page, selection.layer, selection.preview};
            request.headerOnly = true;
            const PhotographContent content = readByModule(source, header, request);
            takeContent(content, description);
            colors.take(colorStatementOf(content, source, header, selection.page), content.linear, content.floats);
            if (!content.problem.empty()) {
                description.problem = ": " + content.problem;
            }
        } else {
            description.module = direct ? "" : "imgcodecs";
            if (!direct) {
                moduleEntry("imgcodecs", "likeness_imread");
            }
            if (access.profiles().selection.page > 1) {
                description.problem = ": " + readWithoutPages(header);
            } else if (header.pages > 1) {
                description.remarks.emplace_back("the first page is taken; --page takes another");
            }
        }
    } catch (const ModuleProblem& problem) {
        description.problem = std::string(": ") + problem.what();
    }
    takeColors(colors.use(), description);
    takeNotes(path, description);
    takeOrientation(source, header, description);
    if (description.problem.empty() && !header.unread.empty()) {
        description.problem = ": " + header.unread;
    }
    if (isCutOff(source, header, file.size())) {
        description.isCutOff = true;
        description.problem = ": it is cut off at byte " + std::to_string(file.size());
    }
    takeEnd(source, header, file.size(), description);
    if (description.problem.empty() && exceeds(description.width, description.height, access.mostPixels())) {
        description.problem = ": " + tooManyPixels(description.width, description.height, access.mostPixels());
    }
    if (description.problem.empty()) {
        description.readAs = readingOf(description);
    }
    return description;
}

}  // namespace likeness
