#include "geometry/crowded_nodes.h"
#include "test_containers.h"

#include <plexo/geometry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <tuple>

using namespace qv7::plexo;
using test::entries;
using test::id_list;
using test::ids;
using test::list_of;
using list = std::vector<unsigned int>;

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

// --- the definition, pair by pair ---

struct pair {
    double distance;
    unsigned int p, q;
};

/// Nodes of `absorbed` go to nodes of `absorbing`.
struct group {
    list absorbing, absorbed;
};

/// NaN when q lies outside the box of p.
double distance_in_box(const dense2D<double>& pos, unsigned int p, unsigned int q, double tol) {
    double sum = 0;
    for (unsigned int k = 0; k < pos.rows(); ++k) {
        const double a = pos(k, p), b = pos(k, q);
        if (!(b >= a - tol && b <= a + tol)) return NOT_A_NUMBER;
        sum += (b - a) * (b - a);
    }
    return std::sqrt(sum);
}

/// Closest first, those of equal distance in the order of the groups and of the absorbing nodes.
std::vector<pair> close_pairs(const dense2D<double>& pos, const std::vector<group>& groups, double tol) {
    std::vector<pair> pairs;
    for (const auto& [absorbing, absorbed] : groups) {
        for (const unsigned int p : absorbing) {
            for (const unsigned int q : absorbed) {
                if (p == q) continue;
                const double distance = distance_in_box(pos, p, q, tol);
                if (distance <= tol) pairs.push_back({distance, p, q});
            }
        }
    }
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const pair& a, const pair& b) { return a.distance < b.distance; });
    return pairs;
}

int merge_pairs(const std::vector<pair>& pairs, list& new_IDs) {
    int merged = 0;
    for (const pair& c : pairs) {
        if (new_IDs[c.p] != c.p || new_IDs[c.q] != c.q) continue;
        new_IDs[c.q] = c.p;
        ++merged;
    }
    for (unsigned int& last : new_IDs) {
        while (new_IDs[last] != last) last = new_IDs[last];
    }
    return merged;
}

list all_below(unsigned int n) {
    list all(n);
    std::iota(all.begin(), all.end(), 0u);
    return all;
}

/// Without NO_ID, in order of first appearance.
list distinct(const list& nodes) {
    list result;
    for (const unsigned int id : nodes) {
        if (id != NO_ID && std::find(result.begin(), result.end(), id) == result.end()) result.push_back(id);
    }
    return result;
}

list joined(const std::vector<list>& lists) {
    list all;
    for (const list& one : lists) all.insert(all.end(), one.begin(), one.end());
    return all;
}

// --- random input with many ties ---

struct random_input : test::dice {
    using dice::dice;

    /// Lattice points, duplicates, jitter, offsets that make rounding visible, values that are not finite; a
    /// view with long columns every other time.
    dense2D<double> nodes(unsigned int rows, unsigned int n) {
        dense2D<double> pos(rows, n);
        const unsigned int extent = one_of({1u, 2u, 3u, 5u, 9u, 40u});
        const double jitter = one_of({0.0, 0.0, 1e-9, 0.3});
        const double offset = one_of({0.0, 0.0, -2.5, 1e6, 0x1p51});
        const unsigned int odd = one_of({0u, 0u, 0u, 1u, 4u});
        unit = one_of({1.0, 1.0, 0.1, 1e-6, 1e-162, 1e-310, 3e153, 1e300});
        for (unsigned int i = 0; i < pos.size(); ++i) {
            double x = below(extent) + jitter * below(7) + offset;
            if (below(50) < odd) x = one_of({NOT_A_NUMBER, INF, -INF, 1e-320, 1e308});
            pos.data()[i] = x == 0 && one_in(2) ? -0.0 : x * unit;
        }
        return one_in(2) ? pos : test::as_view(pos);
    }

    double tolerance() {
        double tol = one_of({0.0, 0.0, 1e-8, 0.4, 0.99, 1.0, 1.0, std::sqrt(2.0), std::sqrt(3.0), 2.0, 2.5,
                             6.0, 50.0}) *
                     unit;
        if (one_in(4)) tol = std::nextafter(tol, one_in(2) ? INF : 0.0);
        return one_in(20) ? one_of({INF, NOT_A_NUMBER, -0.0, 1e308, 5e-324, 1e-300}) : tol;
    }

