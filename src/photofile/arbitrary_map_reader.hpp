// Portable arbitrary maps (PAM, of Netpbm): the image library exchanges their channels.
#pragma once

#include "modules/photograph_decoder.hpp"
#include "photofile/image_header.hpp"

namespace likeness {

/// Reads grey, R, G, B and black and white, with alpha or without, of 8 or 16 bits; values of another greatest one come on
/// the whole range. Other kinds are a problem.
/// @note  What `source` throws passes through.
PhotographContent readArbitraryMap(const ByteSource& source, const PhotographRequest& request);

}  // namespace likeness
