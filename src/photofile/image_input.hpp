// Reading of image files. Everything that is read comes back as B, G, R, upright (the EXIF orientation is applied),
// without alpha; grey is spread to three channels. Floats of a Radiance file, which are linear, are gamma-encoded;
// those of other files are as the file has them. A photograph whose numbers stand for other colours than those of sRGB,
// by its own profile or the user's choice, comes as floats in the encoding of sRGB, unclipped; it is told
// (photofile/managed_colors.hpp). What is no regular file, a camera's raw file, and an image of more pixels than
// --max-pixels allows are refused before anything is decoded (photofile/photograph_reader.hpp).
#pragma once

#include "files/file_access.hpp"
#include "photofile/managed_colors.hpp"

#include <opencv2/core.hpp>

#include <string>
#include <utility>

namespace likeness {

/// @param profile  if it is not null, gets how the colours were taken
/// @return  CV_8UC3, CV_16UC3 or CV_32FC3, as the file holds it; CV_32FC3 if the colours were converted
/// @throws Refusal         "cannot read 'PATH': " and why
/// @throws MachineFailure  as everything here that reads
cv::Mat readImage(const FileAccess& access, const std::string& path, ProfileUse* profile = nullptr);

/// The same without a look at its profile: for images whose numbers are no colours.
cv::Mat readStoredNumbers(const FileAccess& access, const std::string& path);

/// The same on the scale 0..1: 8-bit values divided by 255 and 16-bit values by 65535, in double, rounded to float;
/// floats as they are.
/// @return  CV_32FC3
cv::Mat readUnitImage(const FileAccess& access, const std::string& path);

/// The same. Refuses NaN and values outside -1e6 to 1e6: the bilateral filter of the image library tabulates the value
/// range.
/// @throws Refusal  also for these
cv::Mat readBoundedUnitImage(const FileAccess& access, const std::string& path);

/// As photographs are compared: 16-bit values are reduced to 8, floats are kept. How its profile was used is not told.
/// @return  CV_8UC3 or CV_32FC3
cv::Mat readPhotographAsCompared(const FileAccess& access, const std::string& path);

/// Two photographs as `readPhotographAsCompared` reads them, decoded at the same time.
/// @param profiles  if it is not null, gets how their colours were taken
/// @throws Refusal  for the first that cannot be read
std::pair<cv::Mat, cv::Mat> readPhotographPairAsCompared(const FileAccess& access, const std::string& first,
                                                         const std::string& second,
                                                         std::pair<ProfileUse, ProfileUse>* profiles = nullptr);

/// What one of two photographs has in place of the page and the layer of both.
struct OwnPicture {
    int page = 0;         ///< 0: that of both
    std::string layer{};  ///< empty: that of both

    PhotographSelection in(PhotographSelection ofBoth) const {
        ofBoth.page = page > 0 ? page : ofBoth.page;
        ofBoth.layer = layer.empty() ? ofBoth.layer : layer;
        return ofBoth;
    }
};

/// The same of two photographs of which nothing but the colours is wanted: rows may be handed on in place of an image
/// (photofile/photograph_reader.hpp).
/// @param own  which pictures of their files are taken, where it is not one choice for both
/// @throws Refusal  for the first that cannot be read
std::pair<PhotographRead, PhotographRead> readPhotographPairInRows(const FileAccess& access, const std::string& first,
                                                                   const std::string& second,
                                                                   std::pair<ProfileUse, ProfileUse>* profiles,
                                                                   RowReceiver* firstRows, RowReceiver* secondRows,
                                                                   const std::pair<OwnPicture, OwnPicture>& own = {});

/// What is shown of a photograph: floats 0..1 as bytes 0..255, limited; NaN as 0.
/// @param photograph  CV_8U or CV_32F
cv::Mat pictureOf(const cv::Mat& photograph);

/// The value 0..1 of a `readImage` result.
cv::Mat unitImageOf(const cv::Mat& image);

/// A picture that marks pixels, as grey; 16-bit values are reduced to 8.
/// @return  CV_8UC1
/// @throws Refusal  also where the file holds floats
cv::Mat readMask(const FileAccess& access, const std::string& path);

/// Refuses an image with NaN or infinite values, for operations that would spread them or do not stand them.
/// @throws Refusal
void checkFinite(const std::string& path, const cv::Mat& image);

/// Refuses images whose sizes differ.
/// @throws Refusal  naming both files and sizes
void checkSameSize(const std::string& firstPath, const cv::Mat& first, const std::string& secondPath,
                   const cv::Mat& second);

}  // namespace likeness
