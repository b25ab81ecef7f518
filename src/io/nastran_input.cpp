#include <plexo/io.h>

#include "io/element_blocks.h"
#include "io/fortran_number.h"
#include "io/nastran_cards.h"
#include "io/nastran_fields.h"
#include "io/text_reader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace qv7::plexo {

namespace {

using namespace io;

constexpr char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr bool same_letter(char a, char b) {
    return upper(a) == b;
}
/// The words are given in upper case, the text may be in either.
bool contains(std::string_view text, std::string_view words) {
    return std::search(text.begin(), text.end(), words.begin(), words.end(), same_letter) != text.end();
}

/// A card's name of up to eight characters in upper case, packed for comparisons.
struct card_name {
    std::uint64_t characters; ///< as in memory, zeros behind them
    std::size_t size;

    constexpr explicit card_name(std::string_view upper_case) : characters(0), size(upper_case.size()) {
        std::array<char, 8> text{};
        std::copy(upper_case.begin(), upper_case.end(), text.begin());
        characters = std::bit_cast<std::uint64_t>(text);
    }
    friend constexpr bool operator==(const card_name&, const card_name&) = default;
};

/// The name in a field, none when it is longer. Looks at eight characters in any case, as a line has them
/// behind it.
card_name name_in(std::string_view field) {
    card_name name{""};
    if (field.empty() || field.size() > 8) return name;
    constexpr std::uint64_t EVERY = 0x0101010101010101;
    std::memcpy(&name.characters, field.data(), 8);
    const auto behind = static_cast<int>(64 - 8 * field.size());
    if constexpr (std::endian::native == std::endian::little) {
        name.characters = name.characters << behind >> behind;
    } else {
        name.characters = name.characters >> behind << behind;
    }
    const std::uint64_t low_bits = name.characters & EVERY * 0x7F;
    const std::uint64_t is_lower = (low_bits + EVERY * (0x80 - 'a')) & ~(low_bits + EVERY * (0x7F - 'z')) &
                                   ~name.characters & EVERY * 0x80;
    name.characters -= is_lower >> 2; // 'a' - 'A' is 0x20
    name.size = field.size();
    return name;
}

/// What a keyword stands for: the type with the most nodes for which the card has enough.
struct element_keyword {
    card_name name;
    element_type fewest_nodes, most_nodes;
};
constexpr element_keyword ELEMENT_KEYWORDS[] = {
    {card_name("TRIA3"), ELEM_TRIA3, ELEM_TRIA3},     {card_name("QUAD4"), ELEM_QUAD4, ELEM_QUAD4},
    {card_name("TETRA"), ELEM_TETRA4, ELEM_TETRA10},  {card_name("HEXA"), ELEM_HEXA8, ELEM_HEXA20},
    {card_name("PENTA"), ELEM_PYRAMID5, ELEM_WEDGE6}, {card_name("TRIA6"), ELEM_TRIA3, ELEM_TRIA6},
    {card_name("QUAD8"), ELEM_QUAD4, ELEM_QUAD8},     {card_name("BAR"), ELEM_EDGE2, ELEM_EDGE2},
    {card_name("BEAM"), ELEM_EDGE2, ELEM_EDGE2},      {card_name("ROD"), ELEM_EDGE2, ELEM_EDGE2},
};

const element_keyword* find_keyword(std::string_view first) {
    if (!first.empty() && first.back() == '*') first.remove_suffix(1);
    if (!first.empty() && upper(first.front()) == 'C') first.remove_prefix(1);
    const card_name name = name_in(first);
    for (const element_keyword& keyword : ELEMENT_KEYWORDS) {
        if (keyword.name == name) return &keyword;
    }
    return nullptr;
}

/// An element card whose continuation may still come.
struct open_card {
    const element_keyword* keyword = nullptr;
    unsigned int property = 0;
    std::array<unsigned int, node_order::MAX_PLACES> nodes{};
    unsigned int count = 0;
    bool all_taken = false; ///< nothing that follows is a node any more
    bool large = false;
    bool invites_continuation = false;

    /// Takes the nodes among the data of a line, from field `from` on, up to the first that is none.
    void take_nodes(const bulk_line& line, unsigned int from) {
        const unsigned int most = NODES_PER_ELEMENT[keyword->most_nodes];
        for (unsigned int k = from; k < line.count && !all_taken; ++k) {
            all_taken = !parse_ID(line.data[k], nodes[count]) || ++count == most;
        }
        large = line.room == 4;
        invites_continuation = line.invites_continuation();
    }
};

class deck_reader {
public:
    deck_reader(line_reader& file, gathered_mesh& mesh) : file_(file), mesh_(mesh) {}

    /// 0 or -199.
    int read() {
        while (file_.next(line_) && !contains(line_, "BEGIN BULK")) {
        }
        int status = 0;
        while (status == 0 && !at_end_ && next_line()) status = read_line();
        return status == 0 ? close_card() : status;
    }

private:
    /// Steps to the next line with something besides a remark, which content_ then is.
    bool next_line() {
        if (pushed_back_) {
            pushed_back_ = false;
            return true;
        }
        while (file_.next(line_)) {
            const std::size_t remark = line_.find('$');
            content_ = line_.substr(0, remark);
            while (!content_.empty() && is_blank(content_.back())) content_.remove_suffix(1);
            if (!content_.empty()) return true;
            if (remark != line_.npos && contains(line_, "ENDDATA")) {
                at_end_ = true;
                break;
            }
        }
        return false;
    }

