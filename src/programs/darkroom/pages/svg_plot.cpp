#include "pages/svg_plot.hpp"

#include "files/markup_text.hpp"
#include "pages/round_scale.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace likeness::darkroom {
namespace {

constexpr int paletteSize = 6;
constexpr double characterWidth = 6.4;  // of the sans-serif text, on average and rather too wide
constexpr double lineHeight = 17.0;

/// The range that is shown, with marks at multiples of a step.
struct Axis {
    double low = 0;
    double high = 1;
    double step = 0.2;

    double share(double value) const { return (value - low) / (high - low); }
    int ticks() const {
        return static_cast<int>(std::floor(high / step + tolerance) - std::ceil(low / step - tolerance)) + 1;
    }
    double tick(int i) const { return (std::ceil(low / step - tolerance) + i) * step; }
    std::string tickText(int i) const {
        const double value = tick(i);
        return fmt::format("{:.6g}", std::abs(value) < step * 1e-6 ? 0.0 : value);
    }

    /// A limit that is a multiple of the step may be rounded; in steps.
    static constexpr double tolerance = 1e-9;
};

/// The range of values that were met.
struct Extent {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();

    void take(double value) {
        if (std::isfinite(value)) {
            low = std::min(low, value);
            high = std::max(high, value);
        }
    }

    /// The axis of just this range.
    Axis axis(double wantedTicks) const {
        if (!(low <= high)) {
            return {};
        }
        double from = low;
        double to = high;
        // One value, or a range that a tick's text could not tell apart: some room around it.
        if (const double size = std::max(std::abs(from), std::abs(to)); to - from <= size * 1e-5) {
            from -= size > 0 ? size * 0.1 : 1;
            to += size > 0 ? size * 0.1 : 1;
        }
        return {from, to, roundStep(to - from, wantedTicks)};
    }

    /// The axis of this range, widened to whole steps.
    Axis roundedAxis(double wantedTicks) const {
        Axis axis = this->axis(wantedTicks);
        axis.low = std::floor(axis.low / axis.step + Axis::tolerance) * axis.step;
        axis.high = std::ceil(axis.high / axis.step - Axis::tolerance) * axis.step;
        return axis;
    }
};

bool isPoint(const PlotSeries& series, std::size_t i) {
    return i < series.y.size() && std::isfinite(series.x[i]) && std::isfinite(series.y[i]);
}

/// The drawing as it grows.
class Drawing {
public:
    Drawing(const PlotFrame& frame, const std::vector<PlotSeries>& series, const Extent& x, const Extent& y)
        : frame_(frame), x_(x.axis(6)), y_(y.roundedAxis(5)) {
        const std::string title = escapedMarkup(frame.title);
        text_ = fmt::format(R"(<svg class="plot" viewBox="0 0 {} {}" role="img" aria-label="{}">)", frame.width,
                            frame.height, title);
        double y0 = 6;
        if (!frame.title.empty()) {
            text_ += fmt::format(R"(<text class="title" x="4" y="{}">{}</text>)", y0 + 12, title);
            y0 += lineHeight + 3;
        }
        top_ = drawLegend(series, y0) + 8;
        left_ = 4;
        for (int i = 0; i < y_.ticks(); ++i) {
            left_ = std::max(left_, 4 + characterWidth * static_cast<double>(y_.tickText(i).size()) + 8);
        }
        left_ += frame.yLabel.empty() ? 0 : lineHeight;
        bottom_ = frame.height - lineHeight - 4 - (frame.xLabel.empty() ? 0 : lineHeight);
        right_ = frame.width - 14;
        drawAxes();
    }

    double x(double value) const { return left_ + (right_ - left_) * x_.share(value); }
    double y(double value) const { return bottom_ - (bottom_ - top_) * y_.share(value); }

    void add(const std::string& element) { text_ += element; }

    std::string finished() const { return text_ + "</svg>"; }

