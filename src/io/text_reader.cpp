#include "io/text_reader.h"

#include <sys/stat.h>

#include <bit>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace qv7::plexo::io {

namespace {

constexpr std::size_t SLICE = std::size_t(1) << 20;
// A line of full length may follow what is left of the slice before.
constexpr std::size_t BUFFER_SIZE = SLICE + line_reader::LONGEST_LINE + line_reader::SLACK;

constexpr double EXACT_POWERS[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int LARGEST_EXACT_POWER = 22;
constexpr std::uint64_t LARGEST_EXACT_INTEGER = std::uint64_t(1) << 53;
constexpr int MOST_DIGITS = 19; // that always fit 64 bits

constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool is_hex_digit(char c) {
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

constexpr std::uint64_t POWERS_OF_TEN[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

// Appends the digits at p to `digits`, modulo 2^64, and returns their end. Takes up to eight at a time.
inline const char* append_digits(const char* p, const char* last, std::uint64_t& digits) {
    if constexpr (std::endian::native == std::endian::little) {
        while (last - p >= 8) {
            std::uint64_t bytes;
            std::memcpy(&bytes, p, 8);
            const int count = std::countr_zero(split_off_others(bytes)) / 8;
            if (count == 0) return p;
            digits = digits * POWERS_OF_TEN[count] + value_of_digits(bytes << (64 - 8 * count));
            p += count;
            if (count < 8) return p;
        }
    }
    while (p != last && is_digit(*p)) digits = digits * 10 + std::uint64_t(*p++ - '0');
    return p;
}

// Where digits, an optional point and digits from `p` have their first nonzero digit, as an exponent of ten:
// 2 for "0345", -3 for ".00345". Only its sign matters far from one.
long decimal_exponent(const char* p, const char* last) {
    while (p != last && *p == '0') ++p;
    long exponent = -1;
    for (; p != last && is_digit(*p); ++p) ++exponent;
    if (exponent < 0 && p != last && *p == '.') {
        for (++p; p != last && *p == '0'; ++p) --exponent;
    }
    while (p != last && (is_digit(*p) || *p == '.')) ++p;
    if (p == last || (*p != 'e' && *p != 'E')) return exponent;
    if (++p != last && *p == '+') ++p;
    long written = 0;
    const auto [end, error] = std::from_chars(p, last, written);
    if (error == std::errc::result_out_of_range) return *p == '-' ? -1 : 1;
    // a file holds far fewer digits than half the range of long
    constexpr long FAR = std::numeric_limits<long>::max() / 2;
    if (written > FAR) return 1;
    if (written < -FAR) return -1;
    return exponent + written;
}

// Everything that the short way in scan_double leaves: `p` stands behind the sign.
const char* scan_double_fully(const char* p, const char* last, bool negative, double& value) {
    if (p == last || *p == '-' || *p == '+') return nullptr;
    const bool hexadecimal = last - p > 2 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X') &&
                             (is_hex_digit(p[2]) || (p[2] == '.' && last - p > 3 && is_hex_digit(p[3])));
    double magnitude = 0;
    std::from_chars_result result{};
    if (hexadecimal) {
        result = std::from_chars(p + 2, last, magnitude, std::chars_format::hex);
        if (result.ec == std::errc::result_out_of_range) {
            // The exponent decides unless there are thousands of digits.
            const char* exponent = p;
            while (exponent != result.ptr && *exponent != 'p' && *exponent != 'P') ++exponent;
            const bool small = result.ptr - exponent > 1 && exponent[1] == '-';
            magnitude = small ? 0.0 : std::numeric_limits<double>::infinity();
        }
    } else {
        result = std::from_chars(p, last, magnitude);
        if (result.ec == std::errc::result_out_of_range) {
            magnitude = decimal_exponent(p, result.ptr) < 0 ? 0.0 : std::numeric_limits<double>::infinity();
        }
    }
    if (result.ec == std::errc::invalid_argument) return nullptr;
    value = negative ? -magnitude : magnitude;
    return result.ptr;
}

} // namespace

line_reader::line_reader(const char* path, const char* mode) : stream_(std::fopen(path, mode)) {
    if (!stream_) return;
    std::setvbuf(stream_, nullptr, _IONBF, 0);
    buffer_ = static_cast<char*>(std::malloc(BUFFER_SIZE));
    next_ = end_ = buffer_;
}

std::uint64_t line_reader::file_size() const {
    struct stat status {};
    const bool known = stream_ && fstat(fileno(stream_), &status) == 0 && S_ISREG(status.st_mode);
    return known ? static_cast<std::uint64_t>(status.st_size) : 0;
}

line_reader::~line_reader() {
    std::free(buffer_);
    if (stream_) std::fclose(stream_);
}

// Moves what is left to the front of the buffer and reads behind it. False when nothing more comes.
bool line_reader::refill() {
    const auto left = std::size_t(end_ - next_);
    std::memmove(buffer_, next_, left);
    next_ = buffer_;
    const std::size_t got = std::fread(buffer_ + left, 1, SLICE, stream_);
    end_ = buffer_ + left + got;
    return got != 0;
}

void line_reader::skip_rest_of_line() {
    skipping_ = false;
    do {
        if (const void* const newline = std::memchr(next_, '\n', std::size_t(end_ - next_))) {
            next_ += static_cast<const char*>(newline) - next_ + 1;
            return;
        }
        next_ = end_;
    } while (refill());
}

bool line_reader::next(std::string_view& line) {
    if (!buffer_) return false;
    if (skipping_) skip_rest_of_line();
    std::size_t searched = 0;
    for (;;) {
        const auto left = std::size_t(end_ - next_);
        const void* const newline = std::memchr(next_ + searched, '\n', left - searched);
        if (newline) {
            const char* const start = next_;
            auto length = std::size_t(static_cast<const char*>(newline) - start);
            next_ += length + 1;
            if (length > LONGEST_LINE) length = LONGEST_LINE;
            if (length != 0 && start[length - 1] == '\r') --length;
            line = std::string_view(start, length);
            return true;
        }
        if (left >= LONGEST_LINE) {
            line = std::string_view(next_, LONGEST_LINE);
            next_ += LONGEST_LINE;
            skipping_ = true; // when the line is no longer in use
            return true;
        }
        searched = left;
        if (!refill()) break;
    }
    const auto left = std::size_t(end_ - next_);
    if (left == 0) return false;
    line = std::string_view(next_, left);
    next_ = end_;
    return true;
}

const char* scan_double(const char* first, const char* last, double& value) {
    const char* p = first;
    if (p == last) return nullptr;
    const bool negative = *p == '-';
    if (negative || *p == '+') ++p;
    const char* const unsigned_part = p;

    std::uint64_t digits = 0;
    const char* start = p;
    while (p != last && is_digit(*p)) digits = digits * 10 + std::uint64_t(*p++ - '0');
    std::ptrdiff_t count = p - start;
    std::ptrdiff_t exponent = 0;
    if (p != last && *p == '.') {
        start = ++p;
        p = append_digits(p, last, digits);
        exponent = start - p;
        count -= exponent;
    }
    if (count == 0 || count > MOST_DIGITS || (p != last && (*p == 'x' || *p == 'X'))) {
        return scan_double_fully(unsigned_part, last, negative, value);
    }
    if (p != last && (*p == 'e' || *p == 'E')) {
        const char* q = p + 1;
        const bool negative_exponent = q != last && *q == '-';
        if (q != last && (*q == '-' || *q == '+')) ++q;
        start = q;
        int written = 0;
        while (q != last && is_digit(*q) && q - start < 4) written = written * 10 + (*q++ - '0');
        if (q != start) { // otherwise the 'e' does not belong to the number
            if (q != last && is_digit(*q)) {
                return scan_double_fully(unsigned_part, last, negative, value);
            }
            exponent += negative_exponent ? -written : written;
            p = q;
        }
    }
    if (digits <= LARGEST_EXACT_INTEGER && exponent >= -LARGEST_EXACT_POWER &&
        exponent <= LARGEST_EXACT_POWER) {
        // both operands are exact, so the one rounding is that of the result
        auto magnitude = double(digits);
        if (exponent < 0) {
            magnitude /= EXACT_POWERS[-exponent];
        } else {
            magnitude *= EXACT_POWERS[exponent];
        }
        value = negative ? -magnitude : magnitude;
        return p;
    }
    return scan_double_fully(unsigned_part, last, negative, value);
}

const char* skip_double(const char* first, const char* last) {
    const auto skip_digits = [last](const char* p) {
        while (p != last && is_digit(*p)) ++p;
        return p;
    };
    const char* p = first;
    if (p != last && (*p == '-' || *p == '+')) ++p;
    const char* const integer = p;
    p = skip_digits(p);
    std::ptrdiff_t count = p - integer;
    if (p != last && *p == '.') {
        const char* const fraction = ++p;
        p = skip_digits(p);
        count += p - fraction;
    }
    if (count == 0 || (p != last && (*p == 'x' || *p == 'X'))) { // not a decimal number
        double ignored;
        return scan_double(first, last, ignored);
    }
    if (p != last && (*p == 'e' || *p == 'E')) {
        const char* exponent = p + 1;
        if (exponent != last && (*exponent == '-' || *exponent == '+')) ++exponent;
        const char* const end = skip_digits(exponent);
        if (end != exponent) p = end; // otherwise the 'e' does not belong to the number
    }
    return p;
}

const char* scan_integer(const char* first, const char* last, std::int64_t& value) {
    if (first != last && *first == '+') {
        ++first;
        if (first == last || !is_digit(*first)) return nullptr;
    }
    const auto [end, error] = std::from_chars(first, last, value);
    return error == std::errc() ? end : nullptr;
}

bool parse_integer(std::string_view text, std::int64_t& value) {
    const char* const last = text.data() + text.size();
    std::int64_t parsed;
    if (scan_integer(text.data(), last, parsed) != last) return false;
    value = parsed;
    return true;
}

bool parse_integer(std::string_view text, std::uint32_t& value) {
    std::int64_t parsed;
    if (!parse_integer(text, parsed) || parsed < 0 || parsed > std::numeric_limits<std::uint32_t>::max()) {
        return false;
    }
    value = std::uint32_t(parsed);
    return true;
}

} // namespace qv7::plexo::io
