#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

/// Reading text files: lines, fields, numbers. Nothing here depends on the locale, throws or recurses.
namespace qv7::plexo::io {

/// The one buffered line reader. The file passes through one buffer in slices of about a megabyte and is
/// never held whole.
///
///     line_reader file(path);
///     if (!file.is_open()) return -1;
///     std::string_view line;
///     while (file.next(line)) {
///         blank_fields fields(line);
///         ...
///     }
///     if (file.out_of_memory()) return -199;
class line_reader {
public:
    /// A line that is longer is cut here; the rest of it is skipped.
    static constexpr std::size_t LONGEST_LINE = std::size_t(1) << 20;
    /// So many characters behind a line may be read, whatever they are.
    static constexpr std::size_t SLACK = 8;

    /// Opens the file with the given mode of fopen; see is_open().
    explicit line_reader(const char* path, const char* mode = "r");
    ~line_reader();
    line_reader(const line_reader&) = delete;
    line_reader& operator=(const line_reader&) = delete;

    bool is_open() const { return stream_ != nullptr; }
    /// True when there was no memory for the buffer; next() then finds nothing.
    bool out_of_memory() const { return stream_ != nullptr && buffer_ == nullptr; }
    /// Bytes of the file; 0 when it has no size, as a pipe has none.
    std::uint64_t file_size() const;
    /// True when the file could not be read to its end.
    bool read_failed() const { return stream_ != nullptr && std::ferror(stream_) != 0; }

    /// The next line without its line end ("\n" or "\r\n"), valid until the next call; false behind the last
    /// one. A last line without a line end counts, an empty one behind the last line end does not.
    bool next(std::string_view& line);

private:
    bool refill();
    void skip_rest_of_line();

    std::FILE* stream_;
    char* buffer_ = nullptr;
    char* next_ = nullptr;  ///< first character not handed out yet
    char* end_ = nullptr;   ///< end of what was read
    bool skipping_ = false; ///< the last line was cut and its rest is still to come
};

/// A blank as isspace has it in the "C" locale.
constexpr bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// `text` without the blanks in front.
constexpr std::string_view skip_blanks(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && is_blank(text[i])) ++i;
    return text.substr(i);
}

/// `text` without the blanks at both ends.
constexpr std::string_view trim(std::string_view text) {
    text = skip_blanks(text);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

/// Splits a line at runs of blanks; there are no empty fields.
class blank_fields {
public:
    explicit constexpr blank_fields(std::string_view line) : rest_(line) {}

    /// False when there is no further field; `field` is empty then.
    constexpr bool next(std::string_view& field) {
        rest_ = skip_blanks(rest_);
        std::size_t n = 0;
        while (n < rest_.size() && !is_blank(rest_[n])) ++n;
        field = rest_.substr(0, n);
        rest_.remove_prefix(n);
        return n != 0;
    }
    /// What has not been split yet.
    constexpr std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
};

/// Splits a line at every comma, empty fields included: "a,,b," has the four fields "a", "", "b", "". Blanks
/// stay. An empty line has one empty field.
class comma_fields {
public:
    explicit constexpr comma_fields(std::string_view line) : rest_(line) {}

    /// False when there is no further field; `field` is empty then.
    constexpr bool next(std::string_view& field) {
        if (done_) {
            field = {};
            return false;
        }
        const std::size_t comma = rest_.find(',');
        done_ = comma == std::string_view::npos;
        field = rest_.substr(0, comma);
        rest_.remove_prefix(done_ ? rest_.size() : comma + 1);
        return true;
    }
    /// What has not been split yet.
    constexpr std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
    bool done_ = false;
};

/// Reads the longest number that [first, last) starts with, as strtod in the "C" locale does but without
/// skipping blanks: decimal and hexadecimal ("0x1.8p3"), a leading '+' or '-', inf, infinity, nan,
/// nan(chars), in upper and lower case. Rounds to nearest; overflow gives an infinity, underflow a denormal
/// or zero. Returns the end of the number, or null, with `value` untouched, when there is none.
const char* scan_double(const char* first, const char* last, double& value);

/// The end of the number that scan_double would read, or null; spares the conversion.
const char* skip_double(const char* first, const char* last);

/// True when the whole of `text` is a number for scan_double.
inline bool parse_double(std::string_view text, double& value) {
    const char* const last = text.data() + text.size();
    double parsed;
    if (scan_double(text.data(), last, parsed) != last) return false;
    value = parsed;
    return true;
}

/// The number that eight characters spell, each of which has become the value of its digit; the first is the
/// lowest byte.
constexpr std::uint64_t value_of_digits(std::uint64_t digits) {
    digits = digits * 10 + (digits >> 8);
    return ((digits & 0x000000ff000000ffu) * 0x000f424000000064u +
            ((digits >> 16) & 0x000000ff000000ffu) * 0x0000271000000001u) >>
           32;
}

/// Turns digits among eight characters into their values; gives the top bit of each byte that was another
/// character, exact up to the first of them.
constexpr std::uint64_t split_off_others(std::uint64_t& characters) {
    characters ^= 0x3030303030303030u;
    return ((characters + 0x7676767676767676u) | characters) & 0x8080808080808080u;
}

/// Reads a number of one to eight digits; false when other characters are among them. Looks at eight
/// characters from `first` on, whatever they are behind the digits.
inline bool read_short_number(const char* first, std::size_t digits, std::uint32_t& number) {
    if constexpr (std::endian::native != std::endian::little) {
        number = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            if (first[i] < '0' || first[i] > '9') return false;
            number = number * 10 + static_cast<std::uint32_t>(first[i] - '0');
        }
        return true;
    }
    std::uint64_t characters;
    std::memcpy(&characters, first, sizeof characters);
    const std::size_t zeros_in_front = 64 - 8 * digits;
    const bool others = split_off_others(characters) << zeros_in_front != 0;
    number = static_cast<std::uint32_t>(value_of_digits(characters << zeros_in_front));
    return !others;
}

/// Reads a decimal integer with an optional sign that [first, last) starts with. Returns its end, or null,
/// with `value` untouched, when there is none or it does not fit.
const char* scan_integer(const char* first, const char* last, std::int64_t& value);

/// True when the whole of `text` is a decimal integer that fits.
bool parse_integer(std::string_view text, std::int64_t& value);
bool parse_integer(std::string_view text, std::uint32_t& value); ///< also false for negative numbers

} // namespace qv7::plexo::io
