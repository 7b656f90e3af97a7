// Which part of a photograph counts, as a user asks for it.
#pragma once

#include <likeness/color/pixel_weights.hpp>

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness {

/// What becomes of an alpha channel.
struct AlphaChoice {
    enum class Use {
        dropped,  ///< the colours are taken as the file has them, transparent or not
        weight,   ///< a pixel counts as much as it is opaque
        over      ///< the photograph is laid over one colour, in encoded values
    };

    Use use = Use::dropped;
    cv::Vec3d under{};   ///< that colour: B, G, R, encoded for sRGB, 0..1
    std::string text{};  ///< as it was typed
};

struct RegionChoice {
    std::string text;  ///< as it was typed
    PhotographRegion region;
};

/// All that says how much the pixels of a photograph count. What is asked for multiplies.
struct PartChoice {
    std::string mask{};  ///< an image file; empty: none
    AlphaChoice alpha{};
    std::vector<RegionChoice> regions{};
    bool centerWeighted = false;

    /// Whether nothing is asked for.
    bool isWhole() const {
        return mask.empty() && alpha.use == AlphaChoice::Use::dropped && regions.empty() && !centerWeighted;
    }

    /// What is asked for as text, the mask as the checksum of its file: "alpha=use;region=0,0,10%,10%;center-weighted";
    /// empty where nothing is.
    /// @throws Refusal  if the mask cannot be read
    std::string parameters() const;
};

}  // namespace likeness
