/// @file
/// The correlates of the forward appearance model, pixel by pixel: CIECAM02 (CIE 159:2004) with three deliberate
/// departures. The achromatic response of the white is the image's own maximum (departure 2); the compression is not
/// mirrored for negative responses (3); hue angles are not wrapped (4). The surround is dark (c = 0.525 here, N_c handed
/// in).
///
/// `nl` is a CV_32FC3 non-linearity image (appearance/cone_responses.hpp), every other map CV_32F of its size: a, b, hue
/// in degrees, eccentricity, A achromatic response, J lightness, Q brightness, C chroma, M colourfulness, s saturation;
/// the viewing conditions F_L, n, N_bb = N_cb and z are maps too, although callers fill them with one value. Outputs are
/// allocated by the caller. NaN and infinite values are passed on. An argument of another type, or too small, raises
/// std::invalid_argument before anything is changed; larger ones are used as far as they are needed.
///
/// Where an argument list ends in `diagnostics`, the stated files go there.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Of the magnitude t (see `computeChroma`): 50000 / 13.
inline constexpr double chromaScale = 3846.153846153846;

/// F_L^0.25, the share of the luminance level in brightness and colourfulness.
LIKENESS_API double luminanceLevelRoot(float FL);

/// (1.64 - 0.29^n)^0.73, the share of the background in chroma.
LIKENESS_API double chromaOfBackground(float n);

/// Opponent red-green a = rho - 12 gamma / 11 + beta / 11 (in double) and yellow-blue b = (rho + gamma - 2 beta) / 9
/// (in float).
LIKENESS_API void computeAB(cv::Mat& nl, cv::Mat& a, cv::Mat& b);

/// Hue angle in degrees, in (-180, 180]: -90 stays -90, it is not wrapped to 270 (departure 4). Eccentricity is
/// (cos(hue + 2 rad) + 3.8) / 4 of the stored hue.
LIKENESS_API void computeHue(cv::Mat& a, cv::Mat& b, cv::Mat& hue, cv::Mat& eccentricity);

/// Achromatic response A = N_bb (2 rho + gamma + beta / 20 - 0.305) and lightness J = 100 (A / Aw)^(c z).
///
/// Aw is the greatest A of the image (0 if none is positive: J is then NaN or infinite), so its pixel has J = 100.
/// Writes A, unscaled, to "A_before.jpg".
/// @return  Aw
LIKENESS_API float computeLightness(cv::Mat& nl, cv::Mat& Nbb, cv::Mat& z, cv::Mat& J, cv::Mat& A,
                                    const Diagnostics& diagnostics = workingDirectory());

/// Brightness Q = (4 / c) sqrt(J / 100) (Aw + 4) F_L^0.25. `z` is not read.
///
/// Writes Q as text to "10_in.txt" and an 8-bit mask, 0 where Q < 20 and 255 elsewhere (NaN too), to "mask.jpg".
/// @return  the greatest Q, at least 0
LIKENESS_API float computeBrightness(cv::Mat& J, cv::Mat& FL, cv::Mat& z, cv::Mat& Q, float Aw,
                                     const Diagnostics& diagnostics = workingDirectory());

/// Chroma C = t^0.9 sqrt(J / 100) (1.64 - 0.29^n)^0.73 with
/// t = (50000 / 13) N_c N_cb eccentricity sqrt(a^2 + b^2) / (rho + gamma + 1.05 beta).
///
/// Writes t, unscaled, to "t_before.jpg".
LIKENESS_API void computeChroma(cv::Mat& nl, cv::Mat& a, cv::Mat& b, cv::Mat& J, cv::Mat& eccentricity, cv::Mat& Ncb,
                                cv::Mat& n, cv::Mat& C, float Nc, const Diagnostics& diagnostics = workingDirectory());

/// Colourfulness M = F_L^0.25 C.
LIKENESS_API void computeColorfulness(cv::Mat& C, cv::Mat& FL, cv::Mat& M);

/// Saturation s = 100 sqrt(M / Q); NaN or infinite where Q is 0.
LIKENESS_API void computeSaturation(cv::Mat& M, cv::Mat& Q, cv::Mat& s);

/// Text dump of the first `rows` x `cols` values of a CV_32F map: one value per line, row by row, in the default float
/// format of a stream. The map has at least so many.
LIKENESS_API void writeIntoFile(cv::Mat& map, const char* fileName, int rows, int cols,
                                const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
