// What an encoded image file says of its colours, put into it.
#pragma once

#include "photofile/color_profile.hpp"

#include <string_view>
#include <vector>

namespace likeness {

/// Puts a profile behind the first marker segments of a JPEG (APP2, ICC.1:2022, B.4).
/// @param jpeg  of an encoder: begins with SOI and, perhaps, APP0
void tagJpeg(std::vector<unsigned char>& jpeg, const ColorProfile& profile);

/// Puts the chunk iCCP behind the header of a PNG; for sRGB the chunks sRGB and gAMA.
void tagPng(std::vector<unsigned char>& png, const ColorProfile& profile);

/// Puts a chunk behind the header of a PNG.
/// @param type  its four letters
void addToPng(std::vector<unsigned char>& png, std::string_view type, const std::vector<unsigned char>& data);

/// Gives the first directory of a TIFF a tag that it does not have: data and directory are written anew at the end.
/// @param tiff  of an encoder, not BigTIFF, in either byte order
/// @param type  of the values, which have one byte each
/// @param data  of more than four bytes
/// @return      false if the file has no room for it
bool addToTiff(std::vector<unsigned char>& tiff, unsigned tag, unsigned type, const std::vector<unsigned char>& data);

/// Gives the first directory of a TIFF the tag InterColorProfile: profile and directory are written anew at the end.
/// @param tiff  of an encoder, not BigTIFF, in either byte order, without the tag
void tagTiff(std::vector<unsigned char>& tiff, const ColorProfile& profile);

/// Puts the chunk ICCP into a WebP (RFC 9649, 2.7), which becomes an extended one.
/// @param webp  of an encoder, simple or extended, without the chunk
void tagWebp(std::vector<unsigned char>& webp, const ColorProfile& profile);

}  // namespace likeness
