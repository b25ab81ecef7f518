#pragma once

#include "containers/scratch.h"

#include <algorithm>

namespace qv7::plexo {

/// Clusters of leaders: a union-find forest in which the first leader of a cluster is its root. A cluster is
/// tangled when its pairs of nodes have to be taken one by one.
class leader_clusters {
public:
    /// Room for up to `capacity` leaders.
    [[nodiscard]] bool prepare(unsigned int capacity) noexcept {
        return parent_.allocate(capacity) && tangled_.allocate(capacity);
    }

    /// Adds leader l as a cluster of its own.
    void add(unsigned int l) noexcept {
        parent_[l] = l;
        tangled_[l] = 0;
    }

    unsigned int root_of(unsigned int l) noexcept {
        while (parent_[l] != l) l = parent_[l] = parent_[parent_[l]];
        return l;
    }

    /// Joins the clusters of two leaders, which tangles them unless they are the same.
    void unite(unsigned int a, unsigned int b) noexcept {
        a = root_of(a);
        b = root_of(b);
        if (a == b) return;
        parent_[std::max(a, b)] = std::min(a, b);
        tangle(std::min(a, b));
    }

    /// Tangles the cluster of a leader.
    void tangle(unsigned int l) noexcept {
        tangled_[root_of(l)] = 1;
        any_tangled_ = true;
    }

    bool is_tangled(unsigned int root) const noexcept { return tangled_[root] != 0; }
    bool any_tangled() const noexcept { return any_tangled_; }

private:
    scratch<unsigned int> parent_;
    scratch<unsigned char> tangled_; ///< of the roots
    bool any_tangled_ = false;
};

} // namespace qv7::plexo
