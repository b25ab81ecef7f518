#include <plexo/geometry.h>

#include <plexo/ids.h>

#include "limited_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

using namespace qv7::plexo;

namespace {

using id_list = dense1D<unsigned int, 16>;
using ids = std::vector<unsigned int>;

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

id_list list_of(const ids& values) {
    id_list list(static_cast<unsigned int>(values.size()));
    std::copy(values.begin(), values.end(), list.begin());
    return list;
}

ids values_of(const id_list& list) {
    return {list.begin(), list.end()};
}

dense2D<double> nodes_at(unsigned int rows, const std::vector<double>& coordinates) {
    dense2D<double> pos(rows, static_cast<unsigned int>(coordinates.size()) / rows);
    std::copy(coordinates.begin(), coordinates.end(), pos.data());
    return pos;
}

dense2D<unsigned int> elements_of(unsigned int rows, const ids& entries) {
    dense2D<unsigned int> connectivity(rows, static_cast<unsigned int>(entries.size()) / rows);
    std::copy(entries.begin(), entries.end(), connectivity.data());
    return connectivity;
}

// --- the definition, pair by pair ---

struct pair {
    double distance;
    unsigned int p, q;
};

bool close(const dense2D<double>& pos, unsigned int p, unsigned int q, double tol, double& distance) {
    double sum = 0;
    for (unsigned int k = 0; k < pos.rows(); ++k) {
        if (!(pos(k, q) >= pos(k, p) - tol && pos(k, q) <= pos(k, p) + tol)) return false;
        const double d = pos(k, q) - pos(k, p);
        sum = k == 0 ? d * d : sum + d * d;
    }
    distance = std::sqrt(sum);
    return distance <= tol;
}

int apply(std::vector<pair>& pairs, const ids& absorbable, ids& new_IDs) {
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const pair& a, const pair& b) { return a.distance < b.distance; });
    int merged = 0;
    for (const pair& c : pairs) {
        if (new_IDs[c.p] != c.p || new_IDs[c.q] != c.q) continue;
        new_IDs[c.q] = c.p;
        ++merged;
    }
    for (const unsigned int v : absorbable) {
        unsigned int last = v;
        while (new_IDs[last] != last) last = new_IDs[last];
        new_IDs[v] = last;
    }
    return merged;
}

ids distinct(const ids& list) {
    ids result;
    for (const unsigned int id : list) {
        if (id != NO_ID && std::find(result.begin(), result.end(), id) == result.end()) result.push_back(id);
    }
    return result;
}

int merge_all_pairs(const dense2D<double>& pos, const ids& a, const ids& b, ids& new_IDs, double tol) {
    const ids absorbable = distinct(a);
    const ids onto = distinct(b);
    new_IDs.clear();
    if (onto.empty()) return 0;
    new_IDs.resize(pos.cols());
    std::iota(new_IDs.begin(), new_IDs.end(), 0u);
    std::vector<pair> pairs;
    for (const unsigned int p : onto) {
        for (const unsigned int q : absorbable) {
            double d;
            if (q != p && close(pos, p, q, tol, d)) pairs.push_back({d, p, q});
        }
    }
    return apply(pairs, absorbable, new_IDs);
}

int merge_in_elements(const dense2D<double>& pos, std::vector<ids>& elements, ids& new_IDs, double tol,
                      bool repeat) {
    ids nodes;
    for (const ids& element : elements) nodes.insert(nodes.end(), element.begin(), element.end());
    nodes = distinct(nodes);
    new_IDs.clear();
    if (nodes.empty()) return 0;
    new_IDs.resize(pos.cols());
    std::iota(new_IDs.begin(), new_IDs.end(), 0u);
    int total = 0;
    for (;;) {
        std::vector<pair> pairs;
        for (const ids& element : elements) {
            for (const unsigned int p : element) {
                if (p == NO_ID || new_IDs[p] != p) continue;
                for (const unsigned int q : nodes) {
                    double d;
                    if (q == p || new_IDs[q] != q) continue;
                    if (std::find(element.begin(), element.end(), q) == element.end()) continue;
                    if (close(pos, p, q, tol, d)) pairs.push_back({d, p, q});
                }
            }
        }
        const int merged = apply(pairs, nodes, new_IDs);
        for (ids& element : elements) {
            for (unsigned int& id : element) id = id == NO_ID ? NO_ID : new_IDs[id];
        }
        total += merged;
        if (!repeat || merged == 0) return total;
    }
}