    list some_nodes(unsigned int nods, unsigned int length) {
        list result(length);
        for (unsigned int& id : result) id = one_in(12) ? NO_ID : below(nods);
        return result;
    }

    double unit = 1;
};

/// Merges all nodes by their coordinates, with and without the table.
void expect_moved(const dense2D<double>& pos, double tol, int merged, const list& new_IDs) {
    dense2D<double> moved = pos, also = pos, given;
    ASSERT_TRUE(given.copy(pos));
    id_list table = test::ids({7, 7});
    ASSERT_EQ(merge(moved, table, tol), merged);
    ASSERT_EQ(merge(also, tol), merged);
    ASSERT_EQ(entries(table), new_IDs);
    for (unsigned int j = 0; j < pos.cols(); ++j) {
        const std::size_t bytes = pos.rows() * sizeof(double);
        ASSERT_EQ(std::memcmp(moved.col_data(j), given.col_data(new_IDs[j]), bytes), 0);
        ASSERT_EQ(std::memcmp(also.col_data(j), given.col_data(new_IDs[j]), bytes), 0);
        ASSERT_EQ(std::memcmp(pos.col_data(j), given.col_data(j), bytes), 0); // other holders keep theirs
    }
}

/// The list of crowded nodes leaves out none of a pair, but for infinite coordinates in infinite reach.
void expect_crowded(const dense2D<double>& pos, double tol, const std::vector<pair>& pairs) {
    id_list crowded = test::ids({7});
    ASSERT_TRUE(list_crowded_nodes(pos, tol, crowded));
    ASSERT_TRUE(std::is_sorted(crowded.begin(), crowded.end(), std::less_equal<>()));
    for (const pair& c : pairs) {
        ASSERT_TRUE(tol == INF || std::binary_search(crowded.begin(), crowded.end(), c.p)) << c.p;
        ASSERT_TRUE(tol == INF || std::binary_search(crowded.begin(), crowded.end(), c.q)) << c.q;
    }
}

TEST(Merge, EqualsAllPairsOnListsAndCoordinates) {
    for (unsigned int seed = 0; seed < 18000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_input random(seed);
        const unsigned int n = 1 + random.below(seed % 8 == 0 ? 150 : 30);
        const dense2D<double> pos = random.nodes(2 + random.below(2), n);
        const double tol = random.tolerance();
        list b = random.some_nodes(n, random.below(2 * n));
        list a = random.some_nodes(n, random.below(n + 1));
        if (random.one_in(6)) { // disjoint lists: two meshes to be glued
            for (unsigned int& id : a) id = id == NO_ID ? id : id / 2;
            for (unsigned int& id : b) id = id == NO_ID ? id : n / 2 + id / 2;
        }
        if (random.one_in(4)) std::sort(b.begin(), b.end());
        if (random.one_in(2)) b.erase(std::unique(b.begin(), b.end()), b.end());
        if (random.one_in(2)) a = b;
        const bool all = random.one_in(3);
        if (all) a = b = all_below(n);
        const std::vector<pair> pairs = close_pairs(pos, {{distinct(b), distinct(a)}}, tol);
        list expected = all_below(distinct(b).empty() ? 0 : n);
        const int merged = merge_pairs(pairs, expected);

        // The table may be one of the lists or share its storage; other holders of a list keep it.
        id_list from = list_of(a), onto = list_of(b), other = onto;
        const id_list kept_from = from, kept_onto = onto;
        id_list& new_IDs = *random.one_of({&from, &onto, &other});
        ASSERT_EQ(a == b && random.one_in(2) ? merge(pos, onto, new_IDs, tol)
                                             : merge(pos, from, onto, new_IDs, tol),
                  merged);
        ASSERT_EQ(entries(new_IDs), expected);
        ASSERT_EQ(entries(kept_from), a);
        ASSERT_EQ(entries(kept_onto), b);
        if (!all) continue;
        expect_moved(pos, tol, merged, expected);
        expect_crowded(pos, tol, pairs);
    }
}

