#include "support/browser.hpp"

#include "support/process.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

namespace likeness::testing {

namespace fs = std::filesystem;

bool Browser::isHere() {
    return std::string(LIKENESS_BROWSER) != "";
}

std::string Browser::outputOf(const std::vector<std::string>& options, const fs::path& page) const {
    const std::string home = folder_.path();
    // No sandbox: the tests may run as root, and the pages are the project's own. A small /dev/shm is not used.
    std::vector<std::string> command = {"/usr/bin/env",
                                        "HOME=" + home,
                                        "XDG_CONFIG_HOME=" + home,
                                        "XDG_CACHE_HOME=" + home,
                                        LIKENESS_BROWSER,
                                        "--headless",
                                        "--no-sandbox",
                                        "--disable-gpu",
                                        "--disable-dev-shm-usage",
                                        "--no-first-run",
                                        "--allow-file-access-from-files",
                                        "--hide-scrollbars",
                                        "--user-data-dir=" + home + "/profile"};
    command.insert(command.end(), options.begin(), options.end());
    command.push_back("file://" + fs::absolute(page).string());
    const Outcome outcome = run(command, folder_.path());
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
}

std::string Browser::domOf(const fs::path& page) const {
    return outputOf({"--dump-dom"}, page);
}

cv::Mat Browser::screenshotOf(const fs::path& page, cv::Size window, Colors colors) const {
    const std::string picture = folder_.path() / "screenshot.png";
    fs::remove(picture);
    outputOf({"--window-size=" + std::to_string(window.width) + ',' + std::to_string(window.height),
              std::string("--blink-settings=preferredColorScheme=") + (colors == Colors::dark ? '0' : '1'),
              "--screenshot=" + picture},
             page);
    return cv::imread(picture, cv::IMREAD_COLOR);
}

}  // namespace likeness::testing
