#include "diagnostics/message_lines.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace likeness {
namespace {

class Recorder final : public Diagnostics {
public:
    explicit Recorder(bool wanted) : wanted_(wanted) {}
    bool wantsFiles() const noexcept override { return false; }
    bool wantsMessages() const noexcept override { return wanted_; }
    void writeImage(const std::string&, const cv::Mat&) const override {}
    void writeMap(const std::string&, const cv::Mat&, int, int) const override {}
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return dropAll().openText(name); }
    void print(std::string_view text) const override { pieces.emplace_back(text); }

    mutable std::vector<std::string> pieces;

private:
    bool wanted_;
};

TEST(MessageLines, HandsOnAllLinesInOnePiece) {
    const Recorder recorder(true);
    {
        MessageLines lines(recorder);
        lines.add("Gamma: 2");
        lines.add(0.3F);
        lines.add(-std::numeric_limits<float>::quiet_NaN());
        EXPECT_TRUE(recorder.pieces.empty());
    }
    EXPECT_EQ(recorder.pieces, std::vector<std::string>{"Gamma: 2\n0.3\n-nan\n"});
}

TEST(MessageLines, PrintsNothingForNoLine) {
    const Recorder recorder(true);
    { const MessageLines lines(recorder); }
    EXPECT_TRUE(recorder.pieces.empty());
}

TEST(MessageLines, KeepsLinesWholeAndInOrderInPiecesOfBoundedSize) {
    const Recorder recorder(true);
    std::string expected;
    {
        MessageLines lines(recorder);
        for (int i = 0; i < 300000; ++i) {
            lines.add(static_cast<float>(i));
            expected += std::to_string(i) + '\n';
        }
    }
    EXPECT_GT(recorder.pieces.size(), 1U);
    std::string all;
    for (const std::string& piece : recorder.pieces) {
        EXPECT_LE(piece.size(), std::size_t{1} << 20);
        EXPECT_EQ(piece.back(), '\n');
        all += piece;
    }
    EXPECT_EQ(all, expected);
}

TEST(MessageLines, FormatsNothingThatNobodyWants) {
    const Recorder recorder(false);
    {
        MessageLines lines(recorder);
        lines.add("unheard");
        lines.add(1.0F);
    }
    EXPECT_TRUE(recorder.pieces.empty());
}

}  // namespace
}  // namespace likeness
