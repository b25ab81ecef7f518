#include "topology_oracles.h"

#include <gtest/gtest.h>

#include <map>

using namespace qv7::plexo;
using oracle::entries;
using oracle::matrix;

namespace {

constexpr unsigned int N = NO_ID;

std::vector<unsigned int> neighbors_of(const dense2D<unsigned int>& connectivity, element_type type,
                                       bool flag) {
    dense2D<unsigned int> neighbors;
    EXPECT_EQ(get_neighbors(connectivity, type, flag, neighbors), 0);
    EXPECT_EQ(neighbors.rows(), oracle::faces_of(type));
    EXPECT_EQ(neighbors.cols(), connectivity.cols());
    return entries(neighbors);
}

void expect_as_written(const dense2D<unsigned int>& connectivity, element_type type) {
    for (const bool flag : {false, true}) {
        ASSERT_EQ(neighbors_of(connectivity, type, flag), oracle::neighbors(connectivity, type, flag))
            << "type " << type << ", flag " << flag << ", " << connectivity.cols() << " elements, nodes "
            << testing::PrintToString(entries(connectivity));
    }
}

TEST(Neighbors, EqualTheWordsOfTheirRulesOnMeshesFullOfCoincidences) {
    oracle::dice random(42);
    for (int round = 0; round < 8000; ++round) {
        for (const element_type type : oracle::FACED_TYPES) {
            const unsigned int elements = 1 + random() % 8;
            expect_as_written(oracle::random_mesh(random, type, elements, 2 + random() % 9), type);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(Neighbors, EqualTheWordsOfTheirRulesForScatteredAndHugeIDs) {
    oracle::dice random(43);
    for (int round = 0; round < 2500; ++round) {
        for (const element_type type : oracle::FACED_TYPES) {
            const unsigned int elements = 1 + random() % 8;
            const unsigned int nodes = 2 + random() % 9;
            const unsigned int step = 1 + random() % 400000000;
            const unsigned int first = NO_ID - 1 - step * (nodes - 1);
            expect_as_written(oracle::random_mesh(random, type, elements, nodes, first, step), type);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(Neighbors, TakeAbsentNodesOfFixedTypesForNodes) {
    oracle::dice random(44);
    for (int round = 0; round < 1500; ++round) {
        for (const element_type type : oracle::FACED_TYPES) {
            if (type == ELEM_FACE_MIX || type == ELEM_SOLID_MIX) continue;
            auto connectivity = oracle::random_mesh(random, type, 1 + random() % 6, 2 + random() % 4);
            for (unsigned int i = 0; i < connectivity.size(); ++i) {
                if (random() % 3 == 0) connectivity.data()[i] = NO_ID;
            }
            expect_as_written(connectivity, type);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(Neighbors, EqualTheWordsOfTheirRulesWhereManyFacesShareANode) {
    oracle::dice random(45);
    for (const element_type type : oracle::FACED_TYPES) {
        for (const unsigned int nodes : {3u, 12u, 60u, 700u}) {
            expect_as_written(oracle::random_mesh(random, type, 150, nodes), type);
            auto hub = oracle::random_mesh(random, type, 150, nodes, 1);
            for (unsigned int e = 0; e < hub.cols(); ++e) hub(random() % 3 % hub.rows(), e) = 0;
            expect_as_written(hub, type);
            if (HasFatalFailure()) return;
        }
    }
}

/// The least of all turns of a face and its reverse; of a triangle in four rows, of its three nodes.
oracle::face least_turn(oracle::face face) {
    const bool padded = face.size() == 4 && face[3] == NO_ID;
    if (padded) face.pop_back();
    oracle::face least = face;
    for (int reversed = 0; reversed < 2; ++reversed) {
        for (std::size_t turn = 0; turn < face.size(); ++turn) {
            least = std::min(least, face);
            std::rotate(face.begin(), face.begin() + 1, face.end());
        }
        std::reverse(face.begin(), face.end());
    }
    return least;
}

TEST(Neighbors, OfLargeScatteredMeshesLinkEachGroupOfEqualFaces) {
    oracle::dice random(47);
    for (const element_type type : oracle::FACED_TYPES) {
        const unsigned int F = oracle::faces_of(type);
        const auto connectivity = oracle::random_mesh(random, type, 51000, 9000);
        std::map<oracle::face, std::vector<unsigned int>> groups;
        for (unsigned int e = 0; e < connectivity.cols(); ++e) {
            const auto faces = oracle::faces_of_column(connectivity.col_data(e), type);
            for (unsigned int k = 0; k < faces.size(); ++k) groups[least_turn(faces[k])].push_back(e * F + k);
        }
        for (const bool flag : {false, true}) {
            std::vector<unsigned int> expected(std::size_t(F) * connectivity.cols(), NO_ID);
            for (const auto& [face, codes] : groups) {
                if (codes.size() < 2 || (codes.size() > 2 && !flag)) continue;
                expected[codes.front()] = codes.back() / F;
                for (std::size_t i = 1; i < codes.size(); ++i) expected[codes[i]] = codes.front() / F;
            }
            ASSERT_TRUE(neighbors_of(connectivity, type, flag) == expected) << type;
        }
    }
}

TEST(Neighbors, OfTwoTrianglesStandAtTheSharedEdge) {
    const auto triangles = matrix(3, {0, 1, 2, 2, 1, 3});
    EXPECT_EQ(neighbors_of(triangles, ELEM_TRIA3, false), (std::vector<unsigned int>{1, N, N, N, N, 0}));
}

TEST(Neighbors, OfThreeTrianglesAtOneEdgeDependOnTheFlag) {
    const auto triangles = matrix(3, {0, 1, 2, 1, 0, 3, 0, 1, 4});
    EXPECT_EQ(neighbors_of(triangles, ELEM_TRIA3, false), std::vector<unsigned int>(9, N));
    EXPECT_EQ(neighbors_of(triangles, ELEM_TRIA3, true),
              (std::vector<unsigned int>{N, N, 2, N, N, 0, N, N, 0}));
}

TEST(Neighbors, QuadranglesMatchInCyclicOrderOnly) {
    const unsigned int hexahedra[2][16] = {
        {0, 1, 2, 3, 4, 5, 6, 7, 5, 4, 7, 6, 10, 11, 12, 13},  // 4-7-6-5 again, turned and reversed
        {0, 1, 2, 3, 4, 5, 6, 7, 5, 7, 4, 6, 10, 11, 12, 13}}; // the same nodes crossed over
    for (int crossed = 0; crossed < 2; ++crossed) {
        dense2D<unsigned int> connectivity(8, 2);
        std::copy_n(hexahedra[crossed], 16, connectivity.data());
        const auto across = neighbors_of(connectivity, ELEM_HEXA8, false);
        EXPECT_EQ(across[5], crossed ? N : 1u);
        EXPECT_EQ(across[6 + 4], crossed ? N : 0u);
    }
}

TEST(Neighbors, OfADegenerateElementMayBeItself) {
    EXPECT_EQ(neighbors_of(matrix(3, {4, 4, 9}), ELEM_TRIA3, false), (std::vector<unsigned int>{0, 0, N}));
    EXPECT_EQ(neighbors_of(matrix(3, {4, 4, 4}), ELEM_TRIA3, false), (std::vector<unsigned int>{N, N, N}));
    EXPECT_EQ(neighbors_of(matrix(3, {4, 4, 4}), ELEM_TRIA3, true), (std::vector<unsigned int>{0, 0, 0}));
}

TEST(Neighbors, OfMixedElementsMatchAcrossShapes) {
    const auto surface = matrix(4, {0, 1, 2, N, 0, 2, 3, 4});
    EXPECT_EQ(neighbors_of(surface, ELEM_FACE_MIX, false),
              (std::vector<unsigned int>{N, 1, N, N, 0, N, N, N}));
    // A pyramid on a hexahedron, a tetrahedron on the pyramid.
    const auto solid = matrix(8, {0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6, 7, 8, N, N, N, 8, 5, 4, 9, N, N, N, N});
    auto expected = std::vector<unsigned int>(18, N);
    expected[5] = 1;      // top of the hexahedron
    expected[6 + 4] = 0;  // base of the pyramid
    expected[6 + 0] = 2;  // its side (4, 8, 5)
    expected[12 + 3] = 1; // face (4, 5, 8) of the tetrahedron
    EXPECT_EQ(neighbors_of(solid, ELEM_SOLID_MIX, false), expected);
}

TEST(Neighbors, AreTheSameForViewsAndThreeRowMixedSurfaces) {
    oracle::dice random(46);
    for (const element_type type : oracle::FACED_TYPES) {
        const auto connectivity = oracle::random_mesh(random, type, 40, 30);
        EXPECT_EQ(neighbors_of(oracle::framed(connectivity), type, true),
                  neighbors_of(connectivity, type, true));
    }
    const auto triangles = oracle::random_mesh(random, ELEM_TRIA3, 40, 30);
    dense2D<unsigned int> neighbors;
    EXPECT_EQ(get_neighbors(triangles, ELEM_FACE_MIX, true, neighbors), 0);
    EXPECT_EQ(entries(neighbors), neighbors_of(triangles, ELEM_TRIA3, true));
}

TEST(Neighbors, LeaveTheConnectivityAloneWhenStorageIsShared) {
    const auto triangles = matrix(3, {0, 1, 2, 2, 1, 3});
    const auto expected = neighbors_of(triangles, ELEM_TRIA3, false);
    dense2D<unsigned int> sharing = triangles;
    EXPECT_EQ(get_neighbors(triangles, ELEM_TRIA3, false, sharing), 0);
    EXPECT_EQ(entries(sharing), expected);
    EXPECT_EQ(entries(triangles), (std::vector<unsigned int>{0, 1, 2, 2, 1, 3}));

    dense2D<unsigned int> both = triangles;
    EXPECT_EQ(get_neighbors(both, ELEM_TRIA3, false, both), 0);
    EXPECT_EQ(entries(both), expected);
    EXPECT_EQ(entries(triangles), (std::vector<unsigned int>{0, 1, 2, 2, 1, 3}));
}

TEST(Neighbors, EmptyTheOutputWhateverFollows) {
    const auto check = [](const dense2D<unsigned int>& connectivity, element_type type, int code) {
        dense2D<unsigned int> neighbors(2, 5, 1);
        EXPECT_EQ(get_neighbors(connectivity, type, false, neighbors), code);
        EXPECT_EQ(neighbors.rows(), 0u);
        EXPECT_EQ(neighbors.cols(), 0u);
    };
    check({}, ELEM_TRIA6, 0);
    check(dense2D<unsigned int>(3, 0), ELEM_TRIA3, 0);
    check(matrix(4, {0, 1, 2, 3}), ELEM_TRIA3, -1);
    check(matrix(4, {0, 1, 2, 3}), ELEM_TRIA6, -2); // also of the wrong shape: the type comes first
    check(matrix(4, {0, 1, 2, 3}), element_type(77), -2);
    check(matrix(5, {0, 1, 2, 3, 4}), ELEM_FACE_MIX, -1);
    check(matrix(4, {0, 1, N, 3}), ELEM_FACE_MIX, -1);
    check(matrix(8, {0, 1, 2, 3, 4, N, 6, N}), ELEM_SOLID_MIX, -1);
    check(matrix(6, {0, 1, 2, 3, 4, N}), ELEM_SOLID_MIX, -1); // well-formed, but faces want 8 rows
}

} // namespace
