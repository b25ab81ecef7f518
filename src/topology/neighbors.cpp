#include <plexo/topology.h>

#include <plexo/ids.h>

#include "containers/runs.h"
#include "containers/scratch.h"
#include "element_faces.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

namespace qv7::plexo {

namespace {

/// A face under its code, its nodes in an order that depends on nothing but which faces it matches.
template <unsigned int N>
struct keyed_face {
    std::array<unsigned int, N> key;
    unsigned int code; ///< NO_ID once the face has been dealt with
};

/// Without the library call that comparing two arrays is.
template <std::size_t N>
bool same_key(const std::array<unsigned int, N>& a, const std::array<unsigned int, N>& b) {
    unsigned int difference = 0;
    for (std::size_t i = 0; i < N; ++i) difference |= a[i] ^ b[i];
    return difference == 0;
}

/// Without a branch, which a scattered numbering would make a gamble.
void sort_pair(unsigned int& a, unsigned int& b) {
    const unsigned int smaller = std::min(a, b);
    b = std::max(a, b);
    a = smaller;
}

/// The same key for faces that match, and different keys for others; the smallest node comes first, but for
/// quadrangles with two opposite nodes absent.
///
/// What a quadrangle keeps when it is turned or reversed is its two diagonals as unordered pairs. A triangle
/// in four rows puts NO_ID, which is never below a real node, where no quadrangle has it.
template <unsigned int N>
[[gnu::always_inline]] inline std::array<unsigned int, N> matching_key(std::array<unsigned int, N> face) {
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
        // Adding one wraps a diagonal of absent nodes around to the front.
        const std::uint64_t p = (std::uint64_t(face[0]) << 32 | face[2]) + 1;
        const std::uint64_t q = (std::uint64_t(face[1]) << 32 | face[3]) + 1;
        const std::uint64_t first = std::min(p, q) - 1;
        const std::uint64_t second = std::max(p, q) - 1;
        return {static_cast<unsigned int>(first >> 32), static_cast<unsigned int>(first),
                static_cast<unsigned int>(second >> 32), static_cast<unsigned int>(second)};
    }
    return face;
}

/// Links the faces of one bucket at a time. `neighbors` is F × elements without gaps, so that the code of a
/// face is also the index of its entry.
template <unsigned int F, unsigned int N>
class bucket_matcher {
public:
    bucket_matcher(bool flag, unsigned int* neighbors) noexcept : flag_(flag), neighbors_(neighbors) {}

    /// Links what matches among faces in the order of their codes. Expected O(faces). False when memory runs
    /// out.
    [[nodiscard]] bool match(keyed_face<N>* first, keyed_face<N>* last) noexcept {
        if (last - first > FEW) return match_many(first, static_cast<std::size_t>(last - first));
        match_few(first, last);
        return true;
    }

private:
    // Up to so many faces are compared each with each.
    static constexpr std::ptrdiff_t FEW = 12;

    /// A group of matching faces.
    struct group {
        unsigned int first;   ///< position in the bucket, NO_ID in a free slot
        unsigned int partner; ///< code of the second, NO_ID without one; that of the first from the third on
    };

    void link(unsigned int code, unsigned int other) noexcept {
        neighbors_[code] = other / F;
        neighbors_[other] = code / F;
    }

    void match_few(keyed_face<N>* first, keyed_face<N>* last) noexcept {
        for (; first != last; ++first) {
            if (first->code == NO_ID) continue;
            unsigned int matches = 0;
            unsigned int partner = NO_ID;
            for (keyed_face<N>* other = first + 1; other != last; ++other) {
                if (!same_key(other->key, first->key) || other->code == NO_ID) continue;
                partner = std::exchange(other->code, NO_ID);
                if (flag_) link(first->code, partner);
                ++matches;
            }
            if (matches == 1) link(first->code, partner);
        }
    }

