#include "topology_oracles.h"

#include <gtest/gtest.h>

#include <queue>

using namespace qv7::plexo;
using oracle::entries;
using oracle::matrix;

namespace {

constexpr unsigned int N = NO_ID;
using list = std::vector<unsigned int>;

struct parts {
    list elements;
    list offsets{0};
    bool operator==(const parts&) const = default;
};

/// Flooding word by word: elements are queued as often as they are met, and count when their turn comes
/// first.
parts flooded(const dense2D<unsigned int>& neighbors) {
    parts result;
    const unsigned int n = neighbors.cols();
    std::vector<bool> visited(n);
    for (unsigned int seed = 0; seed < n; ++seed) {
        if (visited[seed]) continue;
        std::queue<unsigned int> queue;
        for (queue.push(seed); !queue.empty(); queue.pop()) {
            const unsigned int e = queue.front();
            if (visited[e]) continue;
            visited[e] = true;
            result.elements.push_back(e);
            for (unsigned int k = 0; k < neighbors.rows(); ++k) {
                const unsigned int other = neighbors(k, e);
                if (other < n && !visited[other]) queue.push(other);
            }
        }
        result.offsets.push_back(unsigned(result.elements.size()));
    }
    return result;
}

parts listed(const dense2D<unsigned int>& neighbors) {
    dense1D<unsigned int, 16> elements(3, 5);
    dense1D<unsigned int, 16> offsets(2, 5);
    EXPECT_EQ(get_subdomains(neighbors, elements, offsets), 0);
    return {entries(elements), entries(offsets)};
}

TEST(Subdomains, AreListedBreadthFirstFromTheirLowestElement) {
    oracle::dice random(21);
    for (int round = 0; round < 2000; ++round) {
        const unsigned int n = 1 + random() % 150;
        dense2D<unsigned int> neighbors(1 + random() % 6, n);
        const unsigned int density = 1 + random() % 6;
        for (unsigned int i = 0; i < neighbors.size();
             ++i) { // links of any kind: one-way, to oneself, to nowhere
            neighbors.data()[i] = random() % 6 < density ? N : random() % (n + 2);
        }
        const parts expected = flooded(neighbors);
        ASSERT_EQ(listed(neighbors), expected);
        ASSERT_EQ(listed(oracle::framed(neighbors)), expected);
    }
}

TEST(Subdomains, OfFewElements) {
    EXPECT_EQ(listed({}), parts());
    EXPECT_EQ(listed(dense2D<unsigned int>(3, 0)), parts());
    EXPECT_EQ(listed(matrix(3, {N, N, N, N, N, N})), (parts{{0, 1}, {0, 1, 2}}));
    EXPECT_EQ(listed(matrix(2, {1, N, 0, 2, 1, N, N, N})), (parts{{0, 1, 2, 3}, {0, 3, 4}}));
    EXPECT_EQ(listed(matrix(1, {2, N, 0})), (parts{{0, 2, 1}, {0, 2, 3}}));
    EXPECT_EQ(listed(matrix(1, {N, 0})), (parts{{0, 1}, {0, 1, 2}})); // a link that stands one way only
    EXPECT_EQ(listed(dense2D<unsigned int>(0, 2)), (parts{{0, 1}, {0, 1, 2}}));
}

TEST(Subdomains, NeedNoDepthForALongStrip) {
    dense2D<unsigned int> strip(2, 300000);
    for (unsigned int e = 0; e < strip.cols(); ++e) {
        strip(0, e) = e + 1 < strip.cols() ? e + 1 : N;
        strip(1, e) = e > 0 ? e - 1 : N;
    }
    EXPECT_EQ(listed(strip).offsets, (list{0, 300000}));
}

TEST(ReorderedSubdomains, AreTheListedOnesMadeConsecutive) {
    oracle::dice random(22);
    for (int round = 0; round < 300; ++round) {
        const auto connectivity = oracle::random_mesh(random, ELEM_TRIA3, 1 + random() % 30, 25);
        dense2D<unsigned int> neighbors;
        ASSERT_EQ(get_neighbors(connectivity, ELEM_TRIA3, true, neighbors), 0);
        if (round % 5 == 0) neighbors(0, 0) = N - 1; // no element: stays as it is
        const parts expected = flooded(neighbors);
        list new_IDs(connectivity.cols());
        for (unsigned int i = 0; i < new_IDs.size(); ++i) new_IDs[expected.elements[i]] = i;

        auto new_connectivity = round % 2 == 0 ? oracle::framed(connectivity) : connectivity;
        auto new_neighbors = round % 2 == 0 ? oracle::framed(neighbors) : neighbors;
        const auto shared_connectivity = new_connectivity;
        const auto shared_neighbors = new_neighbors;
        dense1D<unsigned int, 16> offsets(1, 7);
        ASSERT_EQ(get_subdomains(new_connectivity, new_neighbors, offsets), 0);
        ASSERT_EQ(entries(offsets), expected.offsets);
        for (unsigned int e = 0; e < connectivity.cols(); ++e) {
            for (unsigned int k = 0; k < 3; ++k) {
                ASSERT_EQ(new_connectivity(k, new_IDs[e]), connectivity(k, e));
                const unsigned int other = neighbors(k, e);
                ASSERT_EQ(new_neighbors(k, new_IDs[e]), other < new_IDs.size() ? new_IDs[other] : other);
            }
        }
        ASSERT_EQ(entries(shared_connectivity), entries(connectivity));
        ASSERT_EQ(entries(shared_neighbors), entries(neighbors));
    }
}

TEST(ReorderedSubdomains, OfTwoLinkedElementsAndALoneOne) {
    auto triangles = matrix(3, {0, 1, 2, 5, 6, 7, 2, 1, 3});
    auto neighbors = matrix(3, {2, N, N, N, N, N, N, N, 0});
    dense1D<unsigned int, 16> offsets;
    EXPECT_EQ(get_subdomains(triangles, neighbors, offsets), 0);
    EXPECT_EQ(entries(triangles), (list{0, 1, 2, 2, 1, 3, 5, 6, 7}));
    EXPECT_EQ(entries(neighbors), (list{1, N, N, N, N, 0, N, N, N}));
    EXPECT_EQ(entries(offsets), (list{0, 2, 3}));
}

TEST(ReorderedSubdomains, ChangeNothingWhenTheMatricesDoNotBelongTogether) {
    auto triangles = matrix(3, {0, 1, 2});
    auto neighbors = matrix(3, {N, N, N, N, N, N});
    dense1D<unsigned int, 16> offsets(1, 7);
    EXPECT_EQ(get_subdomains(triangles, neighbors, offsets), -2);
    EXPECT_EQ(entries(triangles), (list{0, 1, 2}));
    EXPECT_EQ(neighbors.cols(), 2u);
    EXPECT_EQ(entries(offsets), (list{7}));
}

TEST(Subdomains, LeaveTheNeighboursAloneWhenStorageIsShared) {
    const auto neighbors = matrix(2, {1, N, 0, 2, 1, N, N, N});
    dense1D<unsigned int, 16> elements = neighbors.as_vector();
    dense1D<unsigned int, 16> offsets = neighbors.as_vector();
    EXPECT_EQ(get_subdomains(neighbors, elements, offsets), 0);
    EXPECT_EQ(entries(elements), (list{0, 1, 2, 3}));
    EXPECT_EQ(entries(offsets), (list{0, 3, 4}));
    EXPECT_EQ(entries(neighbors), (list{1, N, 0, 2, 1, N, N, N}));
}

} // namespace
