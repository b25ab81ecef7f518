#pragma once

/// \file
/// Meshes of several typed blocks, as the NASTRAN and FEMAP functions take and give them, and what both must
/// do.

#include <plexo/containers.h>
#include <plexo/ids.h>

#include "limited_memory.h"
#include "test_containers.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace test {

struct ranged {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    id_list ranges;
    dense1D<int, 16> types;
    id_list properties;
};

inline dense1D<int, 16> codes(const std::vector<int>& values) {
    return list_of(values);
}

/// Random blocks of the given types, each of up to `most` elements (exactly one when most is 1), in one
/// matrix as tall as its tallest block. Mixed blocks are as tall as the matrix lets them be.
inline ranged random_blocks(const std::vector<int>& types, unsigned int most, unsigned int seed) {
    std::mt19937 random(seed);
    const auto below = [&random](unsigned int n) { return unsigned(random() % n); };
    ranged m;
    unsigned int rows = 1;
    for (const int type : types) {
        const unsigned int needs = type == ELEM_FACE_MIX    ? 3 + below(2)
                                   : type == ELEM_SOLID_MIX ? 8
                                                            : NODES_PER_ELEMENT[type];
        rows = std::max(rows, needs);
    }
    m.pos = dense2D<double>(3, 3 + below(20));
    for (unsigned int k = 0; k < m.pos.size(); ++k) {
        static constexpr double SCALES[] = {0, 1, 1, -1e-9, 1e20, 1e-300, 1e300, 1e6, 999999.5, 100};
        m.pos.data()[k] = SCALES[below(10)] * (below(4) == 0 ? 1 : double(random()) / 1e9);
    }
    std::vector<unsigned int> ends = {0};
    for (std::size_t k = 0; k < types.size(); ++k) ends.push_back(ends.back() + 1 + below(most));
    m.ranges = list_of(ends);
    m.types = codes(types);
    m.connect = dense2D<unsigned int>(rows, ends.back(), NO_ID);
    m.properties = id_list(ends.back());
    for (std::size_t k = 0; k < types.size(); ++k) {
        for (unsigned int j = ends[k]; j < ends[k + 1]; ++j) {
            unsigned int nodes = NODES_PER_ELEMENT[types[k]];
            if (types[k] == ELEM_FACE_MIX) nodes = std::min(rows, 3 + below(2));
            if (types[k] == ELEM_SOLID_MIX) {
                static constexpr unsigned int COUNTS[] = {4, 5, 6, 8};
                nodes = COUNTS[below(4)];
            }
            for (unsigned int i = 0; i < nodes; ++i)
                m.connect(i, j) = below(5) == 0 ? unsigned(random()) / 2 : below(100);
            m.properties[j] = below(3) == 0 ? unsigned(random()) : below(10);
        }
    }
    return m;
}

/// Blocks of random types; at most eight rows when a mixed solid is among them.
inline ranged random_mesh(unsigned int seed) {
    std::mt19937 random(seed);
    std::vector<int> types;
    for (std::size_t n = 1 + random() % 6; n != 0; --n) types.push_back(int(random() % 21));
    if (std::find(types.begin(), types.end(), int(ELEM_SOLID_MIX)) != types.end()) {
        for (int& type : types) {
            if (NODES_PER_ELEMENT[type] > 8) type = ELEM_HEXA8;
        }
    }
    return random_blocks(types, 5, seed);
}

/// What %.6g leaves of every entry.
inline dense2D<double> as_printed(const dense2D<double>& m) {
    dense2D<double> rounded(m.rows(), m.cols());
    for (unsigned int j = 0; j < m.cols(); ++j) {
        for (unsigned int i = 0; i < m.rows(); ++i) {
            char text[40];
            std::snprintf(text, sizeof text, "%.6g", m(i, j));
            rounded(i, j) = std::strtod(text, nullptr);
        }
    }
    return rounded;
}

/// The elements whose shape is carried, as a reader gives them: blocks of one shape each, neighbours of one
/// shape joined, coordinates as printed. A pyramid of a mixed block comes back without its nodes from a
/// format that `mixed_pyramids` says so of.
template <typename Carried>
ranged only(const ranged& m, Carried carried, bool mixed_pyramids = true) {
    std::vector<std::vector<unsigned int>> columns;
    std::vector<unsigned int> properties, ranges;
    std::vector<int> types;
    for (unsigned int k = 0; k < m.types.size(); ++k) {
        for (unsigned int j = m.ranges[k]; j < m.ranges[k + 1]; ++j) {
            const unsigned int* n = m.connect.col_data(j);
            int type = m.types[k];
            if (type == ELEM_FACE_MIX) type = m.connect.rows() < 4 || n[3] == NO_ID ? ELEM_TRIA3 : ELEM_QUAD4;
            bool blank = false;
            if (type == ELEM_SOLID_MIX) {
                type = n[4] == NO_ID   ? ELEM_TETRA4
                       : n[5] == NO_ID ? ELEM_PYRAMID5
                       : n[6] == NO_ID ? ELEM_WEDGE6
                                       : ELEM_HEXA8;
                blank = type == ELEM_PYRAMID5 && mixed_pyramids;
            }
            if (!blank && !carried(type)) continue;
            columns.emplace_back(n, n + NODES_PER_ELEMENT[type]);
            if (blank) columns.back().assign(5, 0);
            properties.push_back(m.properties[j]);
            if (types.empty() || types.back() != type) {
                ranges.push_back(unsigned(columns.size() - 1));
                types.push_back(type);
            }
        }
    }
    ranges.push_back(unsigned(columns.size()));
    std::size_t rows = 0;
    for (const auto& column : columns) rows = std::max(rows, column.size());
    dense2D<unsigned int> connect(unsigned(rows), unsigned(columns.size()), NO_ID);
    for (unsigned int j = 0; j < connect.cols(); ++j)
        std::copy(columns[j].begin(), columns[j].end(), connect.col_data(j));
    return {as_printed(m.pos), connect, list_of(ranges), list_of(types), list_of(properties)};
}

