#pragma once

/// \file
/// Topology as plain programs for one shape have it: what the general functions are measured against.

#include <plexo/containers.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace bench {

using namespace qv7::plexo;

/// Neighbours of triangles by node buckets: each edge scans the triangles of one of its nodes and stops at
/// the first other that has both. Manifold input only.
inline std::vector<unsigned int> node_bucket_neighbors(const dense2D<unsigned int>& triangles,
                                                       unsigned int nodes) {
    const unsigned int n = triangles.cols();
    const unsigned int* t = triangles.data();
    std::vector<unsigned int> start(std::size_t(nodes) + 2), bucket(std::size_t(n) * 3);
    for (std::size_t k = 0; k < std::size_t(n) * 3; ++k) ++start[t[k] + 2];
    for (std::size_t k = 2; k < start.size(); ++k) start[k] += start[k - 1];
    for (std::size_t k = 0; k < std::size_t(n) * 3; ++k)
        bucket[start[t[k] + 1]++] = static_cast<unsigned int>(k / 3);
    std::vector<unsigned int> neighbors(std::size_t(n) * 3, NO_ID);
    for (unsigned int e = 0; e < n; ++e) {
        for (unsigned int k = 0; k < 3; ++k) {
            const unsigned int a = t[3 * std::size_t(e) + (k + 1) % 3],
                               b = t[3 * std::size_t(e) + (k + 2) % 3];
            for (unsigned int slot = start[a]; slot < start[a + 1]; ++slot) {
                const unsigned int* other = t + 3 * std::size_t(bucket[slot]);
                if (bucket[slot] != e && (other[0] == b || other[1] == b || other[2] == b)) {
                    neighbors[3 * std::size_t(e) + k] = bucket[slot];
                    break;
                }
            }
        }
    }
    return neighbors;
}

struct keyed_face {
    std::uint64_t key;
    unsigned int third, code;
};

/// Sorts whole face keys by radix, 11 bits a pass, least significant first.
inline void radix_sort(std::vector<keyed_face>& faces, unsigned int nodes, bool with_third) {
    std::vector<keyed_face> other(faces.size());
    unsigned int bits = 1;
    while (bits < 32 && (nodes >> bits) != 0) ++bits;
    const auto pass = [&](auto digit) {
        std::vector<std::size_t> count(2049);
        for (const keyed_face& f : faces) ++count[digit(f) + 1];
        for (std::size_t k = 1; k < count.size(); ++k) count[k] += count[k - 1];
        for (const keyed_face& f : faces) other[count[digit(f)]++] = f;
        faces.swap(other);
    };
    if (with_third) {
        for (unsigned int shift = 0; shift < bits; shift += 11) {
            pass([shift](const keyed_face& f) { return (f.third >> shift) & 2047u; });
        }
    }
    for (const unsigned int base : {0u, 32u}) {
        for (unsigned int shift = 0; shift < bits; shift += 11) {
            pass([=](const keyed_face& f) {
                return static_cast<unsigned int>(f.key >> (base + shift)) & 2047u;
            });
        }
    }
}

/// Neighbours of triangles or tetrahedra by sorting the node lists of their faces. Manifold input only.
inline std::vector<unsigned int> sorted_face_neighbors(const dense2D<unsigned int>& connectM,
                                                       unsigned int nodes) {
    const unsigned int rows = connectM.rows();
    std::vector<keyed_face> faces;
    faces.reserve(connectM.size());
    for (unsigned int e = 0; e < connectM.cols(); ++e) {
        const unsigned int* column = connectM.col_data(e);
        for (unsigned int k = 0; k < rows; ++k) {
            std::array<unsigned int, 3> face{NO_ID, NO_ID, NO_ID};
            for (unsigned int i = 0, to = 0; i < rows; ++i) {
                if (i != k) face[to++] = column[i];
            }
            if (face[1] < face[0]) std::swap(face[0], face[1]);
            if (face[2] < face[1]) std::swap(face[1], face[2]);
            if (face[1] < face[0]) std::swap(face[0], face[1]);
            faces.push_back({std::uint64_t(face[0]) << 32 | face[1], face[2], e * rows + k});
        }
    }
    radix_sort(faces, nodes, rows == 4);
    std::vector<unsigned int> neighbors(connectM.size(), NO_ID);
    for (std::size_t k = 0; k + 1 < faces.size(); ++k) {
        if (faces[k].key != faces[k + 1].key || faces[k].third != faces[k + 1].third) continue;
        neighbors[faces[k].code] = faces[k + 1].code / rows;
        neighbors[faces[k + 1].code] = faces[k].code / rows;
    }
    return neighbors;
}

/// The distinct edges of tetrahedra by sorting all of them; the smaller node is in the upper half.
inline std::vector<std::uint64_t> sorted_edges(const dense2D<unsigned int>& tetrahedra) {
    std::vector<std::uint64_t> edges;
    edges.reserve(6 * std::size_t(tetrahedra.cols()));
    for (unsigned int e = 0; e < tetrahedra.cols(); ++e) {
        const unsigned int* column = tetrahedra.col_data(e);
        for (unsigned int i = 0; i < 4; ++i) {
            for (unsigned int k = i + 1; k < 4; ++k) {
                const auto [a, b] = std::minmax(column[i], column[k]);
                edges.push_back(std::uint64_t(a) << 32 | b);
            }
        }
    }
    std::sort(edges.begin(), edges.end());
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    return edges;
}

} // namespace bench
