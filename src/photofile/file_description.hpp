// What a file says of itself, without decoding its pixels, and how it would be read.
#pragma once

#include "files/file_access.hpp"
#include "modules/metadata.hpp"
#include "photofile/image_header.hpp"

#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// What is not known is 0, empty or without a value.
struct FileDescription {
    std::string problem{};  ///< what follows "cannot read 'PATH'"; empty if nothing stands against reading it
    std::string format{};   ///< "JPEG"; "unknown" where the content is of none that is known
    std::string codec{};
    std::uint64_t bytes = 0;   ///< of the file
    std::uint64_t width = 0;   ///< pixels, as stored
    std::uint64_t height = 0;  ///< likewise
    int bits = 0;              ///< of a channel
    bool floats = false;
    int channels = 0;  ///< with alpha
    std::optional<bool> alpha{};
    int pages = 1;
    std::vector<std::string> layers{};
    bool otherChannels = false;          ///< whether it holds CMYK or the like, of which the decoder makes R, G, B
    std::string profile{};               ///< that the colours are in: "sRGB" also where the file says nothing
    int orientation = 0;                 ///< 1 to 8, that reading applies; 0 where the file says none
    std::string transfer{};              ///< the curve between values and light, in words
    std::vector<std::string> remarks{};  ///< of the colours and of what reading leaves out
    std::optional<CameraNotes> notes{};  ///< without a value where the module that reads them is not installed
    std::string module{};                ///< that reads it; empty of JPEG, PNG and Photoshop documents
    std::string readAs{};                ///< how it is read, in words; empty if it is not
    bool isCutOff = false;               ///< whether its end is missing, read as far as it goes or not
    bool placed = false;                 ///< whether it tells a place in a larger picture, or the luminance of its 1
};

/// @throws MachineFailure
FileDescription describeFile(const FileAccess& access, const std::string& path);

}  // namespace likeness
