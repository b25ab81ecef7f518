#include <plexo/quality.h>

#include <plexo/ids.h>

#include "shape_ratings.h"

#include <algorithm>
#include <functional>

namespace qv7::plexo {

namespace {

/// Elements whose corners are gathered, coordinate by coordinate, before they are rated side by side.
constexpr unsigned int BLOCK = 32;
/// Elements between asking for a node's cache line and using it.
constexpr unsigned int PREFETCH_DISTANCE = 16;

template <unsigned int CORNERS, unsigned int D>
struct corner_block {
    lanes at[CORNERS][D][BLOCK / LANES];

    void set(unsigned int element, const double* const (&corners)[CORNERS]) {
        for (unsigned int k = 0; k < CORNERS; ++k) {
            for (unsigned int d = 0; d < D; ++d) at[k][d][element / LANES][element % LANES] = corners[k][d];
        }
    }
};

/// LANES elements of a block.
template <unsigned int CORNERS, unsigned int D>
struct element_group {
    const corner_block<CORNERS, D>& block;
    unsigned int group;

    auto operator[](std::size_t k) const {
        const auto& corner = block.at[k];
        if constexpr (D == 2)
            return vector2<lanes>{corner[0][group], corner[1][group]};
        else
            return vector3<lanes>{corner[0][group], corner[1][group], corner[2][group]};
    }
};

/// One element.
template <unsigned int CORNERS, unsigned int D>
struct single_element {
    double at[CORNERS][D];