// --- random input with many ties ---

class random_input {
public:
    explicit random_input(unsigned int seed) : engine_(seed) {}

    unsigned int below(unsigned int n) {
        return std::uniform_int_distribution<unsigned int>(0, n - 1)(engine_);
    }
    template <typename T>
    T one_of(std::initializer_list<T> values) {
        return values.begin()[below(static_cast<unsigned int>(values.size()))];
    }

    /// Lattice points, duplicates, jitter, offsets that make rounding visible, values that are not finite.
    dense2D<double> nodes(unsigned int rows, unsigned int n) {
        dense2D<double> pos(rows, n);
        const unsigned int extent = one_of({1u, 2u, 3u, 5u, 9u, 40u});
        const double jitter = one_of({0.0, 0.0, 1e-9, 0.3});
        const double offset = one_of({0.0, 0.0, -2.5, 1e6, 0x1p51});
        const unsigned int odd = one_of({0u, 0u, 0u, 1u, 4u});
        unit = one_of({1.0, 1.0, 0.1, 1e-6, 1e-162, 1e-310, 3e153, 1e300});
        for (unsigned int j = 0; j < n; ++j) {
            for (unsigned int k = 0; k < rows; ++k) {
                double x = below(extent) + jitter * below(7) + offset;
                if (below(50) < odd) x = one_of({NOT_A_NUMBER, INF, -INF, 1e-320, 1e308});
                pos(k, j) = x == 0 && below(2) ? -0.0 : x * unit;
            }
        }
        return pos;
    }

    double tolerance() {
        double tol = one_of({0.0, 0.0, 1e-8, 0.4, 0.99, 1.0, 1.0, std::sqrt(2.0), std::sqrt(3.0), 2.0, 2.5,
                             6.0, 50.0}) *
                     unit;
        if (below(4) == 0) tol = std::nextafter(tol, below(2) ? INF : 0.0);
        if (below(20) == 0) tol = one_of({INF, NOT_A_NUMBER, -0.0, 1e308, 5e-324, 1e-300});
        return tol;
    }

    ids list(unsigned int nods, unsigned int length) {
        ids result(length);
        for (unsigned int& id : result) id = below(12) == 0 ? NO_ID : below(nods);
        return result;
    }

    double unit = 1;

private:
    std::mt19937 engine_;
};

TEST(Merge, EqualsAllPairsOnOneList) {
    for (unsigned int seed = 0; seed < 6000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_input random(seed);
        const unsigned int rows = 2 + random.below(2);
        const unsigned int n = 1 + random.below(seed % 8 == 0 ? 150 : 30);
        const dense2D<double> pos = random.nodes(rows, n);
        const double tol = random.tolerance();
        const ids list = random.list(n, random.below(2 * n));
        ids expected;
        id_list new_IDs(3, 7);
        const int merged = merge_all_pairs(pos, list, list, expected, tol);
        ASSERT_EQ(merge(pos, list_of(list), new_IDs, tol), merged);
        ASSERT_EQ(values_of(new_IDs), expected);

        dense2D<double> moved;
        moved.copy(pos);
        ids all(n);
        std::iota(all.begin(), all.end(), 0u);
        const int moves = merge_all_pairs(pos, all, all, expected, tol);
        ASSERT_EQ(merge(moved, new_IDs, tol), moves);
        ASSERT_EQ(values_of(new_IDs), expected);
        for (unsigned int j = 0; j < n; ++j) {
            ASSERT_EQ(std::memcmp(moved.col_data(j), pos.col_data(expected[j]), rows * sizeof(double)), 0);
        }
    }
}

