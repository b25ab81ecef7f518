#include "io/number_format.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

namespace qv7::plexo::io {

namespace {

__extension__ typedef unsigned __int128 uint128;

// "00" "01" ... "99"
constexpr std::array<char, 200> make_digit_pairs() {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = char('0' + i / 10);
        pairs[2 * i + 1] = char('0' + i % 10);
    }
    return pairs;
}
constexpr std::array<char, 200> DIGIT_PAIRS = make_digit_pairs();

inline void put_pair(char* out, std::uint32_t below_100) {
    std::memcpy(out, DIGIT_PAIRS.data() + 2 * below_100, 2);
}

// Exactly four, six or eight digits, leading zeros included.
inline char* put_four_digits(char* out, std::uint32_t below_1e4) {
    put_pair(out, below_1e4 / 100);
    put_pair(out + 2, below_1e4 % 100);
    return out + 4;
}
inline char* put_six_digits(char* out, std::uint32_t below_1e6) {
    put_pair(out, below_1e6 / 10000);
    return put_four_digits(out + 2, below_1e6 % 10000);
}
inline char* put_eight_digits(char* out, std::uint32_t below_1e8) {
    return put_four_digits(put_four_digits(out, below_1e8 / 10000), below_1e8 % 10000);
}

// One to four digits.
inline char* put_below_1e4(char* out, std::uint32_t value) {
    const std::uint32_t high = value / 100, low = value % 100;
    if (high >= 10) return put_four_digits(out, value);
    if (high != 0) {
        *out = char('0' + high);
        put_pair(out + 1, low);
        return out + 3;
    }
    if (low >= 10) {
        put_pair(out, low);
        return out + 2;
    }
    *out = char('0' + low);
    return out + 1;
}

// One to eight digits.
inline char* put_below_1e8(char* out, std::uint32_t value) {
    if (value < 10000) return put_below_1e4(out, value);
    return put_four_digits(put_below_1e4(out, value / 10000), value % 10000);
}

// 10^q = significand · 2^exponent with the significand's top bit set and cut off below its 64 bits, so that
// it is at most one unit too small.
struct power_of_ten {
    std::uint64_t significand;
    int exponent;
};

constexpr int SMALLEST_POWER = -308, LARGEST_POWER = 320;

// Steps through the powers with 128 bits, where each step costs at most one unit: the 64 bits that are kept
// know nothing of it beyond their own cut.
constexpr std::array<power_of_ten, LARGEST_POWER - SMALLEST_POWER + 1> make_powers() {
    std::array<power_of_ten, LARGEST_POWER - SMALLEST_POWER + 1> powers{};
    std::uint64_t high = std::uint64_t(1) << 63, low = 0;
    int exponent = -63;
    for (int q = 0; q <= LARGEST_POWER; ++q) {
        powers[std::size_t(q - SMALLEST_POWER)] = {high, exponent};
        // times ten: (x + x/4) · 8
        uint128 x = (uint128(high) << 64) | low;
        const uint128 quarter = x >> 2;
        x += quarter;
        exponent += 3;
        if (x < quarter) { // carried out of 128 bits
            x = (x >> 1) | (uint128(1) << 127);
            ++exponent;
        }
        high = std::uint64_t(x >> 64);
        low = std::uint64_t(x);
    }
    high = std::uint64_t(1) << 63;
    low = 0;
    exponent = -63;
    for (int q = 0; q >= SMALLEST_POWER; --q) {
        powers[std::size_t(q - SMALLEST_POWER)] = {high, exponent};
        // divided by ten with 64 more bits, then normalised
        const std::uint64_t q0 = high / 10;
        uint128 rest = (uint128(high % 10) << 64) | low;
        const std::uint64_t q1 = std::uint64_t(rest / 10);
        rest = uint128(rest % 10) << 64;
        const std::uint64_t q2 = std::uint64_t(rest / 10);
        const int shift = std::countl_zero(q0);
        high = (q0 << shift) | (q1 >> (64 - shift));
        low = (q1 << shift) | (q2 >> (64 - shift));
        exponent -= shift;
    }
    return powers;
}
constexpr auto POWERS = make_powers();

constexpr std::uint64_t FRACTION_MASK = (std::uint64_t(1) << 52) - 1;

// The bits of the doubles at or just below 10^-308 ... 10^309; the last is beyond every finite double.
constexpr std::array<std::uint64_t, 309 - SMALLEST_POWER + 1> make_bits_of_powers() {
    std::array<std::uint64_t, 309 - SMALLEST_POWER + 1> bits{};
    for (std::size_t i = 0; i < bits.size(); ++i) {
        const int exponent = POWERS[i].exponent + 63 + 1023;
        const std::uint64_t fraction = (POWERS[i].significand >> 11) & FRACTION_MASK;
        bits[i] = exponent <= 0 ? 0 : (std::uint64_t(exponent) << 52) | fraction;
    }
    return bits;
}
constexpr auto BITS_OF_POWERS = make_bits_of_powers();

// A positive normal value as a decimal number of `Digits` significant digits: digits · 10^(exponent - Digits
// + 1).
struct decimal {
    std::uint32_t digits;
    int exponent;
};

// False when 64 bits do not tell which way to round.
template <int Digits>
inline bool round_to_digits(std::uint64_t bits, decimal& result) {
    constexpr std::uint32_t LIMIT = Digits == 7 ? 10000000 : 1000000;
    static_assert(Digits == 6 || Digits == 7);
    const int binary_exponent = int(bits >> 52) - 1023;
    const std::uint64_t significand = ((bits & FRACTION_MASK) | (FRACTION_MASK + 1)) << 11;

    // floor(log10(value)); next to a power of ten it may be the other one, which rounds to the same digits
    int exponent = (binary_exponent * 1262611) >> 22;
    exponent += bits >= BITS_OF_POWERS[std::size_t(exponent + 1 - SMALLEST_POWER)];

    const power_of_ten& scale = POWERS[std::size_t(Digits - 1 - exponent - SMALLEST_POWER)];
    const auto product = std::uint64_t((uint128(significand) * scale.significand) >> 64);
    // value · 10^(Digits - 1 - exponent) = (product + error) · 2^-shift with 0 <= error < 3
    const int shift = -(binary_exponent + scale.exponent + 1);
    const std::uint64_t half = std::uint64_t(1) << (shift - 1);
    const std::uint64_t fraction = product & ((half << 1) - 1);
    if (fraction <= half && fraction + 3 >= half) return false;
    std::uint64_t digits = (product >> shift) + (fraction > half);
    if (digits == LIMIT) {
        digits /= 10;
        ++exponent;
    }
    result = {std::uint32_t(digits), exponent};
    return true;
}

inline bool is_normal(std::uint64_t bits) {
    const std::uint64_t exponent = (bits >> 52) & 0x7ff;
    return exponent != 0 && exponent != 0x7ff;
}

inline bool is_finite(std::uint64_t bits) {
    return ((bits >> 52) & 0x7ff) != 0x7ff;
}

inline char* put_sign(char* out, std::uint64_t bits) {
    *out = '-';
    return out + (bits >> 63);
}

char* put_special(char* out, std::uint64_t bits, bool upper) {
    out = put_sign(out, bits);
    if (bits & FRACTION_MASK) return put_text(out, upper ? "NAN" : "nan");
    return put_text(out, upper ? "INF" : "inf");
}

inline char* put_exponent(char* out, int exponent, char marker) {
    *out++ = marker;
    *out++ = exponent < 0 ? '-' : '+';
    std::uint32_t magnitude = std::uint32_t(exponent < 0 ? -exponent : exponent);
    if (magnitude >= 100) {
        *out++ = char('0' + magnitude / 100);
        magnitude %= 100;
    }
    put_pair(out, magnitude);
    return out + 2;
}

template <int Digits>
inline char* put_scientific_digits(char* out, decimal number, char marker) {
    if constexpr (Digits == 7) {
        out[0] = char('0' + number.digits / 1000000);
        put_six_digits(out + 2, number.digits % 1000000);
    } else {
        put_six_digits(out + 1, number.digits);
        out[0] = out[1];
    }
    out[1] = '.';
    return put_exponent(out + Digits + 1, number.exponent, marker);
}

// "%e" or "%E" with Digits - 1 digits after the point.
template <int Digits>
inline char* scientific(char* out, double value, char marker) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const std::uint64_t magnitude = bits & ~(std::uint64_t(1) << 63);
    decimal number;
    if (is_normal(bits)) {
        if (round_to_digits<Digits>(magnitude, number)) {
            return put_scientific_digits<Digits>(put_sign(out, bits), number, marker);
        }
    } else if (!is_finite(bits)) {
        return put_special(out, bits, marker == 'E');
    } else if (magnitude == 0) {
        return put_scientific_digits<Digits>(put_sign(out, bits), {0, 0}, marker);
    }
    char* const end =
        std::to_chars(out, out + LONGEST_NUMBER, value, std::chars_format::scientific, Digits - 1).ptr;
    if (marker == 'E') *static_cast<char*>(std::memchr(out, 'e', std::size_t(end - out))) = 'E';
    return end;
}

