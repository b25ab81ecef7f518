#pragma once

#include "close_nodes.h"

#include "containers/scratch.h"

#include <plexo/containers.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qv7::plexo {

/// Spreads three numbers over 64 bits.
inline std::uint64_t mixed_bits(std::uint64_t x, std::uint64_t y, std::uint64_t z) noexcept {
    std::uint64_t h = x * 0x9E3779B97F4A7C15u + y * 0xC2B2AE3D27D4EB4Fu + z * 0x165667B19E3779F9u;
    h ^= h >> 32;
    h *= 0xD6E8FEB86659FD93u;
    return h ^ (h >> 32);
}

/// The leaders of groups of close nodes in an open-addressing table, keyed by the hash of the place they lie
/// in. Slots carry half of the hash, so that leaders elsewhere are hardly ever looked at.
class leader_table {
public:
    struct leader {
        point at;
        unsigned int item;
    };

    /// Room for up to `capacity` leaders; their memory is only touched as they come.
    [[nodiscard]] bool prepare(unsigned int capacity) noexcept {
        mask_ = std::bit_ceil(std::max<std::size_t>(capacity / 2, 64)) - 1;
        return leaders_.allocate(capacity) && slots_.allocate_filled(mask_ + 1, 0xFF);
    }

    unsigned int size() const noexcept { return size_; }
    leader& operator[](unsigned int l) noexcept { return leaders_[l]; }
    const leader& operator[](unsigned int l) const noexcept { return leaders_[l]; }

    void prefetch_slot(std::uint64_t hash) const noexcept {
        __builtin_prefetch(slots_.data() + (hash & mask_));
    }
    /// Of the leader that is most likely the one to be found.
    void prefetch_leader(std::uint64_t hash) const noexcept {
        const slot& s = slots_[hash & mask_];
        if (s.leader != NO_ID) __builtin_prefetch(leaders_.data() + s.leader);
    }

    /// Calls visit(l) for the leaders with this hash, and hardly any others, until it returns true; true when
    /// it did.
    template <typename Visit>
    bool any(std::uint64_t hash, Visit visit) const noexcept {
        for (std::size_t i = hash & mask_; slots_[i].leader != NO_ID; i = (i + 1) & mask_) {
            if (slots_[i].tag == tag_of(hash) && visit(slots_[i].leader)) return true;
        }
        return false;
    }

    /// Adds a leader; full() says when the table wants to be rehashed first.
    unsigned int add(const point& at, unsigned int item, std::uint64_t hash) noexcept {
        leaders_[size_] = {at, item};
        enter(size_, hash);
        return size_++;
    }
    bool full() const noexcept { return 2 * std::size_t(size_) > mask_; }

    /// Enters all leaders anew, in a table of twice the size when it is full. False when memory runs out.
    template <typename Hash>
    [[nodiscard]] bool rehash(Hash hash_of) noexcept {
        if (full()) mask_ = 2 * mask_ + 1;
        if (!slots_.allocate_filled(mask_ + 1, 0xFF)) return false;
        for (unsigned int l = 0; l < size_; ++l) enter(l, hash_of(leaders_[l].at));
        return true;
    }

private:
    struct slot {
        unsigned int leader; ///< NO_ID in a free slot
        unsigned int tag;
    };

    static unsigned int tag_of(std::uint64_t hash) noexcept { return static_cast<unsigned int>(hash >> 32); }

    void enter(unsigned int l, std::uint64_t hash) noexcept {
        std::size_t i = hash & mask_;
        while (slots_[i].leader != NO_ID) i = (i + 1) & mask_;
        slots_[i] = {l, tag_of(hash)};
    }

    scratch<leader> leaders_;
    scratch<slot> slots_;
    std::size_t mask_ = 0;
    unsigned int size_ = 0;
};

} // namespace qv7::plexo
