#include <likeness/appearance/published_model.hpp>

#include <likeness/appearance/appearance_correlates.hpp>
#include "appearance/background_chroma.hpp"
#include "color/cone_matrices.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

namespace likeness {
namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

cv::Matx33d doubleMatrix(const double (&matrix)[3][3]) {
    return cv::Matx33d(&matrix[0][0]);
}

// clang-format off
/// CIE 248:2022: one space for both.
cv::Matx33d cat16FromXyz() {
    return { 0.401288, 0.650173, -0.051461,
            -0.250268, 1.204414,  0.045854,
            -0.002079, 0.048952,  0.953127};
}
// clang-format on

constexpr double exponent = 0.42;
constexpr double halfResponse = 27.13;
constexpr double greatestResponse = 400;
/// The part of the magnitude's divisor that comes from the constant 0.1: 0.1 (1 + 1 + 1.05).
constexpr double noise = 0.305;

double radiansOf(double degrees) {
    return degrees * std::numbers::pi / 180;
}

/// (cos(h + 2 rad) + 3.8) / 4
double eccentricityOf(double hueRadians) {
    return (std::cos(hueRadians + 2) + 3.8) / 4;
}

/// The angle in 0..360.
double turned(double angle, double circle) {
    const double rest = std::fmod(angle, circle);
    const double positive = rest < 0 ? rest + circle : rest;
    return positive < circle ? positive : 0;
}

double degreesOf(double a, double b) {
    return a == 0 && b == 0 ? 0 : turned(std::atan2(b, a) * 180 / std::numbers::pi, 360);
}

/// A point of the hue quadrature, between which it is interpolated.
struct QuadraturePoint {
    double degrees;
    double eccentricity;
    double quadrature;
};

/// The unique hues red, yellow, green, blue and red again, with the point at 360 degrees that the printed examples take
/// between blue and red.
constexpr std::array<QuadraturePoint, 6> quadraturePoints = {{{20.14, 0.8, 0},
                                                              {90.00, 0.7, 100},
                                                              {164.25, 1.0, 200},
                                                              {237.53, 1.2, 300},
                                                              {360.00, 0.856, 385.9},
                                                              {380.14, 0.8, 400}}};

/// Of the hues of quadrature 0, 100, 200, 300 and 400.
constexpr std::string_view hueLetters = "RYGBR";

/// The point that `value` lies behind, with another one behind it.
const QuadraturePoint* pointBefore(double value, double QuadraturePoint::*coordinate) {
    const QuadraturePoint* point = quadraturePoints.data();
    const QuadraturePoint* const last = &quadraturePoints.back() - 1;
    while (point != last && value >= point[1].*coordinate) {
        ++point;
    }
    return point;
}

double degreeOfAdaptationUnder(const ViewingConditions& conditions) {
    if (conditions.discounting) {
        return 1;
    }
    const double d = conditions.surround.adaptation * (1 - std::exp((-conditions.adaptingLuminance - 42) / 92) / 3.6);
    return std::clamp(d, 0.0, 1.0);
}

double luminanceLevelUnder(double adapting) {
    const double k = 1 / (5 * adapting + 1);
    const double k4 = k * k * k * k;
    return 0.2 * k4 * 5 * adapting + 0.1 * (1 - k4) * (1 - k4) * std::cbrt(5 * adapting);
}

/// 2 R' + G' + B' / 20
double achromaticOf(const cv::Vec3d& response) {
    return 2 * response[0] + response[1] + response[2] / 20;
}

}  // namespace

std::string_view nameOf(AppearanceModelKind kind) {
    switch (kind) {
        case AppearanceModelKind::ciecam02:
            return "ciecam02";
        case AppearanceModelKind::ciecam16:
            return "ciecam16";
        default:
            return "likeness";
    }
}

cv::Matx33d sharpenedFromXyz(AppearanceModelKind kind) {
    if (kind == AppearanceModelKind::likeness) {
        throw std::invalid_argument("the comparison's own model is not a published one");
    }
    return kind == AppearanceModelKind::ciecam02 ? doubleMatrix(cat02FromXyz) : cat16FromXyz();
}

bool countsAsBlack(const Xyz& xyz, const Correlates& correlates) noexcept {
    return correlates.lightness == 0 && (xyz.x > 0 || xyz.y > 0 || xyz.z > 0);
}

double hueQuadratureOf(double hueDegrees) {
    if (!std::isfinite(hueDegrees)) {
        return none;
    }
    double h = turned(hueDegrees, 360);
    h += h < quadraturePoints.front().degrees ? 360 : 0;
    const QuadraturePoint* const from = pointBefore(h, &QuadraturePoint::degrees);
    const QuadraturePoint& to = from[1];
    const double behind = (h - from->degrees) / from->eccentricity;
    const double ahead = (to.degrees - h) / to.eccentricity;
    return turned(from->quadrature + (to.quadrature - from->quadrature) * behind / (behind + ahead), 400);
}

