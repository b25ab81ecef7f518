#include "crowded_nodes.h"

#include "close_nodes.h"

#include "containers/scratch.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <numeric>

namespace qv7::plexo {

namespace {

/// In tolerances. Most boxes of one tolerance around a node lie within one cell, and few cells hold two nodes
/// of an ordinary mesh.
constexpr double CELL_WIDTH = 16;
/// Largest scaled coordinate: beyond it rounding would be visible at the scale of cells.
constexpr double LARGEST_SCALED = 0x1p48;
/// Cover the rounding of distances, boxes and scaled coordinates many times over.
constexpr double REACH = (1 + 0x1p-40) / CELL_WIDTH;
constexpr double COORDINATE_MARGIN = 0x1p-49;

/// Counts 0, 1 or "more" for each cell of an unbounded grid. Cells that share a hash share a count, which is
/// then too high and never too low.
class cell_counts {
public:
    [[nodiscard]] bool prepare(std::size_t nodes) noexcept {
        const std::size_t counts = std::bit_ceil(std::clamp(PER_NODE * nodes, PER_WORD, MOST));
        shift_ = unsigned(64 - std::countr_zero(counts));
        return words_.allocate_filled(counts / PER_WORD, 0x00);
    }

    /// Where the count of a cell stands.
    std::uint32_t position(std::int64_t x, std::int64_t y, std::int64_t z) const noexcept {
        std::uint64_t h = std::uint64_t(x) * 0x9E3779B97F4A7C15u + std::uint64_t(y) * 0xC2B2AE3D27D4EB4Fu +
                          std::uint64_t(z) * 0x165667B19E3779F9u;
        h ^= h >> 32;
        return std::uint32_t((h * 0xD6E8FEB86659FD93u) >> shift_);
    }
    void increment(std::uint32_t position) noexcept {
        std::uint64_t& word = words_[position / PER_WORD];
        const std::uint64_t once = std::uint64_t(1) << (2 * (position % PER_WORD));
        word |= (word & once) << 1 | once;
    }
    bool more_than_one(std::uint32_t position) const noexcept {
        return (words_[position / PER_WORD] >> (2 * (position % PER_WORD)) & 2) != 0;
    }

private:
    static constexpr std::size_t PER_NODE = 16; // so that few nodes meet others by their hash alone
    static constexpr std::size_t PER_WORD = 32;
    static constexpr std::size_t MOST = std::size_t(1) << 32;

    scratch<std::uint64_t> words_;
    unsigned int shift_ = 0; ///< a position is the upper bits of a hash
};

/// Largest absolute value of the finite coordinates.
double largest_coordinate(const node_positions& at, unsigned int nodes) noexcept {
    double largest = 0;
    for (unsigned int i = 0; i < nodes; ++i) {
        const point p = at[i];
        if (finite(p)) largest = std::max({largest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
    }
    return largest;
}

/// Counts the box of one tolerance around a scaled point; returns the position of the cell of the point.
std::uint32_t count_box(cell_counts& counts, const point& p) noexcept {
    // Cells by truncation: monotone like rounding down, and cheaper; the cells around 0 are twice as wide.
    const auto cell = [](double x) { return static_cast<std::int64_t>(x); };
    const auto reach = [](double x) { return REACH + COORDINATE_MARGIN * std::fabs(x); };
    const double rx = reach(p.x), ry = reach(p.y), rz = reach(p.z);
    const std::int64_t low[] = {cell(p.x - rx), cell(p.y - ry), cell(p.z - rz)};
    const std::int64_t high[] = {cell(p.x + rx), cell(p.y + ry), cell(p.z + rz)};
    const std::uint32_t home = counts.position(cell(p.x), cell(p.y), cell(p.z));
    if (low[0] == high[0] && low[1] == high[1] && low[2] == high[2]) {
        counts.increment(home);
        return home;
    }
    for (std::int64_t z = low[2]; z <= high[2]; ++z) {
        for (std::int64_t y = low[1]; y <= high[1]; ++y) {
            for (std::int64_t x = low[0]; x <= high[0]; ++x) counts.increment(counts.position(x, y, z));
        }
    }
    return home;
}

bool list_all(unsigned int n, dense1D<unsigned int, 16>& nodes) noexcept {
    if (!nodes.resize_for_overwrite(n)) return false;
    std::iota(nodes.begin(), nodes.end(), 0u);
    return true;
}

} // namespace

// Each node is counted in every cell that its box of one tolerance touches. Of two close nodes each is
// counted in its own cell and in that of the other, so the count of either cell is two at least.
bool list_crowded_nodes(const dense2D<double>& pos, double tol, dense1D<unsigned int, 16>& nodes) noexcept {
    const unsigned int n = pos.cols();
    const node_positions at{pos.data(), pos.ld(), pos.rows() == 3};
    const double scale = 1 / (CELL_WIDTH * tol);
    // also when the scale is infinite
    if (!(largest_coordinate(at, n) * scale <= LARGEST_SCALED)) return list_all(n, nodes);

    cell_counts counts;
    scratch<std::uint32_t> homes; // for each node the position of its cell
    if (!counts.prepare(n) || !homes.allocate(n)) return false;
    for (unsigned int i = 0; i < n; ++i) {
        const point p = at[i];
        homes[i] = finite(p) ? count_box(counts, {p.x * scale, p.y * scale, p.z * scale}) : 0;
    }

    nodes.clear();
    for (unsigned int i = 0; i < n; ++i) {
        if (counts.more_than_one(homes[i]) && finite(at[i]) && !nodes.push_back(i)) return false;
    }
    return true;
}

} // namespace qv7::plexo
