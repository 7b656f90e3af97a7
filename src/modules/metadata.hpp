/// @file
/// Entries of the module `metadata`: what cameras and programs write beside the pixels, with Exiv2.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// What a camera notes of a photograph; each may be missing.
struct CameraNotes {
    std::string make{};
    std::string model{};
    std::string time{};  ///< when it was taken, as it stands there: "2024:05:17 12:30:00"
    std::optional<double> exposureSeconds{};
    std::optional<double> fNumber{};
    std::optional<double> sensitivity{};  ///< ISO
    std::optional<int> orientation{};     ///< 1 to 8
    bool exif = false;
    bool xmp = false;
    bool iptc = false;
};

/// `likeness_read_notes`. What cannot be read is missing.
using ReadNotesEntry = void (*)(const std::string& path, CameraNotes& notes);

/// The problem of a format for all of the metadata but these.
inline constexpr const char* noPlaceForIptc = "the format has no place for IPTC data";

/// What of the metadata must be true of the new file.
struct CarriedPicture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string software{};
};

/// `likeness_carry_metadata`: puts the Exif, XMP and IPTC data of a file into the bytes of another one. Orientation is
/// set to upright, as the pixels are that were read, sizes and software to `picture`; the thumbnail and what tells of the
/// old encoding of the pixels are left out. A colour profile is left as it is.
/// @param encoded  JPEG, PNG, TIFF or WebP; unchanged if nothing is to be carried
/// @param problem  why it was not carried, empty if it was or there was nothing
/// @return         whether anything was carried
using CarryMetadataEntry = bool (*)(const std::string& from, std::vector<unsigned char>& encoded,
                                    const CarriedPicture& picture, std::string& problem);

/// `likeness_metadata_for`: the same data as bytes, for formats whose own writers put them into their files.
/// @param exif     from the TIFF header on; empty if there are none
/// @param xmp      a packet; empty if there are none. IPTC data have no place in these formats
/// @param problem  why they cannot be carried, in whole or in part
using MetadataForEntry = void (*)(const std::string& from, const CarriedPicture& picture,
                                  std::vector<unsigned char>& exif, std::string& xmp, std::string& problem);

}  // namespace likeness
