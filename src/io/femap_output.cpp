#include <plexo/io.h>

#include "io/element_ranges.h"
#include "io/femap_records.h"
#include "io/text_writer.h"

namespace qv7::plexo {

namespace {

using namespace io;

constexpr std::string_view NODES_HEAD = "*********************************\n"
                                        "*********** NODES ***************\n"
                                        "*********************************\n"
                                        "-1\n"
                                        "403\n";
constexpr std::string_view ELEMENTS_HEAD = "*********************************\n"
                                           "********* ELEMENTS **************\n"
                                           "*********************************\n"
                                           "-1\n"
                                           "404\n";
constexpr std::string_view BLOCK_END = "-1\n";
constexpr std::string_view RECORD_TAIL = "0.,0.,0.,0,0,0,0,0,0,\n"
                                         "0.,0.,0.,\n"
                                         "0.,0.,0.,\n"
                                         "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";

void write_nodes(text_writer& file, const dense2D<double>& pos) {
    constexpr std::string_view ATTRIBUTES = ",0,0,1,0,0,0,0,0,0,0,";
    constexpr std::size_t LONGEST_LINE = 10 + ATTRIBUTES.size() + 3 * (LONGEST_SHORT_NUMBER + 1) + 3;
    file.text(NODES_HEAD);
    for (unsigned int i = 0; i < pos.cols(); ++i) {
        const double* const point = pos.col_data(i);
        char* out = put_text(put_unsigned(file.room(LONGEST_LINE), i), ATTRIBUTES);
        for (unsigned int k = 0; k < 3; ++k) out = put_char(put_general(out, point[k]), ',');
        file.advance(put_text(out, "0,\n"));
    }
    file.text(BLOCK_END);
}

/// The slots [first, last) of a record's node list, 0 where the order has no row.
char* put_slots(char* out, const node_order& order, const unsigned int* nodes, unsigned int first,
                unsigned int last) {
    for (unsigned int slot = first; slot < last; ++slot) {
        const bool used = slot < order.places && order.row_at[slot] != node_order::NO_ROW;
        out = used ? put_char(put_unsigned(out, nodes[order.row_at[slot]]), ',') : put_text(out, "0,");
    }
    return put_char(out, '\n');
}

void write_elements(text_writer& file, const ranged_mesh& mesh) {
    constexpr std::size_t LONGEST_RECORD = 64 + FEMAP_SLOTS * 11 + RECORD_TAIL.size();
    file.text(ELEMENTS_HEAD);
    const unsigned int* const properties = mesh.properties.data();
    for_each_element(mesh, [&](element_type shape, element_type, unsigned int ID, const unsigned int* nodes) {
        const int topology = FEMAP_TOPOLOGIES[shape];
        if (topology == NO_TOPOLOGY) return;
        char* out = put_char(put_unsigned(file.room(LONGEST_RECORD), ID), ',');
        out = put_text(put_unsigned(out, properties[ID]), ",0,32,");
        out = put_text(put_unsigned(out, static_cast<unsigned int>(topology)), ",1,0,0,0,0,0,0,0,\n");
        out = put_slots(out, FEMAP_ORDERS[shape], nodes, 0, FEMAP_SLOTS / 2);
        out = put_slots(out, FEMAP_ORDERS[shape], nodes, FEMAP_SLOTS / 2, FEMAP_SLOTS);
        file.advance(put_text(out, RECORD_TAIL));
    });
    file.text(BLOCK_END);
}

void write_blocks(text_writer& file, const ranged_mesh& mesh) {
    write_nodes(file, mesh.pos);
    write_elements(file, mesh);
}

} // namespace

int FEMAP_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                 const dense1D<unsigned int, 16>& ranges, const dense1D<int, 16>& types,
                 const dense1D<unsigned int, 16>& properties) {
    return write_ranged_mesh(path, {pos, connectM, ranges, types, properties}, write_blocks);
}

// The two short forms pass one property number per block, where the check asks for one per element: callers
// rely on the -6 that this gives for more elements.

int FEMAP_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                 element_type type) {
    dense1D<unsigned int, 16> ranges(2, 0);
    const dense1D<unsigned int, 16> properties(1, 1);
    const dense1D<int, 16> types(1, type);
    if (ranges.empty() || types.empty() || properties.empty()) return -199;
    ranges[1] = connectM.cols();
    return FEMAP_output(path, pos, connectM, ranges, types, properties);
}

int FEMAP_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectA,
                 const dense2D<unsigned int>& connectB, element_type typeA, element_type typeB) {
    dense2D<unsigned int> joined;
    dense1D<unsigned int, 16> ranges, properties;
    dense1D<int, 16> types;
    if (!join_blocks(connectA, connectB, typeA, typeB, joined, ranges, types)) return -199;
    if (!properties.resize(1, 1) || !properties.resize(2, 2)) return -199;
    return FEMAP_output(path, pos, joined, ranges, types, properties);
}

} // namespace qv7::plexo
