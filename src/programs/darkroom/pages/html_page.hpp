// HTML pages that are one file and ask for nothing from elsewhere. They are readable on a phone and on a desk, and show
// light or dark as the reader prefers.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <string_view>

namespace likeness::darkroom {

/// What goes into a page. Its classes: `columns` lays its children side by side, `wide` lets a table scroll, `note` is
/// small text, `long` a text that may break anywhere, `number` right-aligned digits, `bar` a share as a bar (style
/// --share:0.5).
struct HtmlPage {
    std::string title;   ///< plain text
    std::string body;    ///< markup; what came from outside has gone through `escapedMarkup`
    std::string styles;  ///< of this page, besides the common ones and those of plots
    std::string script;  ///< empty: the page runs none
};

/// The whole document. A policy in it forbids the browser to load anything that is not in the file, and to run any
/// script but the page's own.
std::string htmlDocument(const HtmlPage& page);

/// Bytes as the address of an image or a link.
/// @param type  media type, such as "image/png"
std::string dataUri(std::string_view type, std::string_view bytes);

/// A picture as the address of an image: JPEG, made smaller where a side is longer than `side` pixels.
/// @param picture  CV_8U of one or three channels
std::string jpegUri(const cv::Mat& picture, int side, int quality = 85);

/// The same as PNG, as it is.
std::string pngUri(const cv::Mat& picture);

}  // namespace likeness::darkroom
