// The module `metadata`.
#include "modules/metadata.hpp"

#include "modules/module_entry.hpp"

#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <cmath>
#include <exception>
#include <mutex>
#include <new>

namespace {

using likeness::CameraNotes;
using likeness::CarriedPicture;

/// The library keeps tables of names that it makes when they are first needed.
std::mutex& oneAtATime() {
    static std::mutex mutex;
    return mutex;
}

void prepare() {
    static const bool prepared = [] {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::enableBMFF(true);
        return Exiv2::XmpParser::initialize();
    }();
    static_cast<void>(prepared);
}

template <typename Read>
void readIfThere(const Exiv2::ExifData& exif, const char* key, Read read) {
    const auto found = exif.findKey(Exiv2::ExifKey(key));
    if (found != exif.end() && found->count() > 0) {
        read(*found);
    }
}

std::optional<double> numberAt(const Exiv2::ExifData& exif, const char* key) {
    std::optional<double> value;
    readIfThere(exif, key, [&value](const Exiv2::Exifdatum& datum) {
        const Exiv2::Rational ratio = datum.toRational();
        if (ratio.second != 0) {
            value = static_cast<double>(ratio.first) / ratio.second;
        }
    });
    return value;
}

/// Without the blanks and zeros at its end.
std::string textAt(const Exiv2::ExifData& exif, const char* key) {
    std::string text;
    readIfThere(exif, key, [&text](const Exiv2::Exifdatum& datum) { text = datum.toString(); });
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) {
        text.pop_back();
    }
    return text;
}

