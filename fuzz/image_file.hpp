// What holds of every image file, whatever reads it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace likeness::fuzz {

/// Reads the bytes as a photograph, in all the ways that there are.
/// @param extension  of the file's name, with its dot
void readAsPhotograph(const std::uint8_t* data, std::size_t size, const std::string& extension);

/// Describes the file as `darkroom info` does: header, colours and the notes of the camera.
void describe(const std::string& path);

}  // namespace likeness::fuzz
