#pragma once

#include "containers/scratch.h"

#include <plexo/containers.h>

#include <cstdint>

namespace qv7::plexo {

template <unsigned int D>
struct located_node {
    double p[D];
    unsigned int node;
    unsigned int rank; ///< in a bucket_tree; of no meaning elsewhere
};

/// A k-d tree that only answers queries, laid out for the cache: the points stand in small buckets, their
/// coordinates axis by axis. Each point carries its rank, by which the points of a box are put in order.
///
/// Cells are halved at the middle of their widest side (Maneewongvatana and Mount, 1999), which keeps them
/// compact whatever the order of the points; this is what makes queries faster than on a tree whose shape
/// comes from an order of insertion.
template <unsigned int D>
class bucket_tree {
public:
    /// Takes points with their ranks and leaves them in another order. False, and empty, when a coordinate is
    /// not finite or memory runs out. O(n log n).
    bool build(located_node<D>* points, unsigned int count) noexcept;
    [[nodiscard]] bool copy(const bucket_tree& source) noexcept;
    void clear() noexcept { count_ = 0; }
    bool empty() const noexcept { return count_ == 0; }

    struct answer {
        unsigned int node = 0;
        double d2;               ///< squared distance; infinite when there is no point
        bool contested = false;  ///< others are as close, or not farther than rounding may hide
        bool coincident = false; ///< the coordinates are those of the point asked about
    };
    /// The point closest to a finite P among those that are not of node `skipped`.
    answer find_closest(const double* P, unsigned int skipped) const noexcept;

    /// Collects rank · 2^32 + node for the points in a box, in order of rank; false when `room` may not do.
    bool find_in_box(const double* Pmin, const double* Pmax, std::uint64_t* found, unsigned int room,
                     unsigned int& count) const noexcept;

private:
    using point = located_node<D>;
    struct box;
    struct run;
    struct search;
    struct cell {
        double at;          ///< the low side is up to here on the axis
        unsigned int first; ///< the low child, which the high one follows; of a bucket: the first point
        unsigned int kind;  ///< the axis; of a bucket: D + the number of points

        bool is_bucket() const { return kind > D; }
        unsigned int count() const { return kind - D; }
    };

    void split(point* points, const box& all, cell* cells) noexcept;
    run run_at(const cell& bucket, unsigned int start) const noexcept;
    static void append_inside(const run& points, const double* Pmin, const double* Pmax,
                              std::uint64_t*& end) noexcept;
    void put_bucket(const point* points, unsigned int first, unsigned int count) noexcept;

    unsigned int count_ = 0;
    unsigned int cell_count_ = 0;
    double low_[D], high_[D]; ///< the box of all points
    scratch<cell> cells_;
    scratch<double> coordinates_; ///< of bucket [first, first + count): x from D · first on, then y, then z
    scratch<std::uint64_t> keys_; ///< rank · 2^32 + node
};

extern template class bucket_tree<2>;
extern template class bucket_tree<3>;

} // namespace qv7::plexo