bool beginsWith(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

/// Whether an entry of the directory of a TIFF tells how its pixels are stored, which is no longer true of a new file.
bool tellsOfStorage(const Exiv2::Exifdatum& datum) {
    const std::string group = datum.groupName();
    if (beginsWith(group, "SubImage") || group == "Thumbnail" || group == "Image2" || group == "Image3") {
        return true;
    }
    if (group != "Image") {
        return false;
    }
    constexpr int tags[] = {254, 255, 256, 257, 258, 259, 262, 263, 266, 273, 277, 278, 279, 284,   290,   291,  292,
                            293, 301, 317, 318, 319, 320, 322, 323, 324, 325, 330, 332, 338, 339,   340,   341,  347,
                            512, 513, 514, 515, 517, 518, 519, 520, 521, 529, 530, 531, 532, 34675, 33421, 33422};
    const int tag = datum.tag();
    // From 50706 on stand the tags of digital negatives, which tell of raw values.
    return std::find(std::begin(tags), std::end(tags), tag) != std::end(tags) || (tag >= 50706 && tag <= 52600);
}

Exiv2::ExifData carriedExif(const Exiv2::ExifData& source, const CarriedPicture& picture) {
    Exiv2::ExifData carried;
    for (const Exiv2::Exifdatum& datum : source) {
        if (!tellsOfStorage(datum)) {
            carried.add(datum);
        }
    }
    if (carried.empty()) {
        return carried;
    }
    constexpr std::uint16_t notTurned = 1;
    const auto replaceIfThere = [&](const char* key, std::uint32_t value) {
        const auto found = carried.findKey(Exiv2::ExifKey(key));
        if (found != carried.end()) {
            carried[key] = value;
        }
    };
    if (carried.findKey(Exiv2::ExifKey("Exif.Image.Orientation")) != carried.end()) {
        carried["Exif.Image.Orientation"] = notTurned;
    }
    replaceIfThere("Exif.Photo.PixelXDimension", picture.width);
    replaceIfThere("Exif.Photo.PixelYDimension", picture.height);
    carried["Exif.Image.Software"] = picture.software;
    // The pixels are sRGB, or tagged with a profile: what stood here was true of the old ones.
    const auto space = carried.findKey(Exiv2::ExifKey("Exif.Photo.ColorSpace"));
    if (space != carried.end()) {
        carried.erase(space);
    }
    return carried;
}

Exiv2::XmpData carriedXmp(const Exiv2::XmpData& source, const CarriedPicture& picture) {
    Exiv2::XmpData carried;
    for (const Exiv2::Xmpdatum& datum : source) {
        const std::string key = datum.key();
        const bool storage = beginsWith(key, "Xmp.xmp.Thumbnails") || beginsWith(key, "Xmp.tiff.BitsPerSample") ||
                             beginsWith(key, "Xmp.tiff.Compression") || beginsWith(key, "Xmp.exif.ColorSpace") ||
                             beginsWith(key, "Xmp.photoshop.ICCProfile");
        if (!storage) {
            carried.add(datum);
        }
    }
    const auto replaceIfThere = [&](const char* key, const std::string& value) {
        const auto found = carried.findKey(Exiv2::XmpKey(key));
        if (found != carried.end()) {
            found->setValue(value);
        }
    };
    replaceIfThere("Xmp.tiff.Orientation", "1");
    replaceIfThere("Xmp.tiff.ImageWidth", std::to_string(picture.width));
    replaceIfThere("Xmp.tiff.ImageLength", std::to_string(picture.height));
    replaceIfThere("Xmp.exif.PixelXDimension", std::to_string(picture.width));
    replaceIfThere("Xmp.exif.PixelYDimension", std::to_string(picture.height));
    replaceIfThere("Xmp.xmp.CreatorTool", picture.software);
    return carried;
}

struct Carried {
    Exiv2::ExifData exif;
    Exiv2::XmpData xmp;
    Exiv2::IptcData iptc;

    bool empty() const { return exif.empty() && xmp.empty() && iptc.empty(); }
};

/// @return  whether the file could be read; a file of a kind without metadata cannot, which is no problem
bool readCarried(const std::string& from, const CarriedPicture& picture, Carried& carried, std::string& problem) {
    try {
        const auto source = Exiv2::ImageFactory::open(from);
        source->readMetadata();
        carried.exif = carriedExif(source->exifData(), picture);
        carried.xmp = carriedXmp(source->xmpData(), picture);
        carried.iptc = source->iptcData();
        return true;
    } catch (const Exiv2::AnyError& error) {
        if (error.code() != Exiv2::kerFileContainsUnknownImageType) {
            problem = error.what();
        }
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        problem = error.what();
    }
    return false;
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_read_notes(const std::string& path, CameraNotes& notes) {
    const std::scoped_lock lock(oneAtATime());
    prepare();
    try {
        const auto image = Exiv2::ImageFactory::open(path);
        image->readMetadata();
        const Exiv2::ExifData& exif = image->exifData();
        notes.exif = !exif.empty();
        notes.xmp = !image->xmpData().empty();
        notes.iptc = !image->iptcData().empty();
        notes.make = textAt(exif, "Exif.Image.Make");
        notes.model = textAt(exif, "Exif.Image.Model");
        notes.time = textAt(exif, "Exif.Photo.DateTimeOriginal");
        notes.exposureSeconds = numberAt(exif, "Exif.Photo.ExposureTime");
        notes.fNumber = numberAt(exif, "Exif.Photo.FNumber");
        notes.sensitivity = numberAt(exif, "Exif.Photo.ISOSpeedRatings");
        const std::optional<double> orientation = numberAt(exif, "Exif.Image.Orientation");
        if (orientation && *orientation >= 1 && *orientation <= 8) {
            notes.orientation = static_cast<int>(*orientation);
        }
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        // Formats that the library does not know have no notes, and neither has what is damaged.
    }
}

LIKENESS_MODULE_ENTRY bool likeness_carry_metadata(const std::string& from, std::vector<unsigned char>& encoded,
                                                   const CarriedPicture& picture, std::string& problem) {
    const std::scoped_lock lock(oneAtATime());
    prepare();
    Carried carried;
    if (!readCarried(from, picture, carried, problem) || carried.empty()) {
        return false;
    }
    Exiv2::ExifData& exif = carried.exif;
    try {
        const auto target = Exiv2::ImageFactory::open(encoded.data(), static_cast<long>(encoded.size()));
        target->readMetadata();
        if (target->checkMode(Exiv2::mdExif) == Exiv2::amReadWrite) {
            for (const Exiv2::Exifdatum& own : target->exifData()) {
                if (tellsOfStorage(own)) {
                    exif.add(own);  // of a TIFF: where its pixels are
                }
            }
            target->setExifData(exif);
        }
        if (target->checkMode(Exiv2::mdXmp) == Exiv2::amReadWrite) {
            target->setXmpData(carried.xmp);
        }
        if (target->checkMode(Exiv2::mdIptc) == Exiv2::amReadWrite) {
            target->setIptcData(carried.iptc);
        } else if (!carried.iptc.empty()) {
            problem = likeness::noPlaceForIptc;
        }
        target->writeMetadata();
        Exiv2::BasicIo& io = target->io();
        if (io.open() != 0) {
            problem = "the new file cannot be read back";
            return false;
        }
        std::vector<unsigned char> bytes(io.size());
        if (io.read(bytes.data(), static_cast<long>(bytes.size())) != static_cast<long>(bytes.size())) {
            problem = "the new file cannot be read back";
            return false;
        }
        encoded = std::move(bytes);
        return true;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        problem = error.what();
        return false;
    }
}

LIKENESS_MODULE_ENTRY void likeness_metadata_for(const std::string& from, const CarriedPicture& picture,
                                                 std::vector<unsigned char>& exif, std::string& xmp,
                                                 std::string& problem) {
    const std::scoped_lock lock(oneAtATime());
    prepare();
    Carried carried;
    if (!readCarried(from, picture, carried, problem)) {
        return;
    }
    try {
        if (!carried.exif.empty()) {
            Exiv2::Blob bytes;
            Exiv2::ExifParser::encode(bytes, Exiv2::littleEndian, carried.exif);
            exif.assign(bytes.begin(), bytes.end());
        }
        if (!carried.xmp.empty() && Exiv2::XmpParser::encode(xmp, carried.xmp) != 0) {
            xmp.clear();
            problem = "the XMP packet cannot be written";
        }
        if (!carried.iptc.empty()) {
            problem = likeness::noPlaceForIptc;
        }
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        problem = error.what();
    }
}
