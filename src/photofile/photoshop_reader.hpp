// The merged picture of a Photoshop document (Adobe, "Photoshop File Formats").
#pragma once

#include "modules/photograph_decoder.hpp"
#include "photofile/image_header.hpp"

namespace likeness {

/// Reads the picture that a program without layers shows: grey or R, G, B of 8, 16 or 32 bits, packed by rows or not;
/// 32 bits are floats and linear. Other kinds are a problem.
/// @note  What `source` throws passes through.
PhotographContent readPhotoshop(const ByteSource& source, const PhotographRequest& request);

}  // namespace likeness
