#pragma once

/// \file
/// Random meshes full of coincidences, and the faces and edges of element shapes to compare with.

#include "test_containers.h"
#include "test_elements.h"

#include <plexo/topology.h>

#include <array>

namespace test {

using id_vector = std::vector<unsigned int>;

/// A type with faces: how many an element has, and how many rows each.
struct faced_type {
    element_type type;
    unsigned int faces, face_rows;
};
inline constexpr faced_type FACED_TYPES[] = {
    {ELEM_EDGE2, 2, 1},    {ELEM_TRIA3, 3, 2},  {ELEM_QUAD4, 4, 2},
    {ELEM_FACE_MIX, 4, 2}, {ELEM_TETRA4, 4, 3}, {ELEM_PYRAMID5, 5, 4},
    {ELEM_WEDGE6, 5, 4},   {ELEM_HEXA8, 6, 4},  {ELEM_SOLID_MIX, 6, 4}};

/// The local nodes of the faces and of the edges of a shape, and the types that have it.
struct shape {
    std::vector<int> types;
    const char* faces;
    const char* edges;
};
inline const shape SHAPES[] = {
    {{ELEM_EDGE2, ELEM_EDGE3}, "1 0", "01"},
    {{ELEM_TRIA3, ELEM_TRIA6}, "12 20 01", "12 20 01"},
    {{ELEM_QUAD4, ELEM_QUAD8, ELEM_QUAD9}, "01 12 23 30", "01 12 23 30"},
    {{ELEM_TETRA4, ELEM_TETRA10}, "123 203 130 210", "01 12 20 03 13 23"},
    {{ELEM_PYRAMID5, ELEM_PYRAMID14}, "041 142 243 340 0123", "01 12 23 30 04 14 24 34"},
    {{ELEM_WEDGE6, ELEM_WEDGE18}, "012 354 2145 5302 0341", "01 12 20 03 14 25 34 45 53"},
    {{ELEM_HEXA8, ELEM_HEXA27}, "0374 1562 0451 3267 0123 4765", "01 12 23 30 04 15 26 37 45 56 67 74"},
    {{}, "", ""}};

/// The nodes that `local` (SHAPES::faces or SHAPES::edges) names in column e.
inline std::vector<id_vector> parts_of(const dense2D<unsigned int>& connectivity, unsigned int e, int type,
                                       const char* shape::*local) {
    const unsigned int* column = connectivity.col_data(e);
    const auto nodes = std::find(column, column + connectivity.rows(), NO_ID) - column;
    if (type == ELEM_FACE_MIX) type = nodes == 3 ? ELEM_TRIA3 : ELEM_QUAD4;
    if (type == ELEM_SOLID_MIX) {
        type = nodes == 4 ? ELEM_TETRA4 : nodes == 5 ? ELEM_PYRAMID5 : nodes == 6 ? ELEM_WEDGE6 : ELEM_HEXA8;
    }
    const shape* s = SHAPES;
    while (!s->types.empty() && std::find(s->types.begin(), s->types.end(), type) == s->types.end()) ++s;
    std::vector<id_vector> parts;
    bool begins = true;
    for (const char* c = s->*local; *c != '\0'; ++c) {
        if (begins) parts.emplace_back();
        begins = *c == ' ';
        if (!begins) parts.back().push_back(column[*c - '0']);
    }
    return parts;
}

/// Elements over `nodes` IDs: 0, 1, …, or with a larger step those that far apart up to the last ID. A
/// quarter of the elements are an earlier one again, perhaps with two nodes exchanged: faces coincide,
/// elements degenerate.
inline dense2D<unsigned int> coincident_elements(dice& random, element_type type, unsigned int cols,
                                                 unsigned int nodes, unsigned int step = 1) {
    auto elements = random_elements(type, cols, nodes, random.generator());
    for (unsigned int e = 0; e < elements.cols(); ++e) {
        unsigned int* column = elements.col_data(e);
        if (e > 0 && random.one_in(4))
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

/// A step for coincident_elements: mostly 1, else anything up to the largest that there is room for.
inline unsigned int any_step(dice& random, unsigned int nodes) {
    return random.one_in(3) ? 1 + random.below(NO_ID / nodes - 1) : 1;
}

} // namespace test

#include <algorithm>
#include <array>
#include <initializer_list>
#include <random>
#include <vector>

namespace oracle {

using namespace qv7::plexo;
using face = std::vector<unsigned int>;

/// Random 32-bit numbers, the same on every platform.
struct dice {
    std::mt19937 engine;
    explicit dice(unsigned int seed) : engine(seed) {}
    unsigned int operator()() { return static_cast<unsigned int>(engine()); }
};

inline constexpr element_type FACED_TYPES[] = {ELEM_EDGE2,    ELEM_TRIA3,  ELEM_QUAD4,
                                               ELEM_FACE_MIX, ELEM_TETRA4, ELEM_PYRAMID5,
                                               ELEM_WEDGE6,   ELEM_HEXA8,  ELEM_SOLID_MIX};

inline unsigned int rows_of(element_type type) {
    return type == ELEM_FACE_MIX ? 4 : type == ELEM_SOLID_MIX ? 8 : NODES_PER_ELEMENT[type];
}

inline unsigned int faces_of(element_type type) {
    switch (type) {
    case ELEM_EDGE2:
        return 2;
    case ELEM_TRIA3:
        return 3;
    case ELEM_QUAD4:
    case ELEM_FACE_MIX:
    case ELEM_TETRA4:
        return 4;
    case ELEM_PYRAMID5:
    case ELEM_WEDGE6:
        return 5;
    default:
        return 6;
    }
}

inline unsigned int face_rows_of(element_type type) {
    switch (type) {
    case ELEM_EDGE2:
        return 1;
    case ELEM_TRIA3:
    case ELEM_QUAD4:
    case ELEM_FACE_MIX:
        return 2;
    case ELEM_TETRA4:
        return 3;
    default:
        return 4;
    }
}

/// The faces of one column, each with as many entries as the type's faces have rows.
inline std::vector<face> faces_of_column(const unsigned int* c, element_type type) {
    switch (type) {
    case ELEM_EDGE2:
        return {{c[1]}, {c[0]}};
    case ELEM_TRIA3:
        return {{c[1], c[2]}, {c[2], c[0]}, {c[0], c[1]}};
    case ELEM_QUAD4:
        return {{c[0], c[1]}, {c[1], c[2]}, {c[2], c[3]}, {c[3], c[0]}};
    case ELEM_FACE_MIX:
        return faces_of_column(c, c[3] == NO_ID ? ELEM_TRIA3 : ELEM_QUAD4);
    case ELEM_TETRA4:
        return {{c[1], c[2], c[3]}, {c[2], c[0], c[3]}, {c[1], c[3], c[0]}, {c[2], c[1], c[0]}};
    case ELEM_PYRAMID5:
        return {{c[0], c[4], c[1], NO_ID},
                {c[1], c[4], c[2], NO_ID},
                {c[2], c[4], c[3], NO_ID},
                {c[3], c[4], c[0], NO_ID},
                {c[0], c[1], c[2], c[3]}};
    case ELEM_WEDGE6:
        return {{c[0], c[1], c[2], NO_ID},
                {c[3], c[5], c[4], NO_ID},
                {c[2], c[1], c[4], c[5]},
                {c[5], c[3], c[0], c[2]},
                {c[0], c[3], c[4], c[1]}};
    case ELEM_HEXA8:
        return {{c[0], c[3], c[7], c[4]}, {c[1], c[5], c[6], c[2]}, {c[0], c[4], c[5], c[1]},
                {c[3], c[2], c[6], c[7]}, {c[0], c[1], c[2], c[3]}, {c[4], c[7], c[6], c[5]}};
    default:
        break; // ELEM_SOLID_MIX
    }
    if (c[4] != NO_ID) {
        return faces_of_column(c, c[5] == NO_ID ? ELEM_PYRAMID5 : c[6] == NO_ID ? ELEM_WEDGE6 : ELEM_HEXA8);
    }
    std::vector<face> faces = faces_of_column(c, ELEM_TETRA4);
    for (face& f : faces) f.push_back(NO_ID);
    return faces;
}

/// True when turning b, or its reverse, gives a.
inline bool same_cycle(const face& a, face b) {
    for (int reversed = 0; reversed < 2; ++reversed) {
        for (std::size_t turn = 0; turn < b.size(); ++turn) {
            if (a == b) return true;
            std::rotate(b.begin(), b.begin() + 1, b.end());
        }
        std::reverse(b.begin(), b.end());
    }
    return false;
}

inline bool match(const face& first, const face& second) {
    if (!std::is_permutation(first.begin(), first.end(), second.begin())) return false;
    face a = first;
    face b = second;
    if (a.size() == 4 && (a[3] == NO_ID || b[3] == NO_ID)) {
        if (a[3] != b[3]) return false;
        a.pop_back();
        b.pop_back();
    }
    return same_cycle(a, b);
}

/// The rules for neighbours word by word, over one chain that holds all faces.
inline std::vector<unsigned int> neighbors(const dense2D<unsigned int>& connectivity, element_type type,
                                           bool flag) {
    const unsigned int F = faces_of(type);
    struct entry {
        face nodes;
        unsigned int code;
    };
    std::vector<entry> chain;
    for (unsigned int e = 0; e < connectivity.cols(); ++e) {
        const auto faces = faces_of_column(connectivity.col_data(e), type);
        for (unsigned int k = 0; k < faces.size(); ++k) chain.push_back({faces[k], e * F + k});
    }
    std::vector<unsigned int> result(std::size_t(F) * connectivity.cols(), NO_ID);
    for (std::size_t f = 0; f < chain.size(); ++f) {
        const unsigned int f_code = chain[f].code;
        if (f_code == NO_ID) continue;
        entry* previous = nullptr;
        unsigned int matches = 0;
        for (std::size_t g = f + 1; g < chain.size(); ++g) {
            const unsigned int g_code = chain[g].code;
            if (g_code == NO_ID || !match(chain[f].nodes, chain[g].nodes)) continue;
            if (flag) {
                result[f_code] = g_code / F;
                result[g_code] = f_code / F;
                chain[g].code = NO_ID;
                continue;
            }
            if (previous) {
                result[previous->code] = NO_ID;
                previous->code = NO_ID;
            }
            previous = &chain[g];
            ++matches;
        }
        if (matches == 1) {
            result[f_code] = previous->code / F;
            result[previous->code] = f_code / F;
        }
        if (previous) previous->code = NO_ID;
    }
    return result;
}

/// A valid mesh over the IDs first, first + step, … , so few of them that faces coincide, elements repeat and
/// degenerate.
inline dense2D<unsigned int> random_mesh(dice& random, element_type type, unsigned int elements,
                                         unsigned int nodes, unsigned int first = 0, unsigned int step = 1) {
    dense2D<unsigned int> connectivity(rows_of(type), elements, NO_ID);
    for (unsigned int e = 0; e < elements; ++e) {
        unsigned int used = rows_of(type);
        if (type == ELEM_FACE_MIX) used = 3 + random() % 2;
        if (type == ELEM_SOLID_MIX) used = std::array{4u, 5u, 6u, 8u}[random() % 4];
        unsigned int* column = connectivity.col_data(e);
        if (e > 0 && random() % 4 == 0) { // an earlier element again, perhaps with two nodes exchanged
            std::copy_n(connectivity.col_data(unsigned(random() % e)), connectivity.rows(), column);
            while (used > 0 && column[used - 1] == NO_ID) --used;
            std::swap(column[random() % used], column[random() % used]);
            continue;
        }
        for (unsigned int i = 0; i < used; ++i) column[i] = first + step * (random() % nodes);
    }
    return connectivity;
}

/// The same entries as a view that has rows and columns of others around it.
inline dense2D<unsigned int> framed(const dense2D<unsigned int>& matrix, unsigned int filler = 7) {
    dense2D<unsigned int> block(matrix.rows() + 3, matrix.cols() + 2, filler);
    dense2D<unsigned int> view = block.sub_matrix(1, 1, matrix.rows(), matrix.cols());
    for (unsigned int j = 0; j < matrix.cols(); ++j) {
        std::copy_n(matrix.col_data(j), matrix.rows(), view.col_data(j));
    }
    return view;
}

inline dense2D<unsigned int> matrix(unsigned int rows, std::initializer_list<unsigned int> columnwise) {
    dense2D<unsigned int> m(rows, unsigned(columnwise.size()) / rows);
    std::copy(columnwise.begin(), columnwise.end(), m.data());
    return m;
}

inline std::vector<unsigned int> entries(const dense2D<unsigned int>& m) {
    std::vector<unsigned int> all;
    for (unsigned int j = 0; j < m.cols(); ++j) {
        all.insert(all.end(), m.col_data(j), m.col_data(j) + m.rows());
    }
    return all;
}

inline std::vector<unsigned int> entries(const dense1D<unsigned int, 16>& v) {
    return {v.begin(), v.end()};
}

} // namespace oracle
