#pragma once

#include "containers/scratch.h"

#include <plexo/containers.h>

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
/// kept as bits; scattered ones in an open-addressing table. Either way an operation is expected constant
/// time.
class id_set {
public:
    /// Room for `entries` insertions of IDs up to `largest`; false when memory cannot be had.
    [[nodiscard]] bool prepare(std::uint64_t entries, unsigned int largest) noexcept {
        const std::uint64_t words = (std::uint64_t(largest) >> 6) + 1;
        dense_ = words <= 2 * entries + 64;
        if (dense_) return bits_.allocate_filled(words, 0x00);
        mask_ = std::bit_ceil(2 * entries + 2) - 1;
        return slots_.allocate_filled(mask_ + 1, 0xFF);
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
        for (std::uint64_t slot = scatter_bits(id) & mask_;; slot = (slot + 1) & mask_) {
            if (slots_[slot] == id) return false;
            if (slots_[slot] == NO_ID) {
                slots_[slot] = id;
                return true;
            }
        }
    }

private:
    scratch<std::uint64_t> bits_;
    scratch<unsigned int> slots_;
    std::uint64_t mask_ = 0;
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
