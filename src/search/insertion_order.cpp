#include "insertion_order.h"

#include <algorithm>
#include <bit>
#include <random>
#include <utility>

namespace qv7::plexo {

namespace {

/// A number in [0, largest], by rejection: no number is favoured.
unsigned int draw(std::mt19937& random, unsigned int largest) {
    const unsigned int mask = ~0u >> std::countl_zero(largest);
    for (;;) {
        const unsigned int number = static_cast<unsigned int>(random()) & mask;
        if (number <= largest) return number;
    }
}

} // namespace

bool shuffled_nodes(const dense1D<unsigned int, 16>& nodes, unsigned int node_count,
                    scratch<unsigned int>& order) noexcept {
    if (!order.allocate(nodes.size())) return false;
    unsigned int* const entry = order.data();
    std::copy(nodes.begin(), nodes.end(), entry);
    std::mt19937 random(1);
    for (unsigned int i = 1; i < nodes.size(); ++i) std::swap(entry[i], entry[draw(random, i)]);
    const unsigned int* const end =
        std::remove_if(entry, entry + nodes.size(), [=](unsigned int node) { return node >= node_count; });
    order.shrink(static_cast<std::size_t>(end - entry));
    return true;
}

} // namespace qv7::plexo
