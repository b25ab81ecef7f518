#include "unique_indices.h"

#include <plexo/ids.h>

#include "containers/runs.h"
#include "id_table.h"

#include <algorithm>
#include <new>

namespace qv7::plexo {

namespace {

struct extent {
    std::uint64_t entries = 0;
    std::uint64_t columns = 0;
    unsigned int largest = 0; ///< NO_ID does not count
};

extent extent_of(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last) {
    extent total;
    for (; first != last; ++first) {
        if (first->empty()) continue;
        total.entries += first->size();
        total.columns += first->cols();
        total.largest = std::max(total.largest, max_ID(*first));
    }
    return total;
}

/// Calls visit(id) for each distinct ID in order of first appearance, until it returns false; `seen` is
/// prepared.
template <typename Visit>
bool visit_unique(id_set& seen, const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                  Visit visit) {
    return std::all_of(first, last, [&](const dense2D<unsigned int>& connectivity) {
        return all_runs(connectivity, [&](const unsigned int* ids, std::size_t n) {
            for (std::size_t i = 0; i < n; ++i) {
                if (seen.insert(ids[i]) && !visit(ids[i])) return false;
            }
            return true;
        });
    });
}

} // namespace

bool append_unique_IDs(dense1D<unsigned int, 16>& out, const dense1D<unsigned int, 16>& ids,
                       const dense1D<unsigned int, 16>& excluded) noexcept {
    if (ids.empty()) return true;
    // Shared views: `out` grows in storage of its own, so either list may be `out` itself.
    const dense1D<unsigned int, 16> source = ids;
    const dense1D<unsigned int, 16> left_out = excluded;
    unsigned int largest = max_ID(source);
    if (!left_out.empty()) largest = std::max(largest, max_ID(left_out));
    id_set seen;
    if (!seen.prepare(std::uint64_t(source.size()) + left_out.size(), largest)) return false;
    for (const unsigned int id : left_out) seen.insert(id);
    for (const unsigned int id : source) {
        if (seen.insert(id) && !out.push_back(id)) return false;
    }
    return true;
}

bool append_unique_IDs(dense1D<unsigned int, 16>& out, const dense2D<unsigned int>* first,
                       const dense2D<unsigned int>* last) noexcept {
    const extent total = extent_of(first, last);
    if (total.entries == 0) return true;
    id_set seen;
    if (!seen.prepare(total.entries, total.largest)) return false;
    // About one new node to an element, as in a surface, but never more than there are IDs.
    const std::uint64_t likely = std::min(total.columns, std::uint64_t(total.largest) + 1);
    const std::uint64_t room = std::min<std::uint64_t>(out.size() + likely, NO_ID);
    if (!out.reserve(out.size(), static_cast<unsigned int>(room))) return false;
    return visit_unique(seen, first, last, [&out](unsigned int id) { return out.push_back(id); });
}

int unique_indices(dense1D<unsigned int, 16>& out, const dense1D<unsigned int, 16>& ids,
                   const dense1D<unsigned int, 16>& excluded) {
    if (!append_unique_IDs(out, ids, excluded)) throw std::bad_alloc();
    return 0;
}

int unique_indices(dense1D<unsigned int, 16>& out, const dense1D<unsigned int, 16>& ids) {
    return unique_indices(out, ids, dense1D<unsigned int, 16>());
}

int unique_indices(dense1D<unsigned int, 16>& out, const dense2D<unsigned int>* first,
                   const dense2D<unsigned int>* last) {
    if (first == last) return 0;
    if (last < first) return -3;
    if (!append_unique_IDs(out, first, last)) throw std::bad_alloc();
    return 0;
}

int unique_indices(dense1D<unsigned int, 16>& out, const dense2D<unsigned int>& connectivity) {
    return unique_indices(out, &connectivity, &connectivity + 1);
}

int count_unique_indices(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last) {
    if (first == last) return 0;
    if (last < first) return -2;
    const extent total = extent_of(first, last);
    id_set seen;
    if (!seen.prepare(total.entries, total.largest)) throw std::bad_alloc();
    unsigned int count = 0;
    visit_unique(seen, first, last, [&count](unsigned int) { return ++count != 0; });
    return static_cast<int>(count);
}

int count_unique_indices(const dense2D<unsigned int>& connectivity) {
    return count_unique_indices(&connectivity, &connectivity + 1);
}

} // namespace qv7::plexo
