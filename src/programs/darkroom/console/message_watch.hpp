#pragma once

#include <likeness/diagnostics/diagnostics.hpp>

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace likeness::darkroom {

/// Follows an operation by the messages that it prints, and hands everything on to another receiver. Operations print
/// some of their messages whether they are wanted or not; only those can be relied on.
class MessageWatch final : public Diagnostics {
public:
    /// @param watch     called with each message; returns what is handed on. Safe to call from several threads.
    /// @param receiver  must outlive this object
    MessageWatch(std::function<std::string(std::string_view)> watch, const Diagnostics& receiver)
        : watch_(std::move(watch)), receiver_(receiver) {}

    bool wantsFiles() const noexcept override { return receiver_.wantsFiles(); }
    bool wantsMessages() const noexcept override { return receiver_.wantsMessages(); }
    void writeImage(const std::string& name, const cv::Mat& image) const override { receiver_.writeImage(name, image); }
    void writeMap(const std::string& name, const cv::Mat& map, int rows, int cols) const override {
        receiver_.writeMap(name, map, rows, cols);
    }
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return receiver_.openText(name); }
    void print(std::string_view text) const override { receiver_.print(watch_(text)); }

private:
    std::function<std::string(std::string_view)> watch_;
    const Diagnostics& receiver_;
};

}  // namespace likeness::darkroom
