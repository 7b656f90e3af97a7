// A corpus of malformed profiles, each in a photograph: it is refused with one warning, and the photograph is that of a
// file without a profile.
#include "photofile/color_profile.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"
#include "photofile/test_profiles.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <zlib.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>

namespace likeness::testing {
namespace {

using Bytes = std::vector<unsigned char>;

std::uint32_t numberAt(const Bytes& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        value = value << 8 | bytes.at(at + k);
    }
    return value;
}

void put(Bytes& bytes, std::size_t at, std::uint32_t value) {
    for (std::size_t k = 0; k < 4; ++k) {
        bytes.at(at + k) = static_cast<unsigned char>(value >> (24 - 8 * k));
    }
}

void put(Bytes& bytes, std::size_t at, const std::string& text) {
    std::copy(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

/// Place of a tag's entry in the table behind the header: signature, offset, size.
std::size_t entryOf(const Bytes& icc, const std::string& tag) {
    const std::uint32_t count = numberAt(icc, 128);
    for (std::uint32_t k = 0; k < count; ++k) {
        const std::size_t entry = 132 + 12 * std::size_t{k};
        if (std::equal(tag.begin(), tag.end(), icc.begin() + static_cast<std::ptrdiff_t>(entry))) {
            return entry;
        }
    }
    throw std::logic_error("the profile lacks " + tag);
}

std::size_t placeOf(const Bytes& icc, const std::string& tag) {
    return numberAt(icc, entryOf(icc, tag) + 4);
}

struct Malformed {
    std::string name;
    Bytes icc;
};

/// What a change makes of a good profile of primaries and curves.
class Corpus {
public:
    template <typename Change>
    void add(const std::string& name, Change change) {
        Bytes icc = good_;
        change(icc);
        all_.push_back({name, std::move(icc)});
    }

    void add(const std::string& name, Bytes icc) { all_.push_back({name, std::move(icc)}); }

    const std::vector<Malformed>& all() const { return all_; }

private:
    Bytes good_ = ColorProfile::named("display-p3")->icc();
    std::vector<Malformed> all_;
};

void addHeaders(Corpus& corpus) {
    for (const std::size_t length : {1U, 64U, 127U, 128U, 131U, 140U, 200U}) {
        corpus.add("the first " + std::to_string(length) + " bytes", [=](Bytes& icc) { icc.resize(length); });
    }
    corpus.add("all but the last byte", [](Bytes& icc) { icc.pop_back(); });
    corpus.add("no signature", [](Bytes& icc) { put(icc, 36, "aaaa"); });
    corpus.add("text", Bytes(300, 'x'));
    corpus.add("zeros", Bytes(300, 0));
    corpus.add("more bytes than there are", [](Bytes& icc) { put(icc, 0, 0xFFFFFFFFU); });
    for (const char* const kind : {"link", "abst", "nmcl", "xxxx"}) {
        corpus.add(std::string("class ") + kind, [=](Bytes& icc) { put(icc, 12, std::string(kind)); });
    }
    for (const char* const space : {"CMYK", "Lab ", "XYZ ", "GRAY", "zzzz"}) {
        corpus.add(std::string("space ") + space, [=](Bytes& icc) { put(icc, 16, std::string(space)); });
    }
    corpus.add("connection space", [](Bytes& icc) { put(icc, 20, "zzzz"); });
    corpus.add("CMYK", cmykProfile());
}

void addTagTables(Corpus& corpus) {
    for (const std::uint32_t count : {0U, 1U, 99U, 101U, 0xFFFFFFFFU}) {
        corpus.add(std::to_string(count) + " tags", [=](Bytes& icc) { put(icc, 128, count); });
    }
    for (const char* const tag : {"rXYZ", "bXYZ", "rTRC", "gTRC"}) {
        const auto entry = [tag](const Bytes& icc) { return entryOf(icc, tag); };
        const std::string of = std::string(" of ") + tag;
        corpus.add("another name" + of, [=](Bytes& icc) { put(icc, entry(icc), "qqqq"); });
        corpus.add("a place behind the end" + of, [=](Bytes& icc) { put(icc, entry(icc) + 4, 0x00FFFFF0U); });
        corpus.add("a place that wraps around" + of, [=](Bytes& icc) {
            put(icc, entry(icc) + 4, 0xFFFFFFF0U);
            put(icc, entry(icc) + 8, 0x20U);
        });
        corpus.add("a size beyond the end" + of, [=](Bytes& icc) { put(icc, entry(icc) + 8, 0xFFFFFFFFU); });
        corpus.add("a size of 0" + of, [=](Bytes& icc) { put(icc, entry(icc) + 8, 0U); });
        corpus.add("a place in the header" + of, [=](Bytes& icc) { put(icc, entry(icc) + 4, 0U); });
        corpus.add("an unknown type" + of, [=](Bytes& icc) { put(icc, placeOf(icc, tag), "qqqq"); });
    }
}

void addDegenerate(Corpus& corpus) {
    const auto primaries = {"rXYZ", "gXYZ", "bXYZ"};
    const auto curves = {"rTRC", "gTRC", "bTRC"};
    corpus.add("a matrix of zeros", [=](Bytes& icc) {
        for (const char* const tag : primaries) {
            std::fill_n(icc.begin() + static_cast<std::ptrdiff_t>(placeOf(icc, tag) + 8), 12,
                        static_cast<unsigned char>(0));
        }
    });
    corpus.add("one primary of zeros", [](Bytes& icc) {
        std::fill_n(icc.begin() + static_cast<std::ptrdiff_t>(placeOf(icc, "gXYZ") + 8), 12,
                    static_cast<unsigned char>(0));
    });
    corpus.add("one primary thrice", [=](Bytes& icc) {
        for (const char* const tag : primaries) {
            std::copy_n(icc.begin() + static_cast<std::ptrdiff_t>(placeOf(icc, "gXYZ") + 8), 12,
                        icc.begin() + static_cast<std::ptrdiff_t>(placeOf(icc, tag) + 8));
        }
    });
    corpus.add("two primaries alike", [](Bytes& icc) {
        std::copy_n(icc.begin() + static_cast<std::ptrdiff_t>(placeOf(icc, "gXYZ") + 8), 12,
                    icc.begin() + static_cast<std::ptrdiff_t>(placeOf(icc, "bXYZ") + 8));
    });
    corpus.add("primaries of 32767", [=](Bytes& icc) {
        for (const char* const tag : primaries) {
            for (const std::size_t k : {0U, 4U, 8U}) {
                put(icc, placeOf(icc, tag) + 8 + k, 0x7FFFFFFFU);
            }
        }
    });
    const auto everyCurve = [&](const std::string& name, auto change) {
        corpus.add(name, [=](Bytes& icc) {
            for (const char* const tag : curves) {
                change(icc, placeOf(icc, tag));
            }
        });
    };
    // Parametric curves: type, reserved, function, reserved, then 15.16-bit numbers g, a, b, c, d.
    everyCurve("an exponent of 0", [](Bytes& icc, std::size_t at) { put(icc, at + 12, 0U); });
    everyCurve("a slope of 0", [](Bytes& icc, std::size_t at) {
        put(icc, at + 16, 0U);
        put(icc, at + 24, 0U);
    });
    everyCurve("an unknown function", [](Bytes& icc, std::size_t at) { put(icc, at + 8, 0x00630000U); });
    everyCurve("a sampled curve of too many points", [](Bytes& icc, std::size_t at) {
        put(icc, at, "curv");
        put(icc, at + 8, 0xFFFFFFFFU);
    });
    everyCurve("an exponent of 0 in eight bits", [](Bytes& icc, std::size_t at) {
        put(icc, at, "curv");
        put(icc, at + 8, 1U);
        put(icc, at + 12, 0U);
    });
    everyCurve("a sampled curve of one height", [](Bytes& icc, std::size_t at) {
        put(icc, at, "curv");
        put(icc, at + 8, 2U);
        put(icc, at + 12, 0x80008000U);
    });
}

void addTables(Corpus& corpus) {
    const Bytes table = lutProfile(5);
    const auto changed = [&](const std::string& name, auto change) {
        Bytes icc = table;
        change(icc);
        corpus.add(name, std::move(icc));
    };
    changed("half a table", [](Bytes& icc) {
        icc.resize(icc.size() / 2);
        put(icc, 0, static_cast<std::uint32_t>(icc.size()));
    });
    for (const unsigned wrong : {1U, 255U}) {
        // Behind type and reserved bytes: channels in, channels out, points of the grid.
        for (const std::size_t at : {8U, 9U, 10U}) {
            changed(std::to_string(wrong) + " at byte " + std::to_string(at) + " of a table", [=](Bytes& icc) {
                for (const char* const tag : {"A2B0", "A2B1"}) {
                    icc.at(placeOf(icc, tag) + at) = static_cast<unsigned char>(wrong);
                }
            });
        }
    }
}

const std::vector<Malformed>& malformedProfiles() {
    static const Corpus corpus = [] {
        Corpus made;
        addHeaders(made);
        addTagTables(made);
        addDegenerate(made);
        addTables(made);
        return made;
    }();
    return corpus.all();
}

Bytes encoded(const char* extension) {
    Bytes bytes;
    cv::imencode(extension, randomPhotograph({31, 17}, 5), bytes);
    return bytes;
}

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

Bytes bigEndian(std::uint32_t value, std::size_t count) {
    Bytes bytes(count);
    for (std::size_t k = 0; k < count; ++k) {
        bytes[count - 1 - k] = static_cast<unsigned char>(value >> (8 * k));
    }
    return bytes;
}

Bytes inJpeg(const Bytes& icc) {
    const std::string name("\xFF\xE2", 2);
    const std::string marker("ICC_PROFILE\0\1\1", 14);
    Bytes segment(name.begin(), name.end());
    append(segment, bigEndian(static_cast<std::uint32_t>(2 + marker.size() + icc.size()), 2));
    segment.insert(segment.end(), marker.begin(), marker.end());
    append(segment, icc);
    Bytes jpeg = encoded(".jpg");
    jpeg.insert(jpeg.begin() + 2, segment.begin(), segment.end());
    return jpeg;
}

Bytes inPng(const Bytes& icc) {
    Bytes packed(::compressBound(icc.size()));
    uLongf size = packed.size();
    EXPECT_EQ(::compress2(packed.data(), &size, icc.data(), icc.size(), 9), Z_OK);
    packed.resize(size);
    Bytes data = {'i', 'C', 'C', 'P', 'a', 0, 0};
    append(data, packed);
    Bytes chunk = bigEndian(static_cast<std::uint32_t>(data.size() - 4), 4);
    append(chunk, data);
    append(chunk, bigEndian(static_cast<std::uint32_t>(::crc32(0, data.data(), static_cast<uInt>(data.size()))), 4));
    Bytes png = encoded(".png");
    png.insert(png.begin() + 33, chunk.begin(), chunk.end());
    return png;
}

TEST(MalformedProfiles, AreSmallAndMany) {
    std::size_t bytes = 0;
    for (const Malformed& malformed : malformedProfiles()) {
        bytes += malformed.icc.size();
    }
    EXPECT_GE(malformedProfiles().size(), 70U);
    EXPECT_LT(bytes, 100'000U);
}

TEST(MalformedProfiles, AreRefused) {
    ::testing::internal::CaptureStderr();
    for (const Malformed& malformed : malformedProfiles()) {
        EXPECT_THROW(ColorProfile::ofIcc(malformed.icc), ProfileProblem) << malformed.name;
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(MalformedProfiles, LeaveThePhotographAsItIsWithOneWarning) {
    const ScratchDirectory scratch;
    const ProfileChoice choice;
    for (const char* const extension : {".jpg", ".png"}) {
        const cv::Mat plain = cv::imdecode(encoded(extension), cv::IMREAD_COLOR);
        const std::string path = (scratch.path() / (std::string("tagged") + extension)).string();
        for (const Malformed& malformed : malformedProfiles()) {
            SCOPED_TRACE(std::string(extension) + ", " + malformed.name);
            const Bytes bytes = extension[1] == 'j' ? inJpeg(malformed.icc) : inPng(malformed.icc);
            std::ofstream(path, std::ios::binary)
                .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
            ManagedColors colors(choice);
            PhotographRead read = readPhotograph(path, PhotographValues::bytes, usualMostPixels, &colors);
            colors.settle(read.remarks);
            EXPECT_EQ(read.problem, "");
            EXPECT_MAT_EQUAL(read.bgr, plain);
            EXPECT_EQ(read.remarks, std::vector<std::string>());
            EXPECT_EQ(colors.use().origin, ProfileUse::Origin::none);
            EXPECT_NE(colors.use().warning(), "");
        }
    }
}

}  // namespace
}  // namespace likeness::testing