    bool match_many(const keyed_face<N>* faces, std::size_t n) noexcept {
        const std::size_t slots = std::bit_ceil(2 * n);
        if (groups_.size() < slots && !groups_.allocate(slots)) return false;
        std::memset(static_cast<void*>(groups_.data()), 0xFF, slots * sizeof(group));
        for (std::size_t i = 0; i < n; ++i) {
            std::size_t slot = slot_of(faces[i].key) & (slots - 1);
            while (groups_[slot].first != NO_ID && !same_key(faces[groups_[slot].first].key, faces[i].key)) {
                slot = (slot + 1) & (slots - 1);
            }
            join(groups_[slot], faces, static_cast<unsigned int>(i));
        }
        return true;
    }

    void join(group& g, const keyed_face<N>* faces, unsigned int i) noexcept {
        if (g.first == NO_ID) {
            g.first = i;
            return;
        }
        const unsigned int code = faces[i].code;
        const unsigned int first = faces[g.first].code;
        if (flag_ || g.partner == NO_ID) {
            link(first, code);
            g.partner = code;
        } else {
            neighbors_[first] = neighbors_[g.partner] = NO_ID;
            g.partner = first;
        }
    }

    /// Keys that follow one another share a cache line of slots; lines are scattered.
    static std::size_t slot_of(const std::array<unsigned int, N>& key) noexcept {
        std::uint64_t hash = key[0] >> 3;
        for (unsigned int i = 1; i < N; ++i) hash = hash * 0x9E3779B97F4A7C15u + key[i];
        hash *= 0x9E3779B97F4A7C15u;
        return static_cast<std::size_t>(hash >> 32 << 3) | (key[0] & 7u);
    }