// The six significant digits of "%g" and their exponent, from the text of "%.5e" when 64 bits do not do.
decimal six_digits_by_text(double magnitude) {
    char text[32];
    const char* const end =
        std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific, 5).ptr;
    decimal number{std::uint32_t(text[0] - '0'), 0};
    for (int i = 2; i < 7; ++i) number.digits = number.digits * 10 + std::uint32_t(text[i] - '0');
    const char* exponent = text + 8;
    if (*exponent == '+') ++exponent;
    std::from_chars(exponent, end, number.exponent);
    return number;
}

template <bool ShowPoint>
inline char* general(char* out, double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const std::uint64_t magnitude = bits & ~(std::uint64_t(1) << 63);
    if (!is_finite(bits)) return put_special(out, bits, false);
    out = put_sign(out, bits);
    if (magnitude == 0) return put_text(out, ShowPoint ? "0.00000" : "0");

    decimal number;
    if (!is_normal(bits) || !round_to_digits<6>(magnitude, number)) {
        number = six_digits_by_text(std::bit_cast<double>(magnitude));
    }
    char digits[8];
    put_six_digits(digits, number.digits);
    int kept = 6; // digits written
    if constexpr (!ShowPoint) {
        while (digits[kept - 1] == '0') --kept;
    }
    const int exponent = number.exponent;
    if (exponent < -4 || exponent >= 6) {
        *out++ = digits[0];
        if (kept > 1) {
            *out++ = '.';
            std::memcpy(out, digits + 1, 5);
            out += kept - 1;
        }
        return put_exponent(out, exponent, 'e');
    }
    if (exponent < 0) {
        std::memcpy(out, "0.0000", 6);
        out += 1 - exponent;
        std::memcpy(out, digits, 6);
        return out + kept;
    }
    const int whole = exponent + 1; // digits in front of the point
    std::memcpy(out, digits, 6);
    if (kept <= whole) {
        if constexpr (ShowPoint) out[whole] = '.';
        return out + whole + (ShowPoint ? 1 : 0);
    }
    out[whole] = '.';
    std::memcpy(out + whole + 1, digits + whole, std::size_t(6 - whole));
    return out + kept + 1;
}