TEST(Merge, EqualsAllPairsOnTwoLists) {
    for (unsigned int seed = 0; seed < 6000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_input random(seed);
        const unsigned int rows = 2 + random.below(2);
        const unsigned int n = 1 + random.below(seed % 8 == 0 ? 150 : 30);
        const dense2D<double> pos = random.nodes(rows, n);
        const double tol = random.tolerance();
        ids a = random.list(n, random.below(n + 1));
        ids b = random.list(n, random.below(n + 1));
        if (random.below(3) == 0) { // disjoint lists: two meshes to be glued
            for (unsigned int& id : a) id = id == NO_ID ? id : id / 2;
            for (unsigned int& id : b) id = id == NO_ID ? id : n / 2 + id / 2;
        }
        ids expected;
        id_list new_IDs;
        const int merged = merge_all_pairs(pos, a, b, expected, tol);
        ASSERT_EQ(merge(pos, list_of(a), list_of(b), new_IDs, tol), merged);
        ASSERT_EQ(values_of(new_IDs), expected);
    }
}

TEST(Merge, EqualsAllPairsInElements) {
    for (unsigned int seed = 0; seed < 6000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_input random(seed);
        const unsigned int n = 1 + random.below(40);
        const dense2D<double> pos = random.nodes(2 + random.below(2), n);
        const double tol = random.tolerance();
        const unsigned int mode = random.below(3);
        dense2D<unsigned int> matrices[2];
        std::vector<ids> elements;
        for (dense2D<unsigned int>& matrix : matrices) {
            const unsigned int rows = seed % 16 == 0 ? 60 + random.below(30) : 1 + random.below(8);
            const unsigned int cols = random.below(20);
            matrix = elements_of(rows, random.list(n, rows * cols));
            for (unsigned int j = 0; j < cols; ++j) {
                elements.emplace_back(matrix.col_data(j), matrix.col_data(j) + rows);
            }
        }
        ids expected;
        int merged;
        if (mode == 0) {
            ids flat;
            for (const ids& element : elements) flat.insert(flat.end(), element.begin(), element.end());
            merged = merge_all_pairs(pos, flat, flat, expected, tol);
            for (ids& element : elements) {
                for (unsigned int& id : element) id = id == NO_ID ? id : expected[id];
            }
        } else {
            merged = merge_in_elements(pos, elements, expected, tol, mode == 2);
        }
        id_list new_IDs;
        ASSERT_EQ(merge(pos, matrices, matrices + 2, new_IDs, tol, mode), merged);
        ASSERT_EQ(values_of(new_IDs), expected);
        std::size_t e = 0;
        for (const dense2D<unsigned int>& matrix : matrices) {
            for (unsigned int j = 0; j < matrix.cols(); ++j, ++e) {
                ASSERT_EQ(ids(matrix.col_data(j), matrix.col_data(j) + matrix.rows()), elements[e]);
            }
        }
    }
}

// --- larger inputs, where groups, clusters and cells of every kind come together ---

void expect_all_pairs_result(const dense2D<double>& pos, double tol) {
    ids all(pos.cols());
    std::iota(all.begin(), all.end(), 0u);
    ids expected;
    id_list new_IDs;
    const int merged = merge_all_pairs(pos, all, all, expected, tol);
    EXPECT_EQ(merge(pos, list_of(all), new_IDs, tol), merged);
    EXPECT_EQ(values_of(new_IDs), expected);
}