inline void expect_same(const ranged& a, const ranged& b) {
    EXPECT_TRUE(same(a.pos, b.pos));
    EXPECT_EQ(entries(a.connect), entries(b.connect));
    EXPECT_EQ(entries(a.ranges), entries(b.ranges));
    EXPECT_EQ(entries(a.types), entries(b.types));
    EXPECT_EQ(entries(a.properties), entries(b.properties));
}

/// What holds for the outputs of a reader whatever the file.
inline void expect_consistent(const ranged& m, int status, const std::string& text) {
    if (status < 0) {
        EXPECT_TRUE(status == -1 || status == -199) << text;
        EXPECT_TRUE(m.pos.empty() && m.connect.empty() && m.ranges.empty() && m.types.empty() &&
                    m.properties.empty())
            << text;
        return;
    }
    EXPECT_TRUE(m.pos.empty() || m.pos.rows() == 3) << text;
    EXPECT_EQ(m.connect.cols(), unsigned(status)) << text;
    EXPECT_EQ(m.properties.size(), unsigned(status)) << text;
    ASSERT_EQ(m.ranges.size(), m.types.size() + 1) << text;
    EXPECT_EQ(m.ranges[m.types.size()], unsigned(status)) << text;
    for (unsigned int k = 0; k < m.types.size(); ++k) {
        ASSERT_LT(m.ranges[k], m.ranges[k + 1]) << text;
        ASSERT_GE(m.connect.rows(), NODES_PER_ELEMENT[m.types[k]]) << text;
        EXPECT_TRUE(k == 0 || m.types[k] != m.types[k - 1]) << text;
        for (unsigned int j = m.ranges[k]; j < m.ranges[k + 1]; ++j) {
            for (unsigned int i = NODES_PER_ELEMENT[m.types[k]]; i < m.connect.rows(); ++i) {
                ASSERT_EQ(m.connect(i, j), NO_ID) << text;
            }
        }
    }
}

/// The bytes of a writer for every type, for views and for random blocks, under any locale, and what a full
/// disk gives.
template <typename Write, typename Read, typename Literal>
void expect_ranged_bytes(Write write, Read read, Literal literal_file) {
    const temporary_file file("before");
    const auto writes = [&](const ranged& m, const std::string& expected, unsigned int which) {
        ASSERT_EQ(write(file.path(), m), 0) << which;
        EXPECT_EQ(file.content(), expected) << which;
    };
    for (int type = 0; type <= 20; ++type) {
        const ranged m = random_blocks({type}, 7, unsigned(type) + 1);
        writes(m, literal_file(m), unsigned(type));
        ranged view = m;
        view.connect = as_view(m.connect);
        view.pos = as_view(m.pos);
        writes(view, literal_file(m), unsigned(type));
    }
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        const ranged m = random_mesh(seed);
        writes(m, literal_file(m), seed);
    }
    const ranged m = random_mesh(3);
    const std::string expected = literal_file(m);
    ranged back;
    {
        const comma_locale here;
        ASSERT_EQ(write(file.path(), m), 0);
        EXPECT_GE(read(file.path(), back), 0);
    }
    EXPECT_EQ(file.content(), expected);
    EXPECT_TRUE(same(back.pos, as_printed(m.pos)));
    if (!temporary_file::can_fill_disk()) return;
    EXPECT_EQ(write("/dev/full", random_mesh(1)), -1); // shows only at close
    ranged large = random_blocks({ELEM_TRIA3}, 1, 1);
    large.pos = dense2D<double>(3, 100000);
    EXPECT_EQ(write("/dev/full", large), -1);
}

/// A reader empties its outputs, and other holders of them keep what they have; the text holds a mesh.
template <typename Read>
void expect_emptied_outputs(Read read, const std::string& text, int elements) {
    const ranged kept = random_mesh(4);
    ranged m = kept;
    for (const std::string& path : {std::string(NO_SUCH_DIRECTORY), testing::TempDir()}) {
        m = kept;
        EXPECT_EQ(read(path.c_str(), m), -1); // a directory opens, but cannot be read
        expect_consistent(m, -1, path);
    }
    m = kept;
    const temporary_file file(text);
    EXPECT_EQ(read(file.path(), m), elements);
    expect_same(kept, random_mesh(4));
}

