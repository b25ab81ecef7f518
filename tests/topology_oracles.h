#pragma once

/// \file
/// Random meshes full of coincidences, and the faces and edges of element shapes to compare with.

#include "test_containers.h"
#include "test_elements.h"

#include <plexo/topology.h>

namespace test {

using id_vector = std::vector<unsigned int>;

/// The local nodes of the faces and of the edges of a shape, and the types that have it, alone or among
/// others.
struct shape {
    unsigned int corners;
    std::vector<int> types;
    const char* faces;
    const char* edges;
};
inline const shape SHAPES[] = {
    {2, {ELEM_EDGE2, ELEM_EDGE3}, "1 0", "01"},
    {3, {ELEM_TRIA3, ELEM_TRIA6, ELEM_FACE_MIX}, "12 20 01", "12 20 01"},
    {4, {ELEM_QUAD4, ELEM_QUAD8, ELEM_QUAD9, ELEM_FACE_MIX}, "01 12 23 30", "01 12 23 30"},
    {4, {ELEM_TETRA4, ELEM_TETRA10, ELEM_SOLID_MIX}, "123 203 130 210", "01 12 20 03 13 23"},
    {5, {ELEM_PYRAMID5, ELEM_PYRAMID14, ELEM_SOLID_MIX}, "041 142 243 340 0123", "01 12 23 30 04 14 24 34"},
    {6, {ELEM_WEDGE6, ELEM_WEDGE18, ELEM_SOLID_MIX}, "012 354 2145 5302 0341", "01 12 20 03 14 25 34 45 53"},
    {8,
     {ELEM_HEXA8, ELEM_HEXA27, ELEM_SOLID_MIX},
     "0374 1562 0451 3267 0123 4765",
     "01 12 23 30 04 15 26 37 45 56 67 74"}};

/// The nodes that `local`, the faces or edges of a shape, names in column e.
inline std::vector<id_vector> parts_of(const dense2D<unsigned int>& connectivity, unsigned int e, int type,
                                       const char* shape::*local) {
    const unsigned int* column = connectivity.col_data(e);
    const auto nodes = std::find(column, column + connectivity.rows(), NO_ID) - column;
    const shape* found = nullptr; // of several, the first that is large enough
    for (const shape& s : SHAPES) {
        const bool has_it = std::find(s.types.begin(), s.types.end(), type) != s.types.end();
        if (has_it && (!found || found->corners < nodes)) found = &s;
    }
    std::vector<id_vector> parts(found ? 1 : 0);
    for (const char* c = found ? found->*local : ""; *c != '\0'; ++c) {
        if (*c == ' ') {
            parts.emplace_back();
        } else {
            parts.back().push_back(column[*c - '0']);
        }
    }
    return parts;
}

/// Elements over `nodes` IDs: 0, 1, …, or with a larger step those that far apart up to the last ID. A
/// quarter of them are an earlier one again with two nodes exchanged: faces coincide, elements degenerate.
inline dense2D<unsigned int> coincident_elements(dice& random, element_type type, unsigned int cols,
                                                 unsigned int nodes, unsigned int step = 1) {
    auto elements = random_elements(type, cols, nodes, random.generator());
    for (unsigned int e = 1; e < elements.cols(); ++e) {
        if (!random.one_in(4)) continue;
        unsigned int* column = elements.col_data(e);
        std::copy_n(elements.col_data(random.below(e)), elements.rows(), column);
        const auto used = unsigned(std::find(column, column + elements.rows(), NO_ID) - column);
        std::swap(column[random.below(used)], column[random.below(used)]);
    }
    for (unsigned int i = 0; step > 1 && i < elements.size(); ++i) {
        unsigned int& node = elements.data()[i];
        if (node != NO_ID) node = NO_ID - 1 - step * node;
    }
    return elements;
}

/// The same as callers may give them: with IDs close together or far apart, with a node that all elements
/// have, with absent nodes where the type takes them for nodes or else as a mixed surface, as a view.
inline dense2D<unsigned int> any_elements(dice& random, element_type& type, unsigned int cols,
                                          unsigned int nodes) {
    const unsigned int step = random.one_in(3) ? 1 + random.below(NO_ID / nodes - 1) : 1;
    auto elements = coincident_elements(random, type, cols, nodes, step);
    const bool mixed = type == ELEM_FACE_MIX || type == ELEM_SOLID_MIX;
    const bool has_hub = random.one_in(4), has_gaps = !mixed && random.one_in(6);
    for (unsigned int e = 0; e < elements.cols(); ++e) {
        if (has_hub) elements(random.below(3) % elements.rows(), e) = 0;
        for (unsigned int i = 0; has_gaps && i < elements.rows(); ++i) {
            if (random.one_in(3)) elements(i, e) = NO_ID;
        }
    }
    const bool surface = type == ELEM_TRIA3 || type == ELEM_QUAD4;
    if (surface && !has_gaps && random.one_in(2)) type = ELEM_FACE_MIX;
    return random.one_in(4) ? as_view(elements) : elements;
}

/// A type with faces: how many an element has, and how many rows each.
struct faced_type {
    element_type type;
    unsigned int faces, face_rows;
};
inline constexpr faced_type FACED_TYPES[] = {
    {ELEM_EDGE2, 2, 1},    {ELEM_TRIA3, 3, 2},  {ELEM_QUAD4, 4, 2},
    {ELEM_FACE_MIX, 4, 2}, {ELEM_TETRA4, 4, 3}, {ELEM_PYRAMID5, 5, 4},
    {ELEM_WEDGE6, 5, 4},   {ELEM_HEXA8, 6, 4},  {ELEM_SOLID_MIX, 6, 4}};

/// Calls check(elements, type) with few elements of every type over very few nodes, and now and then with
/// many.
template <typename Check>
void for_any_elements(dice random, unsigned int rounds, Check check) {
    for (unsigned int round = 0; round < rounds && !testing::Test::HasFatalFailure(); ++round) {
        const unsigned int most = round % 100 == 0 ? 400 : round % 100 < 3 ? 60 : 8;
        for (faced_type type : FACED_TYPES) {
            const auto elements =
                any_elements(random, type.type, 1 + random.below(most), 2 + random.below(most + 2));
            check(elements, type);
        }
    }
}

} // namespace test
