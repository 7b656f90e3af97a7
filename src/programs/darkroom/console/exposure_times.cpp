#include "console/exposure_times.hpp"

#include "console/option_checks.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/standard_input.hpp"

#include <fmt/format.h>
#include <libexif/exif-data.h>

#include <cmath>
#include <memory>
#include <optional>

namespace likeness::darkroom {
namespace {

/// What the response recovery can do with: neither 0 nor infinite nor so small that digits are lost.
bool isTime(float seconds) {
    return seconds > 0 && std::isnormal(seconds);
}

/// @param text  "1/30" or "0.5"
/// @return      0 if it is no time
float timeIn(const std::string& text) {
    const std::size_t slash = text.find('/');
    const double numerator = parseNumber(text.substr(0, slash));
    const double denominator = slash == std::string::npos ? 1.0 : parseNumber(text.substr(slash + 1));
    const auto seconds = static_cast<float>(numerator / denominator);
    return denominator > 0 && isTime(seconds) ? seconds : 0.0F;
}

/// What a camera notes of an exposure; each may be missing.
struct ExposureNote {
    std::optional<double> seconds;
    std::optional<double> fNumber;
    std::optional<double> sensitivity;  ///< ISO
};

class ExifFile {
public:
    explicit ExifFile(const std::string& path)
        : data_(::exif_data_new_from_file(placeOfInput(path).c_str()), &::exif_data_unref) {}

    std::optional<double> number(::ExifTag tag) const {
        const ::ExifEntry* const entry = data_ == nullptr ? nullptr : exif_data_get_entry(data_.get(), tag);
        if (entry == nullptr || entry->components < 1) {
            return std::nullopt;
        }
        const ::ExifByteOrder order = ::exif_data_get_byte_order(data_.get());
        if (entry->format == EXIF_FORMAT_RATIONAL && entry->size >= 8) {
            const ::ExifRational ratio = ::exif_get_rational(entry->data, order);
            return static_cast<double>(ratio.numerator) / ratio.denominator;
        }
        if (entry->format == EXIF_FORMAT_SHORT && entry->size >= 2) {
            return ::exif_get_short(entry->data, order);
        }
        return std::nullopt;
    }

private:
    std::unique_ptr<::ExifData, decltype(&::exif_data_unref)> data_;
};

ExposureNote noteIn(const std::string& path) {
    const ExifFile data(path);
    return {data.number(EXIF_TAG_EXPOSURE_TIME), data.number(EXIF_TAG_FNUMBER),
            data.number(EXIF_TAG_ISO_SPEED_RATINGS)};
}

bool differ(const std::optional<double>& first, const std::optional<double>& second) {
    return first.has_value() && second.has_value() && *first != *second;
}

}  // namespace

std::vector<float> exposureTimesIn(const std::string& list, std::size_t count) {
    std::vector<float> times;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(',', begin), list.size());
        const std::string text = list.substr(begin, end - begin);
        times.push_back(timeIn(text));
        if (times.back() == 0) {
            throw Refusal("--times: '" + text + "' is not a time in seconds, a fraction or a number above 0");
        }
        begin = end + 1;
    }
    if (times.size() != count) {
        throw Refusal("--times: " + numberOf(times.size(), "time") + " for " + numberOf(count, "image"));
    }
    return times;
}

std::vector<float> exposureTimesOf(const Console& console, const std::vector<std::string>& paths) {
    std::vector<float> times;
    std::optional<ExposureNote> first;
    for (const std::string& path : paths) {
        const ExposureNote note = noteIn(path);
        if (!note.seconds) {
            throw Refusal("'" + path + "' has no exposure time in its EXIF data: --times must give the times");
        }
        times.push_back(static_cast<float>(*note.seconds));
        if (!isTime(times.back())) {
            throw Refusal("'" + path + "' has an exposure time in its EXIF data that is not above 0: --times must " +
                          "give the times");
        }
        if (!first) {
            first = note;
        } else if (differ(first->fNumber, note.fNumber) || differ(first->sensitivity, note.sensitivity)) {
            console.warn("'" + paths.front() + "' and '" + path +
                         "' differ in aperture or sensitivity, which the exposure times do not tell");
        }
    }
    return times;
}

void checkTimesDiffer(const std::vector<std::string>& paths, const std::vector<float>& times) {
    for (std::size_t i = 0; i < times.size(); ++i) {
        for (std::size_t j = i + 1; j < times.size(); ++j) {
            if (times[i] == times[j]) {
                throw Refusal(fmt::format("'{}' and '{}' have the same exposure time, {:g} s: each must have its own",
                                          paths[i], paths[j], times[i]));
            }
        }
    }
}

}  // namespace likeness::darkroom
