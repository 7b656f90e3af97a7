/// @file
/// The five appearance correlates that photographs are compared by: one value of each, and their names.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace likeness {

/// One value per correlate.
template <typename T>
struct PerCorrelate {
    T brightness{};    ///< Q: how much light an area seems to give off
    T lightness{};     ///< J: brightness relative to the white
    T chroma{};        ///< C: how far from grey, relative to the white
    T colorfulness{};  ///< M: how far from grey, in absolute terms
    T saturation{};    ///< s: colourfulness relative to the area's own brightness

    /// The value of `correlateNames[k]`, k < 5.
    T& operator[](std::size_t k) noexcept;
    /// The same of a constant.
    const T& operator[](std::size_t k) const noexcept;
};

/// The fields, in the order of `correlateNames`.
template <typename T>
inline constexpr std::array<T PerCorrelate<T>::*, 5> correlateFields = {
    &PerCorrelate<T>::brightness, &PerCorrelate<T>::lightness, &PerCorrelate<T>::chroma, &PerCorrelate<T>::colorfulness,
    &PerCorrelate<T>::saturation};

template <typename T>
T& PerCorrelate<T>::operator[](std::size_t k) noexcept {
    return this->*correlateFields<T>[k];
}

template <typename T>
const T& PerCorrelate<T>::operator[](std::size_t k) const noexcept {
    return this->*correlateFields<T>[k];
}

/// How a correlate is called.
struct CorrelateName {
    const char* name;    ///< of a field of `PerCorrelate`
    const char* symbol;  ///< of the model
};

/// In the order of `PerCorrelate` and of printed coefficients.
inline constexpr std::array<CorrelateName, 5> correlateNames = {
    {{"brightness", "Q"}, {"lightness", "J"}, {"chroma", "C"}, {"colorfulness", "M"}, {"saturation", "s"}}};

/// Whether a text is the name of one of the five.
inline bool isCorrelateName(std::string_view text) {
    for (const CorrelateName& correlate : correlateNames) {
        if (text == correlate.name) {
            return true;
        }
    }
    return false;
}

/// The hue has maps, but no coefficient.
inline constexpr CorrelateName hueName = {"hue", "h"};

}  // namespace likeness
