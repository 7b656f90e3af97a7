// Checks of what is to be written, made before the work begins.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace likeness::darkroom {

/// Refuses a folder that does not exist, is no folder, or cannot be written.
/// @param option  the option that names it, for the refusal
/// @throws Refusal
void checkFolder(std::string_view option, const std::string& folder);

/// Refuses a file whose folder `checkFolder` would refuse, that is a folder itself, or that exists and cannot be
/// written.
/// @throws Refusal
void checkOutputFile(std::string_view option, const std::string& path);

/// Refuses one file for two results.
/// @throws Refusal
void checkDifferentOutputs(std::string_view firstOption, const std::string& first, std::string_view secondOption,
                           const std::string& second);

/// Refuses to write a file, whose name the user did not give in full, over one of the inputs.
/// @throws Refusal
void checkNotAnInput(const std::string& path, const std::vector<std::string>& inputs);

/// Refuses two outputs under one name.
/// @throws Refusal
void checkDistinct(const std::vector<std::string>& outputs);

}  // namespace likeness::darkroom
