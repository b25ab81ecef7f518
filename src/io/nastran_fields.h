#pragma once

#include "io/text_reader.h"

#include <array>
#include <string_view>

namespace qv7::plexo::io {

/// One line of a bulk data deck cut into its first field, a keyword or the marker of a continuation, and the
/// data behind it. Empty fields at the end are dropped.
struct bulk_line {
    static constexpr unsigned int MOST_FIELDS = 32; // a 20-node hexahedron written on one line has 22

    std::string_view first;
    std::array<std::string_view, MOST_FIELDS> data;
    unsigned int count = 0;
    unsigned int room = 8;        ///< data fields of a line of this kind: 8, or 4 large ones
    std::string_view next_marker; ///< what the line names its continuation by

    /// True when the first field is the marker of a continuation or empty.
    bool is_continuation() const { return first.empty() || first.front() == '+' || first.front() == '*'; }
    /// True when the next line may continue this one even without a marker.
    bool invites_continuation() const { return count == room || !next_marker.empty(); }
};

/// Which lines that are laid out in columns have large fields, beside those whose first field has a '*'.
enum class large_fields { none, in_continuation, yes };

/// Cuts lines in any of the layouts in use: fields separated by commas, in columns of eight or sixteen
/// characters, or separated by blanks wherever they stand.
class bulk_line_splitter {
public:
    /// Cuts a line that has neither a remark nor blanks at its end, and is not empty. The fields point into
    /// the line or into this object, until the next call.
    void split(std::string_view line, large_fields large, bulk_line& cut);

private:
    static constexpr std::size_t COLUMNS = 80; ///< of a card; text behind them does not matter

    std::array<char, COLUMNS> columns_;
    std::size_t end_ = 0; ///< columns from here on are blank

    void lay_out(std::string_view line);
    bool split_columns(large_fields large, bulk_line& cut) const;
};

} // namespace qv7::plexo::io