TEST(Merge, EqualsAllPairsOnDenseAndSpreadNodes) {
    const unsigned int n = 1500;
    std::mt19937 engine(5);
    std::uniform_real_distribution<double> unit(0, 1);
    dense2D<double> lattice(3, n), clusters(3, n), graded(2, n), fine(3, n), far(2, n);
    for (unsigned int j = 0; j < n; ++j) {
        const double scale = std::ldexp(1.0, -int(j % 900));
        for (unsigned int k = 0; k < 3; ++k) {
            lattice(k, j) = k == 0 ? j % 14 : k == 1 ? j / 14 % 14 : j / 196;
            clusters(k, j) = std::floor(unit(engine) * 3) * 10 + unit(engine) * unit(engine);
            fine(k, j) = 1 + 0x1p-52 * std::floor(unit(engine) * 12);
        }
        for (unsigned int k = 0; k < 2; ++k) {
            graded(k, j) = unit(engine) * scale;
            far(k, j) = j < n / 2 ? unit(engine) : std::ldexp(1 + unit(engine), int(j % 200) - 20);
        }
    }
    for (const double tol : {0.3, 0.45, 1.0, 1.5, 30.0}) expect_all_pairs_result(lattice, tol);
    for (const double tol : {0.001, 0.05, 0.3, 100.0}) expect_all_pairs_result(clusters, tol);
    for (const double tol : {1e-200, 1e-9, 0.1}) expect_all_pairs_result(graded, tol);
    for (const double tol : {1e-300, 0x1p-52, 0x1p-50}) expect_all_pairs_result(fine, tol);
    for (const double tol : {1e-6, 0.02, 1e30}) expect_all_pairs_result(far, tol);
}

TEST(Merge, TakesTimeAndMemoryByNodesNotByPairs) {
    const unsigned int n = 20000; // 4e8 pairs
    ids all(n);
    std::iota(all.begin(), all.end(), 0u);
    const ids front(all.begin(), all.begin() + n / 2);
    const ids back(all.begin() + n / 2, all.end());
    dense2D<double> pos(3, n, 1.5);
    id_list new_IDs;
    for (const double tol : {0.0, 1e-6, 1e6, INF}) {
        EXPECT_EQ(merge(pos, list_of(all), new_IDs, tol), int(n) - 1);
        EXPECT_EQ(values_of(new_IDs), ids(n, 0));
        EXPECT_EQ(merge(pos, list_of(back), list_of(front), new_IDs, tol), int(n) / 2);
        EXPECT_EQ(new_IDs[n - 1], 0u);
        EXPECT_EQ(new_IDs[1], 1u);
        EXPECT_EQ(merge(pos, list_of(all), list_of(front), new_IDs, tol), int(n) - 1);
    }
    // Two heaps one apart: every node of one is within tolerance of every node of the other.
    for (unsigned int j = n / 2; j < n; ++j) pos(0, j) = 2.5;
    EXPECT_EQ(merge(pos, list_of(back), list_of(front), new_IDs, 1.0), int(n) / 2);
    EXPECT_EQ(new_IDs[n - 1], 0u);
    EXPECT_EQ(merge(pos, list_of(all), new_IDs, 1.0), int(n) - 1);
    EXPECT_EQ(merge(pos, list_of(all), new_IDs, 0.9), int(n) - 2);
    // A filled ball, all of it within tolerance.
    std::mt19937 engine(1);
    for (double* x = pos.data(); x != pos.data() + pos.size(); ++x) {
        *x = std::uniform_real_distribution<double>(0, 1)(engine);
    }
    EXPECT_EQ(merge(pos, list_of(all), new_IDs, 2.0), int(n) - 1);
    EXPECT_EQ(merge(pos, list_of(back), list_of(front), new_IDs, 2.0), int(n) / 2);
    EXPECT_GT(merge(pos, list_of(all), new_IDs, 0.1), int(n) / 2);
}

TEST(Merge, SurvivesWithoutMemory) {
    test::expect_survives_without_memory([] {
        dense2D<double> pos(2, 16000000); // half of the memory; the tables need more than the rest
        pos(0, 1) = 0.5;
        for (const double tol : {0.0, 1.0}) {
            id_list new_IDs = list_of({5});
            if (merge(pos, new_IDs, tol) != -199 || !new_IDs.empty()) return false;
        }
        return pos.cols() == 16000000 && pos(0, 1) == 0.5;
    });
}

