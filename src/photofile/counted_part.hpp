// How much the pixels of a photograph count: its mask and its alpha channel, read from their files.
#pragma once

#include <likeness/color/pixel_weights.hpp>
#include "files/file_access.hpp"
#include "photofile/image_input.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/part_choice.hpp"

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// The weights that a choice gives the pixels of a photograph. Where it is to be laid over a colour, that is done here.
///
/// A mask is of the size of the photograph as it is seen, upright; an Exif orientation of its own is applied. It is
/// grey; its numbers are taken as they are, without a profile. What is transparent is laid over in encoded values,
/// (1 - alpha) colour + alpha photograph; bytes are rounded. An alpha channel is read from PNG, WebP, BMP, PAM, TIFF,
/// JPEG XL, HEIC, AVIF and OpenEXR, of whatever colours that are not multiplied by it.
/// @param path        of the photograph
/// @param photograph  as a function of photofile/image_input.hpp gave it
/// @param selection   which picture of the file that is
/// @param remarks     receives lines about the mask
/// @throws Refusal    a mask that cannot be read, is of another size, coloured, or transparent; a region without a pixel;
///                    an alpha channel that is not read; a photograph of which nothing counts
PixelWeights countedPart(const std::string& path, cv::Mat& photograph, const PartChoice& choice,
                         const PhotographSelection& selection, std::uint64_t mostPixels,
                         std::vector<std::string>& remarks);

/// The same; remarks are warned of.
/// @param own  of a photograph that has a page or a layer of its own
PixelWeights countedPart(const FileAccess& access, const std::string& path, cv::Mat& photograph,
                         const PartChoice& choice, const OwnPicture& own = {});

/// Lays a photograph over a colour, in place, in encoded values.
/// @param photograph  three channels of 8 or 16 bits, or floats; B, G, R
/// @param alpha       of its size, one channel: 8 or 16 bits, or floats of 0 to 1; how opaque each pixel is
/// @param under       B, G, R, 0..1
void layOver(cv::Mat& photograph, const cv::Mat& alpha, const cv::Vec3d& under);

/// The choices for photographs of which a part counts.
ProfileChoice profilesWith(const PartChoice& part, ProfileChoice profiles);

/// Has photographs read whose alpha channel is used: nothing is said of it being left out.
class PartAccess final : public FileAccess {
public:
    /// @param access  kept as a reference
    /// @param luminanceOfWhite  for files of absolute luminance (`ProfileChoice`)
    PartAccess(const FileAccess& access, const PartChoice& choice, double luminanceOfWhite = 0);

    void tell(std::string_view line) const override { access_.tell(line); }
    void warn(std::string_view line) const override { access_.warn(line); }
    std::uint64_t mostPixels() const noexcept override { return access_.mostPixels(); }
    const ProfileChoice& profiles() const noexcept override { return profiles_; }

private:
    const FileAccess& access_;
    ProfileChoice profiles_;
};

}  // namespace likeness
