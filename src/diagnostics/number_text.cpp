#include "diagnostics/number_text.hpp"

#include "diagnostics/output_file.hpp"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace likeness {
namespace {

constexpr int significantDigits = 6;

// A float has 24 significant bits and 5^12 has 28: its product with a power of ten up to here is exact in double.
constexpr std::array<double, 13> powersOfTen = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12};

// "00" to "99", one after the other.
constexpr std::array<char, 200> digitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

// For each binary exponent of a float in [2^-14, 2^20), decimals that bring the binade's smallest number to six digits
// before the point.
constexpr int smallestExponent = -14;
constexpr std::array<int, 34> decimalsOfBinade = [] {
    std::array<int, 34> decimals{};
    double smallest = 0x1p-14;
    for (int& count : decimals) {
        while (smallest * powersOfTen[static_cast<std::size_t>(count)] < 1e5) {
            ++count;
        }
        smallest *= 2;
    }
    return decimals;
}();

// `scaled` >= 0 and far below 2^52, rounded to an integer, ties to even: the sum has no bits left below the units.
std::uint32_t roundedToInteger(double scaled) noexcept {
    return static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(scaled + 0x1p52));
}

// Six digits without trailing zeros, `decimals` (0 to 9) of them behind the point.
char* writeFixed(char* out, std::uint32_t digits, int decimals) noexcept {
    char text[2 * significantDigits] = {};  // read in whole groups of six, from any of the digits on
    std::memcpy(text, &digitPairs[2UL * (digits / 10000)], 2);
    std::memcpy(text + 2, &digitPairs[2UL * (digits / 100 % 100)], 2);
    std::memcpy(text + 4, &digitPairs[2UL * (digits % 100)], 2);
    int used = significantDigits;
    while (text[used - 1] == '0') {
        --used;
    }
    const int beforePoint = significantDigits - decimals;
    if (beforePoint <= 0) {
        std::memcpy(out, "0.000", 5);
        out += 2 - beforePoint;
        std::memcpy(out, text, significantDigits);
        return out + used;
    }
    std::memcpy(out, text, significantDigits);
    if (used <= beforePoint) {
        return out + beforePoint;
    }
    out[beforePoint] = '.';
    std::memcpy(out + beforePoint + 1, text + beforePoint, significantDigits);
    return out + used + 1;
}

}  // namespace

char* writeNumber(char* out, float value) noexcept {
    const float magnitude = std::abs(value);
    // Where the text has no exponent, one exact product and one rounding give its digits.
    if (magnitude >= 1e-4F && magnitude < 999999.0F) {
        const auto exponent = static_cast<int>(std::bit_cast<std::uint32_t>(magnitude) >> 23) - 127;
        int decimals = decimalsOfBinade[static_cast<std::size_t>(exponent - smallestExponent)];
        std::uint32_t digits = roundedToInteger(magnitude * powersOfTen[static_cast<std::size_t>(decimals)]);
        if (digits >= 1000000) {
            --decimals;
            digits = roundedToInteger(magnitude * powersOfTen[static_cast<std::size_t>(decimals)]);
        }
        *out = '-';
        out += std::signbit(value) ? 1 : 0;
        return writeFixed(out, digits, decimals);
    }
    return std::to_chars(out, out + numberTextCapacity, value, std::chars_format::general, significantDigits).ptr;
}

std::string numberText(float value) {
    char text[numberTextCapacity];
    return {text, writeNumber(text, value)};
}

bool writeMapText(const std::string& path, const cv::Mat& map, int rows, int cols) {
    OutputFile file(path);
    std::vector<char> buffer(std::size_t{1} << 18);
    char* const begin = buffer.data();
    const char* const full = begin + buffer.size() - numberTextCapacity;
    char* end = begin;
    for (int i = 0; i < rows; ++i) {
        const float* const values = map.ptr<float>(i);
        for (int j = 0; j < cols; ++j) {
            end = writeNumber(end, values[j]);
            *end++ = '\n';
            if (end >= full) {
                file.write({begin, static_cast<std::size_t>(end - begin)});
                end = begin;
            }
        }
    }
    file.write({begin, static_cast<std::size_t>(end - begin)});
    return file.close();
}

}  // namespace likeness