    bool flag_;
    unsigned int* neighbors_;
    scratch<group> groups_;
};

/// Sorts faces into buckets, where they stand in the order in which `for_each(visit)` passes visit(bucket,
/// face): counted, summed up, filled. Bucket b ends up at faces[ends[b]] … faces[ends[b + 1] - 1]; `ends`
/// comes as zeros.
template <unsigned int N, typename ForEach>
void sort_into_buckets(ForEach for_each, std::size_t buckets, unsigned int* ends, keyed_face<N>* faces) {
    unsigned int* end = ends + 1;
    for_each([end](std::size_t bucket, const keyed_face<N>&) { ++end[bucket]; });
    unsigned int total = 0;
    for (std::size_t b = 0; b < buckets; ++b) total += std::exchange(end[b], total);
    for_each([=](std::size_t bucket, const keyed_face<N>& face) { faces[end[bucket]++] = face; });
}

/// Matches the faces of every bucket that sort_into_buckets left.
template <unsigned int F, unsigned int N>
bool match_buckets(bucket_matcher<F, N>& matcher, std::size_t buckets, const unsigned int* ends,
                   keyed_face<N>* faces) {
    for (std::size_t b = 0; b < buckets; ++b) {
        if (!matcher.match(faces + ends[b], faces + ends[b + 1])) return false;
    }
    return true;
}

/// Calls visit(code, nodes) for every face in the order of the codes.
template <const face_table& Table, typename Visit>
void for_each_face(const dense2D<unsigned int>& connectivity, Visit visit) {
    const unsigned int* column = connectivity.data();
    const std::size_t ld = connectivity.ld();
    const unsigned int cols = connectivity.cols();
    for (unsigned int e = 0; e < cols; ++e, column += ld) {
        for_each_face_of<Table>(column,
                                [=](unsigned int k, const std::array<unsigned int, Table.face_rows>& nodes) {
                                    visit(e * Table.faces + k, nodes);
                                });
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

/// Links all faces through a hash table whose chains lie one behind the other, in the order of the codes. For
/// IDs of any kind. False when memory runs out.
template <const face_table& Table>
bool match_by_hash(const dense2D<unsigned int>& connectivity, unsigned int /*nodes*/, bool flag,
                   unsigned int* neighbors) {
    constexpr unsigned int N = Table.face_rows;
    const unsigned int most_faces = connectivity.cols() * Table.faces;
    const unsigned int buckets = bucket_count(most_faces);
    scratch<unsigned int> ends;
    scratch<keyed_face<N>> faces;
    if (!ends.allocate_filled(std::size_t(buckets) + 1, 0x00) || !faces.allocate(most_faces)) return false;
    sort_into_buckets<N>(
        [&](auto put) {
            for_each_face<Table>(
                connectivity, [=](unsigned int code, const std::array<unsigned int, N>& nodes) {
                    put(face_hash(nodes) % buckets, keyed_face<N>{matching_key<N>(nodes), code});
                });
        },
        buckets, ends.data(), faces.data());
    bucket_matcher<Table.faces, N> matcher(flag, neighbors);
    return match_buckets(matcher, buckets, ends.data(), faces.data());
}

/// Entries of a key that tell apart faces with the same smallest node: those behind it, if there are any.
template <unsigned int N>
constexpr unsigned int REST = N == 1 ? 1 : N - 1;

template <unsigned int N>
std::array<unsigned int, REST<N>> behind_smallest(const std::array<unsigned int, N>& key) {
    std::array<unsigned int, REST<N>> rest;
    for (std::size_t i = 0; i < rest.size(); ++i) rest[i] = key[N - rest.size() + i];
    return rest;
}

/// Links all faces by buckets of faces with the same smallest node, which lie close together where the
/// numbering does. For meshes without absent nodes, whose IDs are below `nodes`. False when memory runs out.
template <const face_table& Table>
bool match_by_smallest_node(const dense2D<unsigned int>& connectivity, unsigned int nodes, bool flag,
                            unsigned int* neighbors) {
    constexpr unsigned int N = Table.face_rows;
    using face = keyed_face<REST<N>>;
    scratch<unsigned int> ends;
    scratch<face> faces;
    if (!ends.allocate_filled(std::size_t(nodes) + 1, 0x00) ||
        !faces.allocate(std::size_t(connectivity.cols()) * Table.faces)) {
        return false;
    }
    sort_into_buckets<REST<N>>(
        [&](auto put) {
            for_each_face<Table>(connectivity,
                                 [=](unsigned int code, const std::array<unsigned int, N>& corners) {
                                     const auto key = matching_key<N>(corners);
                                     put(key[0], face{behind_smallest<N>(key), code});
                                 });
        },
        nodes, ends.data(), faces.data());
    bucket_matcher<Table.faces, REST<N>> matcher(flag, neighbors);
    return match_buckets(matcher, nodes, ends.data(), faces.data());
}

// Fewer elements are matched in the cache whatever their numbering.
constexpr unsigned int SCATTERED_ELEMENTS = 50000;

// Bytes of faces that a part may have on average, so that its buckets are filled and matched within the
// cache; and how many parts may be filled side by side.
constexpr std::uint64_t PART_BYTES = std::uint64_t(256) << 10;
constexpr std::uint64_t MOST_PARTS = 1024;

/// The same for numberings without locality: the faces are first parted by ranges of smallest nodes.
template <const face_table& Table>
bool match_by_node_ranges(const dense2D<unsigned int>& connectivity, unsigned int nodes, bool flag,
                          unsigned int* neighbors) {
    constexpr unsigned int N = Table.face_rows;
    using face = keyed_face<REST<N>>;
    const std::size_t most_faces = std::size_t(connectivity.cols()) * Table.faces;
    const std::uint64_t parts_wanted =
        std::min(most_faces * sizeof(keyed_face<N>) / PART_BYTES + 1, MOST_PARTS);
    unsigned int shift = 0; // 2^shift nodes make a part
    while (((nodes - 1) >> shift) + 1 > parts_wanted) ++shift;
    const std::size_t parts = ((nodes - 1) >> shift) + 1;
    const std::size_t part_nodes = std::size_t(1) << shift;

    scratch<unsigned int> part_ends;
    scratch<keyed_face<N>> parted;
    if (!part_ends.allocate_filled(parts + 1, 0x00) || !parted.allocate(most_faces)) return false;
    sort_into_buckets<N>(
        [&](auto put) {
            for_each_face<Table>(connectivity,
                                 [=](unsigned int code, const std::array<unsigned int, N>& corners) {
                                     const auto key = matching_key<N>(corners);
                                     put(key[0] >> shift, keyed_face<N>{key, code});
                                 });
        },
        parts, part_ends.data(), parted.data());

    unsigned int largest_part = 0;
    for (std::size_t p = 0; p < parts; ++p)
        largest_part = std::max(largest_part, part_ends[p + 1] - part_ends[p]);
    scratch<unsigned int> ends;
    scratch<face> faces;
    if (!ends.allocate(part_nodes + 1) || !faces.allocate(largest_part)) return false;
    bucket_matcher<Table.faces, REST<N>> matcher(flag, neighbors);
    for (std::size_t p = 0; p < parts; ++p) {
        std::fill_n(ends.data(), part_nodes + 1, 0u);
        sort_into_buckets<REST<N>>(
            [&](auto put) {
                for (unsigned int i = part_ends[p]; i < part_ends[p + 1]; ++i) {
                    put(parted[i].key[0] & (part_nodes - 1),
                        face{behind_smallest<N>(parted[i].key), parted[i].code});
                }
            },
            part_nodes, ends.data(), faces.data());
        if (!match_buckets(matcher, part_nodes, ends.data(), faces.data())) return false;
    }
    return true;
}

/// True when elements that follow one another mostly stand far apart in the numbering of the nodes, and there
/// are more faces than a cache holds.
bool is_scattered(const dense2D<unsigned int>& connectivity, unsigned int nodes) {
    constexpr unsigned int SAMPLES = 512;
    const unsigned int cols = connectivity.cols();
    if (cols < SCATTERED_ELEMENTS) return false;
    unsigned int far = 0;
    for (unsigned int s = 0; s < SAMPLES; ++s) {
        const auto e = static_cast<unsigned int>(std::uint64_t(s) * (cols - 1) / SAMPLES);
        const unsigned int a = connectivity(0, e);
        const unsigned int b = connectivity(0, e + 1);
        far += static_cast<unsigned int>(std::max(a, b) - std::min(a, b) > nodes / 16);
    }
    return far > SAMPLES / 2;
}

/// The largest ID of a node plus one, 0 when an absent node stands where padding may not.
template <const face_table& Table>
unsigned int node_bound(const dense2D<unsigned int>& connectivity) {
    constexpr bool PADDED = Table.shape_count > 1;
    if constexpr (PADDED) return max_ID(connectivity) + 1;
    unsigned int largest = 0;
    all_runs(connectivity, [&largest](const unsigned int* ids, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) largest = std::max(largest, ids[i]);
        return true;
    });
    return largest + 1;
}

template <const face_table& Table>
int link_faces(const dense2D<unsigned int>& connectivity, bool flag, dense2D<unsigned int>& neighbors) {
    if (connectivity.rows() != Table.rows) return -1;
    // A code fits 32 bits, because a type has at most as many faces as rows and rows * columns fits.
    bool linked = neighbors.resize_for_overwrite(Table.faces, connectivity.cols());
    if (linked) {
        std::fill_n(neighbors.data(), neighbors.size(), NO_ID);
        const unsigned int nodes = node_bound<Table>(connectivity);
        // Buckets by node must not take more memory than the faces.
        const bool dense = nodes != 0 && nodes <= std::uint64_t(2) * neighbors.size() + 1024;
        const auto match = !dense                              ? match_by_hash<Table>
                           : is_scattered(connectivity, nodes) ? match_by_node_ranges<Table>
                                                               : match_by_smallest_node<Table>;
        linked = match(connectivity, nodes, flag, neighbors.data());
    }
    if (linked) return 0;
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
