#include <plexo/io.h>

#include "io/element_ranges.h"
#include "io/nastran_cards.h"
#include "io/text_writer.h"

#include <cstring>

namespace qv7::plexo {

namespace {

using namespace io;

constexpr std::string_view ELEMENT_BANNER = "$----------------------------------------\n"
                                            "$                                        \n"
                                            "$                 ELEMENTS               \n"
                                            "$                                        \n"
                                            "$----------------------------------------\n";
constexpr std::string_view MATERIAL = "$----------------------------------------\n"
                                      "$ Referenced Material Records -----------\n"
                                      "$ Material Record :    ------------------\n"
                                      "$ Description of Material :   -----------\n"
                                      "MAT1    1       0.                 0.  0.\n";
constexpr std::string_view GRID_BANNER = "$----------------------------------------\n"
                                         "$                                        \n"
                                         "$                GRID POINTS             \n"
                                         "$                                        \n"
                                         "$----------------------------------------\n";

constexpr std::size_t LARGE_FIELD = 16;

/// Blocks of these types are left out whole. Pyramids of a mixed block are not: they get a card without
/// nodes.
bool is_left_out(element_type block_type) {
    switch (block_type) {
    case ELEM_EDGE3:
    case ELEM_QUAD9:
    case ELEM_PYRAMID5:
    case ELEM_PYRAMID14:
    case ELEM_WEDGE18:
    case ELEM_HEXA27:
        return true;
    default:
        return NODES_PER_ELEMENT[block_type] == 0 && block_type != ELEM_FACE_MIX &&
               block_type != ELEM_SOLID_MIX;
    }
}

char* put_entry(char* out, unsigned int value) {
    return put_char(put_unsigned(out, value), ',');
}

/// Blanks from the end of a field's text up to its width, which no ID or number exceeds. Writes blanks behind
/// the field too, which what follows overwrites.
char* pad_field(char* field, char* end) {
    static_assert(LONGEST_SHORT_NUMBER <= LARGE_FIELD);
    std::memset(end, ' ', LARGE_FIELD);
    return field + LARGE_FIELD;
}

void write_elements(text_writer& file, const ranged_mesh& mesh) {
    constexpr std::size_t LONGEST_CARD = 8 + (2 + node_order::MAX_PLACES) * 11;
    const unsigned int* const properties = mesh.properties.data();
    for_each_element(
        mesh, [&](element_type shape, element_type block_type, unsigned int ID, const unsigned int* nodes) {
            if (is_left_out(block_type)) return;
            const bool without_nodes = shape == ELEM_PYRAMID5 || shape == ELEM_NODE1;
            char* out = put_char(put_text(file.room(LONGEST_CARD), NASTRAN_KEYWORDS[shape]), ',');
            out = put_entry(put_entry(out, ID), properties[ID]);
            if (without_nodes) {
                for (unsigned int i = 0; i < NODES_PER_ELEMENT[shape]; ++i) out = put_text(out, "0,");
            } else {
                const node_order& order = NASTRAN_ORDERS[shape];
                for (unsigned int p = 0; p < order.places; ++p) out = put_entry(out, nodes[order.row_at[p]]);
            }
            file.advance(put_char(out, '\n'));
        });
}

void write_grid_points(text_writer& file, const dense2D<double>& pos) {
    constexpr std::size_t LONGEST_PAIR = 2 * 8 + 5 * LARGE_FIELD + 2;
    for (unsigned int i = 0; i < pos.cols(); ++i) {
        const double* const point = pos.col_data(i);
        char* field = put_text(file.room(LONGEST_PAIR), "GRID*   ");
        field = pad_field(field, put_unsigned(field, i));
        field = pad_field(field, put_general_showpoint(field, point[0]));
        field = pad_field(field, put_general_showpoint(field, point[1]));
        field = put_text(field, "\n*       ");
        file.advance(put_char(put_general_showpoint(field, point[2]), '\n'));
    }
}

void write_deck(text_writer& file, const ranged_mesh& mesh) {
    file.text("$ QV7 Plexo Nastran exporter\nBEGIN BULK\n");
    file.text(ELEMENT_BANNER);
    write_elements(file, mesh);
    file.text(MATERIAL);
    file.text(GRID_BANNER);
    write_grid_points(file, mesh.pos);
    file.text("ENDDATA\n");
}

} // namespace

int NASTRAN_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                   const dense1D<unsigned int, 16>& ranges, const dense1D<int, 16>& types,
                   const dense1D<unsigned int, 16>& properties) {
    return write_ranged_mesh(path, {pos, connectM, ranges, types, properties}, write_deck);
}

int NASTRAN_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                   element_type type) {
    dense1D<unsigned int, 16> ranges(2, 0), properties;
    const dense1D<int, 16> types(1, type);
    if (ranges.empty() || types.empty() || !properties.resize(connectM.cols(), 1)) return -199;
    ranges[1] = connectM.cols();
    return NASTRAN_output(path, pos, connectM, ranges, types, properties);
}

int NASTRAN_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectA,
                   const dense2D<unsigned int>& connectB, element_type typeA, element_type typeB) {
    dense2D<unsigned int> joined;
    dense1D<unsigned int, 16> ranges, properties;
    dense1D<int, 16> types;
    if (!join_blocks(connectA, connectB, typeA, typeB, joined, ranges, types)) return -199;
    if (!properties.resize(ranges[1], 1) || !properties.resize(ranges[2], 2)) return -199;
    return NASTRAN_output(path, pos, joined, ranges, types, properties);
}

} // namespace qv7::plexo
