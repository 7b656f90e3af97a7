#pragma once

#include "photofile/image_output.hpp"

#include <CLI/CLI.hpp>

namespace likeness::darkroom {

/// Adds -o/--output, --quality and --bits.
/// @param required  whether -o must be given
void addImageOutput(CLI::App& app, ImageOutput& output, bool required = true);

}  // namespace likeness::darkroom
