// The command `darkroom` as a user meets it: standard output, standard error, exit status and the files left behind.
#pragma once

#include "support/process.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace likeness::testing {

/// Path of an example photograph.
std::string photo(const std::string& name);

/// An example photograph on the scale 0..1, as the program reads it.
cv::Mat unitPhotograph(const std::string& name);

/// A folder for the run and one for its inputs, both removed with the test.
class DarkroomProgram : public ::testing::Test {
protected:
    /// Folder that the program runs in; empty at first.
    const std::filesystem::path& folder() const { return folder_.path(); }
    std::string output(const std::string& name) const { return folder_.path() / name; }
    std::string input(const std::string& name) const { return inputs_.path() / name; }

    /// Saves an image among the inputs and returns its path. A TIFF of floats says that they are sRGB.
    std::string save(const std::string& name, const cv::Mat& image) const;
    /// A TIFF of floats that says nothing of their colours.
    std::string saveBareFloats(const std::string& name, const cv::Mat& image) const;
    /// The same for a text.
    std::string saveText(const std::string& name, const std::string& text) const;

    /// `darkroom ARGUMENTS...`
    Outcome darkroom(const std::vector<std::string>& arguments) const;

    /// The same without another thread.
    Outcome darkroomWithoutThreads(const std::vector<std::string>& arguments) const;

    /// Runs it and expects exit status 0.
    Outcome expectDone(const std::vector<std::string>& arguments) const;

    /// Runs it and expects that it refuses: status 2, nothing on standard output, exactly the one line "darkroom
    /// SUBCOMMAND: `message`" on standard error, and no change in the folder.
    void expectRefused(const std::vector<std::string>& arguments, const std::string& message) const;

    /// Names of the files and folders in the folder of the run, sorted.
    std::vector<std::string> filesLeft() const;

    /// An image that the program wrote, with depth and channels as they are in the file.
    cv::Mat imageLeft(const std::string& name) const;

private:
    ScratchDirectory inputs_;
    ScratchDirectory folder_;
};

}  // namespace likeness::testing
