#include "io/nastran_fields.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace qv7::plexo::io {

namespace {

constexpr std::size_t TAB_STOP = 8, NARROW = 8, WIDE = 16, MARKER_COLUMN = 72;

/// A field that names a continuation. A number with a sign has a point.
bool is_marker(std::string_view field) {
    return !field.empty() && (field.front() == '+' || field.front() == '*') && field.find('.') == field.npos;
}

/// True for GRID* and the like, and for the marker of a continuation in large fields.
bool asks_for_large_fields(std::string_view first) {
    return !first.empty() && (first.front() == '*' || first.back() == '*');
}

void add(bulk_line& cut, std::string_view field) {
    if (cut.count < bulk_line::MOST_FIELDS) cut.data[cut.count++] = field;
}

void drop_empty_end(bulk_line& cut) {
    while (cut.count != 0 && cut.data[cut.count - 1].empty()) --cut.count;
}

/// Takes the marker of the continuation off the end: a field that looks like one, or stands where one does.
void drop_marker(bulk_line& cut) {
    drop_empty_end(cut);
    if (cut.count == 0) return;
    const std::string_view last = cut.data[cut.count - 1];
    if (!is_marker(last) && (cut.count != cut.room + 1 || last.find('.') != last.npos)) return;
    cut.next_marker = last;
    --cut.count;
    drop_empty_end(cut);
}

/// Fields end at a comma or at blanks; blanks beside a comma do not count.
void split_free(std::string_view line, bulk_line& cut) {
    const char* p = line.data();
    const char* const end = p + line.size();
    bool is_first = true;
    while (p != end) {
        while (p != end && is_blank(*p)) ++p;
        const char* const start = p;
        while (p != end && *p != ',' && !is_blank(*p)) ++p;
        const std::string_view field(start, std::size_t(p - start));
        while (p != end && is_blank(*p)) ++p;
        if (p != end && *p == ',') ++p;
        if (is_first) {
            cut.first = field;
            is_first = false;
        } else {
            add(cut, field);
        }
    }
}

/// One bit for each of eight characters, the first one lowest: 1 where it is neither a blank nor a control
/// character.
unsigned int ink(const char* text) {
    std::uint64_t characters;
    std::memcpy(&characters, text, sizeof characters);
    constexpr std::uint64_t EVERY = 0x0101010101010101;
    const std::uint64_t above_blank =
        (((characters & EVERY * 0x7F) + EVERY * (0x7F - ' ')) | characters) & EVERY * 0x80;
    if constexpr (std::endian::native == std::endian::little) {
        return static_cast<unsigned int>(((above_blank >> 7) * 0x0102040810204080) >> 56);
    } else {
        return static_cast<unsigned int>(((above_blank >> 7) * 0x8040201008040201) >> 56);
    }
}

/// The text in eight or sixteen columns. False when it has a blank inside.
template <std::size_t Width>
bool take_columns(const char* columns, std::string_view& field) {
    unsigned int inked = ink(columns);
    if constexpr (Width == WIDE) inked |= ink(columns + NARROW) << NARROW;
    if (inked == 0) {
        field = {};
        return true;
    }
    const auto first = static_cast<unsigned int>(std::countr_zero(inked));
    const unsigned int run = inked >> first;
    field = std::string_view(columns + first, static_cast<std::size_t>(std::bit_width(run)));
    return (run & (run + 1)) == 0;
}

/// The data fields of one width before column `end`, up to the last that has text.
template <std::size_t Width>
bool take_data(const char* columns, std::size_t end, bulk_line& cut) {
    end = std::min(end, MARKER_COLUMN);
    for (std::size_t column = NARROW; column < end; column += Width) {
        std::string_view& field = cut.data[cut.count++];
        if (!take_columns<Width>(columns + column, field)) return false;
    }
    drop_empty_end(cut);
    return true;
}

/// A line that starts with blanks has no first field, unless what follows is a word.
void split_words(std::string_view line, bulk_line& cut) {
    blank_fields words(line);
    std::string_view word;
    const char initial = skip_blanks(line).front();
    const bool is_word = (initial >= 'A' && initial <= 'Z') || (initial >= 'a' && initial <= 'z');
    cut.first = {};
    if (!is_blank(line.front()) || is_word || initial == '+' || initial == '*') words.next(cut.first);
    while (words.next(word)) add(cut, word);
}

void start(bulk_line& cut) {
    cut.count = 0;
    cut.room = 8;
    cut.next_marker = {};
}

} // namespace

/// Puts the line into columns, blanks behind it; a tab goes to the next multiple of eight.
void bulk_line_splitter::lay_out(std::string_view line) {
    if (line.find('\t') == line.npos) {
        end_ = std::min(line.size(), COLUMNS);
        std::memcpy(columns_.data(), line.data(), end_);
        std::memset(columns_.data() + end_, ' ', COLUMNS - end_);
        return;
    }
    end_ = COLUMNS;
    columns_.fill(' ');
    std::size_t n = 0;
    for (const char c : line) {
        if (n >= COLUMNS) break;
        if (c == '\t') {
            n = (n / TAB_STOP + 1) * TAB_STOP;
        } else {
            columns_[n++] = c;
        }
    }
}

/// False when the line is not laid out in columns, which shows in a field with a blank inside.
bool bulk_line_splitter::split_columns(large_fields large, bulk_line& cut) const {
    const char* const columns = columns_.data();
    if (!take_columns<NARROW>(columns, cut.first)) return false;
    const bool wide = asks_for_large_fields(cut.first) || large == large_fields::yes ||
                      (large == large_fields::in_continuation && cut.is_continuation());
    cut.room = wide ? 4 : 8;
    const bool laid_out = wide ? take_data<WIDE>(columns, end_, cut) : take_data<NARROW>(columns, end_, cut);
    if (!laid_out) return false;
    if (end_ > MARKER_COLUMN)
        cut.next_marker = trim(std::string_view(columns + MARKER_COLUMN, COLUMNS - MARKER_COLUMN));
    return true;
}

void bulk_line_splitter::split(std::string_view line, large_fields large, bulk_line& cut) {
    start(cut);
    if (line.find(',') != line.npos) {
        split_free(line, cut);
    } else {
        lay_out(line);
        if (split_columns(large, cut)) return;
        start(cut);
        split_words(line, cut);
    }
    if (asks_for_large_fields(cut.first)) cut.room = 4;
    drop_marker(cut);
}

} // namespace qv7::plexo::io
