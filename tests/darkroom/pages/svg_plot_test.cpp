#include "pages/svg_plot.hpp"

#include "files/markup_text.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>

namespace likeness::testing {
namespace {

using namespace darkroom;

int occurrences(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t i = text.find(part); i != std::string::npos; i = text.find(part, i + 1)) {
        ++count;
    }
    return count;
}

/// The `d` of the path of a class.
std::string pathOf(const std::string& plot, const std::string& cssClass) {
    const std::size_t element = plot.find("<path class=\"" + cssClass);
    EXPECT_NE(element, std::string::npos) << cssClass;
    const std::size_t begin = plot.find(" d=\"", element) + 4;
    return plot.substr(begin, plot.find('"', begin) - begin);
}

TEST(MarkupText, EscapesWhatHasAMeaningInMarkup) {
    EXPECT_EQ(escapedMarkup("a<b> & \"c\" 'd'"), "a&lt;b&gt; &amp; &quot;c&quot; &#39;d&#39;");
    EXPECT_EQ(escapedMarkup("two\nlines\tand"), "two\nlines\tand");
    EXPECT_EQ(escapedMarkup(std::string("\x01 \x7F \0", 5)), "\uFFFD \uFFFD \uFFFD");
}

TEST(MarkupText, ReplacesWhatIsNoUtf8) {
    EXPECT_EQ(validUtf8("h\u00E9 \u20AC \U0001F600"), "h\u00E9 \u20AC \U0001F600");
    EXPECT_EQ(validUtf8("\xE9t\xE9"), "\uFFFDt\uFFFD");
    EXPECT_EQ(validUtf8("\xC0\xAF"), "\uFFFD\uFFFD") << "an overlong form";
    EXPECT_EQ(validUtf8("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD") << "a surrogate";
    EXPECT_EQ(validUtf8("\xF4\x90\x80\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD") << "above U+10FFFF";
    EXPECT_EQ(validUtf8("end \xE2\x82"), "end \uFFFD\uFFFD");
}

TEST(SvgPlot, LinesRunFromTheLowerLeftToTheUpperRightOfTheirRange) {
    const std::string plot = linePlot({"", "", "", 440, 280}, {{"", {0, 10}, {0, 1}, ""}});
    // Without title, legend and labels the drawing area is bounded by the texts of the ticks and the margins.
    const std::string axis = pathOf(plot, "axis");
    double left = 0;
    double top = 0;
    double bottom = 0;
    double right = 0;
    ASSERT_EQ(std::sscanf(axis.c_str(), "M%lf %lfV%lfH%lf", &left, &top, &bottom, &right), 4) << axis;
    double x[2] = {};
    double y[2] = {};
    ASSERT_EQ(std::sscanf(pathOf(plot, "line").c_str(), "M%lf %lfL%lf %lf", &x[0], &y[0], &x[1], &y[1]), 4);
    EXPECT_NEAR(x[0], left, 0.06);
    EXPECT_NEAR(y[0], bottom, 0.06);
    EXPECT_NEAR(x[1], right, 0.06);
    EXPECT_NEAR(y[1], top, 0.06);
    EXPECT_GT(bottom, top);
    for (const char* const tick : {">0<", ">2<", ">10<", ">0.2<", ">1<"}) {
        EXPECT_NE(plot.find(tick), std::string::npos) << tick;
    }
}

TEST(SvgPlot, PointsThatAreNoNumbersInterruptTheLine) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::string plot = linePlot({"", "", ""}, {{"", {0, 1, 2, 3, 4, 5, 6}, {1, 2, nan, 3, infinity, 4, 5}, ""}});
    const std::string path = pathOf(plot, "line");
    EXPECT_EQ(occurrences(path, "M"), 3) << path;
    EXPECT_EQ(occurrences(path, "L"), 2) << path;
    EXPECT_EQ(path.find("nan"), std::string::npos);
    EXPECT_EQ(path.find("inf"), std::string::npos);
}

TEST(SvgPlot, WithoutPointsThereAreAxesOnly) {
    for (const std::string& plot : {linePlot({"t", "x", "y"}, {}), scatterPlot({"t", "x", "y"}, {{"none", {}, {}, ""}}),
                                    histogramPlot({"t", "x", "y"}, {{"none", {}, {}, ""}})}) {
        EXPECT_EQ(plot.find("nan"), std::string::npos);
        EXPECT_NE(plot.find("class=\"axis\""), std::string::npos);
    }
}

TEST(SvgPlot, EqualValuesHaveRoom) {
    for (const double value : {0.0, 7.0, -1e9, 1e-12}) {
        const std::string plot = linePlot({"", "", ""}, {{"", {value, value}, {value, value}, ""}});
        EXPECT_EQ(plot.find("nan"), std::string::npos) << value;
        EXPECT_EQ(plot.find("inf"), std::string::npos) << value;
        EXPECT_GE(occurrences(plot, "class=\"tick\""), 6) << value;
        EXPECT_LE(occurrences(plot, "class=\"tick\""), 24) << value;
    }
}

TEST(SvgPlot, HistogramHasAStepForEachBin) {
    const std::string plot = histogramPlot({"", "", ""}, {{"", {3, 4, 9}, {0.25, 0.5, 0.25}, ""}});
    const std::string path = pathOf(plot, "area");
    // Up, across, up, across, down to the ground and across the gap, up, across, down.
    EXPECT_EQ(occurrences(path, "V"), 5) << path;
    EXPECT_EQ(occurrences(path, "H"), 4) << path;
}

TEST(SvgPlot, ScatterHasADotForEachPoint) {
    const std::string plot = scatterPlot({"", "", ""}, {{"a", {1, 2}, {1, 2}, ""}, {"b", {3}, {NAN}, "#123456"}});
    EXPECT_EQ(occurrences(plot, "<circle"), 2);
    EXPECT_NE(plot.find("style=\"--series:#123456\""), std::string::npos);
}

TEST(SvgPlot, TextsAreEscaped) {
    const std::string plot = linePlot({"<t>", "x & y", "\"q\""}, {{"<b>", {0, 1}, {0, 1}, ""}});
    EXPECT_EQ(plot.find("<t>"), std::string::npos);
    EXPECT_EQ(plot.find("<b>"), std::string::npos);
    EXPECT_NE(plot.find("x &amp; y"), std::string::npos);
    EXPECT_NE(plot.find("aria-label=\"&lt;t&gt;\""), std::string::npos);
}

TEST(SvgPlot, StandsAloneWithItsStyles) {
    const std::string document = standaloneSvg(linePlot({"t", "x", "y"}, {{"a", {0, 1}, {0, 1}, ""}}));
    EXPECT_EQ(document.rfind("<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"plot\" viewBox=\"0 0 440 280\"", 0),
              0U);
    EXPECT_NE(document.find(plotStyles()), std::string::npos);
    EXPECT_EQ(document.substr(document.size() - 7), "</svg>\n");
}

}  // namespace
}  // namespace likeness::testing
