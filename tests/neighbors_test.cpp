#include "topology_oracles.h"

#include <array>

using namespace test;

namespace {

constexpr unsigned int N = NO_ID;

/// The unordered pairs of nodes round a face, which faces share when one is the other turned or reversed. Of
/// a triangle in four rows the three nodes count.
using sides = std::array<std::pair<unsigned int, unsigned int>, 4>;
sides sides_of(const id_vector& face) {
    const std::size_t n = face.size() == 4 && face[3] == N ? 3 : face.size();
    sides result;
    result.fill({N, 0}); // in the place of a fourth side: no pair in order
    for (std::size_t i = 0; i < n; ++i) result[i] = std::minmax(face[i], face[(i + 1) % n]);
    std::sort(result.begin(), result.end());
    return result;
}

/// Compares with what the groups of equal faces, each in the order of face codes, must give; outputs share
/// storage with the connectivity.
void expect_linked(const dense2D<unsigned int>& connectivity, const faced_type& type) {
    const id_vector before = entries(connectivity);
    const unsigned int F = type.faces;
    std::vector<std::pair<sides, unsigned int>> faces; // under their codes
    for (unsigned int e = 0; e < connectivity.cols(); ++e) {
        unsigned int code = e * F;
        for (const auto& face : parts_of(connectivity, e, type.type, &shape::faces)) {
            faces.emplace_back(sides_of(face), code++);
        }
    }
    std::sort(faces.begin(), faces.end());
    for (const bool flag : {false, true}) {
        id_vector expected(std::size_t(F) * connectivity.cols(), N);
        for (std::size_t first = 0, last; first < faces.size(); first = last + 1) {
            for (last = first; last + 1 < faces.size() && faces[last + 1].first == faces[first].first;)
                ++last;
            if (last == first || (last > first + 1 && !flag)) continue;
            for (std::size_t i = first; i <= last; ++i) expected[faces[i].second] = faces[first].second / F;
            expected[faces[first].second] = faces[last].second / F;
        }
        dense2D<unsigned int> neighbors = connectivity;
        const auto& input = flag ? neighbors : connectivity;
        ASSERT_EQ(get_neighbors(input, type.type, flag, neighbors), 0);
        ASSERT_EQ(neighbors.rows(), F);
        ASSERT_EQ(neighbors.cols(), connectivity.cols());
        ASSERT_TRUE(entries(neighbors) == expected)
            << "type " << type.type << ", flag " << flag << ", " << connectivity.cols() << " elements";
        ASSERT_TRUE(entries(connectivity) == before);
    }
}

TEST(Neighbors, LinkEqualFaces) {
    for_any_elements(dice(42), 12000, expect_linked);
}

TEST(Neighbors, LinkEqualFacesOfLargeMeshes) {
    dice random(43);
    for (const faced_type& type : FACED_TYPES) {
        expect_linked(coincident_elements(random, type.type, 20000, 9000, 400000), type);
        const auto elements = coincident_elements(random, type.type, 51000, 9000);
        const auto renumber = [&elements](auto new_ID) {
            for (unsigned int e = 0; e < elements.cols(); ++e) {
                for (unsigned int& node : dense2D<unsigned int>(elements).col(e)) {
                    if (node != N) node = new_ID(e, node);
                }
            }
        };
        // With most faces behind the middle of the numbering, then numbered along the mesh.
        renumber([](unsigned int e, unsigned int node) { return e % 4 == 0 ? node : 4500 + node / 2; });
        expect_linked(as_view(elements), type);
        renumber([](unsigned int e, unsigned int node) { return e / 8 + node % 16; });
        expect_linked(elements, type);
    }
}

} // namespace
