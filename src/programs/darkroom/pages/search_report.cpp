#include "pages/search_report.hpp"

#include "diagnostics/number_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "pages/html_page.hpp"

#include <fmt/format.h>

namespace likeness::darkroom {
namespace {

std::string picture(const std::string& uri, const std::string& path) {
    return uri.empty() ? "<p class=\"note\">no picture</p>"
                       : "<img src=\"" + uri + "\" alt=\"" + escapedMarkup(path) + "\">";
}

std::string foundMarkup(const FoundPhotograph& found) {
    std::string markup = "<li>" + picture(found.pictureUri, found.path);
    markup += fmt::format("<p><b>{}</b> {} <span class=\"long\">{}</span></p><p class=\"note\">", found.rank,
                          fmt::format("{:.5f}", found.score), escapedMarkup(found.path));
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        markup += fmt::format("{}{} {}", k == 0 ? "" : ", ", correlateNames[k].symbol,
                              numberText(found.coefficients.five[k]));
    }
    if (found.coefficients.hue) {
        markup += fmt::format(", {} {}", hueName.symbol, numberText(*found.coefficients.hue));
    }
    return markup + "</p></li>\n";
}

}  // namespace

std::string searchPage(const std::string& archive, const std::string& ranking,
                       const std::vector<SearchedPhotograph>& searched) {
    HtmlPage page;
    page.title = "Search in " + archive;
    page.body = "<h1>What looks alike</h1>\n<p>Searched in <span class=\"long\">" + escapedMarkup(archive) +
                "</span> by " + escapedMarkup(ranking) +
                ". Coefficients are 1 where the distributions of two photographs are equal and 0 where they do not "
                "overlap; where things are in a picture does not matter.</p>\n";
    for (const SearchedPhotograph& photograph : searched) {
        page.body += "<h2 class=\"long\">" + escapedMarkup(photograph.path) + "</h2>\n<p>" +
                     picture(photograph.pictureUri, photograph.path) + "</p>\n";
        page.body += photograph.found.empty() ? "<p>Nothing was found.</p>\n" : "<ol class=\"found\">\n";
        for (const FoundPhotograph& found : photograph.found) {
            page.body += foundMarkup(found);
        }
        page.body += photograph.found.empty() ? "" : "</ol>\n";
    }
    page.styles =
        "ol.found { list-style: none; padding: 0; display: grid; gap: 1rem; "
        "grid-template-columns: repeat(auto-fill, minmax(11rem, 1fr)); }\n"
        "ol.found p { margin: .2rem 0; }\nimg { max-width: 100%; max-height: 12rem; }\n";
    return htmlDocument(page);
}

}  // namespace likeness::darkroom