TEST(Merge, TakesNoTimeByPairsWhereSquaresVanish) {
    const unsigned int n = 40000;
    dense2D<double> pos(2, n);
    for (unsigned int j = 0; j < n; ++j) {
        pos(0, j) = (j % 200) * 1e-170;
        pos(1, j) = (j / 200) * 1e-170;
    }
    id_list new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 0.9e-170), 0);
}

// --- results by hand ---

TEST(Merge, KeepsTheFirstOfEquallyDistantPairs) {
    dense2D<double> pos = nodes_at(2, {0, 0, 0.5, 0, 1, 0});
    id_list new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 0.6), 1);
    EXPECT_EQ(values_of(new_IDs), (ids{0, 0, 2}));
    EXPECT_EQ(pos(0, 1), 0.0);
}

TEST(Merge, FollowsChainsToTheFinalSurvivor) {
    // 3 goes to 2 first, then 2 to 1, then 1 to 0.
    const dense2D<double> pos = nodes_at(2, {0, 0, 4, 0, 6, 0, 7, 0});
    id_list new_IDs;
    EXPECT_EQ(merge(pos, list_of({0, 1, 2, 3}), new_IDs, 4), 3);
    EXPECT_EQ(values_of(new_IDs), (ids{0, 0, 0, 0}));
}

TEST(Merge, ZeroToleranceTakesEqualCoordinatesOnly) {
    const dense2D<double> pos =
        nodes_at(2, {0, -0.0, -0.0, 0, 5e-324, 0, NOT_A_NUMBER, 0, NOT_A_NUMBER, 0, INF, 0, INF, 0, 0, 0});
    id_list new_IDs;
    for (const double tol : {0.0, -0.0}) {
        EXPECT_EQ(merge(pos, list_of({0, 1, 2, 3, 4, 5, 6, 7}), new_IDs, tol), 2);
        EXPECT_EQ(values_of(new_IDs), (ids{0, 0, 2, 3, 4, 5, 6, 0}));
    }
}

TEST(Merge, BoxTestIsOneSidedWhereRoundingMakesItSo) {
    // The box of node 0 starts at 1 - 1 = 0 and leaves node 1 out; that of node 1 ends at 1.
    const dense2D<double> pos = nodes_at(2, {1, 0, -1e-30, 0});
    id_list new_IDs;
    EXPECT_EQ(merge(pos, list_of({0, 1}), new_IDs, 1), 1);
    EXPECT_EQ(values_of(new_IDs), (ids{1, 1}));
}

TEST(Merge, ModesOneAndTwoStayWithinElements) {
    const dense2D<double> pos = nodes_at(2, {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1});
    const dense2D<unsigned int> two_triangles = elements_of(3, {0, 1, 2, 3, 4, 5});
    for (const unsigned int mode : {0u, 1u, 2u}) {
        dense2D<unsigned int> connectivity;
        connectivity.copy(two_triangles);
        EXPECT_EQ(merge(pos, connectivity, 1e-3, mode), mode == 0 ? 3 : 0);
        EXPECT_EQ(connectivity(0, 1), mode == 0 ? 0u : 3u);
    }
}

TEST(Merge, ModeTwoGoesOnWhereModeOneStops) {
    // Collapsing edge 1-2 brings 0 and 3 into one element.
    const dense2D<double> pos = nodes_at(2, {0, 0, 1, 0, 1.5, 0, 1.2, 1});
    const dense2D<unsigned int> edges = elements_of(2, {2, 1, 1, 3});
    id_list new_IDs;
    dense2D<unsigned int> once, often;
    once.copy(edges);
    often.copy(edges);
    EXPECT_EQ(merge(pos, once, new_IDs, 1.05, 1), 1);
    EXPECT_EQ(values_of(new_IDs), (ids{0, 2, 2, 3}));
    EXPECT_EQ(merge(pos, often, new_IDs, 1.05, 2), 2);
    EXPECT_EQ(values_of(new_IDs), (ids{0, 2, 2, 2}));
    EXPECT_EQ(often(1, 1), 2u);
}