    int read_line() {
        splitter_.split(content_, card_.large ? large_fields::in_continuation : large_fields::none, fields_);
        if (fields_.is_continuation()) return continue_card();
        if (const int status = close_card(); status != 0) return status;
        const card_name name = name_in(fields_.first);
        if (name == card_name("GRID")) return read_grid_point(false);
        if (name == card_name("GRID*")) return read_grid_point(true);
        if (const element_keyword* keyword = find_keyword(fields_.first)) return open_element(*keyword);
        at_end_ = contains(line_, "ENDDATA");
        return 0;
    }

    // -------------------------------------------------------------- grid points

    /// Takes up to three coordinates in all from the fields from `from` on. A field without a point is none
    /// (it is a coordinate system, or blank); one with several holds numbers of eight characters each.
    struct coordinates {
        double value[3] = {};
        unsigned int count = 0;

        void take(const bulk_line& line, unsigned int from, unsigned int end) {
            for (unsigned int k = from; k < end && count < 3; ++k) take(line.data[k]);
        }
        void take(std::string_view field) {
            auto points = std::count(field.begin(), field.end(), '.');
            for (; points > 1 && count < 3; --points) {
                scan_fortran_double(field.substr(0, 8), value[count++]);
                field.remove_prefix(std::min<std::size_t>(8, field.size()));
            }
            if (points == 1 && count < 3) scan_fortran_double(field, value[count++]);
        }
    };

    int read_grid_point(bool large) {
        std::uint64_t ID = 0;
        const bool named = fields_.count != 0 && parse_ID(fields_.data[0], ID);
        coordinates point;
        point.take(fields_, 1, fields_.count);
        if (large) take_third_coordinate(point);
        return !named || mesh_.nodes.set(ID, point.value) ? 0 : -199;
    }

    /// The line behind a GRID* card continues it, whatever marks it, unless it is plainly another card.
    void take_third_coordinate(coordinates& point) {
        std::array<char, 8> marker{};
        const std::size_t length = fields_.next_marker.copy(marker.data(), marker.size());
        if (!next_line()) return;
        splitter_.split(content_, large_fields::yes, fields_);
        const bool named = length != 0 && fields_.first == std::string_view(marker.data(), length);
        if (named || fields_.is_continuation()) {
            point.take(fields_, 0, std::min(fields_.count, 1u));
        } else {
            pushed_back_ = true;
        }
    }

    // -------------------------------------------------------------- elements

    int open_element(const element_keyword& keyword) {
        card_ = open_card();
        card_.keyword = &keyword;
        // A blank property means the one with the element's own number.
        if (fields_.count > 1 && !parse_ID(fields_.data[1], card_.property)) {
            if (!fields_.data[1].empty() || !parse_ID(fields_.data[0], card_.property)) card_.property = 0;
        }
        card_.take_nodes(fields_, 2);
        return 0;
    }

    int continue_card() {
        at_end_ = fields_.count != 0 && name_in(fields_.data[0]) == card_name("ENDDATA");
        const bool marked = !fields_.first.empty();
        if (!card_.keyword || card_.all_taken || !(marked || card_.invites_continuation)) return 0;
        card_.take_nodes(fields_, 0);
        return 0;
    }

    /// Stores the element of the open card, if it has nodes enough.
    int close_card() {
        if (!card_.keyword) return 0;
        element_type type = card_.keyword->most_nodes;
        if (card_.count < NODES_PER_ELEMENT[type]) type = card_.keyword->fewest_nodes;
        card_.keyword = nullptr;
        card_.large = false;
        if (card_.count < NODES_PER_ELEMENT[type]) return 0;
        unsigned int* const column = mesh_.elements.add(type, card_.property);
        if (!column) return -199;
        const place_order& places = NASTRAN_PLACES[type];
        for (unsigned int row = 0; row < places.rows; ++row) column[row] = card_.nodes[places.place_of[row]];
        return 0;
    }

    line_reader& file_;
    gathered_mesh& mesh_;
    bulk_line_splitter splitter_;
    bulk_line fields_;
    open_card card_;
    std::string_view line_;    ///< as it stands in the file
    std::string_view content_; ///< the line without a remark and blanks at its end
    bool pushed_back_ = false; ///< the line is still to be read as a card
    bool at_end_ = false;
};

} // namespace

int NASTRAN_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM,
                  dense1D<unsigned int, 16>& ranges, dense1D<int, 16>& types,
                  dense1D<unsigned int, 16>& properties) {
    return read_blocks<deck_reader>(path, pos, connectM, ranges, types, properties);
}

int NASTRAN_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM,
                  element_type& type) {
    return read_one_block<deck_reader>(path, pos, connectM, type);
}

int NASTRAN_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectA,
                  dense2D<unsigned int>& connectB, element_type& typeA, element_type& typeB) {
    return read_two_blocks<deck_reader>(path, pos, connectA, connectB, typeA, typeB);
}

} // namespace qv7::plexo
