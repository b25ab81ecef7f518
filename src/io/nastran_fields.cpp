#include "io/nastran_fields.h"

#include <algorithm>

namespace qv7::plexo::io {

namespace {

constexpr std::size_t TAB_STOP = 8, NARROW = 8, WIDE = 16, MARKER_COLUMN = 72, LAST_COLUMN = 80;

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

/// False when the text in these columns has a blank inside.
bool take_columns(std::string_view line, std::size_t column, std::size_t width, std::string_view& field) {
    field = trim(line.substr(std::min(column, line.size()), width));
    return std::none_of(field.begin(), field.end(), is_blank);
}

/// False when the line is not laid out in columns, which shows in a field with a blank inside.
bool split_columns(std::string_view line, large_fields large, bulk_line& cut) {
    if (!take_columns(line, 0, NARROW, cut.first)) return false;
    const bool wide = asks_for_large_fields(cut.first) || large == large_fields::yes ||
                      (large == large_fields::in_continuation && cut.is_continuation());
    if (wide) cut.room = 4;
    const std::size_t width = wide ? WIDE : NARROW;
    const std::size_t end = std::min(MARKER_COLUMN, line.size());
    for (std::size_t column = NARROW; column < end; column += width) {
        std::string_view field;
        if (!take_columns(line, column, width, field)) return false;
        add(cut, field);
    }
    if (line.size() > MARKER_COLUMN) {
        cut.next_marker = trim(line.substr(MARKER_COLUMN, LAST_COLUMN - MARKER_COLUMN));
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

/// Text beyond the last column that matters is dropped.
template <std::size_t N>
std::string_view expand_tabs(std::string_view line, std::array<char, N>& columns) {
    std::size_t n = 0;
    for (const char c : line) {
        if (n == N) break;
        if (c != '\t') {
            columns[n++] = c;
        } else {
            do columns[n++] = ' ';
            while (n % TAB_STOP != 0 && n < N);
        }
    }
    return {columns.data(), n};
}

void start(bulk_line& cut) {
    cut.count = 0;
    cut.room = 8;
    cut.next_marker = {};
}

} // namespace

void bulk_line_splitter::split(std::string_view line, large_fields large, bulk_line& cut) {
    start(cut);
    if (line.find(',') != line.npos) {
        split_free(line, cut);
    } else {
        const bool tabbed = line.find('\t') != line.npos;
        if (split_columns(tabbed ? expand_tabs(line, columns_) : line, large, cut)) return;
        start(cut);
        split_words(line, cut);
    }
    if (asks_for_large_fields(cut.first)) cut.room = 4;
    drop_marker(cut);
}

} // namespace qv7::plexo::io
