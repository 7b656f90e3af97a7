/// @file
/// The colour appearance models as the CIE publishes them, forward and inverse: CIECAM02 (CIE 159:2004) and CIECAM16
/// (CIE 248:2022). The comparison's own model (appearance/appearance_correlates.hpp) departs from both.
///
/// Single colours are in double on the scale Y = 100 (color/tristimulus.hpp). Where the formulas have no value of their
/// own, their limits are taken:
///
/// - Black has J = Q = C = M = s = 0. So has every colour of an achromatic response A <= 0, which needs negative cone
///   responses; its hue is kept. Such a colour need not be dark: A falls below 0 for very saturated blues and purples
///   too, of which the models know nothing (`countsAsBlack`).
/// - L_A = 0: J and h are the limits for L_A -> 0; Q, C, M and s are 0.
/// - Y_b = 0 counts as `leastBackgroundRatio` of the white.
/// - An exact neutral (a = b = 0) has the hue 0. Rounding makes nearly all neutrals inexact: their C is some 1e-12 and
///   their hue any.
///
/// Where the limits do not exist either, C, M and s are NaN: far beyond the colours of real surfaces and lights the
/// divisor of the magnitude t reaches 0 (R' + G' + 1.05 B' + 0.305 <= 0 with A > 0). NaN and infinite input gives NaN.
#pragma once

#include <likeness/appearance/conditions.hpp>
#include <likeness/color/tristimulus.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <string>
#include <string_view>

namespace likeness {

/// The appearance models.
enum class AppearanceModelKind {
    likeness,  ///< the comparison's own, not one of this header
    ciecam02,
    ciecam16,
};

/// "likeness", "ciecam02", "ciecam16".
LIKENESS_API std::string_view nameOf(AppearanceModelKind kind);

/// From X, Y, Z to the sharpened responses in which a published model adapts: CAT02 of CIE 159:2004 for CIECAM02, CAT16
/// of CIE 248:2022 for CIECAM16.
/// @throws std::invalid_argument  for `likeness`
LIKENESS_API cv::Matx33d sharpenedFromXyz(AppearanceModelKind kind);

/// How one colour looks.
struct Correlates {
    double lightness = 0;      ///< J, 100 for the white
    double brightness = 0;     ///< Q
    double chroma = 0;         ///< C
    double colorfulness = 0;   ///< M
    double saturation = 0;     ///< s
    double hueDegrees = 0;     ///< h, from 0 to below 360
    double hueQuadrature = 0;  ///< H: 0 red, 100 yellow, 200 green, 300 blue, below 400
};

/// Whether a colour is taken for black only because the published models do not describe it: J = 0, but not all of X, Y,
/// Z are 0 or below.
/// @param correlates  those of `xyz`, of `PublishedModel::correlatesOf`
LIKENESS_API bool countsAsBlack(const Xyz& xyz, const Correlates& correlates) noexcept;

/// Hue quadrature of a hue angle in degrees, of any turn; both models have the same.
///
/// Between blue and red it passes 385.9 at 360 degrees, with an eccentricity of 0.856, as the printed examples of
/// CIECAM02 do. Interpolated from blue to red at once, as some programs do, H is up to 5.7 lower there.
LIKENESS_API double hueQuadratureOf(double hueDegrees);

/// The way back: in 0..360. `quadrature` of any turn.
LIKENESS_API double hueDegreesOf(double quadrature);

/// Hue composition in per cent of the unique hues, the greater share first: "62B 38G" for H = 262, "100R". "none" for
/// NaN.
LIKENESS_API std::string hueComposition(double quadrature);

/// Which correlates a triple gives.
enum class LevelCorrelate { lightness, brightness };
/// Which correlate of chroma a triple gives.
enum class ChromaCorrelate { chroma, colorfulness, saturation };
/// Which correlate of hue a triple gives.
enum class HueCorrelate { degrees, quadrature };

/// Which three correlates.
struct CorrelateKinds {
    LevelCorrelate level = LevelCorrelate::lightness;  ///< J or Q
    ChromaCorrelate chroma = ChromaCorrelate::chroma;  ///< C, M or s
    HueCorrelate hue = HueCorrelate::degrees;          ///< h or H
};

/// Three correlates that determine a colour.
struct CorrelateTriple {
    CorrelateKinds kinds;  ///< which three
    double level = 0;      ///< J or Q
    double chroma = 0;     ///< C, M or s
    double hue = 0;        ///< h or H
};

/// The correlates of an image, CV_32F of its size, as in `Correlates`.
struct CorrelateMaps {
    cv::Mat lightness;      ///< J
    cv::Mat brightness;     ///< Q
    cv::Mat chroma;         ///< C
    cv::Mat colorfulness;   ///< M
    cv::Mat saturation;     ///< s
    cv::Mat hueDegrees;     ///< h
    cv::Mat hueQuadrature;  ///< H
};

/// What follows from the conditions alone.
struct ConditionFactors {
    double degreeOfAdaptation = 0;   ///< D, 0 to 1
    double luminanceLevel = 0;       ///< F_L
    double backgroundInduction = 0;  ///< n = Y_b / Y_w
    double brightnessInduction = 0;  ///< N_bb = N_cb
    double baseExponent = 0;         ///< z
    double whiteResponse = 0;        ///< A_w, achromatic response of the white; 0 where F_L is
};

class PublishedEstimate;

/// A published model under one set of conditions. Immutable: may be shared by threads.
class LIKENESS_API PublishedModel {
public:
    /// @throws std::invalid_argument  a sentence: `likeness`, which is not published; conditions out of range
    ///         (`checkViewingConditions`) or without a background; a white that gives cones a response of 0 or less
    PublishedModel(AppearanceModelKind kind, const ViewingConditions& conditions);

