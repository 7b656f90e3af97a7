#include "pages/html_page.hpp"

#include "codecs/image_codecs.hpp"
#include "files/markup_text.hpp"
#include "modules/crypto.hpp"
#include "modules/module_loader.hpp"
#include "pages/svg_plot.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace likeness::darkroom {
namespace {

constexpr const char* commonStyles = R"(:root{color-scheme:light dark;--page:#fbfbf9;--card:#ffffff;--text:#1f1f1e;
--quiet:#63635f;--line:#deded9;--mark:#2a6fd6;--bad:#b3261e}
@media (prefers-color-scheme:dark){:root{--page:#121212;--card:#1c1c1b;--text:#ececea;--quiet:#a3a39e;--line:#3a3a38;
--mark:#6aa5f5;--bad:#ff8a80}}
*{box-sizing:border-box}
body{margin:0 auto;padding:1.2rem 1rem 3rem;max-width:68rem;background:var(--page);color:var(--text);
font:16px/1.5 system-ui,sans-serif;-webkit-text-size-adjust:100%}
h1{font-size:1.6rem;line-height:1.25;margin:.2rem 0 .4rem}h2{font-size:1.2rem;margin:2rem 0 .6rem}
p{margin:.4rem 0}a{color:var(--mark)}
section,.card{background:var(--card);border:1px solid var(--line);border-radius:10px;padding:.8rem 1rem;
margin:1rem 0}section>h2:first-child{margin-top:0}
figure{margin:0;min-width:0}figure img{display:block;width:100%;height:auto;border-radius:6px}
figcaption{margin-top:.35rem;font-size:.9rem}
.columns{display:grid;grid-template-columns:repeat(2,minmax(0,1fr));gap:.9rem;align-items:start}
.note{color:var(--quiet);font-size:.875rem}.long{overflow-wrap:anywhere}
table{border-collapse:collapse;width:100%}th,td{padding:.35rem .5rem;text-align:left;vertical-align:top;
border-bottom:1px solid var(--line)}tr:last-child>th,tr:last-child>td{border-bottom:0}th{font-weight:600}
thead th{color:var(--quiet);font-size:.875rem}
.number{text-align:right;font-variant-numeric:tabular-nums;white-space:nowrap}.wide{overflow-x:auto}
.bar{display:block;height:.7rem;margin-top:.4rem;border-radius:.35rem;background:var(--line);overflow:hidden}
.bar::before{content:"";display:block;height:100%;width:calc(100%*var(--share));background:var(--mark)}
.bad{color:var(--bad);font-weight:600}
code{font:.875em ui-monospace,monospace}
@media (max-width:560px){body{padding:.8rem .6rem 2rem}section,.card{padding:.7rem .7rem}.columns{gap:.5rem}
h1{font-size:1.35rem}}
@media print{section,.card{break-inside:avoid}}
)";

std::string encoded(const char* extension, const cv::Mat& picture, const std::vector<int>& parameters) {
    std::vector<uchar> bytes;
    if (!encodeImage(extension, picture, bytes, parameters)) {
        throw std::runtime_error("a picture cannot be encoded for the page");
    }
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

std::string htmlDocument(const HtmlPage& page) {
    const std::string scripts = page.script.empty() ? "" : "; script-src 'unsafe-inline'";
    std::string document =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; style-src "
        "'unsafe-inline'" +
        scripts + "\">\n<title>" + escapedMarkup(page.title) + "</title>\n<style>\n" + commonStyles + plotStyles() +
        page.styles + "</style>\n</head>\n<body>\n" + page.body;
    if (!page.script.empty()) {
        document += "<script>\n" + page.script + "</script>\n";
    }
    return document + "</body>\n</html>\n";
}

std::string dataUri(std::string_view type, std::string_view bytes) {
    std::string text = "data:" + std::string(type) + ";base64,";
    const std::size_t begin = text.size();
    text.resize(begin + (bytes.size() + 2) / 3 * 4 + 1);  // the encoder ends its text with a 0
    const auto encode = reinterpret_cast<Base64Entry>(moduleEntry("crypto", "likeness_base64"));
    text.resize(begin + encode(bytes.data(), bytes.size(), text.data() + begin));
    return text;
}

std::string jpegUri(const cv::Mat& picture, int side, int quality) {
    const double factor = static_cast<double>(side) / std::max({picture.rows, picture.cols, 1});
    cv::Mat small = picture;
    if (factor < 1) {
        const cv::Size size(std::max(1, cvRound(picture.cols * factor)), std::max(1, cvRound(picture.rows * factor)));
        cv::resize(picture, small, size, 0, 0, cv::INTER_AREA);
    }
    return dataUri("image/jpeg", encoded(".jpg", small, {cv::IMWRITE_JPEG_QUALITY, quality}));
}

std::string pngUri(const cv::Mat& picture) {
    return dataUri("image/png", encoded(".png", picture, {}));
}

}  // namespace likeness::darkroom