// --- arguments ---

TEST(Merge, ChecksTheListsInOrder) {
    const dense2D<double> pos(2, 4, 1.0), tall(4, 4, 1.0), none;
    const id_list good = list_of({0, 1}), bad = list_of({4}), absent = list_of({NO_ID});
    id_list new_IDs;
    const auto code = [&new_IDs](const dense2D<double>& p, const id_list& a, const id_list& b, double tol) {
        new_IDs = id_list(2, 9);
        const int result = merge(p, a, b, new_IDs, tol);
        EXPECT_TRUE(result > 0 || new_IDs.empty());
        return result;
    };
    EXPECT_EQ(code(none, bad, bad, -1), 0);
    EXPECT_EQ(code(dense2D<double>(5, 0), bad, bad, -1), 0);
    EXPECT_EQ(code(tall, bad, bad, -1), -1);
    EXPECT_EQ(code(dense2D<double>(0, 3), bad, bad, -1), -1);
    EXPECT_EQ(code(pos, bad, bad, -1), -2);
    EXPECT_EQ(code(pos, good, bad, -1), -3);
    EXPECT_EQ(code(pos, good, absent, -1), -4);
    EXPECT_EQ(code(pos, good, absent, 1), 0);
    EXPECT_EQ(code(pos, good, good, 1), 1);
    EXPECT_EQ(merge(pos, id_list(), good, new_IDs, 1), 0);
    EXPECT_EQ(values_of(new_IDs), (ids{0, 1, 2, 3}));
    EXPECT_EQ(merge(pos, good, new_IDs, NOT_A_NUMBER), 0);
    EXPECT_EQ(values_of(new_IDs), (ids{0, 1, 2, 3}));
}

TEST(Merge, ChecksTheConnectivityInOrder) {
    const dense2D<double> pos(3, 4, 1.0), tall(4, 4, 1.0), none;
    dense2D<unsigned int> matrices[2] = {elements_of(3, {0, 1, 4}), elements_of(3, {NO_ID, NO_ID, NO_ID})};
    id_list new_IDs;
    const auto code = [&](const dense2D<double>& p, int first, int last, double tol, unsigned int mode) {
        new_IDs = id_list(2, 9);
        const int result = merge(p, matrices + first, matrices + last, new_IDs, tol, mode);
        EXPECT_TRUE(new_IDs.empty());
        EXPECT_EQ(matrices[0](2, 0), 4u);
        return result;
    };
    EXPECT_EQ(code(none, 2, 0, -1, 3), 0);
    EXPECT_EQ(code(tall, 1, 1, -1, 3), 0);
    EXPECT_EQ(code(tall, 2, 0, -1, 3), -1);
    EXPECT_EQ(code(pos, 2, 0, -1, 3), -3);
    EXPECT_EQ(code(pos, 0, 2, -1, 3), -5);
    EXPECT_EQ(code(pos, 0, 2, 1, 3), -6);
    for (const unsigned int mode : {0u, 1u, 2u}) {
        EXPECT_EQ(code(pos, 0, 2, 1, mode), -2);
        EXPECT_EQ(code(pos, 1, 2, 1, mode), 0);
    }
}

TEST(Merge, ChecksTheCoordinatesInOrder) {
    dense2D<double> none, tall(4, 2, 1.0), pos(3, 2, 1.0);
    id_list new_IDs(2, 9);
    EXPECT_EQ(merge(none, new_IDs, -1), 0);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(merge(tall, -1), -1);
    EXPECT_EQ(merge(pos, -1), -3);
    EXPECT_EQ(merge(pos, 0), 1);
}

