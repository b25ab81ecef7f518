#include "merge_within_elements.h"

#include "nearest_chain.h"

#include <algorithm>
#include <new>
#include <vector>

namespace qv7::plexo {

namespace {

/// The passes over the elements. An element with close nodes becomes a group of members, in the order of its
/// rows; a node is a member of every such element that it belongs to.
///
/// Each member keeps one event, its best absorber in the element at the time it was looked for. Events are
/// taken in order from a heap; when the absorber has been absorbed meanwhile, the next best is looked for.
class element_passes {
public:
    element_passes(const node_positions& positions, double tol, unsigned int* survivor) noexcept
        : positions_(positions), tol_(tol), survivor_(survivor) {}

    /// Adds the elements that have close nodes.
    void collect(const dense2D<unsigned int>& connectivity) {
        const unsigned int rows = connectivity.rows();
        column_.resize(rows);
        for (unsigned int j = 0; j < connectivity.cols(); ++j) {
            const unsigned int* ids = connectivity.col_data(j);
            std::size_t n = 0;
            for (unsigned int i = 0; i < rows; ++i) {
                if (ids[i] == NO_ID) continue;
                const unsigned int node = survivor_[ids[i]];
                column_[n++] = {positions_[node], node};
            }
            if (has_close_nodes(n)) add_group(n);
        }
    }

    /// Merges within the elements collected; returns the number of merges.
    unsigned int merge() {
        events_.clear();
        for (std::size_t q = 0; q < members_.size(); ++q) find_absorber(q);
        const auto later = [](const event& a, const event& b) { return b.before(a); };
        std::make_heap(events_.begin(), events_.end(), later);

        unsigned int merged = 0;
        while (!events_.empty()) {
            std::pop_heap(events_.begin(), events_.end(), later);
            const event e = events_.back();
            events_.pop_back();
            if (!unmerged(e.absorbed)) continue;
            if (unmerged(e.absorber)) {
                survivor_[members_[e.absorbed].node] = members_[e.absorber].node;
                ++merged;
            } else if (find_absorber(e.absorbed)) {
                std::push_heap(events_.begin(), events_.end(), later);
            }
        }
        members_.clear();
        return merged;
    }

private:
    struct column_entry {
        point at;
        unsigned int node;
    };
    struct member {
        point at;
        unsigned int node;
        std::size_t group_begin, group_end;
    };
    struct event {
        double distance;
        std::size_t absorber; ///< as an index of a member, which grows with elements and rows
        std::size_t absorbed;

        bool before(const event& other) const noexcept {
            return distance < other.distance || (distance == other.distance && absorber < other.absorber);
        }
    };

    bool has_close_nodes(std::size_t n) const noexcept {
        for (std::size_t a = 0; a < n; ++a) {
            for (std::size_t b = a + 1; b < n; ++b) {
                const column_entry& p = column_[a];
                const column_entry& q = column_[b];
                if (distance(p.at, q.at) <= tol_ && p.node != q.node &&
                    (in_box(p.at, q.at, tol_) || in_box(q.at, p.at, tol_))) {
                    return true;
                }
            }
        }
        return false;
    }

    void add_group(std::size_t n) {
        const std::size_t begin = members_.size();
        for (std::size_t i = 0; i < n; ++i) {
            members_.push_back({column_[i].at, column_[i].node, begin, begin + n});
        }
    }

    bool unmerged(std::size_t m) const noexcept { return survivor_[members_[m].node] == members_[m].node; }

    /// Appends the event of a member, if it has one.
    bool find_absorber(std::size_t absorbed) {
        const member& q = members_[absorbed];
        event best{tol_, members_.size(), absorbed}; // every pair within tolerance comes before it
        for (std::size_t m = q.group_begin; m < q.group_end; ++m) {
            const member& p = members_[m];
            if (p.node == q.node || !unmerged(m) || !in_box(p.at, q.at, tol_)) continue;
            const event found{distance(p.at, q.at), m, absorbed};
            if (found.before(best)) best = found;
        }
        if (best.absorber == members_.size()) return false;
        events_.push_back(best);
        return true;
    }

    node_positions positions_;
    double tol_;
    unsigned int* survivor_;
    std::vector<column_entry> column_;
    std::vector<member> members_;
    std::vector<event> events_;
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
