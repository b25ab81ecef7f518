#pragma once

#include "io/text_reader.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace qv7::plexo::io {

/// Reads the number that a field starts with in any of the forms of Fortran and of the solvers written in it:
/// 1.5, 1.5E+3, 1.5d+3 and, without a letter, 1.5+3. False when it starts with none.
inline bool scan_fortran_double(std::string_view field, double& value) {
    const char* const last = field.data() + field.size();
    const char* const end = scan_double(field.data(), last, value);
    if (!end) return false;
    if (end == last) return true;
    const bool lettered = *end == 'D' || *end == 'd';
    if (!lettered && *end != '+' && *end != '-') return true;

    // The exponent belongs to the number: scanned together, so that the value is rounded once.
    std::array<char, 128> text;
    const auto mantissa = std::size_t(end - field.data());
    const char* const exponent = end + (lettered ? 1 : 0);
    const auto length = std::size_t(last - exponent);
    if (mantissa + 1 + length > text.size()) return true;
    std::memcpy(text.data(), field.data(), mantissa);
    text[mantissa] = 'e';
    std::memcpy(text.data() + mantissa + 1, exponent, length);
    return scan_double(text.data(), text.data() + mantissa + 1 + length, value) != nullptr;
}

/// A non-negative decimal integer that is the whole field; one too large for 64 bits gives the largest. The
/// field is part of a line of a line_reader, or has as much slack behind it.
inline bool parse_ID(std::string_view field, std::uint64_t& ID) {
    if (!field.empty() && field.front() == '+') field.remove_prefix(1);
    if (field.empty()) return false;
    if (field.size() <= 8) {
        std::uint32_t number;
        if (!read_short_number(field.data(), field.size(), number)) return false;
        ID = number;
        return true;
    }
    ID = 0;
    for (const char c : field) {
        if (c < '0' || c > '9') return false;
        ID = ID > UINT64_MAX / 10 - 1 ? UINT64_MAX : ID * 10 + std::uint64_t(c - '0');
    }
    return true;
}

/// The same for what must fit 32 bits, as a node of an element must.
inline bool parse_ID(std::string_view field, std::uint32_t& ID) {
    std::uint64_t wide = 0;
    if (!parse_ID(field, wide) || wide > UINT32_MAX) return false;
    ID = static_cast<std::uint32_t>(wide);
    return true;
}

} // namespace qv7::plexo::io
