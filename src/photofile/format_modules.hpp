// Formats that are read by a module of their own (modules/photograph_decoder.hpp), or here.
#pragma once

#include "files/file_access.hpp"
#include "modules/photograph_decoder.hpp"
#include "photofile/color_statement.hpp"
#include "photofile/image_header.hpp"

#include <string>

namespace likeness {

/// Whether a file is for `readByModule`, and not for the readers of usual formats (codecs/image_codecs.hpp).
bool isForModule(const ImageHeader& header, const PhotographSelection& selection);

/// Whether `--page` can choose among the pictures of such a file.
bool hasPages(const ImageHeader& header) noexcept;

/// Why a page of a file of another kind is not read; what follows a colon.
std::string readWithoutPages(const ImageHeader& header);

/// Name of the module that reads such a file; empty of what is read without one.
std::string moduleOf(const ImageHeader& header);

/// @throws ModuleProblem  if the module cannot be loaded
/// @note  It throws what shortage of memory throws, and what `source` throws.
PhotographContent readByModule(const ByteSource& source, const ImageHeader& header, const PhotographRequest& request);

/// What a file that a module has read says of its colours.
/// @param page  that was read, from 1; 0 is the first
ColorStatement colorStatementOf(const PhotographContent& content, const ByteSource& source, const ImageHeader& header,
                                int page);

}  // namespace likeness
