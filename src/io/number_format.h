#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

/// Numbers as text, byte for byte what printf gives in the "C" locale, whatever the locale of the process is.
///
/// Every function writes at `out`, adds no terminating zero and returns the end of what it wrote. The caller
/// provides the room: LONGEST_NUMBER characters are enough for any of them.
namespace qv7::plexo::io {

/// Room for any number in any format here: "%f" of the most negative double takes 317 characters.
inline constexpr std::size_t LONGEST_NUMBER = 320;
/// Room for a double in any format here but "%f".
inline constexpr std::size_t LONGEST_SHORT_NUMBER = 16;

char* put_scientific(char* out, double value);        ///< "%e": -1.234568e-05
char* put_scientific_upper(char* out, double value);  ///< "%E": -1.234568E-05
char* put_scientific_12_5(char* out, double value);   ///< "%12.5e": "-1.23457e-05", " 1.23457e+00"
char* put_fixed(char* out, double value);             ///< "%f": six decimals, any magnitude
char* put_general(char* out, double value);           ///< "%g", the default of C++ streams: 0.001, 1e+06
char* put_general_showpoint(char* out, double value); ///< "%#g", streams with showpoint: 1.00000, 1.00000e+06

char* put_unsigned(char* out, unsigned long long value); ///< "%llu"
char* put_signed(char* out, long long value);            ///< "%lld"

/// "%8d": blanks in front up to eight characters.
char* put_unsigned_8(char* out, unsigned long long value);
char* put_signed_8(char* out, long long value);

inline char* put_char(char* out, char c) {
    *out = c;
    return out + 1;
}

inline char* put_text(char* out, std::string_view text) {
    return std::copy(text.begin(), text.end(), out); // unlike memcpy, takes an empty view without characters
}

} // namespace qv7::plexo::io