/// The checks of a writer in their order; every failure but that of opening leaves an empty file.
template <typename Write>
void expect_ranged_checks(Write write) {
    const auto writes = [&](const ranged& m, int code) {
        const temporary_file file("before");
        EXPECT_EQ(write(file.path(), m), code);
        EXPECT_TRUE(file.exists());
        if (code != 0 || m.connect.empty()) {
            EXPECT_EQ(file.content(), "");
        }
    };
    const ranged good = random_blocks({ELEM_TRIA3, ELEM_QUAD4}, 4, 1);
    writes(good, 0);
    EXPECT_EQ(write(NO_SUCH_DIRECTORY, good), -1);
    // Broken from the last check to the first: each failure hides those behind it.
    ranged m = good;
    m.ranges = ids({0, 1, m.connect.cols() + 1});
    writes(m, -3);
    m.properties = id_list(m.connect.cols() + 1);
    writes(m, -6);
    m.ranges = ids({0, 1});
    writes(m, -5);
    m.ranges = {};
    writes(m, -5);
    m.pos = dense2D<double>(2, 4);
    writes(m, -2);
    EXPECT_EQ(write(NO_SUCH_DIRECTORY, m), -1);
    m.connect = {};
    writes(m, 0);
    EXPECT_EQ(write(NO_SUCH_DIRECTORY, m), 0);
    m = good;
    m.pos = {};
    writes(m, -2);

    // A range list or a type is never trusted.
    m = good;
    const unsigned int n = m.connect.cols();
    for (const auto& ranges :
         {ids({0, 2, 1}), ids({n, 0, n}), ids({0, n + 1, n}), ids({NO_ID, 0, 1}), ids({0, 1, NO_ID})}) {
        m.ranges = ranges;
        writes(m, -3);
    }
    for (const auto& ranges : {ids({0, 0, n}), ids({n, n, n}), ids({1, n, n})}) {
        m.ranges = ranges;
        writes(m, 0);
    }
    m = good;
    for (const int type : {-1, 21, 99, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        m.types = codes({ELEM_TRIA3, type});
        writes(m, -3);
    }
    m.types = codes({ELEM_TRIA3, ELEM_TRIA6}); // more rows than there are
    writes(m, -3);
    m.types = codes({ELEM_TRIA3, ELEM_SOLID_MIX}); // four rows of nodes: tetrahedra
    writes(m, 0);
    m.connect = dense2D<unsigned int>(7, n, 0);
    writes(m, -3); // no mixed solid has seven rows
    m.connect = dense2D<unsigned int>(8, n, 0);
    m.connect(3, n - 1) = NO_ID; // nor any with a gap
    writes(m, -3);
    m.types = codes({ELEM_TRIA3, ELEM_NONE}); // codes without nodes write nothing
    writes(m, 0);
}

/// A node's ID is its column: eight digits are always taken, and beyond what a file's size accounts for
/// nothing is allocated.
template <typename FileWith, typename Read>
void expect_bounded_IDs(FileWith file_with, Read read) {
    const auto status_of = [&](const std::string& ID, ranged& m) {
        const temporary_file file(file_with(ID));
        const int status = read(file.path(), m);
        expect_consistent(m, status, ID);
        return status;
    };
    ranged m;
    for (const unsigned int ID : {0u, 1u, 65535u, 65536u, 70000u, 5000000u}) {
        ASSERT_EQ(status_of(std::to_string(ID), m), 0);
        ASSERT_EQ(m.pos.cols(), ID + 1);
        EXPECT_EQ(entries(m.pos.sub_matrix(0, ID, 3, 1)), (std::vector<double>{1, 2, 3}));
        const double* const end = std::as_const(m.pos).col_data(ID);
        EXPECT_TRUE(std::all_of(std::as_const(m.pos).data(), end, [](double x) { return x == 0; })) << ID;
    }
    m = {};
#if !defined(PLEXO_TEST_UNDER_SANITIZER)
    ASSERT_EQ(status_of("99999999", m), 0);
    ASSERT_EQ(m.pos.cols(), 100000000u);
    EXPECT_EQ(m.pos(2, 99999999), 3);
    EXPECT_EQ(m.pos(2, 99999998), 0);
    EXPECT_EQ(m.pos(0, 0), 0);
#endif
    for (const char* ID :
         {"100000000", "1431655764", "1431655765", "2147483648", "4294967294", "4294967295", "4294967296",
          "18446744073709551615", "18446744073709551616", "999999999999999999999999999999"}) {
        m = {};
        EXPECT_EQ(status_of(ID, m), -199) << ID;
    }
    expect_survives_without_memory([&] {
        ranged nothing;
        return status_of("99999999", nothing) == -199;
    });
}

} // namespace test
