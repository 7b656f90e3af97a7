// The page that shows how two photographs compare.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>
#include "batch/correlates.hpp"
#include "console/comparison_result.hpp"
#include "files/file_checksum.hpp"
#include "pages/map_picture.hpp"

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>
#include <string>

namespace likeness::darkroom {

/// Greatest side, in pixels, of the pictures of a page.
inline constexpr int reportPictureSide = 720;

/// What the page shows of one photograph. Arrays are in the order of `comparedCorrelates`.
struct ReportedPhotograph {
    std::string pictureUri;       ///< the photograph as the address of an image
    std::string largePictureUri;  ///< the same to be magnified, where there are tiles
    FileFingerprint fingerprint;
    AppearanceDistributions distributions;
    std::array<cv::Mat, comparedCorrelates.size()> maps;  ///< CV_32F, reduced to `reportPictureSide`
    std::array<std::int64_t, comparedCorrelates.size()> nanCounts{};
};

struct ComparisonReport {
    ComparisonResult result;
    ReportedPhotograph first;
    ReportedPhotograph second;
    std::array<MapScale, comparedCorrelates.size()> scales;
};

/// One scale for a correlate of both photographs: from the lesser of their first to the greater of their 99th
/// percentiles, in whole numbers, widened to round ones.
MapScale commonScale(const ComparedCorrelate& correlate, const AppearanceDistributions& first,
                     const AppearanceDistributions& second);

/// The document.
std::string comparisonPage(const ComparisonReport& report);

}  // namespace likeness::darkroom
