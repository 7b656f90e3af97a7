#pragma once

#include <likeness/diagnostics/diagnostics.hpp>

#include <opencv2/core.hpp>

#include <map>
#include <mutex>
#include <string>

namespace likeness::darkroom {

/// Keeps one of the images that an operation shows on the way to its result, and hands everything on to another
/// receiver.
class ImageCapture final : public Diagnostics {
public:
    /// @param name      file name under which the operation shows the image
    /// @param receiver  must outlive this object
    ImageCapture(std::string name, const Diagnostics& receiver) : name_(std::move(name)), receiver_(receiver) {}

    bool wantsFiles() const noexcept override { return true; }
    bool wantsMessages() const noexcept override { return receiver_.wantsMessages(); }
    void writeImage(const std::string& name, const cv::Mat& image) const override {
        if (name == name_) {
            const std::scoped_lock lock(mutex_);
            image.copyTo(image_);
        }
        receiver_.writeImage(name, image);
    }
    void writeMap(const std::string& name, const cv::Mat& map, int rows, int cols) const override {
        receiver_.writeMap(name, map, rows, cols);
    }
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return receiver_.openText(name); }
    void print(std::string_view text) const override { receiver_.print(text); }

    /// The image as the operation last showed it, with its values as they are; empty if it did not.
    cv::Mat image() const {
        const std::scoped_lock lock(mutex_);
        return image_;
    }

private:
    std::string name_;
    const Diagnostics& receiver_;
    mutable std::mutex mutex_;
    mutable cv::Mat image_;
};

}  // namespace likeness::darkroom
