#include "merge_within_elements.h"

#include "closest_first.h"

#include <algorithm>
#include <new>
#include <vector>

namespace qv7::plexo {

namespace {

// Longer columns are not worth comparing node by node before they are searched.
constexpr unsigned int LONG_COLUMN = 48;

class element_passes {
public:
    element_passes(const node_positions& positions, double tol, unsigned int* survivor)
        : positions_(positions), tol_(tol), survivor_(survivor) {}

    /// Adds the nodes of every element that has two close ones as a group.
    void collect(const dense2D<unsigned int>& connectivity) {
        const unsigned int rows = connectivity.rows();
        column_.resize(rows);
        for (unsigned int j = 0; j < connectivity.cols(); ++j) {
            const unsigned int* ids = connectivity.col_data(j);
            unsigned int n = 0;
            for (unsigned int i = 0; i < rows; ++i) {
                if (ids[i] != NO_ID) column_[n++] = survivor_[ids[i]];
            }
            if (n > LONG_COLUMN || has_close_pair(n)) add_group(n);
        }
    }

    unsigned int merge() {
        closest_first pairs(tol_, survivor_, nullptr);
        if (members_.size() >= NO_ID || !pairs.prepare(members_.size())) throw std::bad_alloc();
        const auto groups = static_cast<unsigned int>(group_starts_.size());
        group_starts_.push_back(static_cast<unsigned int>(members_.size()));
        const unsigned int merged = pairs.run(members_.data(), group_starts_.data(), groups);
        members_.clear();
        group_starts_.clear();
        return merged;
    }

private:
    bool has_close_pair(unsigned int n) const {
        for (unsigned int a = 0; a < n; ++a) {
            const point p = positions_[column_[a]];
            for (unsigned int b = a + 1; b < n; ++b) {
                if (column_[a] == column_[b]) continue;
                const point q = positions_[column_[b]];
                if (reaches(p, q, tol_) || reaches(q, p, tol_)) return true;
            }
        }
        return false;
    }

    void add_group(unsigned int n) {
        if (members_.size() + n >= NO_ID) throw std::bad_alloc();
        const auto group = static_cast<unsigned int>(group_starts_.size());
        group_starts_.push_back(static_cast<unsigned int>(members_.size()));
        for (unsigned int i = 0; i < n; ++i) {
            members_.push_back({positions_[column_[i]], column_[i], group});
        }
    }

    node_positions positions_;
    double tol_;
    unsigned int* survivor_;
    std::vector<unsigned int> column_;
    std::vector<group_member> members_;
    std::vector<unsigned int> group_starts_;
};

} // namespace

int merge_within_elements(const node_positions& positions, const dense2D<unsigned int>* first,
                          const dense2D<unsigned int>* last, const dense1D<unsigned int, 16>& nodes,
                          double tol, bool repeat, unsigned int* survivor) noexcept {
    try {
        element_passes passes(positions, tol, survivor);
        unsigned int total = 0;
        for (;;) {
            std::for_each(first, last, [&](const auto& connectivity) { passes.collect(connectivity); });
            const unsigned int merged = passes.merge();
            resolve_chains(survivor, nodes.data(), nodes.size());
            total += merged;
            if (!repeat || merged == 0) return static_cast<int>(total);
        }
    } catch (const std::bad_alloc&) {
        return -199;
    }
}

} // namespace qv7::plexo
