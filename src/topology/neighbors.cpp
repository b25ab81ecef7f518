#include <plexo/topology.h>

#include <plexo/ids.h>

#include "containers/scratch.h"
#include "element_faces.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <type_traits>
#include <utility>

namespace qv7::plexo {

namespace {

/// A face under its code, its nodes in an order that depends on nothing but which faces it matches.
template <unsigned int N>
struct keyed_face {
    std::array<unsigned int, N> key;
    unsigned int code; ///< NO_ID once the face has been dealt with
};

void sort_pair(unsigned int& a, unsigned int& b) {
    if (b < a) std::swap(a, b);
}

/// The same key for faces that match, and different keys for others; the smallest node comes first, but for
/// quadrangles with two opposite nodes absent.
///
/// What a quadrangle keeps when it is turned or reversed is its two diagonals as unordered pairs. A triangle
/// in four rows puts NO_ID, which is never below a real node, where no quadrangle has it.
template <unsigned int N>
std::array<unsigned int, N> matching_key(std::array<unsigned int, N> face) {
    if constexpr (N == 2) {
        sort_pair(face[0], face[1]);
    } else if constexpr (N == 3) {
        sort_pair(face[0], face[1]);
        sort_pair(face[1], face[2]);
        sort_pair(face[0], face[1]);
    } else if constexpr (N == 4) {
        if (face[3] == NO_ID) {
            const auto [a, b, c] = matching_key<3>({face[0], face[1], face[2]});
            return {a, c, NO_ID, b};
        }
        sort_pair(face[0], face[2]);
        sort_pair(face[1], face[3]);
        const bool swapped =
            std::pair(face[1], face[3]) < std::pair(face[0], face[2]) ? face[0] != NO_ID : face[1] == NO_ID;
        return swapped ? std::array{face[1], face[3], face[0], face[2]}
                       : std::array{face[0], face[2], face[1], face[3]};
    }
    return face;
}

/// Links the faces of one bucket, which stand in the order of their codes. `neighbors` is F × elements
/// without gaps, so that the code of a face is also the index of its entry.
template <unsigned int F, unsigned int N>
void match_bucket(keyed_face<N>* first, keyed_face<N>* last, bool flag, unsigned int* neighbors) {
    for (; first != last; ++first) {
        if (first->code == NO_ID) continue;
        unsigned int matches = 0;
        unsigned int partner = NO_ID;
        for (keyed_face<N>* other = first + 1; other != last; ++other) {
            if (other->code == NO_ID || other->key != first->key) continue;
            if (flag) neighbors[other->code] = first->code / F;
            partner = std::exchange(other->code, NO_ID);
            ++matches;
        }
        if (matches == 0 || (matches > 1 && !flag)) continue;
        neighbors[first->code] = partner / F;
        neighbors[partner] = first->code / F;
    }
}

/// Calls visit(code, nodes) for every face in the order of the codes.
template <const face_table& Table, typename Visit>
void for_each_face(const dense2D<unsigned int>& connectivity, Visit visit) {
    const unsigned int* column = connectivity.data();
    for (unsigned int e = 0; e < connectivity.cols(); ++e, column += connectivity.ld()) {
        const shape_faces& shape = shape_of(Table, column);
        for (unsigned int k = 0; k < shape.count; ++k) {
            visit(e * Table.faces + k, face_nodes<Table.face_rows>(shape, k, column));
        }
    }
}

// Roughly doubling primes, so that the buckets hold about four faces each.
constexpr unsigned int BUCKET_COUNTS[] = {53,        97,         193,        389,       769,       1543,
                                          3079,      6151,       12289,      24593,     49157,     98317,
                                          196613,    393241,     786433,     1572869,   3145739,   6291469,
                                          12582917,  25165843,   50331653,   100663319, 201326611, 402653189,
                                          805306457, 1610612741, 3221225473, 4294967291};

unsigned int bucket_count(unsigned int faces) {
    const auto* count = std::lower_bound(std::begin(BUCKET_COUNTS), std::end(BUCKET_COUNTS), faces / 4);
    return count == std::end(BUCKET_COUNTS) ? *std::prev(count) : *count;
}

/// The FNV-1 constants combined by a sum, so that the order of the nodes does not matter.
template <std::size_t N>
unsigned int face_hash(const std::array<unsigned int, N>& face) {
    unsigned int hash = 0;
    for (const unsigned int node : face) hash += (node ^ 0x811C9DC5u) * 16777619u;
    return hash;
}

/// Links all faces through a hash table whose chains lie one behind the other: counted, summed up, filled in
/// the order of the codes. False when memory runs out.
template <const face_table& Table>
bool match_by_hash(const dense2D<unsigned int>& connectivity, bool flag, unsigned int* neighbors) {
    constexpr unsigned int N = Table.face_rows;
    const unsigned int most_faces = connectivity.cols() * Table.faces;
    const unsigned int buckets = bucket_count(most_faces);
    scratch<unsigned int> ends;
    scratch<keyed_face<N>> faces;
    if (!ends.allocate_filled(std::size_t(buckets) + 1, 0x00) || !faces.allocate(most_faces)) return false;

    unsigned int* end = ends.data() + 1; // becomes the end of each bucket, with a start before the first
    for_each_face<Table>(connectivity, [&](unsigned int, const std::array<unsigned int, N>& face) {
        ++end[face_hash(face) % buckets];
    });
    unsigned int total = 0;
    for (unsigned int b = 0; b < buckets; ++b) total += std::exchange(end[b], total);
    for_each_face<Table>(connectivity, [&](unsigned int code, const std::array<unsigned int, N>& face) {
        faces[end[face_hash(face) % buckets]++] = {matching_key<N>(face), code};
    });
    for (unsigned int b = 0; b < buckets; ++b) {
        match_bucket<Table.faces>(faces.data() + ends[b], faces.data() + ends[b + 1], flag, neighbors);
    }
    return true;
}

template <const face_table& Table>
int link_faces(const dense2D<unsigned int>& connectivity, bool flag, dense2D<unsigned int>& neighbors) {
    if (connectivity.rows() != Table.rows) return -1;
    // A code fits 32 bits, because a type has at most as many faces as rows and rows * columns fits.
    if (neighbors.resize_for_overwrite(Table.faces, connectivity.cols())) {
        std::fill_n(neighbors.data(), neighbors.size(), NO_ID);
        if (match_by_hash<Table>(connectivity, flag, neighbors.data())) return 0;
    }
    neighbors.clear();
    return -199;
}

} // namespace

int get_neighbors(const dense2D<unsigned int>& connectivity, element_type type, bool flag,
                  dense2D<unsigned int>& neighbors) {
    const dense2D<unsigned int> elements = connectivity; // which may be the output itself
    neighbors.clear();
    if (elements.empty()) return 0;
    type = without_mixed_triangles(type, elements.rows());
    if (!check_IDs(elements, type, NO_ID)) return -1;
    switch (type) { // a connectivity with other rows than its type's gives -1 here
    case ELEM_EDGE2:
        return link_faces<EDGE2_TABLE>(elements, flag, neighbors);
    case ELEM_TRIA3:
        return link_faces<TRIA3_TABLE>(elements, flag, neighbors);
    case ELEM_QUAD4:
        return link_faces<QUAD4_TABLE>(elements, flag, neighbors);
    case ELEM_FACE_MIX:
        return link_faces<FACE_MIX_TABLE>(elements, flag, neighbors);
    case ELEM_TETRA4:
        return link_faces<TETRA4_TABLE>(elements, flag, neighbors);
    case ELEM_PYRAMID5:
        return link_faces<PYRAMID5_TABLE>(elements, flag, neighbors);
    case ELEM_WEDGE6:
        return link_faces<WEDGE6_TABLE>(elements, flag, neighbors);
    case ELEM_HEXA8:
        return link_faces<HEXA8_TABLE>(elements, flag, neighbors);
    case ELEM_SOLID_MIX:
        return link_faces<SOLID_MIX_TABLE>(elements, flag, neighbors);
    default:
        return -2;
    }
}

} // namespace qv7::plexo
