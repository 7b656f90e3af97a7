#include "pages/tile_viewer.hpp"

#include "batch/correlates.hpp"
#include "files/number_format.hpp"
#include "pages/html_page.hpp"
#include "pages/tile_picture.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace likeness::darkroom {
namespace {

nlohmann::ordered_json rectJson(const cv::Rect& rect) {
    return {rect.x, rect.y, rect.width, rect.height};
}

/// What the script reads.
std::string viewerData(const ComparisonResult& result, const MapScale& scale) {
    const TileComparison& comparison = result.tiles->comparison;
    nlohmann::ordered_json json;
    json["first"] = {result.first.size.width, result.first.size.height};
    json["second"] = {result.second.size.width, result.second.size.height};
    json["columns"] = comparison.grid.count().width;
    json["low"] = scale.low;
    const auto worst = comparison.worst();
    json["worst"] = worst ? nlohmann::ordered_json(*worst) : nlohmann::ordered_json(nullptr);
    for (const CorrelateName& correlate : correlateNames) {
        json["correlates"].push_back(correlate.name);
    }
    constexpr int shades = 64;
    const cv::Mat colors = scaleColors(scale, shades);
    for (int i = 0; i < shades; ++i) {
        const auto& bgr = colors.at<cv::Vec3b>(0, i);
        json["colors"].push_back(fmt::format("#{:02x}{:02x}{:02x}", bgr[2], bgr[1], bgr[0]));
    }
    for (const ComparedTile& tile : comparison.tiles) {
        nlohmann::ordered_json its = {{"first", rectJson(tile.first)}, {"second", rectJson(tile.second)}};
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            const auto value = static_cast<double>(tile.coefficients[k]);
            its["coefficients"].push_back(std::isnan(value) ? nlohmann::ordered_json(nullptr)
                                                            : nlohmann::ordered_json(roundedToNineDigits(value)));
        }
        its["few"] = tile.few;
        json["tiles"].push_back(its);
    }
    return json.dump();
}

std::string pane(const char* place, const std::string& picture) {
    return fmt::format(
        "<div class=\"pane {0}\"><div class=\"layer\"><img src=\"{1}\" alt=\"{0} photograph\" "
        "draggable=\"false\"></div>"
        "<span class=\"place\">{0}</span></div>\n",
        place, picture);
}

/// The worst tiles that are not marked, and buttons that show them.
std::string worstTable(const TileComparison& comparison) {
    constexpr std::size_t most = 10;
    std::vector<std::size_t> order;
    const auto least = [&comparison](std::size_t index) {
        const LikenessCoefficients& its = comparison.tiles[index].coefficients;
        return std::min({its.brightness, its.lightness, its.chroma, its.colorfulness, its.saturation});
    };
    for (std::size_t i = 0; i < comparison.tiles.size(); ++i) {
        if (!comparison.tiles[i].few && !std::isnan(least(i))) {
            order.push_back(i);
        }
    }
    std::stable_sort(order.begin(), order.end(),
                     [&least](std::size_t a, std::size_t b) { return least(a) < least(b); });
    order.resize(std::min(order.size(), most));
    if (order.empty()) {
        return "<p class=\"note\">Every tile has few pixels: larger ones tell more.</p>\n";
    }
    std::string markup =
        "<h3>Worst tiles</h3><div class=\"wide\"><table id=\"worst-tiles\"><thead><tr><th>tile</th><th>place in the "
        "first</th>";
    for (const CorrelateName& correlate : correlateNames) {
        markup += fmt::format("<th class=\"number\">{}</th>", correlate.name);
    }
    markup += "</tr></thead><tbody>\n";
    const auto columns = static_cast<std::size_t>(comparison.grid.count().width);
    for (const std::size_t index : order) {
        const ComparedTile& tile = comparison.tiles[index];
        markup += fmt::format(
            "<tr><th><button type=\"button\" data-tile=\"{}\">column {}, row {}</button></th><td>x {}, y {}, {} × "
            "{}</td>",
            index, index % columns, index / columns, tile.first.x, tile.first.y, tile.first.width, tile.first.height);
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            markup += fmt::format("<td class=\"number\">{:.5f}</td>", tile.coefficients[k]);
        }
        markup += "</tr>\n";
    }
    return markup + "</tbody></table></div>\n";
}

}  // namespace

std::string tileViewer(const ComparisonResult& result, const std::pair<std::string, std::string>& pictures) {
    const TileComparison& comparison = result.tiles->comparison;
    const MapScale scale = tileScale(comparison);
    const cv::Size count = comparison.grid.count();
    std::string quantities = "<option value=\"least\">least of the five</option>";
    for (const CorrelateName& correlate : correlateNames) {
        quantities += fmt::format("<option value=\"{0}\">{0}</option>", correlate.name);
    }
    std::string markup = fmt::format(
        "<section id=\"where\"><h2>Where they differ</h2>\n<p><span id=\"tile-count\">{} × {}</span> tiles, at the "
        "same "
        "relative places of both photographs, each with its own coefficients; white and background are those of {}"
        ".</p>\n"
        "<div id=\"viewer-controls\" class=\"viewer-controls\" hidden>\n"
        "<label>photographs<select id=\"mode\"><option value=\"slide\">one over the other</option><option "
        "value=\"side\">side by side</option></select></label>\n"
        "<label>tiles<select id=\"quantity\">{}<option value=\"\">not shown</option></select></label>\n"
        "<label class=\"grow\">divider<input id=\"divider\" type=\"range\" min=\"0\" max=\"100\" step=\"1\"></label>\n"
        "<label class=\"grow\">zoom<input id=\"zoom\" type=\"range\" min=\"1\" max=\"16\" step=\"0.1\"></label>\n"
        "<button id=\"whole\" type=\"button\">whole</button></div>\n"
        "<div id=\"stage\" class=\"side\" tabindex=\"0\" role=\"group\" aria-label=\"The two photographs with their "
        "tiles\" aria-describedby=\"viewer-keys\">\n",
        count.width, count.height,
        result.first.part || result.second.part ? "all that counts of them" : "the whole photographs", quantities);
    markup += pane("first", pictures.first) + pane("second", pictures.second) + "<div id=\"bar\"></div></div>\n";
    markup += fmt::format(
        "<div class=\"scale small-scale\"><img src=\"{}\" alt=\"colours from {} to "
        "1\"><div><span>{}</span><span>1</span>"
        "</div></div>\n",
        pngUri(scaleColors(scale, 256)), nineDigits(scale.low), nineDigits(scale.low));
    markup +=
        "<p id=\"tile\" role=\"status\" aria-live=\"polite\"></p>\n<p id=\"viewer-keys\" class=\"note\">In the "
        "picture: "
        "arrow keys choose a tile, + and - magnify, Shift and an arrow key move, 0 shows the whole; a click chooses a "
        "tile, dragging moves the divider or the magnified picture.";
    const auto marked = std::count_if(comparison.tiles.begin(), comparison.tiles.end(),
                                      [](const ComparedTile& tile) { return tile.few; });
    if (marked > 0) {
        markup += fmt::format(" Dashed: {} of fewer than {} pixels.",
                              numberOf(static_cast<std::uint64_t>(marked), "tile"), result.tiles->options.leastPixels);
    }
    return markup + "</p>\n" + worstTable(comparison) + "<script type=\"application/json\" id=\"tile-data\">" +
           viewerData(result, scale) + "</script></section>\n";
}

}  // namespace likeness::darkroom