double hueDegreesOf(double quadrature) {
    if (!std::isfinite(quadrature)) {
        return none;
    }
    const double turn = turned(quadrature, 400);
    const QuadraturePoint* const from = pointBefore(turn, &QuadraturePoint::quadrature);
    const QuadraturePoint& to = from[1];
    const double share = (turn - from->quadrature) / (to.quadrature - from->quadrature);
    const double fromWeight = (1 - share) / from->eccentricity;
    const double toWeight = share / to.eccentricity;
    return turned((fromWeight * from->degrees + toWeight * to.degrees) / (fromWeight + toWeight), 360);
}

std::string hueComposition(double quadrature) {
    if (!std::isfinite(quadrature)) {
        return "none";
    }
    const double turn = turned(quadrature, 400);
    const auto i = static_cast<std::size_t>(turn / 100);
    const int ahead = static_cast<int>(std::lround(turn - 100 * static_cast<double>(i)));
    const auto part = [](int share, std::size_t hue) { return std::to_string(share) + hueLetters[hue]; };
    if (ahead == 0 || ahead == 100) {
        return part(100, ahead == 0 ? i : i + 1);
    }
    return ahead > 50 ? part(ahead, i + 1) + ' ' + part(100 - ahead, i)
                      : part(100 - ahead, i) + ' ' + part(ahead, i + 1);
}

/// The hyperbola, of q >= 0.
double PublishedModel::Compression::curve(double q) const {
    if (scale == 0) {
        return std::pow(q, exponent);
    }
    const double power = std::pow(scale * q, exponent);
    return greatestResponse * power / (halfResponse + power);
}

double PublishedModel::Compression::slopeOfCurve(double q) const {
    if (scale == 0) {
        return exponent * std::pow(q, exponent - 1);
    }
    const double power = std::pow(scale * q, exponent);
    const double sum = halfResponse + power;
    return greatestResponse * halfResponse * exponent * (power / q) / (sum * sum);
}

/// Of a response >= 0; infinite or NaN from the greatest one on.
double PublishedModel::Compression::inverseCurve(double response) const {
    if (scale == 0) {
        return std::pow(response, 1 / exponent);
    }
    return std::pow(halfResponse * response / (greatestResponse - response), 1 / exponent) / scale;
}

double PublishedModel::Compression::operator()(double q) const {
    if (!lines) {
        return std::copysign(curve(std::abs(q)), q);
    }
    return q < lowKnee ? lowSlope * q : q > highKnee ? highResponse + highSlope * (q - highKnee) : curve(q);
}

double PublishedModel::Compression::inverse(double response) const {
    if (!lines) {
        return std::copysign(inverseCurve(std::abs(response)), response);
    }
    return response < lowSlope * lowKnee ? response / lowSlope
           : response > highResponse     ? highKnee + (response - highResponse) / highSlope
                                         : inverseCurve(response);
}

PublishedModel::PublishedModel(AppearanceModelKind kind, const ViewingConditions& conditions)
    : kind_(kind), conditions_(conditions) {
    const cv::Matx33d sharpFromXyz = sharpenedFromXyz(kind);
    checkViewingConditions(conditions);
    if (!conditions.background) {
        throw std::invalid_argument("a published model needs a background, a number; it does not drift");
    }
    const double whiteY = conditions.white.y;
    factors_.degreeOfAdaptation = degreeOfAdaptationUnder(conditions);
    factors_.luminanceLevel = luminanceLevelUnder(conditions.adaptingLuminance);
    factors_.backgroundInduction = std::max(*conditions.background / whiteY, leastBackgroundRatio);
    factors_.brightnessInduction = 0.725 * std::pow(1 / factors_.backgroundInduction, 0.2);
    factors_.baseExponent = 1.48 + std::sqrt(factors_.backgroundInduction);

    const cv::Vec3d white(conditions.white.x, conditions.white.y, conditions.white.z);
    const cv::Vec3d sharpWhite = sharpFromXyz * white;
    cv::Matx33d adaptation = cv::Matx33d::zeros();
    for (int k = 0; k < 3; ++k) {
        if (!(sharpWhite[k] > 0)) {
            throw std::invalid_argument("the white lies outside the colours of lights: a cone would not respond to it");
        }
        adaptation(k, k) = factors_.degreeOfAdaptation * whiteY / sharpWhite[k] + 1 - factors_.degreeOfAdaptation;
    }
    conesFromXyz_ = adaptation * sharpFromXyz;
    if (kind == AppearanceModelKind::ciecam02) {
        conesFromXyz_ = doubleMatrix(hpeFromXyz) * sharpFromXyz.inv() * conesFromXyz_;
    }
    xyzFromCones_ = conesFromXyz_.inv();

    compression_.scale = factors_.luminanceLevel / 100;
    const cv::Vec3d whiteCones = conesFromXyz_ * white;
    cv::Vec3d response;
    for (int k = 0; k < 3; ++k) {
        if (!(whiteCones[k] > 0)) {
            throw std::invalid_argument("the white lies outside the colours of lights: a cone would not respond to it");
        }
        response[k] = compression_.curve(whiteCones[k]);  // without lines, in either model
    }
    if (kind == AppearanceModelKind::ciecam16) {
        compression_.lines = true;
        compression_.lowSlope = compression_.curve(lowKnee) / lowKnee;
        compression_.highResponse = compression_.curve(highKnee);
        compression_.highSlope = compression_.slopeOfCurve(highKnee);
    }
    whiteResponse_ = achromaticOf(response);
    factors_.whiteResponse = compression_.scale == 0 ? 0 : whiteResponse_ * factors_.brightnessInduction;
    levelRoot_ = std::pow(factors_.luminanceLevel, 0.25);
    magnitudeScale_ = chromaScale * conditions.surround.induction * factors_.brightnessInduction;
    backgroundShare_ = backgroundChroma(factors_.backgroundInduction);
}

