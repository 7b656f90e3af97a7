/// @file
/// Gamma-encoded B, G, R to the decorrelated colour space l-alpha-beta and back, by way of logarithmic cone responses:
/// Ruderman, Cronin, Chiao, "Statistics of cone responses to natural images", JOSA A 15(8), 1998; matrices as printed in
/// Reinhard, Ashikhmin, Gooch, Shirley, "Color transfer between images", IEEE CG&A 21(5), 2001.
///
/// Images are CV_32FC3 of any size: BGR in channel order B, G, R, nominally in [0, 1]; cone responses in the order L,
/// M, S; l-alpha-beta in the order l, alpha, beta. Outputs are allocated by the caller at the input's size and may be
/// the input. Another type, or less room than is needed, raises std::invalid_argument before anything is changed.
/// Matrices are applied in float, sums from the left; powers and logarithms are taken in double and rounded to float.
/// NaN stays in its pixel where nothing is said about it.
///
/// The whole road is `convertBGRtoLMS`, `convertLMStoLab`, (statistics or edits), `convertLabtoLMS`, `convertLMStoBGR`.
/// The printed matrices invert each other to three or four digits only.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// BGR to the decimal logarithms of L, M, S. A response of exactly 0 is taken as 1e-6, so black is (-6, -6, -6);
/// negative responses give NaN. `bgr` is not modified.
LIKENESS_API void convertBGRtoLMS(cv::Mat& bgr, cv::Mat& lms);

/// Logarithmic L, M, S to l, alpha, beta.
LIKENESS_API void convertLMStoLab(const cv::Mat& lms, cv::Mat& lab);

/// l, alpha, beta to linear, not logarithmic, L, M, S, clipped to [0, 1]; NaN becomes 0.
LIKENESS_API void convertLabtoLMS(const cv::Mat& lab, cv::Mat& lms);

/// Linear L, M, S to BGR, not clipped. The size of `bgr` is the one that counts.
LIKENESS_API void convertLMStoBGR(const cv::Mat& lms, cv::Mat& bgr);

/// Decimal logarithms of the cone responses L, M, S to a photograph; the bits of `convertBGRtoLMS`.
///
/// @param photograph  any depth that `toUnit` takes, B, G, R; not modified
/// @return            CV_32FC3 of its size; a response of 0 is taken as 1e-6, a negative one is NaN; empty of an empty
///                    photograph
/// @throws std::invalid_argument  if the photograph is of another type
LIKENESS_API cv::Mat logLmsFromBgr(const cv::Mat& photograph);

/// l, alpha, beta of a photograph; likewise, by way of `logLmsFromBgr` and `convertLMStoLab`.
LIKENESS_API cv::Mat lalphabetaFromBgr(const cv::Mat& photograph);

/// B, G, R of l, alpha, beta, by way of `convertLabtoLMS` and `convertLMStoBGR`: responses are clipped to [0, 1], B, G,
/// R are not.
///
/// @param lalphabeta  CV_32FC3 or CV_64FC3 (rounded to float); not modified
/// @return            CV_32FC3 of its size; empty of an empty image
/// @throws std::invalid_argument  if the image is of another type
LIKENESS_API cv::Mat bgrFromLalphabeta(const cv::Mat& lalphabeta);

/// B, G, R of logarithmic L, M, S; likewise, by way of l, alpha, beta, where the way back from logarithms begins.
LIKENESS_API cv::Mat bgrFromLogLms(const cv::Mat& logLms);

}  // namespace likeness