    /// Attributes of what belongs to a series.
    static std::string attributes(const PlotSeries& series, std::size_t place, const char* kind) {
        const std::string color =
            series.color.empty() ? "" : fmt::format(R"( style="--series:{}")", escapedMarkup(series.color));
        return fmt::format(R"(class="{} series-{}"{})", kind, place % paletteSize + 1, color);
    }

private:
    /// @return  where the space below it begins
    double drawLegend(const std::vector<PlotSeries>& series, double y0) {
        const bool named =
            std::any_of(series.begin(), series.end(), [](const PlotSeries& one) { return !one.name.empty(); });
        if (!named) {
            return y0;
        }
        double x0 = 4;
        for (std::size_t i = 0; i < series.size(); ++i) {
            const double width = 24 + characterWidth * static_cast<double>(series[i].name.size());
            if (x0 > 4 && x0 + width > frame_.width) {
                x0 = 4;
                y0 += lineHeight;
            }
            text_ += fmt::format(R"(<rect {} x="{:.1f}" y="{:.1f}" width="14" height="10" rx="2"/>)",
                                 attributes(series[i], i, "swatch"), x0, y0 + 3);
            text_ += fmt::format(R"(<text x="{:.1f}" y="{:.1f}">{}</text>)", x0 + 19, y0 + 12,
                                 escapedMarkup(series[i].name));
            x0 += width + 12;
        }
        return y0 + lineHeight;
    }

    void drawAxes() {
        // Where the texts of the ticks would touch, every second, fifth, ... one is written.
        std::size_t longest = 1;
        for (int i = 0; i < x_.ticks(); ++i) {
            longest = std::max(longest, x_.tickText(i).size());
        }
        const double between = (right_ - left_) / std::max(1, x_.ticks() - 1);
        const int every = static_cast<int>(std::ceil(characterWidth * (static_cast<double>(longest) + 1) / between));
        for (int i = 0; i < x_.ticks(); ++i) {
            const double place = x(x_.tick(i));
            text_ += fmt::format(R"(<path class="grid" d="M{:.1f} {:.1f}V{:.1f}"/>)", place, top_, bottom_);
            if (i % every == 0) {
                text_ += fmt::format(R"(<text class="tick" x="{:.1f}" y="{:.1f}" text-anchor="middle">{}</text>)",
                                     place, bottom_ + 15, x_.tickText(i));
            }
        }
        for (int i = 0; i < y_.ticks(); ++i) {
            const double place = y(y_.tick(i));
            text_ += fmt::format(R"(<path class="grid" d="M{:.1f} {:.1f}H{:.1f}"/>)", left_, place, right_);
            text_ += fmt::format(R"(<text class="tick" x="{:.1f}" y="{:.1f}" text-anchor="end">{}</text>)", left_ - 6,
                                 place + 4, y_.tickText(i));
        }
        text_ += fmt::format(R"(<path class="axis" d="M{:.1f} {:.1f}V{:.1f}H{:.1f}"/>)", left_, top_, bottom_, right_);
        if (!frame_.xLabel.empty()) {
            text_ += fmt::format(R"(<text x="{:.1f}" y="{}" text-anchor="middle">{}</text>)", (left_ + right_) / 2,
                                 frame_.height - 6, escapedMarkup(frame_.xLabel));
        }
        if (!frame_.yLabel.empty()) {
            const double middle = (top_ + bottom_) / 2;
            text_ += fmt::format(
                R"svg(<text x="13" y="{:.1f}" transform="rotate(-90 13 {:.1f})" text-anchor="middle">{}</text>)svg",
                middle, middle, escapedMarkup(frame_.yLabel));
        }
    }

    const PlotFrame& frame_;
    Axis x_;
    Axis y_;
    std::string text_;
    double left_ = 0;
    double right_ = 0;
    double top_ = 0;
    double bottom_ = 0;
};

Drawing drawingOfPoints(const PlotFrame& frame, const std::vector<PlotSeries>& series) {
    Extent x;
    Extent y;
    for (const PlotSeries& one : series) {
        for (std::size_t i = 0; i < one.x.size(); ++i) {
            if (isPoint(one, i)) {
                x.take(one.x[i]);
                y.take(one.y[i]);
            }
        }
    }
    return {frame, series, x, y};
}

}  // namespace

std::string linePlot(const PlotFrame& frame, const std::vector<PlotSeries>& series) {
    Drawing drawing = drawingOfPoints(frame, series);
    for (std::size_t k = 0; k < series.size(); ++k) {
        std::string path;
        bool drawn = false;
        for (std::size_t i = 0; i < series[k].x.size(); ++i) {
            const bool here = isPoint(series[k], i);
            if (here) {
                path += fmt::format("{}{:.2f} {:.2f}", drawn ? 'L' : 'M', drawing.x(series[k].x[i]),
                                    drawing.y(series[k].y[i]));
            }
            drawn = here;
        }
        drawing.add(fmt::format(R"(<path {} d="{}"/>)", Drawing::attributes(series[k], k, "line"), path));
    }
    return drawing.finished();
}

