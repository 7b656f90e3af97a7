// The distinct colours of an 8-bit photograph.
//
// Everything that the comparison computes for a pixel depends on its B, G, R triple and on the whole image's maxima. A
// photograph of 18 million pixels holds a few hundred thousand colours, so the chain runs once a colour.
#pragma once

#include <likeness/comparison/channel_order.hpp>
#include <likeness/export.hpp>
#include "numerics/huge_pages.hpp"

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace likeness {

/// The colours of one photograph, in an order that depends only on the set of colours: that of `colorSlots`
/// (comparison/color_slots.hpp).
struct DistinctColors {
    cv::Mat bgr;                        ///< 1 x K, CV_8UC3: each colour once
    std::vector<std::uint32_t> counts;  ///< K: how many pixels have it
    cv::Mat indices;                    ///< rows x cols, CV_32S: the colour of each pixel; empty if not asked for.
                                        ///< Owned by the counter; valid until its next `count` or destruction
};

/// Counts colours in a table of all 2^24, and finds their indices in a second one. The first takes 16 MiB, the second
/// 64 MiB of address space, of which a photograph touches a part; they are made when a photograph first needs them, and
/// they and some 16 bytes per distinct colour are kept for the next one. The colours of a small photograph are sorted
/// instead. One thread at a time.
class LIKENESS_API ColorCounter {
public:
    ColorCounter();
    ~ColorCounter();
    ColorCounter(const ColorCounter&) = delete;
    ColorCounter& operator=(const ColorCounter&) = delete;

    /// @param photograph   CV_8UC3, any size with fewer than 2^31 pixels, also empty
    /// @param withIndices  whether the colour of each pixel is wanted too
    /// @throws std::invalid_argument  if the photograph is of another type
    DistinctColors count(const cv::Mat& photograph, bool withIndices);

    /// The same of a photograph that comes in pieces: what `count` finds of all its rows. A photograph that was begun and
    /// not finished is forgotten.
    /// @param pixels  of the photograph; exactly so many are added before `finish`
    void begin(std::size_t pixels);

    /// @param rows   CV_8UC3, of any size
    /// @param order  of their channels; the colours that are found are B, G, R
    void add(const cv::Mat& rows, ChannelOrder order = ChannelOrder::bgr);

    DistinctColors finish();
    /// The place of each colour of the last photograph among its colours, by its place in the table of all
    /// (`colorSlots`). The counter's; valid until its next `count` or destruction. That of other colours is anything.
    const std::uint32_t* colorsBySlot();

    /// Photographs of at most so many pixels are sorted, which then takes no longer than the table: the first of a
    /// counter, for which it would have to be made, and all others.
    static constexpr std::size_t smallAsFirst = std::size_t{1} << 18;
    static constexpr std::size_t smallThereafter = std::size_t{1} << 14;

private:
    struct PlaceTable;

    /// Entries per tracked piece of the table; one flag says whether any colour fell into it.
    static constexpr std::size_t pieceSize = 4096;

    /// Of the photograph that is being counted.
    enum class Way { none, sorted, inTable, inTableOfPieces };

    void clear() noexcept;
    template <bool tracksPieces>
    void enter(const cv::Mat& photograph, ChannelOrder order);
    /// @return  how many colours there are, in `slots_` and `pixels_`
    std::size_t takeOut();
    std::size_t takeOutSorted();
    std::size_t takeOutOfTable();
    /// @param slots, pixels  room for `pieceSize` colours: their places and, modulo 255, numbers of pixels
    /// @return               how many colours there are in the piece that begins at `first`; it is empty then
    std::size_t takeOutOfPiece(std::uint32_t first, std::uint32_t* slots, std::uint32_t* pixels);
    cv::Mat indicesOf(const cv::Mat& photograph, std::size_t colors);
    template <typename PlaceOf>
    cv::Mat indicesBy(const cv::Mat& photograph, PlaceOf placeOf);

    bool isFirst_ = true;
    Way way_ = Way::none;
    std::size_t expected_ = 0;    // pixels
    std::size_t entered_ = 0;     // of these, to be sorted
    std::size_t found_ = 0;       // colours of the last photograph
    numerics::HugePages counts_;  // empty until a photograph is not small
    std::array<bool, (std::size_t{1} << 24) / pieceSize> touched_{};
    std::vector<std::uint32_t> carries_;   // places, once for each 255 pixels more than the entry tells
    std::vector<std::uint32_t> slots_;     // places of the colours of the last photograph, ascending
    std::vector<std::uint32_t> pixels_;    // how many pixels have each
    std::unique_ptr<PlaceTable> placeOf_;  // made when indices are first asked for
    numerics::HugePages indices_;
};

/// Colours of a photograph of floats, in the order of their first pixels, by their bits.
struct DistinctUnitColors {
    cv::Mat bgr;                        ///< 1 x K, CV_32FC3: each colour once
    std::vector<std::uint32_t> counts;  ///< K: how many pixels have it
    cv::Mat indices;                    ///< rows x cols, CV_32S: the colour of each pixel

    bool empty() const noexcept { return counts.empty(); }
};

/// Finds the colours of floats that come from few numbers, as those of an 8-bit photograph that was converted from its
/// profile. What has more than one colour for two pixels is given up early.
/// @param unit  CV_32FC3
/// @return      empty if it was given up, or there are no pixels
DistinctUnitColors distinctUnitColors(const cv::Mat& unit);

/// Puts the value of each pixel's colour into the pixel.
/// @param perColor  1 x K, any type
/// @param indices   CV_32S, each in [0, K)
/// @param reuse     an image whose memory is taken for the result if size and type fit
/// @return          image of the size of `indices` and the type of `perColor`
cv::Mat expandColors(const cv::Mat& perColor, const cv::Mat& indices, cv::Mat reuse = {});

}  // namespace likeness
