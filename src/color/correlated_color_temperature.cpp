#include <likeness/color/correlated_color_temperature.hpp>

#include <cmath>
#include <iterator>
#include <limits>

namespace likeness {
namespace {

/// A line of equal correlated colour temperature, through a black body's u, v.
struct IsotemperatureLine {
    double mired;  ///< reciprocal temperature, 10^6 / K
    double u;
    double v;
    double slope;
};

/// Robertson 1968, table 1, with u = 0.24792 at 325 mired, where a digit is misprinted in some copies.
constexpr IsotemperatureLine lines[] = {
    // clang-format off
    {0,   0.18006, 0.26352, -0.24341}, {10,  0.18066, 0.26589, -0.25479}, {20,  0.18133, 0.26846, -0.26876},
    {30,  0.18208, 0.27119, -0.28539}, {40,  0.18293, 0.27407, -0.30470}, {50,  0.18388, 0.27709, -0.32675},
    {60,  0.18494, 0.28021, -0.35156}, {70,  0.18611, 0.28342, -0.37915}, {80,  0.18740, 0.28668, -0.40955},
    {90,  0.18880, 0.28997, -0.44278}, {100, 0.19032, 0.29326, -0.47888}, {125, 0.19462, 0.30141, -0.58204},
    {150, 0.19962, 0.30921, -0.70471}, {175, 0.20525, 0.31647, -0.84901}, {200, 0.21142, 0.32312, -1.0182},
    {225, 0.21807, 0.32909, -1.2168},  {250, 0.22511, 0.33439, -1.4512},  {275, 0.23247, 0.33904, -1.7298},
    {300, 0.24010, 0.34308, -2.0637},  {325, 0.24792, 0.34655, -2.4681},  {350, 0.25591, 0.34951, -2.9641},
    {375, 0.26400, 0.35200, -3.5814},  {400, 0.27218, 0.35407, -4.3633},  {425, 0.28039, 0.35577, -5.3762},
    {450, 0.28863, 0.35714, -6.7262},  {475, 0.29685, 0.35823, -8.5955},  {500, 0.30505, 0.35907, -11.324},
    {525, 0.31320, 0.35968, -15.628},  {550, 0.32129, 0.36011, -23.325},  {575, 0.32931, 0.36038, -40.770},
    {600, 0.33724, 0.36051, -116.45},
    // clang-format on
};

/// Distance of u, v from a line; positive on the side of lower temperatures.
double distanceFrom(const IsotemperatureLine& line, double u, double v) {
    return ((v - line.v) - line.slope * (u - line.u)) / std::hypot(1.0, line.slope);
}

double between(double low, double high, double share) {
    return low + (high - low) * share;
}

}  // namespace

PlanckianNeighbor correlatedColorTemperature(const cv::Vec2d& xy) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    constexpr double farthest = 0.05;
    const double denominator = -2 * xy[0] + 12 * xy[1] + 3;
    const double u = 4 * xy[0] / denominator;
    const double v = 6 * xy[1] / denominator;
    for (const IsotemperatureLine* line = std::begin(lines); line + 1 != std::end(lines); ++line) {
        const IsotemperatureLine& next = line[1];
        const double before = distanceFrom(*line, u, v);
        const double behind = distanceFrom(next, u, v);
        if (before >= 0 && behind < 0) {
            const double share = before / (before - behind);
            const double du = u - between(line->u, next.u, share);
            const double dv = v - between(line->v, next.v, share);
            const double distance = std::copysign(std::hypot(du, dv), dv);
            const double mired = between(line->mired, next.mired, share);
            return {std::abs(distance) > farthest ? none : 1e6 / mired, distance};
        }
    }
    return {none, none};
}

}  // namespace likeness