    /// The model.
    AppearanceModelKind kind() const noexcept { return kind_; }
    /// The conditions that it was made for.
    const ViewingConditions& conditions() const noexcept { return conditions_; }
    /// What follows from them.
    const ConditionFactors& factors() const noexcept { return factors_; }

    /// The forward model.
    Correlates correlatesOf(const Xyz& xyz) const;

    /// The inverse model. Gives back what `correlatesOf` was given, to 1e-9 relative, for colours with A > 0.
    /// @throws std::invalid_argument  a sentence: a negative or no number; a level of 0 with chroma, colourfulness or
    /// saturation
    ///         above 0; correlates that no colour has under these conditions
    Xyz colorOf(const CorrelateTriple& triple) const;

    /// The forward model on an image: `correlatesOf` of each pixel, rounded to float (6e-8 relative).
    /// @param xyz  CV_32FC3 in the order X, Y, Z, on the scale of images: Y = 1 for a perfect diffuser; not modified.
    /// An
    ///             empty one has empty maps
    /// @throws std::invalid_argument  if it is of another type
    CorrelateMaps correlateMaps(const cv::Mat& xyz) const;

    /// The inverse model on maps; NaN where no colour has the correlates.
    /// @param level, chroma, hue  CV_32FC1 of one size: the correlates of `kinds`; not modified
    /// @return  CV_32FC3, X, Y, Z, on the scale of images
    /// @throws std::invalid_argument  if types or sizes differ
    cv::Mat xyzImageOf(const CorrelateKinds& kinds, const cv::Mat& level, const cv::Mat& chroma,
                       const cv::Mat& hue) const;

private:
    friend class PublishedEstimate;  // the same in vectors, for histograms

    /// Adapted responses below and above which CIECAM16 goes on in straight lines.
    static constexpr double lowKnee = 0.26;
    static constexpr double highKnee = 150;

    /// Post-adaptation compression without the constant 0.1 of CIE 159:2004, which cancels in a, b and A.
    struct Compression {
        double scale = 0;  ///< F_L / 100; 0: the limit up to a factor, |q|^0.42
        bool lines = false;
        double lowSlope = 0;
        double highResponse = 0;
        double highSlope = 0;

        double curve(double q) const;
        double slopeOfCurve(double q) const;
        double inverseCurve(double response) const;
        double operator()(double q) const;
        double inverse(double response) const;
    };

    const char* solve(const CorrelateTriple& triple, Xyz& xyz) const;

    AppearanceModelKind kind_;
    ViewingConditions conditions_;
    ConditionFactors factors_;
    cv::Matx33d conesFromXyz_;  ///< adapted cone responses
    cv::Matx33d xyzFromCones_;
    Compression compression_;
    double whiteResponse_ = 0;    ///< A_w / N_bb, on the scale of `compression_`
    double levelRoot_ = 0;        ///< F_L^0.25
    double magnitudeScale_ = 0;   ///< 50000 / 13 N_c N_cb
    double backgroundShare_ = 0;  ///< (1.64 - 0.29^n)^0.73
};

}  // namespace likeness