Correlates PublishedModel::correlatesOf(const Xyz& xyz) const {
    const cv::Vec3d cones = conesFromXyz_ * cv::Vec3d(xyz.x, xyz.y, xyz.z);
    const cv::Vec3d response(compression_(cones[0]), compression_(cones[1]), compression_(cones[2]));
    const double a = response[0] - 12 * response[1] / 11 + response[2] / 11;
    const double b = (response[0] + response[1] - 2 * response[2]) / 9;
    const double c = conditions_.surround.impact;
    const double achromatic = achromaticOf(response);

    Correlates correlates;
    if (std::isnan(achromatic) || std::isnan(a) || std::isnan(b)) {
        return {none, none, none, none, none, none, none};
    }
    correlates.hueDegrees = degreesOf(a, b);
    correlates.hueQuadrature = hueQuadratureOf(correlates.hueDegrees);
    if (achromatic <= 0) {
        return correlates;
    }
    // sqrt(J / 100)
    const double root = std::pow(achromatic / whiteResponse_, c * factors_.baseExponent / 2);
    correlates.lightness = 100 * root * root;
    if (compression_.scale == 0) {
        return correlates;
    }
    correlates.brightness = 4 / c * root * (factors_.whiteResponse + 4) * levelRoot_;
    const double divisor = response[0] + response[1] + 1.05 * response[2] + noise;
    const double t =
        divisor > 0 ? magnitudeScale_ * eccentricityOf(radiansOf(correlates.hueDegrees)) * std::hypot(a, b) / divisor
                    : none;
    const double alpha = std::pow(t, 0.9) * backgroundShare_;
    correlates.chroma = alpha * root;
    correlates.colorfulness = correlates.chroma * levelRoot_;
    // 100 sqrt(M / Q)
    correlates.saturation = 50 * std::sqrt(alpha * c / (factors_.whiteResponse + 4));
    return correlates;
}

/// @return  why there is no such colour; null where `xyz` is it
const char* PublishedModel::solve(const CorrelateTriple& triple, Xyz& xyz) const {
    if (!(triple.level >= 0 && triple.chroma >= 0 && std::isfinite(triple.level) && std::isfinite(triple.chroma) &&
          std::isfinite(triple.hue))) {
        return "correlates must be finite numbers, and all but the hue not negative";
    }
    const double c = conditions_.surround.impact;
    const bool dark = compression_.scale == 0;
    double root = std::sqrt(triple.level / 100);
    if (triple.kinds.level == LevelCorrelate::brightness) {
        if (dark && triple.level > 0) {
            return "nothing has a brightness above 0 where the adapting luminance is 0";
        }
        root = dark ? 0 : triple.level * c / (4 * (factors_.whiteResponse + 4) * levelRoot_);
    }
    if (dark && triple.chroma > 0) {
        return "nothing has chroma, colourfulness or saturation above 0 where the adapting luminance is 0";
    }
    if (root == 0 && triple.chroma > 0) {
        return "a lightness or brightness of 0 has neither chroma nor colourfulness nor saturation";
    }
    double alpha = 0;
    if (triple.kinds.chroma == ChromaCorrelate::saturation) {
        alpha = triple.chroma * triple.chroma / 2500 * (factors_.whiteResponse + 4) / c;
    } else if (triple.chroma > 0) {
        alpha = triple.chroma / root / (triple.kinds.chroma == ChromaCorrelate::colorfulness ? levelRoot_ : 1.0);
    }
    const double h = radiansOf(triple.kinds.hue == HueCorrelate::degrees ? triple.hue : hueDegreesOf(triple.hue));
    const double t = std::pow(alpha / backgroundShare_, 1 / 0.9);
    const double achromatic = whiteResponse_ * std::pow(root, 2 / (c * factors_.baseExponent));
    const double divisor = 23 * magnitudeScale_ * eccentricityOf(h) + t * (11 * std::cos(h) + 108 * std::sin(h));
    if (!(divisor > 0)) {
        return "no colour has this much chroma at this hue";
    }
    const double length = 23 * (achromatic + noise) * t / divisor;
    const double a = length * std::cos(h);
    const double b = length * std::sin(h);
    // The coefficients of CIE 159:2004 over 1403 = 23 * 61.
    const cv::Vec3d cones(compression_.inverse((460 * achromatic + 451 * a + 288 * b) / 1403),
                          compression_.inverse((460 * achromatic - 891 * a - 261 * b) / 1403),
                          compression_.inverse((460 * achromatic - 220 * a - 6300 * b) / 1403));
    const cv::Vec3d color = xyzFromCones_ * cones;
    if (!std::isfinite(color[0]) || !std::isfinite(color[1]) || !std::isfinite(color[2])) {
        return "no colour has these correlates: a cone would have to respond beyond its limit";
    }
    xyz = {color[0], color[1], color[2]};
    return nullptr;
}

