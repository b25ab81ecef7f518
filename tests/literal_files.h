#pragma once

/// \file
/// Literal forms of mesh files, put together by printf element by element, and what the writers of lists of
/// matrices (MEDIT, VTK, EnSight) have in common.

#include "literal_text.h"
#include "test_containers.h"
#include "test_elements.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace test {

/// An element of a file, which has a shape where its block may be mixed.
struct element {
    int type;
    std::vector<unsigned int> nodes;
    unsigned int property; ///< or the reference: the position of its block unless set otherwise
    int block_type;
    unsigned int block;

    bool operator==(const element& other) const {
        return type == other.type && nodes == other.nodes && property == other.property;
    }
};

/// The rows of the nodes in the places of a record, -1 for a place without; types that are missing have their
/// rows in order.
using node_orders = std::map<int, std::vector<int>>;

/// The nodes as a record lists them, 0 in a place without.
inline std::vector<unsigned int> listed(const element& e, const node_orders& orders) {
    if (!orders.count(e.type)) return e.nodes;
    std::vector<unsigned int> nodes;
    for (const int row : orders.at(e.type)) nodes.push_back(row < 0 ? 0 : e.nodes[std::size_t(row)]);
    return nodes;
}

using matrices = std::vector<dense2D<unsigned int>>;

inline std::vector<element> elements_of(const matrices& blocks, const std::vector<int>& types) {
    static const std::map<std::size_t, int> faces = {{3, ELEM_TRIA3}, {4, ELEM_QUAD4}};
    static const std::map<std::size_t, int> solids = {
        {4, ELEM_TETRA4}, {5, ELEM_PYRAMID5}, {6, ELEM_WEDGE6}, {8, ELEM_HEXA8}};
    std::vector<element> elements;
    for (unsigned int k = 0; k < blocks.size(); ++k) {
        for (unsigned int j = 0; j < blocks[k].cols(); ++j) {
            const unsigned int* const column = blocks[k].col_data(j);
            std::vector<unsigned int> nodes(column, column + blocks[k].rows());
            while (!nodes.empty() && nodes.back() == NO_ID) nodes.pop_back();
            int type = types[k];
            if (type == ELEM_FACE_MIX) type = faces.at(nodes.size());
            if (type == ELEM_SOLID_MIX) type = solids.at(nodes.size());
            elements.push_back({type, nodes, k, types[k], k});
        }
    }
    return elements;
}

/// Random lists of matrices of the types from `first_type` on, through the list form of a writer and its
/// short ones, which must give the literal files of their elements.
template <typename Output, typename Literal>
void expect_list_files(Output output, Literal literal_file, int first_type, unsigned int fewest_dimensions) {
    std::mt19937 random(1);
    const auto below = [&random](int n) { return int(random() % unsigned(n)); };
    for (int round = 0; round < 60; ++round) {
        const auto view_or_not = [&](const auto& m) { return m.empty() || round % 2 ? m : as_view(m); };
        const dense2D<double> pos =
            view_or_not(random_nodes(fewest_dimensions + unsigned(below(4 - int(fewest_dimensions))),
                                     unsigned(1 + below(30)), random));
        matrices list;
        std::vector<int> types;
        std::vector<element_type> codes;
        while (list.size() < 8) {
            types.push_back(first_type + below(21 - first_type));
            codes.push_back(element_type(types.back()));
            list.push_back(
                view_or_not(random_elements(codes.back(), unsigned(below(7)), pos.cols(), random)));
        }
        const temporary_file file("longer than nothing");
        const auto expect_file = [&](int status, const matrices& written) {
            ASSERT_EQ(status, 0) << round;
            ASSERT_EQ(file.content(), literal_file(pos, elements_of(written, types))) << round;
        };
        expect_file(output(file.path(), pos, list.data(), list.data() + list.size(), list_of(types)), list);
        expect_file(output(file.path(), pos, list[0], codes[0]), {list[0]});
        expect_file(output(file.path(), pos, list[0], list[1], codes[0], codes[1]), {list[0], list[1]});
    }
}

/// The checks of a writer in their order. One that opens its file first leaves it empty after a failure and
/// tells when the disk is full; the other leaves it as it was.
template <typename Output>
void expect_list_checks(Output output, bool opens_first) {
    const dense2D<double> pos(3, 3), four_rows(4, 3);
    const dense2D<unsigned int> triangle = id_matrix(3, {0, 1, 2}), gap = id_matrix(5, {0, 1, 2, NO_ID, 2});
    const dense2D<unsigned int> list[2] = {triangle, gap};
    const struct {
        int status;
        const dense2D<double>& pos;
        int first, last;
        std::vector<int> types;
    } cases[] = {// each fails all that follow as well
                 {-2, four_rows, 2, 0, {6}},
                 {-2, {}, 2, 0, {6}},
                 {-4, pos, 2, 0, {6}},
                 {-5, pos, 0, 2, {6}},
                 {-5, pos, 0, 2, {6, ELEM_SOLID_MIX, 6}},
                 {-3, pos, 0, 2, {6, ELEM_SOLID_MIX}},
                 {-3, pos, 1, 2, {ELEM_SOLID_MIX}},
                 {-3, pos, 0, 1, {ELEM_QUAD4}}};
    for (const auto& c : cases) {
        const temporary_file file("old");
        const auto write = [&](const char* path) {
            return output(path, c.pos, list + c.first, list + c.last, list_of(c.types));
        };
        EXPECT_EQ(write(file.path()), c.status);
        EXPECT_EQ(file.content(), opens_first ? "" : "old") << c.status;
        EXPECT_EQ(write(NO_SUCH_DIRECTORY), opens_first ? -1 : c.status);
    }
    EXPECT_EQ(output(NO_SUCH_DIRECTORY, pos, triangle, ELEM_TRIA3), -1);
    if (!temporary_file::can_fill_disk()) return;
    const int full = opens_first ? -1 : 0;
    EXPECT_EQ(output("/dev/full", pos, triangle, ELEM_TRIA3), full);
    EXPECT_EQ(output("/dev/full", pos, triangle, triangle, ELEM_TRIA3, ELEM_TRIA3), full);
}

} // namespace test
