#pragma once

#include "containers/scratch.h"

#include <plexo/containers.h>

#include <cstddef>
#include <cstdint>

namespace qv7::plexo::io {

/// Numbers points so that equal ones share a number: a hash table over the columns of a coordinate matrix,
/// which it fills in order of first appearance. 0.0 and -0.0 are equal. A point with a coordinate that is not
/// finite is equal to none, because its distance to itself is not zero.
class point_table {
public:
    /// With `single_precision` all coordinates are floats, and a search need not look at the matrix.
    point_table(dense2D<double>& points, bool single_precision)
        : points_(points), single_precision_(single_precision) {}

    /// Makes room for n points; false when memory runs out.
    bool reserve(std::size_t n);
    /// The column of each of `count` points, appended when it is new; false when memory runs out. Works on
    /// all of them side by side, so that their cache misses overlap.
    bool find_or_add(const double* xyz, std::size_t count, unsigned int* columns);
    /// Gives the memory back; the points stay.
    void release();

private:
    /// A point rounded to floats, which tell nearly all others apart. In a free slot every byte is 0xff: NaN,
    /// which equals nothing, and NO_ID.
    struct slot {
        float x, y, z;
        std::uint32_t column;
    };
    static slot rounded(const double* xyz, unsigned int column) {
        return {float(xyz[0]), float(xyz[1]), float(xyz[2]), column};
    }

    static constexpr std::size_t RECENT = 4096; // few enough to stay in a near cache

    bool rehash(std::size_t slots);
    bool add(const double* xyz, unsigned int& column);
    bool holds(const slot& s, const double* xyz) const;
    std::size_t free_slot(std::uint32_t hash) const;
    bool search(const double* xyz, std::uint32_t hash, unsigned int& column);

    dense2D<double>& points_;
    bool single_precision_;
    scratch<slot> slots_;
    scratch<slot> recent_; ///< by the lowest bits of the hash; in file order the same points come again soon
    std::size_t used_ = 0;
    unsigned int shift_ = 0; ///< a hash begins its search at slot hash >> shift_
};

} // namespace qv7::plexo::io
