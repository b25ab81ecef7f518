#pragma once

#include "topology/element_edges.h"
#include "topology/element_faces.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace qv7::plexo {

inline constexpr double SQRT_2 = 1.4142135623730951;
inline constexpr double SQRT_3 = 1.7320508075688772;
inline constexpr double SQRT_6 = 2.449489742783178;

/// A corner and the three corners at the other ends of its edges, the last seen from the side where the first
/// two turn counter-clockwise.
struct corner_edges {
    unsigned int corner;
    unsigned int neighbours[3];
};
/// Four corners with a positive determinant in a sound element; CORNERS itself stands for the centre.
using validity_tetrahedron = std::array<unsigned int, 4>;

/// The four tetrahedra of each quadrangular face against the centre. The faces of wedges and hexahedra turn
/// counter-clockwise seen from inside the element.
template <const shape_faces& FACES>
constexpr auto faces_against_centre() {
    constexpr auto QUADRANGLES =
        static_cast<std::size_t>(std::count(FACES.size, FACES.size + FACES.count, 4));
    std::array<validity_tetrahedron, 4 * QUADRANGLES> result{};
    std::size_t t = 0;
    for (unsigned int f = 0; f < FACES.count; ++f) {
        if (FACES.size[f] != 4) continue;
        const auto& corner = FACES.nodes[f];
        for (unsigned int k = 0; k < 4; ++k) {
            result[t++] = {corner[(k + 1) % 4], corner[k], corner[(k + 3) % 4], FACES.corners};
        }
    }
    return result;
}

template <std::size_t M, std::size_t N>
constexpr std::array<validity_tetrahedron, M + N> joined(const std::array<validity_tetrahedron, M>& first,
                                                         const std::array<validity_tetrahedron, N>& second) {
    std::array<validity_tetrahedron, M + N> result{};
    for (std::size_t k = 0; k < M + N; ++k) result[k] = k < M ? first[k] : second[k - M];
    return result;
}

struct pyramid {
    static constexpr unsigned int CORNERS = 5;
    static constexpr double FACTOR = 12 * SQRT_3;
    static constexpr corner_edges RATED_CORNERS[4] = {
        {0, {1, 3, 4}}, {1, {2, 0, 4}}, {2, {3, 1, 4}}, {3, {0, 2, 4}}};
    static constexpr const shape_edges& EDGES = PYRAMID_EDGES;
    /// In the sum of squared lengths the base edges weigh half, so that equal edges are ideal.
    static constexpr double weight(unsigned int, unsigned int to) { return to == 4 ? 1 : 0.5; }
    static constexpr std::array<validity_tetrahedron, 4> VALIDITY = {
        {{0, 2, 1, 4}, {1, 3, 2, 4}, {2, 0, 3, 4}, {3, 1, 0, 4}}};
};

struct wedge {
    static constexpr unsigned int CORNERS = 6;
    static constexpr double FACTOR = 18 * SQRT_3;
    static constexpr corner_edges RATED_CORNERS[6] = {{0, {1, 2, 3}}, {1, {2, 0, 4}}, {2, {0, 1, 5}},
                                                      {3, {5, 4, 0}}, {4, {3, 5, 1}}, {5, {4, 3, 2}}};
    static constexpr const shape_edges& EDGES = WEDGE_EDGES;
    static constexpr double weight(unsigned int, unsigned int) { return 1; }
    static constexpr auto VALIDITY =
        joined(faces_against_centre<WEDGE_FACES>(),
               std::array<validity_tetrahedron, 2>{{{1, 0, 2, 3}, {5, 3, 4, 0}}});
};

struct hexahedron {
    static constexpr unsigned int CORNERS = 8;
    static constexpr double FACTOR = 24 * SQRT_3;
    static constexpr corner_edges RATED_CORNERS[8] = {{0, {1, 3, 4}}, {1, {2, 0, 5}}, {2, {3, 1, 6}},
                                                      {3, {0, 2, 7}}, {4, {7, 5, 0}}, {5, {4, 6, 1}},
                                                      {6, {5, 7, 2}}, {7, {6, 4, 3}}};
    static constexpr const shape_edges& EDGES = HEXAHEDRON_EDGES;
    static constexpr double weight(unsigned int, unsigned int) { return 1; }
    static constexpr auto VALIDITY = faces_against_centre<HEXAHEDRON_FACES>();
};

} // namespace qv7::plexo