Xyz PublishedModel::colorOf(const CorrelateTriple& triple) const {
    Xyz xyz;
    if (const char* const problem = solve(triple, xyz); problem != nullptr) {
        throw std::invalid_argument(problem);
    }
    return xyz;
}

CorrelateMaps PublishedModel::correlateMaps(const cv::Mat& xyz) const {
    CorrelateMaps maps;
    if (xyz.empty()) {
        return maps;
    }
    if (xyz.dims > 2 || xyz.type() != CV_32FC3) {
        throw std::invalid_argument("an image of X, Y, Z must be CV_32FC3");
    }
    struct Target {
        cv::Mat CorrelateMaps::*map;
        double Correlates::*value;
    };
    constexpr std::array<Target, 7> targets = {{{&CorrelateMaps::lightness, &Correlates::lightness},
                                                {&CorrelateMaps::brightness, &Correlates::brightness},
                                                {&CorrelateMaps::chroma, &Correlates::chroma},
                                                {&CorrelateMaps::colorfulness, &Correlates::colorfulness},
                                                {&CorrelateMaps::saturation, &Correlates::saturation},
                                                {&CorrelateMaps::hueDegrees, &Correlates::hueDegrees},
                                                {&CorrelateMaps::hueQuadrature, &Correlates::hueQuadrature}}};
    for (const Target& target : targets) {
        (maps.*target.map).create(xyz.size(), CV_32FC1);
    }
    std::array<float*, targets.size()> rows{};
    for (int i = 0; i < xyz.rows; ++i) {
        const auto* const in = xyz.ptr<cv::Vec3f>(i);
        for (std::size_t k = 0; k < targets.size(); ++k) {
            rows[k] = (maps.*targets[k].map).ptr<float>(i);
        }
        for (int j = 0; j < xyz.cols; ++j) {
            const Correlates correlates = correlatesOf({100.0 * in[j][0], 100.0 * in[j][1], 100.0 * in[j][2]});
            for (std::size_t k = 0; k < targets.size(); ++k) {
                rows[k][j] = static_cast<float>(correlates.*targets[k].value);
            }
        }
    }
    return maps;
}

cv::Mat PublishedModel::xyzImageOf(const CorrelateKinds& kinds, const cv::Mat& level, const cv::Mat& chroma,
                                   const cv::Mat& hue) const {
    if (level.empty() && chroma.empty() && hue.empty()) {
        return {};
    }
    for (const cv::Mat* const map : {&level, &chroma, &hue}) {
        if (map->type() != CV_32FC1 || map->size() != level.size()) {
            throw std::invalid_argument("maps of correlates must be CV_32FC1 and of one size");
        }
    }
    cv::Mat xyz(level.size(), CV_32FC3);
    for (int i = 0; i < xyz.rows; ++i) {
        const auto* const levels = level.ptr<float>(i);
        const auto* const chromas = chroma.ptr<float>(i);
        const auto* const hues = hue.ptr<float>(i);
        auto* const out = xyz.ptr<cv::Vec3f>(i);
        for (int j = 0; j < xyz.cols; ++j) {
            Xyz color;
            const bool found = solve({kinds, levels[j], chromas[j], hues[j]}, color) == nullptr;
            out[j] = found ? cv::Vec3f(static_cast<float>(color.x / 100), static_cast<float>(color.y / 100),
                                       static_cast<float>(color.z / 100))
                           : cv::Vec3f::all(std::numeric_limits<float>::quiet_NaN());
        }
    }
    return xyz;
}

}  // namespace likeness