    auto operator[](std::size_t k) const {
        if constexpr (D == 2)
            return vector2<double>{at[k][0], at[k][1]};
        else
            return vector3<double>{at[k][0], at[k][1], at[k][2]};
    }
};

template <unsigned int D>
struct triangle_shape {
    static constexpr unsigned int CORNERS = 3, DIMENSION = D;
    static constexpr double NOT_FINITE = UNDECIDED;
    static auto rate(const auto& p) { return triangle_rating(p); }
};

template <unsigned int D>
struct quadrangle_shape {
    static constexpr unsigned int CORNERS = 4, DIMENSION = D;
    static constexpr double NOT_FINITE = UNDECIDED;
    static auto rate(const auto& p) { return quadrangle_rating(p); }
};

struct tetrahedron_shape {
    static constexpr unsigned int CORNERS = 4, DIMENSION = 3;
    static constexpr double NOT_FINITE = 0;
    static auto rate(const auto& p) { return tetrahedron_rating(p); }
};

template <typename Solid>
struct solid_shape {
    static constexpr unsigned int CORNERS = Solid::CORNERS, DIMENSION = 3;
    static constexpr double NOT_FINITE = UNDECIDED;
    static auto rate(const auto& p) { return solid_rating<Solid>(p); }
};

/// Rates an element of extreme magnitude, moved to its first corner and scaled by a power of two to about
/// unit size; NOT_FINITE for one with a coordinate that is not.
template <typename Shape>
double scaled_rating(const double* const (&corners)[Shape::CORNERS]) {
    constexpr unsigned int D = Shape::DIMENSION;
    double largest = 0;
    for (const double* corner : corners) {
        for (unsigned int d = 0; d < D; ++d) {
            if (!std::isfinite(corner[d])) return Shape::NOT_FINITE;
            largest = std::max(largest, std::abs(corner[d]));
        }
    }
    const double unit = largest > 1 ? 0.5 : 1; // differences of halves do not overflow
    single_element<Shape::CORNERS, D> moved;
    double size = 0;
    for (unsigned int k = 0; k < Shape::CORNERS; ++k) {
        for (unsigned int d = 0; d < D; ++d) {
            moved.at[k][d] = corners[k][d] * unit - corners[0][d] * unit;
            size = std::max(size, std::abs(moved.at[k][d]));
        }
    }
    if (size == 0) return 0;
    const int exponent = std::ilogb(size);
    for (auto& corner : moved.at) {
        for (double& coordinate : corner) coordinate = std::ldexp(coordinate, -exponent);
    }
    return Shape::rate(moved);
}

/// Rates the columns for which wanted(column) holds; the others' entries of `qualities` are left alone.
template <typename Shape, typename Wanted>
void rate_columns(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, double* qualities,
                  Wanted wanted) {
    constexpr unsigned int D = Shape::DIMENSION;
    const double* const nodes = pos.data();
    const std::size_t node_stride = pos.ld();
    const unsigned int* const columns = connectM.data();
    const std::size_t column_stride = connectM.ld();
    const unsigned int n = connectM.cols();

    const auto corners_of = [&](const unsigned int* column, const double*(&corners)[Shape::CORNERS]) {
        for (unsigned int k = 0; k < Shape::CORNERS; ++k) corners[k] = nodes + column[k] * node_stride;
    };
    const double* corners[Shape::CORNERS];
    corner_block<Shape::CORNERS, D> block{};
    unsigned int rated[BLOCK];
    unsigned int filled = 0;
    const auto flush = [&] {
        for (unsigned int i = 0; i < filled; i += LANES) {
            const lanes ratings = Shape::rate(element_group<Shape::CORNERS, D>{block, i / LANES});
            for (unsigned int l = 0; l < LANES && i + l < filled; ++l) {
                const unsigned int j = rated[i + l];
                qualities[j] = ratings[l];
                if (!std::isnan(ratings[l])) continue;
                corners_of(columns + j * column_stride, corners);
                qualities[j] = scaled_rating<Shape>(corners);
            }
        }
        filled = 0;
    };
    for (unsigned int j = 0; j < n; ++j) {
        const unsigned int* const column = columns + j * column_stride;
        if (n - j > PREFETCH_DISTANCE && wanted(column + PREFETCH_DISTANCE * column_stride)) {
            corners_of(column + PREFETCH_DISTANCE * column_stride, corners);
            for (const double* corner : corners) __builtin_prefetch(corner);
        }
        if (!wanted(column)) continue;
        corners_of(column, corners);
        block.set(filled, corners);
        rated[filled++] = j;
        if (filled == BLOCK) flush();
    }
    flush();
}

template <typename Shape>
void rate_all(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, double* qualities) {
    rate_columns<Shape>(pos, connectM, qualities, [](const unsigned int*) { return true; });
}

template <unsigned int D>
void rate_faces(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, element_type type,
                double* qualities) {
    if (type == ELEM_QUAD4) return rate_all<quadrangle_shape<D>>(pos, connectM, qualities);
    if (type == ELEM_TRIA3 || connectM.rows() == 3)
        return rate_all<triangle_shape<D>>(pos, connectM, qualities);
    rate_columns<triangle_shape<D>>(pos, connectM, qualities,
                                    [](const unsigned int* column) { return column[3] == NO_ID; });
    rate_columns<quadrangle_shape<D>>(pos, connectM, qualities,
                                      [](const unsigned int* column) { return column[3] != NO_ID; });
}

/// The type that a matrix is rated as: a mixed one as the solid of its row count; ELEM_NONE when `type` is
/// not rated.
element_type rated_type(element_type type, unsigned int rows) {
    switch (type) {
    case ELEM_SOLID_MIX:
        return rows == 4 ? ELEM_TETRA4 : rows == 5 ? ELEM_PYRAMID5 : rows == 6 ? ELEM_WEDGE6 : ELEM_HEXA8;
    case ELEM_EDGE2:
    case ELEM_FACE_MIX:
    case ELEM_TRIA3:
    case ELEM_QUAD4:
    case ELEM_TETRA4:
    case ELEM_PYRAMID5:
    case ELEM_WEDGE6:
    case ELEM_HEXA8:
        return type;
    default:
        return ELEM_NONE;
    }
}

/// Rates one matrix into an array of connectM.cols() entries, which a failure leaves unspecified.
int rate_matrix(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, element_type type,
                double* qualities) {
    const element_type rated = rated_type(type, connectM.rows());
    if (rated == ELEM_NONE) return -3;
    if (connectM.empty()) {
        std::fill_n(qualities, connectM.cols(), 0.0);
        return 0;
    }
    const bool solid = rated >= ELEM_TETRA4;
    if (pos.rows() != 3 && (solid || pos.rows() != 2)) return -2;
    if (!check_IDs(connectM, rated, pos.cols())) return -2;

    switch (rated) {
    case ELEM_EDGE2:
        std::fill_n(qualities, connectM.cols(), 1.0);
        break;
    case ELEM_TETRA4:
        rate_all<tetrahedron_shape>(pos, connectM, qualities);
        break;
    case ELEM_PYRAMID5:
        rate_all<solid_shape<pyramid>>(pos, connectM, qualities);
        break;
    case ELEM_WEDGE6:
        rate_all<solid_shape<wedge>>(pos, connectM, qualities);
        break;
    case ELEM_HEXA8:
        rate_all<solid_shape<hexahedron>>(pos, connectM, qualities);
        break;
    default:
        if (pos.rows() == 2)
            rate_faces<2>(pos, connectM, rated, qualities);
        else
            rate_faces<3>(pos, connectM, rated, qualities);
    }
    return 0;
}

/// The range form with the types as an array.
int rate_range(const dense2D<double>& pos, const dense2D<unsigned int>* first,
               const dense2D<unsigned int>* last, const int* types, std::size_t type_count,
               dense1D<double, 16>& qualities) {
    qualities.clear();
    if (std::less<>()(last, first)) return -3;
    if (static_cast<std::size_t>(last - first) != type_count) return -4;

    std::size_t total = 0;
    for (const dense2D<unsigned int>* m = first; m != last; ++m) total += m->cols();
    if (total > NO_ID || !qualities.resize_for_overwrite(static_cast<unsigned int>(total))) return -199;

    double* stretch = qualities.data();
    for (const dense2D<unsigned int>* m = first; m != last; stretch += m->cols(), ++m) {
        const element_type type = m->empty() ? ELEM_EDGE2 : static_cast<element_type>(types[m - first]);
        if (const int code = rate_matrix(pos, *m, type, stretch); code != 0) {
            qualities.clear();
            return code;
        }
    }
    return 0;
}

int count_range(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                const dense2D<unsigned int>* last, const int* types, std::size_t type_count,
                misc::histogram& histo) {
    dense1D<double, 16> qualities;
    const int code = rate_range(pos, first, last, types, type_count, qualities);
    if (code == 0) histo.process(qualities);
    return code;
}

} // namespace

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, element_type type,
                    dense1D<double, 16>& qualities) {
    qualities.clear();
    if (!qualities.resize_for_overwrite(connectM.cols())) return -199;
    const int code = rate_matrix(pos, connectM, type, qualities.data());
    if (code != 0) qualities.clear();
    return code;
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                    const dense2D<unsigned int>* last, const dense1D<int, 16>& types,
                    dense1D<double, 16>& qualities) {
    return rate_range(pos, first, last, types.data(), types.size(), qualities);
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                    const dense2D<unsigned int>* last, const dense1D<int, 16>& types,
                    misc::histogram& histo) {
    return count_range(pos, first, last, types.data(), types.size(), histo);
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, element_type type,
                    misc::histogram& histo) {
    const int code = type;
    return count_range(pos, &connectM, &connectM + 1, &code, 1, histo);
}

} // namespace qv7::plexo
