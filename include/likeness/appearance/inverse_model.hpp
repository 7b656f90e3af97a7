/// @file
/// The way back from appearance correlates to sharpened RGB: the inverse of appearance/appearance_correlates.hpp and
/// appearance/cone_responses.hpp (CIE 159:2004, appendix on the reverse model, with the same departures: dark surround
/// c = 0.525, and the image's own greatest achromatic response Aw for that of the white).
///
/// The order of the chain: brightness2Lightness, chromaAndLightness2t, lightness2A, hue2AB, AB2NonLinearities,
/// inverseNonLinearities, convertHPEtoSharpenedRGB. Maps are CV_32F: Q brightness, J lightness, C chroma, hue in
/// degrees, eccentricity, A achromatic response, t, a, b, and the viewing conditions F_L, n, N_bb and z, which callers
/// usually fill with one value. Cone and non-linearity images are CV_32FC3, channel 0 rho (long wave), 1 gamma, 2 beta.
/// All have one size; outputs are allocated by the caller. Stated steps in double, everything stored is rounded to
/// float; NaN and infinite values are passed on. An argument of another type, or too small, raises
/// std::invalid_argument before anything is changed; larger ones are used as far as they are needed.
///
/// Where an argument list ends in `diagnostics`, the stated files and messages go there.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Lightness J = 6.25 (c Q)^2 / ((Aw + 4)^2 sqrt(F_L)). Values above 100 are kept.
///
/// @param Q  modified: values below 1e-6, negative ones too, are raised by 1e-6, so that a brightness of 0 can
///           be divided by; NaN stays
LIKENESS_API void brightness2Lightness(cv::Mat& Q, cv::Mat& FL, cv::Mat& J, float Aw);

/// Achromatic response A = Aw (J / 100)^(1 / (c z)). J = 100 gives Aw; a negative J NaN.
///
/// Prints "mean A " and the mean of A, summed in float over rows, then columns.
LIKENESS_API void lightness2A(cv::Mat& J, cv::Mat& z, cv::Mat& A, float Aw,
                              const Diagnostics& diagnostics = workingDirectory());

/// Magnitude t = (C / (sqrt(J / 100) (1.64 - 0.29^n)^0.73))^(1 / 0.9). J = 0 gives infinity or, with C = 0, NaN.
///
/// Writes t, unscaled, to "t_after.jpg".
LIKENESS_API void chromaAndLightness2t(cv::Mat& C, cv::Mat& J, cv::Mat& n, cv::Mat& t,
                                       const Diagnostics& diagnostics = workingDirectory());

/// Opponent red-green a and yellow-blue b = a tan(hue) from hue, t and A; any hue, in degrees, not only one in
/// (-180, 180]. a has the sign of the hue's cosine. N_c is the chromatic induction factor of the surround.
LIKENESS_API void hue2AB(cv::Mat& A, cv::Mat& hue, cv::Mat& t, cv::Mat& eccentricity, cv::Mat& Nbb, cv::Mat& a,
                         cv::Mat& b, float Nc);

/// Compressed cone responses of a, b and A, with the published coefficients over 1403 = 23 * 61.
LIKENESS_API void AB2NonLinearities(cv::Mat& a, cv::Mat& b, cv::Mat& A, cv::Mat& nl, cv::Mat& Nbb);

/// Cone responses 100 / F_L ((27.13 nl - 2.713) / (400.1 - nl))^(1 / 0.42) of compressed ones.
///
/// Prints "Error in the inverse non-linearities! Some of the obtained values are nan." on a line of its own for every
/// element of the result that is NaN.
/// @param nl  modified: values up to 0.1 become 0.1, which gives a response of practically 0, and values above 400.1
///            become 400
LIKENESS_API void inverseNonLinearities(cv::Mat& nl, cv::Mat& hpe, cv::Mat& FL,
                                        const Diagnostics& diagnostics = workingDirectory());

/// Sharpened B, G, R of cone responses, on the scale of the cone responses: the inverse, taken at run time in float, of
/// the matrix of `convertSharpenedBGRtoHPE`. Not clamped. `sharpenedBGR` may be `hpe`.
LIKENESS_API void convertHPEtoSharpenedRGB(cv::Mat& hpe, cv::Mat& sharpenedBGR);

/// Power law dst = src^gamma with gamma = log10(high / low) + 1, in float; negative values become 0.
///
/// A quotient below 0 makes gamma NaN, and with it every power but that of 1; a quotient of 0 or infinity makes it
/// infinite. Prints "Gamma: " and gamma, then pixel by pixel the value on a line of its own where `src` is negative and
/// "Nan values in the gamma correction!" where the result is NaN.
///
/// @param src  CV_32F, not modified
/// @param dst  CV_32F of that size
LIKENESS_API void performGammaCorrectionByStyle(cv::Mat& src, cv::Mat& dst, float low, float high,
                                                const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
