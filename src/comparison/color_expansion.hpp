#pragma once

#include <likeness/diagnostics/diagnostics.hpp>

#include <string>
#include <vector>

namespace likeness {

/// Receives the 1 x K dumps of a chain that ran once per distinct colour and hands on what the chain run on every pixel
/// would have handed on, the same bytes: images and maps of the photograph's size.
///
/// Dumps are collected until `handOn()`, which writes images on one thread and texts on another; two dumps of one name
/// keep their order. Messages and text dumps that the chain opens itself pass through at once.
class ColorExpansion final : public Diagnostics {
public:
    /// @param indices   colour of each pixel, CV_32S (comparison/distinct_colors.hpp)
    /// @param receiver  where the expanded dumps go
    ColorExpansion(const cv::Mat& indices, const Diagnostics& receiver);

    bool wantsFiles() const noexcept override { return receiver_.wantsFiles(); }
    bool wantsMessages() const noexcept override { return receiver_.wantsMessages(); }
    void writeImage(const std::string& name, const cv::Mat& image) const override;
    void writeMap(const std::string& name, const cv::Mat& map, int rows, int cols) const override;
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return receiver_.openText(name); }
    void print(std::string_view text) const override { receiver_.print(text); }

    /// Expands what was collected and gives it to the receiver.
    void handOn();

private:
    struct Image {
        std::string name;
        cv::Mat perColor;
    };
    /// A line of text, its end included; stored in a fixed size so that it can be copied without looking at its length.
    struct Line {
        char text[15];
        unsigned char length;
    };
    struct Text {
        std::string name;
        std::vector<Line> perColor;
    };

    void handOnImages() const;
    void handOnTexts() const;

    cv::Mat indices_;
    const Diagnostics& receiver_;
    mutable std::mutex mutex_;
    mutable std::vector<Image> images_;
    mutable std::vector<Text> texts_;
};

}  // namespace likeness