int merge_literally(const dense2D<double>& pos, std::vector<list>& elements, list& new_IDs, double tol,
                    unsigned int mode) {
    const list all = distinct(joined(elements));
    new_IDs = all_below(all.empty() ? 0 : pos.cols());
    for (int total = 0;;) {
        std::vector<group> groups;
        for (const list& element : elements) groups.push_back({distinct(element), distinct(element)});
        if (mode == 0) groups = {{all, all}};
        const int merged = merge_pairs(close_pairs(pos, groups, tol), new_IDs);
        for (list& element : elements) {
            for (unsigned int& id : element) id = id == NO_ID ? NO_ID : new_IDs[id];
        }
        total += merged;
        if (mode < 2 || merged == 0) return total;
    }
}

TEST(Merge, EqualsAllPairsOnMatricesInEveryModeAndForm) {
    enum { RANGE_AND_TABLE, RANGE, MATRICES_AND_TABLE, MATRICES, DEFAULTS, FORMS };
    for (unsigned int seed = 0; seed < 12000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_input random(seed);
        const unsigned int n = 1 + random.below(40), form = random.below(FORMS);
        const dense2D<double> pos = random.nodes(2 + random.below(2), n);
        const double tol = form == DEFAULTS ? 1e-6 : random.tolerance();
        const unsigned int mode = form == DEFAULTS ? 0 : random.below(3);

        std::vector<test::framed<unsigned int>> blocks;
        for (unsigned int k = 0; k < 2; ++k) {
            const unsigned int rows = seed % 16 == 0 ? 60 + random.below(30) : 1 + random.below(8);
            const list entries_of_block = random.some_nodes(n, rows * random.below(20));
            blocks.emplace_back(test::matrix_of(rows, entries_of_block), NO_ID - 1);
        }
        dense2D<unsigned int>& block = blocks[0].view;
        std::vector<dense2D<unsigned int>> m = {block, blocks[1].view};
        const unsigned int part = random.below(block.cols() + 1), sharing = random.below(6);
        if (sharing == 0) m = {block.sub_matrix(0, 0, NO_ID, part), block.sub_matrix(0, part, NO_ID, NO_ID)};
        if (sharing == 1) m[1] = block;
        const bool one = sharing == 2;
        if (one) m.pop_back();
        const auto in_place = m;
        std::vector<list> elements;
        for (const auto& matrix : m) {
            for (unsigned int j = 0; j < matrix.cols(); ++j) elements.push_back(entries(matrix.col(j)));
        }
        list expected;
        const int merged = merge_literally(pos, elements, expected, tol, mode);
        id_list new_IDs = block.col(0); // sharing storage
        const auto result = [&] {
            dense2D<unsigned int>* const end = m.data() + m.size();
            switch (form) {
            case RANGE_AND_TABLE:
                return merge(pos, m.data(), end, new_IDs, tol, mode);
            case RANGE:
                return merge(pos, m.data(), end, tol, mode);
            case MATRICES_AND_TABLE:
                return one ? merge(pos, m[0], new_IDs, tol, mode)
                           : merge(pos, m[0], m[1], new_IDs, tol, mode);
            case MATRICES:
                return one ? merge(pos, m[0], tol, mode) : merge(pos, m[0], m[1], tol, mode);
            default:
                return one ? merge(pos, m[0]) : merge(pos, m[0], m[1]);
            }
        };
        ASSERT_EQ(result(), merged);
        if (form == RANGE_AND_TABLE || form == MATRICES_AND_TABLE) {
            ASSERT_EQ(entries(new_IDs), expected);
        }
        for (const auto& matrices : {m, in_place}) {
            std::vector<list> renumbered;
            for (const auto& matrix : matrices) renumbered.push_back(entries(matrix));
            ASSERT_EQ(joined(renumbered), joined(elements));
        }
        ASSERT_TRUE(blocks[0].frame_intact() && blocks[1].frame_intact());
    }
}