std::string scatterPlot(const PlotFrame& frame, const std::vector<PlotSeries>& series) {
    Drawing drawing = drawingOfPoints(frame, series);
    for (std::size_t k = 0; k < series.size(); ++k) {
        drawing.add(fmt::format("<g {}>", Drawing::attributes(series[k], k, "dots")));
        for (std::size_t i = 0; i < series[k].x.size(); ++i) {
            if (isPoint(series[k], i)) {
                drawing.add(fmt::format(R"(<circle cx="{:.2f}" cy="{:.2f}" r="2.5"/>)", drawing.x(series[k].x[i]),
                                        drawing.y(series[k].y[i])));
            }
        }
        drawing.add("</g>");
    }
    return drawing.finished();
}

std::string histogramPlot(const PlotFrame& frame, const std::vector<PlotSeries>& series, double binWidth) {
    Extent x;
    Extent y;
    y.take(0);
    for (const PlotSeries& one : series) {
        for (std::size_t i = 0; i < one.x.size(); ++i) {
            if (isPoint(one, i)) {
                x.take(one.x[i] - binWidth / 2);
                x.take(one.x[i] + binWidth / 2);
                y.take(one.y[i]);
            }
        }
    }
    Drawing drawing(frame, series, x, y);
    for (std::size_t k = 0; k < series.size(); ++k) {
        std::string path;
        double end = 0;
        const PlotSeries& one = series[k];
        for (std::size_t i = 0; i < one.x.size(); ++i) {
            if (!isPoint(one, i)) {
                continue;
            }
            const double begin = one.x[i] - binWidth / 2;
            if (path.empty()) {
                path = fmt::format("M{:.2f} {:.2f}", drawing.x(begin), drawing.y(0));
            } else if (begin - end > binWidth * 1e-6) {
                path += fmt::format("V{:.2f}H{:.2f}", drawing.y(0), drawing.x(begin));
            }
            end = one.x[i] + binWidth / 2;
            path += fmt::format("V{:.2f}H{:.2f}", drawing.y(one.y[i]), drawing.x(end));
        }
        path += path.empty() ? "" : fmt::format("V{:.2f}", drawing.y(0));
        drawing.add(fmt::format(R"(<path {} d="{}"/>)", Drawing::attributes(one, k, "area"), path));
    }
    return drawing.finished();
}

std::string plotStyles() {
    return R"(.plot{--ink:#2b2b2b;--rule:#e3e3e0;--axis:#8a8a86;--ground:#ffffff;display:block;width:100%;height:auto;
font:12px system-ui,sans-serif}
.plot text{fill:var(--ink)}.plot .title{font-weight:600}.plot .tick{font-variant-numeric:tabular-nums}
.plot .grid{stroke:var(--rule);fill:none}.plot .axis{stroke:var(--axis);fill:none}
.plot .line{fill:none;stroke:var(--series);stroke-width:2;stroke-linejoin:round}
.plot .area{fill:var(--series);fill-opacity:.28;stroke:var(--series);stroke-width:1.4}
.plot .dots{fill:var(--series);fill-opacity:.7}.plot .swatch{fill:var(--series)}.plot .ground{fill:var(--ground)}
.plot .series-1{--series:#2a6fd6}.plot .series-2{--series:#e0641c}.plot .series-3{--series:#1a8f5c}
.plot .series-4{--series:#b0338f}.plot .series-5{--series:#8a6d00}.plot .series-6{--series:#5f6b7a}
@media (prefers-color-scheme:dark){.plot{--ink:#e6e6e3;--rule:#3a3a38;--axis:#8f8f8a;--ground:#1c1c1b}
.plot .series-1{--series:#6aa5f5}.plot .series-2{--series:#f2935a}.plot .series-3{--series:#4cc38f}
.plot .series-4{--series:#e07cc4}.plot .series-5{--series:#d3b23c}.plot .series-6{--series:#a3b0c0}}
)";
}

std::string standaloneSvg(const std::string& plot) {
    const std::size_t content = plot.find('>') + 1;
    std::string opening = plot.substr(0, content);
    opening.insert(4, R"( xmlns="http://www.w3.org/2000/svg")");
    return opening + "<style>" + plotStyles() + R"(</style><rect class="ground" width="100%" height="100%"/>)" +
           plot.substr(content) + '\n';
}

}  // namespace likeness::darkroom
