// The options of commands that write an image, and what is checked before they begin.
#pragma once

#include "console/image_output_options.hpp"
#include "console/option_parser.hpp"
#include "console/output_check.hpp"
#include "photofile/image_output.hpp"

namespace likeness::darkroom {

/// Adds -o/--output, --quality and --bits.
/// @param required  whether -o must be given
void addImageOutput(OptionParser& app, ImageOutput& output, bool required = true);

/// Adds --output-profile, for commands whose result is a picture.
void addOutputProfile(OptionParser& app, ImageOutput& output);

/// Refuses, before the work begins, an unknown extension, and options that the format does not have.
/// @throws Refusal
void checkImageFormat(const ImageOutput& output);

/// The same, and a place that the plan refuses.
/// @throws Refusal
void checkImageOutput(const ImageOutput& output, OutputPlan& plan);

enum class FloatsToo { no, yes };

/// The same for what `writePicture` writes: .png or .jpg; or .tif, too, where numbers may be written in its place.
/// @throws Refusal
void checkPictureOutput(const ImageOutput& output, OutputPlan& plan, FloatsToo floatsToo = FloatsToo::no);

}  // namespace likeness::darkroom
