#pragma once

/// \file
/// Meshes of typed blocks in one matrix, as the NASTRAN and FEMAP functions take and give them, and what both
/// must do.

#include "limited_memory.h"
#include "literal_files.h"

#include <cstdlib>
#include <limits>
#include <utility>

namespace test {

struct ranged {
    dense2D<double> pos;
    dense2D<unsigned int> connect;
    id_list ranges;
    dense1D<int, 16> types;
    id_list properties;
};

template <typename Output>
int write(Output output, const char* path, const ranged& m) {
    return output(path, m.pos, m.connect, m.ranges, m.types, m.properties);
}
template <typename Input>
int read(Input input, const char* path, ranged& m) {
    return input(path, m.pos, m.connect, m.ranges, m.types, m.properties);
}
template <typename Input>
int read_text(Input input, const std::string& text, ranged& m) {
    const temporary_file file(text);
    return read(input, file.path(), m);
}

/// The mesh of a list of elements, its matrix as tall as the tallest.
inline ranged ranged_of(const dense2D<double>& pos, const std::vector<element>& elements) {
    std::size_t rows = 1;
    for (const element& e : elements) rows = std::max(rows, e.nodes.size());
    ranged m{pos, {unsigned(rows), unsigned(elements.size()), NO_ID}, {}, {}, {}};
    for (unsigned int j = 0; j < elements.size(); ++j) {
        const element& e = elements[j];
        std::copy(e.nodes.begin(), e.nodes.end(), m.connect.col_data(j));
        m.properties.push_back(e.property);
        if (j != 0 && e.block == elements[j - 1].block) continue;
        m.ranges.push_back(j);
        m.types.push_back(e.block_type);
    }
    m.ranges.push_back(unsigned(elements.size()));
    return m;
}

/// Block k of a mesh that was read.
inline dense2D<unsigned int> block_of(const ranged& m, unsigned int k) {
    return m.connect.sub_matrix(0, m.ranges[k], NODES_PER_ELEMENT[m.types[k]], m.ranges[k + 1] - m.ranges[k]);
}

/// The elements of a mesh that was read.
inline std::vector<element> elements_of(const ranged& m) {
    matrices blocks;
    for (unsigned int k = 0; k < m.types.size(); ++k) blocks.push_back(block_of(m, k));
    std::vector<element> elements = elements_of(blocks, entries(m.types));
    for (unsigned int j = 0; j < elements.size(); ++j) elements[j].property = m.properties[j];
    return elements;
}

/// The mesh that a reader must make of elements: every run of one type is a block.
inline void expect_mesh(const ranged& m, std::vector<element> elements, const std::string& text) {
    for (element& e : elements) e.block = unsigned(e.block_type = e.type);
    const ranged expected = ranged_of(m.pos, elements);
    EXPECT_EQ(entries(m.connect), entries(expected.connect)) << text;
    EXPECT_EQ(m.connect.cols(), elements.size()) << text;
    EXPECT_EQ(entries(m.ranges), entries(expected.ranges)) << text;
    EXPECT_EQ(entries(m.types), entries(expected.types)) << text;
    EXPECT_EQ(entries(m.properties), entries(expected.properties)) << text;
}

/// What holds for the outputs of a reader whatever the file.
inline void expect_consistent(const ranged& m, int status, const std::string& text) {
    EXPECT_TRUE(status >= 0 || status == -1 || status == -199) << text;
    if (status < 0) {
        EXPECT_TRUE(m.pos.empty() && m.connect.empty() && m.ranges.empty() && m.types.empty()) << text;
        EXPECT_TRUE(m.properties.empty()) << text;
        return;
    }
    EXPECT_TRUE(m.pos.empty() || m.pos.rows() == 3) << text;
    ASSERT_EQ(m.connect.cols(), unsigned(status)) << text;
    ASSERT_EQ(m.properties.size(), unsigned(status)) << text;
    ASSERT_EQ(m.ranges.size(), m.types.size() + 1) << text;
    expect_mesh(m, elements_of(m), text);
}

struct block_list {
    matrices blocks;
    std::vector<int> types;
};

/// Up to six blocks of random types; beside mixed solids none has more than eight rows.
inline block_list random_blocks(std::mt19937& random) {
    block_list list{{}, std::vector<int>(2 + random() % 5)};
    for (int& type : list.types) type = int(random() % 21);
    const bool low = std::count(list.types.begin(), list.types.end(), int(ELEM_SOLID_MIX)) != 0;
    for (int& type : list.types) {
        if (low && NODES_PER_ELEMENT[type] > 8) type = ELEM_HEXA8;
        const auto cols = unsigned(random() % 5), nodes = random() % 2 ? 100 : NO_ID;
        int shape = type; // a mixed block is no taller than need be
        if (type == ELEM_FACE_MIX && random() % 2) shape = ELEM_TRIA3;
        if (type == ELEM_SOLID_MIX && random() % 2) shape = ELEM_TETRA4;
        const dense2D<unsigned int> block = random_elements(element_type(shape), cols, nodes, random);
        list.blocks.push_back(block.rows() != 0 ? block : dense2D<unsigned int>(1, cols, NO_ID));
    }
    return list;
}

/// What %.6g leaves of every entry.
inline dense2D<double> as_printed(const dense2D<double>& m) {
    std::vector<double> rounded;
    for (const double x : entries(m)) {
        char text[40];
        std::snprintf(text, sizeof text, "%.6g", x);
        rounded.push_back(std::strtod(text, nullptr));
    }
    return matrix_of(m.rows(), rounded);
}

/// The short forms of a writer, matrices of different heights side by side. Elements have the properties 1
/// and 2 of their blocks or, `one_by_one`, of their own, where only as many elements as blocks will do.
template <typename Output, typename Literal>
void expect_short_forms(Output output, Literal literal_file, const dense2D<double>& pos,
                        const block_list& list, bool one_by_one) {
    const matrices& all = list.blocks;
    const element_type types[] = {element_type(list.types[0]), element_type(list.types[1])};
    for (const matrices& blocks : {matrices{all[0]}, matrices{all[0], all[1]}}) {
        const auto write_short = [&](const char* path) {
            return blocks.size() == 1 ? output(path, pos, all[0], types[0])
                                      : output(path, pos, all[0], all[1], types[0], types[1]);
        };
        std::vector<element> elements = elements_of(blocks, list.types);
        for (unsigned int j = 0; j < elements.size(); ++j)
            elements[j].property = 1 + (one_by_one ? j : elements[j].block);
        const bool nothing = elements.empty();
        const int status = one_by_one && !nothing && elements.size() != blocks.size() ? -6 : 0;
        const temporary_file file("before");
        ASSERT_EQ(write_short(file.path()), status);
        ASSERT_EQ(file.content(), nothing || status != 0 ? "" : literal_file(pos, elements));
        ASSERT_EQ(write_short(NO_SUCH_DIRECTORY), nothing ? 0 : -1);
        if (!temporary_file::can_fill_disk()) continue;
        ASSERT_EQ(write_short("/dev/full"), nothing || status != 0 ? status : -1);
    }
}

/// Random meshes, views among them, under a foreign locale: the writer's files are the literal ones, and the
/// reader finds in them the elements that `carry` says, by all of its forms.
template <typename Output, typename Input, typename Literal, typename Carry>
void expect_literal_round_trips(Output output, Input input, Literal literal_file, Carry carry,
                                bool properties_one_by_one) {
    std::mt19937 random(1);
    const temporary_file file("before");
    for (int round = 0; round < 500; ++round) {
        const auto view_or_not = [&](const auto& m) { return m.empty() || round % 2 ? m : as_view(m); };
        const dense2D<double> pos = view_or_not(random_nodes(3, 1 + unsigned(random() % 30), random));
        block_list list = random_blocks(random);
        std::vector<element> elements = elements_of(list.blocks, list.types), expected;
        for (element& e : elements) e.property = random() % 3 ? unsigned(random() % 10) : unsigned(random());
        for (const element& e : elements) carry(e, expected);
        const auto count = int(expected.size());
        ranged m = ranged_of(pos, elements);
        m.connect = view_or_not(m.connect);
        ranged back = m; // shares storage, which stays as it is
        const std::string literal = elements.empty() ? "" : literal_file(pos, elements);
        const dense2D<double> printed = elements.empty() ? dense2D<double>() : as_printed(pos);
        {
            const comma_locale here;
            ASSERT_EQ(write(output, file.path(), m), 0);
            ASSERT_EQ(read(input, file.path(), back), count) << literal;
            ASSERT_EQ(write(output, file.path(), m), 0);
        }
        ASSERT_EQ(file.content(), literal);
        ASSERT_TRUE(same(back.pos, printed)) << literal;
        expect_mesh(back, expected, literal);

        dense2D<unsigned int> one = id_matrix(1, {9}), first = one, second = one;
        element_type type = ELEM_NONE, first_type = type, second_type = type;
        EXPECT_EQ(input(file.path(), m.pos, one, type), count);
        EXPECT_TRUE(same(m.pos, printed)) << literal;
        EXPECT_EQ(input(file.path(), m.pos, first, second, first_type, second_type), count);
        EXPECT_TRUE(same(m.pos, printed)) << literal;
        const auto expect_block = [&](unsigned int k, const dense2D<unsigned int>& block, int block_type) {
            const bool exists = k < back.types.size();
            EXPECT_TRUE(same(block, exists ? block_of(back, k) : dense2D<unsigned int>())) << literal;
            EXPECT_EQ(block_type, exists ? back.types[k] : ELEM_NONE) << literal;
        };
        expect_block(0, one, type);
        expect_block(0, first, first_type);
        expect_block(1, second, second_type);

        for (dense2D<unsigned int>& block : list.blocks) block = view_or_not(block);
        expect_short_forms(output, literal_file, pos, list, properties_one_by_one);
    }
}

/// The checks of a writer in their order; every failure but that of opening leaves an empty file.
template <typename Output>
void expect_ranged_checks(Output output) {
    const dense2D<unsigned int> triangles(3, 2, 0), quads(4, 3, 0);
    ranged m =
        ranged_of(dense2D<double>(3, 100000), elements_of({triangles, quads}, {ELEM_TRIA3, ELEM_QUAD4}));
    const auto expect = [&](int status) {
        const temporary_file file("before");
        const bool nothing = m.connect.empty();
        EXPECT_EQ(write(output, file.path(), m), status);
        EXPECT_EQ(file.content().empty(), nothing || status != 0);
        EXPECT_EQ(write(output, NO_SUCH_DIRECTORY, m), nothing ? 0 : -1);
        if (!temporary_file::can_fill_disk()) return;
        EXPECT_EQ(write(output, "/dev/full", m), nothing || status != 0 ? status : -1);
    };
    const auto expect_with = [&](int status, auto& part, const auto&... values) {
        ((part = values, expect(status)), ...); // the last one stays
    };
    // A range list or a type is never trusted.
    expect_with(-3, m.ranges, ids({0, 2, 1}), ids({5, 0, 5}), ids({0, 6, 5}), ids({NO_ID, 0, 1}));
    expect_with(-3, m.ranges, ids({0, 1, NO_ID}), ids({0, 0, 6}));
    expect_with(0, m.ranges, ids({0, 0, 5}), ids({5, 5, 5}), ids({1, 5, 5}), ids({0, 2, 5}));
    constexpr int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
    expect_with(-3, m.types[1], -1, 21, 99, least, most, ELEM_TRIA6); // which has more rows than there are
    expect_with(0, m.types[1], ELEM_NONE, ELEM_SOLID_MIX);            // whose four rows make tetrahedra
    const auto rows_of_nodes = [](unsigned int rows) { return dense2D<unsigned int>(rows, 5, 0); };
    expect_with(-3, m.connect, rows_of_nodes(7), rows_of_nodes(9), rows_of_nodes(27)); // no mixed solid's
    expect_with(0, m.connect, rows_of_nodes(8));
    m.connect(3, 4) = NO_ID; // a gap
    expect(-3);

    // Each failure hides those before it.
    expect_with(-6, m.properties, id_list(), id_list(4), id_list(6));
    expect_with(-5, m.ranges, id_list(), ids({0, 1}), ids({0, 1, 2, 3}));
    expect_with(-2, m.pos, dense2D<double>(), dense2D<double>(2, 4), dense2D<double>(4, 4));
    expect_with(0, m.connect, rows_of_nodes(0));
}

/// One of the seeds of the fuzzers.
inline std::string seed(const std::string& name) {
    std::ifstream file(PLEXO_SEEDS + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Reads a seed whose nodes all have the same coordinates and whose elements have the nodes 1, 2, 30, 4, 5
/// ... on their records and their type for a property. It reads the same with any line end and without the
/// last, and in lower case; whatever becomes of it, what is read is in order.
template <typename Input>
void expect_seed(Input input, const std::string& name, unsigned int node_count, int element_count,
                 const node_orders& orders) {
    const std::string text = seed(name);
    std::string lower = text, returns;
    for (char& c : lower) c = c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
    for (const char c : text) returns += c == '\n' ? "\r\n" : std::string(1, c);
    for (const std::string& variant : {text, lower, returns, text.substr(0, text.size() - 1)}) {
        ranged m;
        ASSERT_EQ(read_text(input, variant, m), element_count) << variant;
        expect_consistent(m, element_count, variant);
        ASSERT_EQ(m.pos.cols(), node_count);
        for (unsigned int j = 0; j < node_count; ++j)
            EXPECT_EQ(entries(m.pos.sub_matrix(0, j, 3, 1)), (std::vector<double>{1.5, -2, 3.25})) << j;
        unsigned int column = 0;
        for (const element& e : elements_of(m)) {
            EXPECT_EQ(unsigned(e.type), e.property) << column;
            std::vector<unsigned int> nodes = listed(e, orders);
            for (unsigned int p = 0; p < nodes.size(); ++p) {
                const bool used = !orders.count(e.type) || orders.at(e.type)[p] >= 0;
                EXPECT_EQ(nodes[p], !used ? 0 : p == 2 ? 30 : p + 1) << column;
            }
            ++column;
        }
    }
    for_every_damage(text, 4000, [&](const char* path, const std::string& damaged) {
        ranged m;
        const int status = read(input, path, m);
        expect_consistent(m, status, damaged);
    });
}

/// A node's ID is its column: eight digits are always taken, and beyond what a file's size accounts for
/// nothing is allocated.
template <typename Input, typename FileWith>
void expect_bounded_IDs(Input input, FileWith file_with) {
    const auto status_of = [&](const std::string& ID, ranged& m) {
        const int status = read_text(input, file_with(ID), m); // over what the last one left
        expect_consistent(m, status, ID);
        return status;
    };
    ranged m;
    for (const unsigned int ID : {0u, 1u, 65535u, 65536u, 70000u, 5000000u, 99999999u}) {
#if defined(PLEXO_TEST_UNDER_SANITIZER)
        if (ID == 99999999u) continue;
#endif
        ASSERT_EQ(status_of(std::to_string(ID), m), 0);
        ASSERT_EQ(m.pos.cols(), ID + 1);
        EXPECT_EQ(entries(m.pos.sub_matrix(0, ID, 3, 1)), (std::vector<double>{1.5, -2, 3.25}));
        const double* const end = std::as_const(m.pos).col_data(std::min(ID, 5000000u));
        EXPECT_TRUE(std::all_of(std::as_const(m.pos).data(), end, [](double x) { return x == 0; })) << ID;
    }
    for (const char* ID :
         {"100000000", "1431655764", "1431655765", "2147483648", "4294967294", "4294967295", "4294967296",
          "18446744073709551615", "18446744073709551616", "999999999999999999999999999999"}) {
        EXPECT_EQ(status_of(ID, m), -199) << ID;
    }
    expect_survives_without_memory([&] { return status_of("99999999", m) == -199; });
}

/// A reader that fails leaves its outputs empty.
template <typename Input>
void expect_emptied_outputs(Input input) {
    const std::string directory = testing::TempDir(); // opens, but cannot be read
    for (const char* path : {NO_SUCH_DIRECTORY, directory.c_str()}) {
        dense2D<unsigned int> one = id_matrix(1, {9}), first = one, second = one;
        ranged m{dense2D<double>(3, 1), one, ids({0, 1}), list_of<int>({1}), ids({9})};
        element_type type = ELEM_QUAD4;
        EXPECT_EQ(read(input, path, m), -1);
        expect_consistent(m, -1, path);
        EXPECT_EQ(input(path, m.pos, one, type), -1);
        EXPECT_EQ(input(path, m.pos, first, second, type, type), -1);
        EXPECT_TRUE(one.empty() && first.empty() && second.empty());
        EXPECT_EQ(type, ELEM_QUAD4);
    }
}

} // namespace test
