// Plots as SVG, for a page that holds them inline or for a file of their own. They scale with the page's width and show
// light or dark as the reader prefers.
#pragma once

#include <string>
#include <vector>

namespace likeness::darkroom {

/// Points with a name. `x` and `y` are of one length; a point with a NaN or an infinite coordinate is not drawn and
/// interrupts a line.
struct PlotSeries {
    std::string name;
    std::vector<double> x;
    std::vector<double> y;
    std::string color;  ///< CSS colour; empty: the palette's, by place in the plot
};

/// What stands around the points. Texts are plain text of any content.
struct PlotFrame {
    std::string title;   ///< also read out to those who do not see the plot
    std::string xLabel;  ///< name of the quantity, with its unit
    std::string yLabel;
    int width = 440;  ///< of the drawing in its own units, in which text is 12 high
    int height = 280;
};

/// Lines through the points of each series, in their order. The axes span what the points span, the vertical one
/// widened to whole ticks.
std::string linePlot(const PlotFrame& frame, const std::vector<PlotSeries>& series);

/// The points alone, as dots.
std::string scatterPlot(const PlotFrame& frame, const std::vector<PlotSeries>& series);

/// Histograms laid over one another, as outlines with a translucent ground: bin i of a series is centred on x[i], which
/// ascend in steps of at least `binWidth`, and y[i] high. A bin that is not listed is empty. The vertical axis begins
/// at 0.
std::string histogramPlot(const PlotFrame& frame, const std::vector<PlotSeries>& series, double binWidth = 1.0);

/// Style sheet that plots need: goes once into a page that holds some.
std::string plotStyles();

/// A plot as an SVG document of its own, the style sheet and a ground included.
std::string standaloneSvg(const std::string& plot);

}  // namespace likeness::darkroom