TEST(Merge, WorksOnViewsWithLongColumns) {
    dense2D<double> block(5, 6, 99.0);
    dense2D<unsigned int> wide(6, 4, 77u);
    dense2D<double> pos = block.sub_matrix(1, 1, 2, 4);
    dense2D<unsigned int> connectivity = wide.sub_matrix(2, 0, 2, 3);
    const double x[4] = {0, 1, 1, 0};
    for (unsigned int j = 0; j < 4; ++j) {
        pos(0, j) = x[j];
        pos(1, j) = 0;
    }
    const unsigned int edges[3][2] = {{0, 1}, {2, 3}, {1, 2}};
    for (unsigned int j = 0; j < 3; ++j) std::copy_n(edges[j], 2, connectivity.col_data(j));
    EXPECT_EQ(merge(pos, connectivity), 2);
    EXPECT_EQ(wide(2, 1), 1u);
    EXPECT_EQ(wide(3, 1), 0u);
    EXPECT_EQ(wide(4, 1), 77u);
    EXPECT_EQ(wide(1, 1), 77u);

    id_list new_IDs;
    EXPECT_EQ(merge(pos, new_IDs, 1), 3);
    EXPECT_EQ(pos(0, 2), 0.0);
    EXPECT_TRUE(pos.contiguous());
    EXPECT_EQ(block(1, 3), 1.0) << "other views keep their values";
    EXPECT_EQ(block(0, 0), 99.0);
}

TEST(Merge, CoordinatesMoveInStorageOfTheirOwn) {
    dense2D<double> pos(2, 2, 0.0);
    pos(0, 1) = 0.5;
    const dense2D<double> other = pos;
    EXPECT_EQ(merge(pos, 0.1), 0);
    pos(0, 0) = 7;
    EXPECT_EQ(other(0, 0), 0.0);
    EXPECT_EQ(merge(pos, 10), 1);
    EXPECT_EQ(pos(0, 1), 7.0);
    EXPECT_EQ(other(0, 1), 0.5);
}

TEST(Merge, TableMayShareStorageWithAnyList) {
    const dense2D<double> pos(2, 4, 1.0);
    id_list list = list_of({3, 1, 2});
    const id_list witness = list;
    EXPECT_EQ(merge(pos, list, list, 0), 2);
    EXPECT_EQ(values_of(list), (ids{0, 3, 3, 3}));
    EXPECT_EQ(values_of(witness), (ids{3, 1, 2}));

    id_list onto = list_of({2});
    EXPECT_EQ(merge(pos, witness, onto, onto, 0), 2);
    EXPECT_EQ(values_of(onto), (ids{0, 2, 2, 2}));

    dense2D<unsigned int> connectivity = elements_of(2, {3, 1, NO_ID, 2});
    id_list table = connectivity.as_vector();
    EXPECT_EQ(merge(pos, connectivity, table, 0, 0), 2);
    EXPECT_EQ(values_of(table), (ids{0, 3, 3, 3}));
    EXPECT_EQ(values_of(connectivity.as_vector()), (ids{3, 3, NO_ID, 3}));
}

TEST(Merge, TwoMatricesMayBeOneOrShareStorage) {
    const dense2D<double> pos = nodes_at(2, {0, 0, 1, 0, 0, 0, 1, 0});
    dense2D<unsigned int> block = elements_of(2, {0, 1, 2, 3});
    dense2D<unsigned int> left = block.sub_matrix(0, 0, 2, 1);
    dense2D<unsigned int> right = block.sub_matrix(0, 1, 2, 1);
    EXPECT_EQ(merge(pos, left, right), 2);
    EXPECT_EQ(values_of(block.as_vector()), (ids{0, 1, 0, 1}));
    EXPECT_EQ(right(1, 0), 1u);

    dense2D<unsigned int> both = elements_of(2, {2, 3, 0, 1});
    id_list new_IDs;
    EXPECT_EQ(merge(pos, both, both, new_IDs, 0, 0), 2);
    EXPECT_EQ(values_of(new_IDs), (ids{2, 3, 2, 3}));
    EXPECT_EQ(values_of(both.as_vector()), (ids{2, 3, 2, 3}));
}

} // namespace