inline char* pad_left(char* out, const char* text, std::size_t length, std::size_t width) {
    while (length < width) {
        *out++ = ' ';
        --width;
    }
    std::memcpy(out, text, length);
    return out + length;
}

} // namespace

char* put_scientific(char* out, double value) {
    return scientific<7>(out, value, 'e');
}
char* put_scientific_upper(char* out, double value) {
    return scientific<7>(out, value, 'E');
}

char* put_scientific_12_5(char* out, double value) {
    char text[LONGEST_NUMBER];
    const char* const end = scientific<6>(text, value, 'e');
    return pad_left(out, text, std::size_t(end - text), 12);
}

char* put_fixed(char* out, double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    if (!is_finite(bits)) return put_special(out, bits, false);
    const int exponent = int((bits >> 52) & 0x7ff);
    if (exponent >= 1023 + 64) {
        return std::to_chars(out, out + LONGEST_NUMBER, value, std::chars_format::fixed, 6).ptr;
    }
    out = put_sign(out, bits);

    // |value| = significand · 2^-shift, below 2^64: the whole part and the remainder are exact
    std::uint64_t significand = bits & FRACTION_MASK;
    if (exponent != 0) significand |= FRACTION_MASK + 1;
    const int shift = 1075 - (exponent == 0 ? 1 : exponent);
    std::uint64_t whole = 0, millionths = 0;
    if (shift <= 0) {
        whole = significand << -shift;
    } else if (shift < 100) { // a smaller value is far below half a millionth
        uint128 scaled = uint128(significand);
        if (shift < 64) {
            whole = significand >> shift;
            scaled &= (std::uint64_t(1) << shift) - 1;
        }
        scaled *= 1000000;
        const uint128 half = uint128(1) << (shift - 1);
        millionths = std::uint64_t(scaled >> shift);
        const uint128 fraction = scaled & ((half << 1) - 1);
        if (fraction > half || (fraction == half && (millionths & 1))) ++millionths;
        if (millionths == 1000000) {
            millionths = 0;
            ++whole;
        }
    }
    out = put_unsigned(out, whole);
    return put_six_digits(put_char(out, '.'), std::uint32_t(millionths));
}

char* put_general(char* out, double value) {
    return general<false>(out, value);
}
char* put_general_showpoint(char* out, double value) {
    return general<true>(out, value);
}

char* put_unsigned(char* out, unsigned long long value) {
    if (value < 100000000) return put_below_1e8(out, std::uint32_t(value));
    if (value < 10000000000000000) {
        out = put_below_1e8(out, std::uint32_t(value / 100000000));
        return put_eight_digits(out, std::uint32_t(value % 100000000));
    }
    out = put_below_1e4(out, std::uint32_t(value / 10000000000000000));
    value %= 10000000000000000;
    out = put_eight_digits(out, std::uint32_t(value / 100000000));
    return put_eight_digits(out, std::uint32_t(value % 100000000));
}

char* put_signed(char* out, long long value) {
    if (value >= 0) return put_unsigned(out, static_cast<unsigned long long>(value));
    *out = '-';
    return put_unsigned(out + 1, 0 - static_cast<unsigned long long>(value));
}

char* put_unsigned_8(char* out, unsigned long long value) {
    char text[24];
    const char* const end = put_unsigned(text, value);
    return pad_left(out, text, std::size_t(end - text), 8);
}

char* put_signed_8(char* out, long long value) {
    char text[24];
    const char* const end = put_signed(text, value);
    return pad_left(out, text, std::size_t(end - text), 8);
}

} // namespace qv7::plexo::io
