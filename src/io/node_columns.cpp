#include "io/node_columns.h"

#include "containers/zero_pages.h"

#include <algorithm>
#include <cstddef>

namespace qv7::plexo::io {

namespace {

constexpr std::uint64_t EIGHT_DIGITS = 100'000'000;
// Records of nodes are longer than this, so the IDs of a file that numbers its nodes without gaps are below
// its size divided by it.
constexpr std::uint64_t SHORTEST_RECORD = 16;
constexpr std::uint64_t ALWAYS_NEAR = 1u << 16;
constexpr std::uint64_t MOST_COLUMNS = NO_ID / 3;
constexpr unsigned int SLAB = 512;

} // namespace

node_columns::node_columns(std::uint64_t file_size) noexcept
    : near_limit_(std::min(std::max(ALWAYS_NEAR, file_size / SHORTEST_RECORD), MOST_COLUMNS)),
      limit_(std::max(EIGHT_DIGITS, near_limit_)),
      far_(3, 0) {}

bool node_columns::set(std::uint64_t ID, const double* xyz) noexcept {
    if (ID >= near_room_) {
        if (ID >= limit_) return false;
        if (ID >= near_limit_) {
            if (!far_.push_back_col(xyz) || !far_IDs_.push_back(static_cast<unsigned int>(ID))) return false;
            cols_ = std::max(cols_, ID + 1);
            return true;
        }
        const auto room = static_cast<unsigned int>(std::min(ID + SLAB, near_limit_));
        if (!near_.resize(3, room)) return false;
        near_room_ = room;
    }
    std::copy_n(xyz, 3, near_.data() + 3 * std::size_t(ID));
    cols_ = std::max(cols_, ID + 1);
    return true;
}

bool node_columns::move_to(dense2D<double>& pos) noexcept {
    const auto cols = static_cast<unsigned int>(cols_);
    if (cols == 0) {
        pos.clear();
        return true;
    }
    if (far_IDs_.empty()) {
        near_.resize(3, cols); // drops spare columns, which never fails
        pos = near_;
        return true;
    }
    dense2D<double> all;
    if (!all.resize_for_overwrite(3, cols)) return false;
    math1::zero_lazily(all.data(), std::size_t(all.size()) * sizeof(double));
    std::copy_n(near_.data(), 3 * std::size_t(near_room_), all.data());
    for (unsigned int k = 0; k < far_IDs_.size(); ++k) {
        std::copy_n(far_.col_data(k), 3, all.col_data(far_IDs_[k]));
    }
    pos = all;
    return true;
}

} // namespace qv7::plexo::io
