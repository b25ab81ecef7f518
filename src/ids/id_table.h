#pragma once

#include "containers/scratch.h"

#include <plexo/containers.h>

#include <algorithm>
#include <bit>
#include <cstdint>

namespace qv7::plexo {

/// Spreads the bits of an ID over 32 bits (the finaliser of MurmurHash3, Appleby 2011).
inline unsigned int scatter_bits(unsigned int id) noexcept {
    id ^= id >> 16;
    id *= 0x85EBCA6Bu;
    id ^= id >> 13;
    id *= 0xC2B2AE35u;
    return id ^ (id >> 16);
}

/// A set of IDs other than NO_ID. IDs that are small for the number of entries, as in any compact mesh, are
/// kept as bits; scattered ones in an open-addressing table, at most half full, that doubles with the number
/// of different IDs: in a mesh each comes several times, and a table for all entries would outgrow the cache.
/// Either way an operation is expected constant time.
class id_set {
public:
    /// Room for `entries` insertions of IDs up to `largest`; false when memory cannot be had.
    [[nodiscard]] bool prepare(std::uint64_t entries, unsigned int largest) noexcept {
        const std::uint64_t words = (std::uint64_t(largest) >> 6) + 1;
        dense_ = words <= 2 * entries + 64;
        if (dense_) return bits_.allocate_filled(words, 0x00);
        // The table of s slots stands at [s, 2 s), so each size has its place and growing cannot fail. Memory
        // that is never touched costs nothing.
        const std::uint64_t most_slots = std::bit_ceil(2 * entries + 2);
        if (!slots_.allocate(2 * most_slots)) return false;
        clear_table(std::max<std::uint64_t>(most_slots / 8, 2)); // a node of a surface comes six times
        return true;
    }

    /// Adds an ID; true when it was not yet there. NO_ID counts as present.
    bool insert(unsigned int id) noexcept {
        if (id == NO_ID) return false;
        if (dense_) {
            std::uint64_t& word = bits_[id >> 6];
            const std::uint64_t bit = std::uint64_t(1) << (id & 63);
            const bool is_new = (word & bit) == 0;
            word |= bit;
            return is_new;
        }
        unsigned int& slot = slot_of(id);
        if (slot == id) return false;
        slot = id;
        if (2 * ++used_ > table_size_) double_table();
        return true;
    }

private:
    void clear_table(std::uint64_t size) noexcept {
        table_size_ = size;
        std::fill_n(slots_.data() + size, size, NO_ID);
    }

    /// Where the ID stands, or the free slot for it.
    unsigned int& slot_of(unsigned int id) noexcept {
        unsigned int* const table = slots_.data() + table_size_;
        const std::uint64_t mask = table_size_ - 1;
        std::uint64_t slot = scatter_bits(id) & mask;
        while (table[slot] != id && table[slot] != NO_ID) slot = (slot + 1) & mask;
        return table[slot];
    }

    void double_table() noexcept {
        const unsigned int* const from = slots_.data() + table_size_;
        const unsigned int* const to = from + table_size_;
        clear_table(2 * table_size_);
        for (const unsigned int* id = from; id != to; ++id) {
            if (*id != NO_ID) slot_of(*id) = *id;
        }
    }

    scratch<std::uint64_t> bits_;
    scratch<unsigned int> slots_;
    std::uint64_t table_size_ = 0;
    std::uint64_t used_ = 0;
    bool dense_ = true;
};

/// A map from IDs other than NO_ID to positions, laid out like id_set.
class id_map {
public:
    /// Room for `entries` insertions of IDs up to `largest`; false when memory cannot be had.
    [[nodiscard]] bool prepare(std::uint64_t entries, unsigned int largest) noexcept {
        dense_ = largest <= 4 * entries + 64;
        if (dense_) {
            mask_ = largest;
            return values_.allocate_filled(std::size_t(largest) + 1, 0xFF);
        }
        mask_ = std::bit_ceil(2 * entries + 2) - 1;
        return keys_.allocate_filled(mask_ + 1, 0xFF) && values_.allocate_filled(mask_ + 1, 0xFF);
    }

    /// Sets the position of an ID, replacing an earlier one.
    void set(unsigned int id, unsigned int position) noexcept {
        const std::uint64_t slot = slot_of(id);
        if (!dense_) keys_[slot] = id;
        values_[slot] = position;
    }

    /// The position of any ID, NO_ID when it has none.
    unsigned int find(unsigned int id) const noexcept {
        if (id == NO_ID || (dense_ && id > mask_)) return NO_ID;
        return values_[slot_of(id)];
    }

private:
    std::uint64_t slot_of(unsigned int id) const noexcept {
        if (dense_) return id;
        std::uint64_t slot = scatter_bits(id) & mask_;
        while (keys_[slot] != id && keys_[slot] != NO_ID) slot = (slot + 1) & mask_;
        return slot;
    }

    scratch<unsigned int> keys_;
    scratch<unsigned int> values_;
    std::uint64_t mask_ = 0; // dense: the largest ID; else the number of slots less one
    bool dense_ = true;
};

} // namespace qv7::plexo
