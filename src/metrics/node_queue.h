#pragma once

#include "containers/scratch.h"

#include <plexo/containers.h>

namespace qv7::plexo {

/// A priority queue of distinct nodes, the smallest key first and the smaller ID among equal keys, so that
/// the order in which nodes leave depends on nothing else. Keys are the caller's; a node whose key went down
/// is put again.
class node_queue {
public:
    /// Room for the nodes below n; false when memory cannot be had.
    [[nodiscard]] bool prepare(unsigned int n, const double* keys) noexcept {
        keys_ = keys;
        size_ = 0;
        return heap_.allocate(n) && place_.allocate_filled(n, 0xFF);
    }

    bool empty() const noexcept { return size_ == 0; }

    /// Adds a node, or moves it forward after its key went down.
    void put(unsigned int node) noexcept {
        unsigned int hole = place_[node];
        if (hole == NO_ID) hole = size_++;
        while (hole > 0) {
            const unsigned int parent = (hole - 1) / ARITY;
            if (!before(node, heap_[parent])) break;
            fill(hole, heap_[parent]);
            hole = parent;
        }
        fill(hole, node);
    }

    /// Removes the first node.
    unsigned int take() noexcept {
        const unsigned int first = heap_[0];
        place_[first] = NO_ID;
        const unsigned int last = heap_[--size_];
        if (size_ != 0) sink(last);
        return first;
    }

private:
    static constexpr unsigned int ARITY = 4; // children of a node share a cache line

    bool before(unsigned int a, unsigned int b) const noexcept {
        return keys_[a] < keys_[b] || (keys_[a] == keys_[b] && a < b);
    }
    void fill(unsigned int hole, unsigned int node) noexcept {
        heap_[hole] = node;
        place_[node] = hole;
    }
    void sink(unsigned int node) noexcept {
        unsigned int hole = 0;
        while (ARITY * std::size_t(hole) + 1 < size_) {
            const unsigned int begin = ARITY * hole + 1;
            const unsigned int end = size_ - begin < ARITY ? size_ : begin + ARITY;
            unsigned int best = begin;
            for (unsigned int child = begin + 1; child < end; ++child) {
                if (before(heap_[child], heap_[best])) best = child;
            }
            if (!before(heap_[best], node)) break;
            fill(hole, heap_[best]);
            hole = best;
        }
        fill(hole, node);
    }

    const double* keys_ = nullptr;
    scratch<unsigned int> heap_;
    scratch<unsigned int> place_; // of a node in the heap; NO_ID when it is not there
    unsigned int size_ = 0;
};

} // namespace qv7::plexo