// --- larger inputs, where groups, clusters and cells of every kind come together ---

TEST(Merge, EqualsAllPairsOnDenseAndSpreadNodes) {
    constexpr unsigned int n = 1500;
    test::dice random(5);
    const auto unit = [&] { return random.between(0, 1); };
    dense2D<double> lattice(3, n), clusters(3, n), graded(2, n), fine(3, n), far(2, n), facets(3, n);
    for (unsigned int j = 0; j < n; ++j) {
        const double scale = std::ldexp(1.0, -int(j % 900));
        for (unsigned int k = 0; k < 3; ++k) {
            lattice(k, j) = k == 0 ? j % 14 : k == 1 ? j / 14 % 14 : j / 196;
            clusters(k, j) = std::floor(unit() * 3) * 10 + unit() * unit();
            fine(k, j) = 1 + 0x1p-52 * std::floor(unit() * 12);
            facets(k, j) = lattice(k, j / 6) + 1e-9 * unit();
        }
        for (unsigned int k = 0; k < 2; ++k) {
            graded(k, j) = unit() * scale;
            far(k, j) = j < n / 2 ? unit() : std::ldexp(1 + unit(), int(j % 200) - 20);
        }
    }
    const list in_order = all_below(n);
    list shuffled = in_order;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(6));
    const list half(shuffled.begin(), shuffled.begin() + 900), rest(shuffled.begin() + 600, shuffled.end());
    const std::pair<const dense2D<double>*, std::vector<double>> cases[] = {
        {&lattice, {0.3, 0.45, 1, 1.5}}, {&clusters, {0.001, 0.05, 0.3, 100}},
        {&graded, {1e-200, 1e-9, 0.1}},  {&fine, {1e-300, 0x1p-52, 0x1p-50}},
        {&far, {1e-6, 0.02, 1e30}},      {&facets, {0, 1e-9, 1e-6}}};
    for (const auto& [pos, tolerances] : cases) {
        for (const double tol : tolerances) {
            for (const auto& [a, b] : {std::pair(in_order, in_order), {shuffled, shuffled}, {half, rest}}) {
                list expected = in_order;
                id_list new_IDs;
                const int merged = merge_pairs(close_pairs(*pos, {{b, a}}, tol), expected);
                EXPECT_EQ(merge(*pos, list_of(a), list_of(b), new_IDs, tol), merged) << tol;
                EXPECT_EQ(entries(new_IDs), expected) << tol;
            }
        }
    }
}

TEST(Merge, TakesTimeAndMemoryByNodesNotByPairs) {
    constexpr unsigned int n = 40000; // 1.6e9 pairs
    const id_list all = list_of(all_below(n)), front = all.sub_vector(0, n / 2),
                  back = all.sub_vector(n / 2, n / 2);
    dense2D<double> heap(3, n, 1.5), two_heaps(3, n, 1.5), ball(3, n), tiny(2, n);
    test::dice random(1);
    for (unsigned int j = 0; j < n; ++j) {
        if (j >= n / 2) two_heaps(0, j) = 2.5;
        for (unsigned int k = 0; k < 3; ++k) ball(k, j) = random.between(0, 1);
        tiny(0, j) = (j % 200) * 1e-170; // the squares of its distances vanish
        tiny(1, j) = (j / 200) * 1e-170;
    }
    const std::tuple<const dense2D<double>&, double, int, int, int> cases[] = {
        {heap, 0, n - 1, n / 2, n - 1},      {heap, 1e-6, n - 1, n / 2, n - 1},
        {heap, 1e6, n - 1, n / 2, n - 1},    {heap, INF, n - 1, n / 2, n - 1},
        {two_heaps, 1, n - 1, n / 2, n - 1}, {two_heaps, 0.9, n - 2, 0, n / 2 - 1},
        {ball, 2, n - 1, n / 2, n - 1},      {tiny, 0.9e-170, 0, 0, 0}};
    for (const auto& [pos, tol, alone, back_to_front, all_to_front] : cases) {
        id_list new_IDs;
        EXPECT_EQ(merge(pos, all, new_IDs, tol), alone) << tol;
        EXPECT_EQ(merge(pos, back, front, new_IDs, tol), back_to_front) << tol;
        EXPECT_EQ(merge(pos, all, front, new_IDs, tol), all_to_front) << tol;
    }
}

