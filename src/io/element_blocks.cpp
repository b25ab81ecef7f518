#include "io/element_blocks.h"

#include <algorithm>
#include <limits>

namespace qv7::plexo::io {

unsigned int* element_blocks::add(element_type type, unsigned int property) noexcept {
    const unsigned int n = NODES_PER_ELEMENT[type];
    if (types_.empty() || types_[types_.size() - 1] != type) {
        if (n > nodes_.rows() && !nodes_.widen(n)) return nullptr;
        if (!starts_.push_back(nodes_.size()) || !types_.push_back(type)) return nullptr;
    }
    return properties_.push_back(property) ? nodes_.append() : nullptr;
}

int element_blocks::move_to(dense2D<unsigned int>& connect, dense1D<unsigned int, 16>& ranges,
                            dense1D<int, 16>& types, dense1D<unsigned int, 16>& properties) noexcept {
    const unsigned int count = nodes_.size();
    if (!starts_.push_back(count)) return -199;
    nodes_.move_to(connect);
    ranges = starts_;
    types = types_;
    properties = properties_;
    return static_cast<int>(std::min<unsigned int>(count, std::numeric_limits<int>::max()));
}

bool extract_block(unsigned int k, const dense2D<unsigned int>& connect,
                   const dense1D<unsigned int, 16>& ranges, const dense1D<int, 16>& types,
                   dense2D<unsigned int>& block, element_type& type) noexcept {
    if (k >= types.size()) return true;
    const auto block_type = static_cast<element_type>(types[k]);
    if (types.size() == 1) {
        block = connect;
    } else if (!block.copy(connect.sub_matrix(0, ranges[k], NODES_PER_ELEMENT[block_type],
                                              ranges[k + 1] - ranges[k]))) {
        return false;
    }
    type = block_type;
    return true;
}

} // namespace qv7::plexo::io
