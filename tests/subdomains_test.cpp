#include "topology_oracles.h"

#include <queue>

using namespace test;

namespace {

constexpr unsigned int N = NO_ID;
using parts = std::pair<id_vector, id_vector>; // elements, offsets

/// Flooding word by word: elements are queued as often as they are met, and count when their turn comes
/// first.
parts flooded(const dense2D<unsigned int>& neighbors) {
    parts result{{}, {0}};
    auto& [elements, offsets] = result;
    const unsigned int n = neighbors.cols();
    std::vector<bool> visited(n);
    for (unsigned int seed = 0; seed < n; ++seed) {
        std::queue<unsigned int> queue;
        for (queue.push(seed); !queue.empty(); queue.pop()) {
            const unsigned int e = queue.front();
            if (visited[e]) continue;
            visited[e] = true;
            elements.push_back(e);
            for (unsigned int k = 0; k < neighbors.rows(); ++k) {
                if (neighbors(k, e) < n) queue.push(neighbors(k, e));
            }
        }
        if (elements.size() > offsets.back()) offsets.push_back(unsigned(elements.size()));
    }
    return result;
}

/// Compares both forms with the flooding. What they write shares storage with containers that keep their
/// values.
void expect_flooded(const dense2D<unsigned int>& neighbors) {
    const auto expected = flooded(neighbors);
    const id_vector before = entries(neighbors);
    id_list elements = neighbors.contiguous() ? id_list(neighbors.as_vector()) : ids({5, 5, 5});
    id_list offsets = elements;
    ASSERT_EQ(get_subdomains(neighbors, elements, offsets), 0);
    ASSERT_EQ(parts(entries(elements), entries(offsets)), expected);

    const unsigned int n = neighbors.cols();
    auto numbers = as_view(dense2D<unsigned int>(1, n)), connectM = numbers, links = neighbors;
    id_vector new_IDs(n);
    for (unsigned int e = 0; e < n; ++e) {
        numbers(0, e) = e;
        new_IDs[expected.first[e]] = e;
    }
    ASSERT_EQ(get_subdomains(connectM, links, offsets), 0);
    ASSERT_EQ(entries(connectM), expected.first);
    ASSERT_EQ(entries(offsets), expected.second);
    for (unsigned int e = 0; e < n; ++e) {
        ASSERT_EQ(numbers(0, e), e);
        for (unsigned int k = 0; k < links.rows(); ++k) {
            const unsigned int other = neighbors(k, e); // what is no element stays as it is
            ASSERT_EQ(links(k, new_IDs[e]), other < n ? new_IDs[other] : other);
        }
    }
    ASSERT_EQ(entries(neighbors), before);
}

TEST(Subdomains, AreFloodedFromTheirLowestElements) {
    dice random(21);
    for (int round = 0; round < 2000; ++round) {
        dense2D<unsigned int> neighbors(random.below(7), random.below(150));
        const unsigned int density = 1 + random.below(6);
        for (unsigned int i = 0; i < neighbors.size(); ++i) { // one-way, to oneself, to nowhere
            neighbors.data()[i] = random.below(6) < density ? N : random.below(neighbors.cols() + 2);
        }
        ASSERT_NO_FATAL_FAILURE(expect_flooded(round % 2 == 0 ? as_view(neighbors) : neighbors));
    }
    dense2D<unsigned int> strip(1, 300000); // as deep as it is long
    for (unsigned int e = 0; e < strip.cols(); ++e) strip(0, e) = e + 1;
    expect_flooded(strip);
}

} // namespace
