#pragma once

#include "close_nodes.h"

#include "containers/scratch.h"

#include <plexo/containers.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qv7::plexo {

/// The leaders of groups of close nodes, chained by the hash of the place they lie in.
class leader_table {
public:
    struct leader {
        point at;
        unsigned int item;
        unsigned int next; ///< the next leader of the chain, NO_ID at its end
    };

    /// Room for up to `capacity` leaders; pages are only touched as leaders come.
    [[nodiscard]] bool prepare(unsigned int capacity) noexcept {
        slots_ = std::bit_ceil(std::max<std::size_t>(capacity / 4, 64));
        return leaders_.allocate(capacity) && heads_.allocate_filled(slots_, 0xFF);
    }

    unsigned int size() const noexcept { return size_; }
    leader& operator[](unsigned int l) noexcept { return leaders_[l]; }
    const leader& operator[](unsigned int l) const noexcept { return leaders_[l]; }

    unsigned int first(std::uint64_t hash) const noexcept { return heads_[hash & (slots_ - 1)]; }
    void prefetch_slot(std::uint64_t hash) const noexcept {
        __builtin_prefetch(heads_.data() + (hash & (slots_ - 1)));
    }
    void prefetch_leader(std::uint64_t hash) const noexcept {
        const unsigned int l = first(hash);
        if (l != NO_ID) __builtin_prefetch(leaders_.data() + l);
    }

    /// Adds a leader; full() says when the table wants to be rehashed first.
    unsigned int add(const point& at, unsigned int item, std::uint64_t hash) noexcept {
        leaders_[size_] = {at, item, NO_ID};
        chain(size_, hash);
        return size_++;
    }
    bool full() const noexcept { return size_ >= slots_; }

    /// Chains all leaders anew, in twice as many slots when the table is full. False when memory runs out.
    template <typename Hash>
    [[nodiscard]] bool rehash(Hash hash_of) noexcept {
        if (full()) slots_ *= 2;
        if (!heads_.allocate_filled(slots_, 0xFF)) return false;
        for (unsigned int l = 0; l < size_; ++l) chain(l, hash_of(leaders_[l].at));
        return true;
    }

private:
    void chain(unsigned int l, std::uint64_t hash) noexcept {
        unsigned int& head = heads_[hash & (slots_ - 1)];
        leaders_[l].next = head;
        head = l;
    }

    scratch<leader> leaders_;
    scratch<unsigned int> heads_;
    std::size_t slots_ = 0;
    unsigned int size_ = 0;
};

} // namespace qv7::plexo