/// Close nodes of every kind, also on the faces of cells of 16 tolerances.
TEST(Merge, ListsAllCrowdedNodes) {
    test::dice random(1);
    for (int round = 0; round < 3000 && !HasFailure(); ++round) {
        const unsigned int rows = 2 + random.below(2), n = 1 + random.below(60);
        const double tol = std::pow(10, random.between(-12, 3)) * (random.one_in(7) ? 1e-310 : 1);
        const double centre = random.one_in(3) ? random.between(-1, 1) * 1e6 : 0;
        const double spread = tol * std::pow(10, random.between(0, 4));
        dense2D<double> pos = test::as_view(dense2D<double>(rows, n));
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int other = i > 0 && random.one_in(4) ? random.below(i) : i;
            for (unsigned int k = 0; k < rows; ++k) {
                double x = other != i ? pos(k, other) + tol * (random.below(5) / 2.0 - 1)
                                      : centre + random.between(-spread, spread);
                if (random.one_in(4)) x = std::round(x / (16 * tol)) * (16 * tol);
                if (random.one_in(150)) x = random.one_of({INF, NOT_A_NUMBER, 1e300});
                pos(k, i) = x;
            }
        }
        expect_crowded(pos, tol, close_pairs(pos, {{all_below(n), all_below(n)}}, tol));
    }
}

TEST(Merge, FewNodesOfAGridAreListedAsCrowded) {
    constexpr unsigned int SIDE = 300;
    dense2D<double> pos(3, SIDE * SIDE);
    for (unsigned int i = 0; i < pos.cols(); ++i) {
        pos(0, i) = i % SIDE;
        pos(1, i) = i / SIDE;
        pos(2, i) = std::sin(0.01 * i);
    }
    id_list crowded;
    ASSERT_TRUE(list_crowded_nodes(pos, 0.03, crowded));
    EXPECT_LT(crowded.size(), pos.cols() / 4);
}

// --- results by hand ---

TEST(Merge, GivesKnownResults) {
    const auto expect_merged = [](const std::vector<double>& x, unsigned int rows, const list& nodes,
                                  double tol, unsigned int mode, const list& expected) {
        auto elements = test::matrix_of(rows, nodes);
        dense2D<double> pos(2, unsigned(x.size())); // on a line
        for (unsigned int j = 0; j < pos.cols(); ++j) pos(0, j) = x[j];
        id_list new_IDs;
        merge(pos, elements, new_IDs, tol, mode);
        EXPECT_EQ(entries(new_IDs), expected);
    };
    expect_merged({0, 0.5, 1}, 1, {0, 1, 2}, 0.6, 0, {0, 0, 2});      // the first of equally distant pairs
    expect_merged({0, 4, 6, 7}, 1, {0, 1, 2, 3}, 4, 0, {0, 0, 0, 0}); // 3 to 2, 2 to 1, 1 to 0
    expect_merged({0, -0.0, 5e-324, INF, INF}, 1, {0, 1, 2, 3, 4}, 0, 0, {0, 0, 2, 3, 4});
    // The box of node 0 starts at 1 - 1 = 0 and leaves node 1 out; that of node 1 ends at 1.
    expect_merged({1, -1e-30}, 1, {0, 1}, 1, 0, {1, 1});
    expect_merged({0, 1, 0, 1}, 2, {0, 1, 2, 3}, 1e-3, 0, {0, 1, 0, 1});
    expect_merged({0, 1, 0, 1}, 2, {0, 1, 2, 3}, 1e-3, 2, {0, 1, 2, 3}); // they share no element
    expect_merged({0, 2, 3, 4.5}, 2, {1, 2, 2, 3}, 2.5, 1, {0, 1, 1, 3});
    expect_merged({0, 2, 3, 4.5}, 2, {1, 2, 2, 3}, 2.5, 2, {0, 1, 1, 1}); // once 1 stands for 2
}

} // namespace
