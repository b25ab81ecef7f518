#pragma once

#include "close_nodes.h"
#include "leader_table.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace qv7::plexo {

/// The leaders of groups of close nodes in a hashed grid, which finds those within three tolerances of a
/// point. Leaders do not reach one another, so however the nodes crowd only a bounded number of them lies
/// within any few tolerances.
///
/// Wide cells make nearly all searches a look into one cell; where leaders are dense that means many
/// comparisons, and the cells are to be narrowed.
class leader_grid {
public:
    struct cell_range {
        std::int64_t low[3], high[3];
    };

    explicit leader_grid(double tol) noexcept : tol_(tol) { set_cell_width(WIDEST_CELL * tol); }

    /// Room for up to `capacity` leaders.
    [[nodiscard]] bool prepare(unsigned int capacity) noexcept { return table_.prepare(capacity); }

    unsigned int size() const noexcept { return table_.size(); }
    const leader_table::leader& operator[](unsigned int l) const noexcept { return table_[l]; }

    /// Coordinates in units of the cell width; 0 when one cell covers everything.
    point scaled(const point& p) const noexcept {
        if (inverse_width_ == 0) return {0, 0, 0};
        return {p.x * inverse_width_, p.y * inverse_width_, p.z * inverse_width_};
    }

    /// The hash of the cell of a scaled point. Cells by truncation: monotone like rounding down, and cheaper;
    /// the cells around 0 are twice as wide.
    static std::uint64_t hash_of_home(const point& s) noexcept {
        return hash_of_cell(static_cast<std::int64_t>(s.x), static_cast<std::int64_t>(s.y),
                            static_cast<std::int64_t>(s.z));
    }

    /// The cells in which anything within three tolerances of the scaled point lies.
    cell_range cells_around(const point& s) const noexcept {
        const double reach = inverse_width_ == 0 ? 0 : 3 * tol_ * inverse_width_ * TOLERANCE_MARGIN;
        cell_range range;
        const double coordinates[3] = {s.x, s.y, s.z};
        for (int k = 0; k < 3; ++k) {
            const double r = reach + COORDINATE_MARGIN * std::fabs(coordinates[k]);
            range.low[k] = static_cast<std::int64_t>(coordinates[k] - r);
            range.high[k] = static_cast<std::int64_t>(coordinates[k] + r);
        }
        return range;
    }

    /// False when two leaders are so far apart that their groups hold no close nodes.
    bool near(const point& p, const point& q) const noexcept {
        const double reach = 3 * tol_ * TOLERANCE_MARGIN;
        const auto apart = [reach](double a, double b) {
            return std::fabs(a - b) > reach + COORDINATE_MARGIN * (std::fabs(a) + std::fabs(b));
        };
        return !apart(p.x, q.x) && !apart(p.y, q.y) && !apart(p.z, q.z);
    }

    void prefetch_slot(std::uint64_t home) const noexcept { table_.prefetch_slot(home); }
    void prefetch_leader(std::uint64_t home) const noexcept { table_.prefetch_leader(home); }

    /// Calls visit(l) for the leaders in a cell until it returns true; true when it did.
    template <typename Visit>
    bool any(std::uint64_t hash, Visit visit) noexcept {
        ++looked_;
        return table_.any(hash, [&](unsigned int l) {
            ++looked_;
            return visit(l);
        });
    }

    template <typename Visit>
    bool any(const cell_range& range, Visit visit) noexcept {
        for (std::int64_t z = range.low[2]; z <= range.high[2]; ++z) {
            for (std::int64_t y = range.low[1]; y <= range.high[1]; ++y) {
                for (std::int64_t x = range.low[0]; x <= range.high[0]; ++x) {
                    if (any(hash_of_cell(x, y, z), visit)) return true;
                }
            }
        }
        return false;
    }

    /// Makes room for one more leader; false when memory runs out.
    [[nodiscard]] bool make_room() noexcept { return !table_.full() || rehash(); }
    void add(const point& at, unsigned int item, std::uint64_t home) noexcept { table_.add(at, item, home); }

    /// Takes note of items that have been searched for, in whatever cells.
    void count_searches(unsigned int items) noexcept { searched_ += items; }

    bool wants_narrower_cells() const noexcept {
        // Not put off until enough items have been searched for: each of them may look at all before it.
        return may_narrow_ && looked_ > LOOKS_WORTH_NARROWING * std::max(searched_, ITEMS_FOR_A_DECISION);
    }
    [[nodiscard]] bool narrow_cells() noexcept {
        may_narrow_ = width_ >= 4 * NARROWEST_CELL * tol_ && width_ > FINEST_CELL;
        set_cell_width(width_ / 2);
        return rehash();
    }

    /// True when the leaders are dense enough to be almost all of one cluster, or too close together for the
    /// narrowest cells that the coordinates allow. Either way the tree of one cluster finds them faster.
    bool is_crowded() const noexcept {
        return searched_ >= ITEMS_FOR_A_DECISION && looked_ > LOOKS_WORTH_GIVING_UP * searched_;
    }

    /// False for scaled coordinates that call for wider cells.
    static bool covers(double largest_scaled) noexcept { return largest_scaled <= LARGEST_SCALED; }
    /// Widens the cells so far that points with coordinates up to `largest` are covered.
    [[nodiscard]] bool widen_cells(double largest) noexcept {
        may_narrow_ = false;
        set_cell_width(largest / (LARGEST_SCALED / 16)); // so that the next widening is not just ahead
        return rehash();
    }

private:
    // Cell widths in tolerances.
    static constexpr double WIDEST_CELL = 256;
    static constexpr double NARROWEST_CELL = 4;
    // The absolute limit: the inverse must be finite.
    static constexpr double FINEST_CELL = 1e-300;
    static constexpr std::uint64_t LOOKS_WORTH_NARROWING = 4;
    static constexpr std::uint64_t LOOKS_WORTH_GIVING_UP = 32;
    // So many items decide whether the cells have the right width.
    static constexpr std::uint64_t ITEMS_FOR_A_DECISION = 1024;
    // Largest scaled coordinate: beyond it rounding would be visible at the scale of cells.
    static constexpr double LARGEST_SCALED = 0x1p48;
    // Every hop from a node to a close one may be longer than the tolerance by a rounding error of the
    // coordinates; so may the scaling. These margins cover that many times over.
    static constexpr double TOLERANCE_MARGIN = 1 + 0x1p-40;
    static constexpr double COORDINATE_MARGIN = 0x1p-49;

    void set_cell_width(double width) noexcept {
        width_ = std::max(width, FINEST_CELL);
        inverse_width_ = 1 / width_;
        looked_ = 0;
        searched_ = 0;
    }

    /// The eight cells of a block of 2 × 2 × 2 share a cache line of slots.
    static std::uint64_t hash_of_cell(std::int64_t x, std::int64_t y, std::int64_t z) noexcept {
        const auto half = [](std::int64_t c) { return static_cast<std::uint64_t>(c >> 1); };
        const auto parity = static_cast<std::uint64_t>((x & 1) | (y & 1) << 1 | (z & 1) << 2);
        return (mixed_bits(half(x), half(y), half(z)) & ~std::uint64_t(7)) | parity;
    }

    bool rehash() noexcept {
        return table_.rehash([this](const point& p) { return hash_of_home(scaled(p)); });
    }

    leader_table table_;
    double tol_;
    double width_ = 0;
    double inverse_width_ = 0;
    bool may_narrow_ = true;
    std::uint64_t looked_ = 0;   ///< cells and leaders looked at since the cells got their width
    std::uint64_t searched_ = 0; ///< items searched for since then
};

} // namespace qv7::plexo
