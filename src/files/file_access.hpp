#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace likeness {

struct ProfileChoice;  // photofile/managed_colors.hpp

/// Which picture of a file is taken, where it holds several.
struct PhotographSelection {
    int page = 1;            ///< of a TIFF, HEIC or AVIF, from 1 on
    std::string layer{};     ///< of an OpenEXR file: a part or a layer; empty: the first with colours
    bool preview = false;    ///< of a camera's raw file: the embedded preview
    bool usesAlpha = false;  ///< somebody reads the alpha channel: nothing is said of it
};

/// How a front end has files read and written: what is said of them, one line at a time, and how large an image may be,
/// and what its numbers stand for.
/// Safe to use from several threads.
class FileAccess {
public:
    virtual ~FileAccess() = default;

    /// What was done.
    virtual void tell(std::string_view line) const = 0;

    /// What the user should know although the work goes on.
    virtual void warn(std::string_view line) const = 0;

    /// Images of more pixels are refused by their header.
    virtual std::uint64_t mostPixels() const noexcept = 0;

    /// What is done with the colour profiles of photographs.
    virtual const ProfileChoice& profiles() const noexcept = 0;
};

}  // namespace likeness
