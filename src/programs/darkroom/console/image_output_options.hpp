#pragma once

#include <CLI/CLI.hpp>

#include "photofile/image_output.hpp"

namespace likeness::darkroom {

/// Adds -o/--output, --quality and --bits.
/// @param required  whether -o must be given
void addImageOutput(CLI::App& app, ImageOutput& output, bool required = true);

}  // namespace likeness::darkroom
