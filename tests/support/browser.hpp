// A headless browser that opens pages, with a profile of its own that goes with the object.
#pragma once

#include "support/scratch_directory.hpp"

#include <opencv2/core.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace likeness::testing {

class Browser {
public:
    enum class Colors { light, dark };

    /// Whether there is one on this machine.
    static bool isHere();

    /// The document after its loading, as markup. Scripts of the page may read files.
    std::string domOf(const std::filesystem::path& page) const;

    /// What a window of so many pixels shows.
    cv::Mat screenshotOf(const std::filesystem::path& page, cv::Size window, Colors colors) const;

private:
    std::string outputOf(const std::vector<std::string>& options, const std::filesystem::path& page) const;

    ScratchDirectory folder_;
};

}  // namespace likeness::testing
