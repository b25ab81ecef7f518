// Wavefront OBJ surfaces against a literal writer, and texts by every hand.

#include <plexo/ids.h>
#include <plexo/io.h>

#include "limited_blocks.h"
#include "literal_text.h"
#include "test_containers.h"
#include "test_elements.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace test;

struct surface {
    dense2D<double> pos, normals, texture;
    dense2D<unsigned int> triangles, quads;

    bool empty() const {
        return pos.empty() && normals.empty() && texture.empty() && triangles.empty() && quads.empty();
    }
};

int read(const char* path, surface& s) {
    return WavefrontOBJ_input(path, s.pos, s.normals, s.texture, s.triangles, s.quads);
}

int read_text(const std::string& text, surface& s) {
    const temporary_file file(text);
    return read(file.path(), s);
}

int write(const char* path, const surface& s) {
    return WavefrontOBJ_output(path, s.pos, s.normals, s.texture, s.triangles, s.quads);
}

std::string literal_file(const surface& s) {
    printed_text out;
    const auto points = [&out](const char* record, const dense2D<double>& m, unsigned int numbers) {
        for (unsigned int j = 0; j < m.cols(); ++j) {
            out.text += record;
            for (unsigned int i = 0; i < numbers; ++i) out.print("%g ", i < m.rows() ? m(i, j) : 0.0);
            out.text += "\n";
        }
    };
    const auto faces = [&](const dense2D<unsigned int>& elements, unsigned int corners) {
        for (unsigned int j = 0; j < elements.cols(); ++j) {
            out.text += " f ";
            for (unsigned int i = 0; i < corners; ++i) {
                const std::string node = std::to_string(elements(i, j) + 1);
                out.text += node + "/" + (s.texture.empty() ? "" : node) + "/";
                out.text += (s.normals.empty() ? "" : node) + " ";
            }
            out.text += "\n";
        }
    };
    points(" v ", s.pos, 3);
    points(" vt ", s.texture, 2);
    points(" vn ", s.normals, 3);
    faces(s.triangles, 3);
    faces(s.quads, 4);
    return out.text;
}

surface sample(unsigned int dimension = 3, bool normals = true, bool texture = true) {
    std::mt19937 random(1);
    surface s;
    s.pos = random_nodes(dimension, 27, random);
    if (normals) s.normals = random_nodes(3, 27, random);
    if (texture) s.texture = random_nodes(2, 27, random);
    s.triangles = random_elements(ELEM_TRIA3, 20, 27, random);
    s.quads = random_elements(ELEM_QUAD4, 20, 27, random);
    return s;
}

// ------------------------------------------------------------ writing

TEST(WavefrontOBJ, writes_the_bytes_of_printf_and_reads_them_back_in_any_locale) {
    const surface other = sample();
    const temporary_file file("what stood there before\n");
    for (unsigned int i = 0; i < 16; ++i) {
        surface s = sample(2 + i % 2, i & 2, i & 4), back = other;
        const std::string expected = literal_file(s);
        if (i & 8) {
            s = {as_view(s.pos), as_view(s.normals), as_view(s.texture), as_view(s.triangles),
                 as_view(s.quads)};
        }
        {
            const comma_locale here;
            ASSERT_EQ(write(file.path(), s), 0);
            ASSERT_EQ(read(file.path(), back), 0);
        }
        EXPECT_EQ(file.content(), expected);
        EXPECT_EQ(literal_file(back), expected);
        EXPECT_EQ(back.pos.rows(), 3u);
    }
    EXPECT_EQ(literal_file(other), literal_file(sample())); // which shared its storage with the outputs
}

TEST(WavefrontOBJ_output, routes_connectivities_by_type) {
    const dense2D<double> pos = real_matrix(2, {0, 1, 2.5, -3, 4, 5});
    const auto a = id_matrix(4, {0, 1, 2, 3, 4294967294u, NO_ID, 5, 4}), b = id_matrix(4, {8, 7, 6, 5});
    const temporary_file file;
    for (const element_type type_a : {ELEM_TRIA3, ELEM_QUAD4, ELEM_TRIA6, ELEM_FACE_MIX}) {
        for (const element_type type_b : {ELEM_TRIA3, ELEM_QUAD4, ELEM_HEXA8, ELEM_NONE}) {
            const dense2D<unsigned int> second = type_b == ELEM_NONE ? dense2D<unsigned int>() : b;
            const auto of_type = [&](element_type type) { // the fourth node of a triangle is not looked at
                std::vector<unsigned int> nodes, more = entries(second);
                if (type_a == type) nodes = entries(a);
                if (type_b == type) nodes.insert(nodes.end(), more.begin(), more.end());
                return matrix_of(4, nodes);
            };
            const std::string expected =
                literal_file({pos, {}, {}, of_type(ELEM_TRIA3), of_type(ELEM_QUAD4)});
            ASSERT_EQ(WavefrontOBJ_output(file.path(), pos, a, second, type_a, type_b), 0);
            EXPECT_EQ(file.content(), expected);
            if (type_b != ELEM_NONE) continue;
            ASSERT_EQ(WavefrontOBJ_output(file.path(), pos, a, second, type_a, type_a), 0);
            EXPECT_EQ(file.content(), expected);
            ASSERT_EQ(WavefrontOBJ_output(file.path(), pos, a, type_a), 0);
            EXPECT_EQ(file.content(), expected);
        }
    }
}

TEST(WavefrontOBJ_output, checks_in_order_and_leaves_an_empty_file) {
    surface s = sample(), large;
    const auto fails_with = [&s](int code) {
        const temporary_file file("before");
        EXPECT_EQ(write(file.path(), s), code);
        EXPECT_EQ(file.content(), "");
    };
    // Broken from the last check to the first: each failure hides those behind it.
    if (temporary_file::can_fill_disk()) {
        EXPECT_EQ(write("/dev/full", s), -1); // shows only at close
        large.pos = dense2D<double>(3, 200000, 1.5);
        EXPECT_EQ(write("/dev/full", large), -1);
    }
    s.quads = id_matrix(3, {0, 1, 2});
    fails_with(-6);
    s.triangles = id_matrix(2, {0, 1});
    fails_with(-5);
    for (const auto& [rows, cols] :
         {std::pair(1u, 27u), std::pair(3u, 27u), std::pair(2u, 26u), std::pair(2u, 28u)}) {
        s.texture = dense2D<double>(rows, cols);
        fails_with(-4);
        s.normals = dense2D<double>(rows + 1, cols);
        fails_with(-3);
        s.normals = dense2D<double>();
    }
    s.normals = dense2D<double>(3, 26);
    for (unsigned int rows : {0u, 1u, 4u}) {
        s.pos = dense2D<double>(rows, 27);
        fails_with(-2);
    }
    EXPECT_EQ(write(NO_SUCH_DIRECTORY, s), -1);
    // A joined matrix fails as what it becomes part of.
    const dense2D<double> pos(3, 1);
    const auto triangle = id_matrix(3, {0, 0, 0}), two = id_matrix(2, {0, 0});
    const temporary_file file;
    EXPECT_EQ(WavefrontOBJ_output(file.path(), pos, triangle, two, ELEM_TRIA3, ELEM_TRIA3), -5);
    EXPECT_EQ(WavefrontOBJ_output(file.path(), pos, triangle, ELEM_QUAD4), -6);
}

// ------------------------------------------------------------ reading

TEST(WavefrontOBJ_input, reads_the_nearest_doubles_and_the_nodes_of_many_records) {
    std::mt19937_64 random(7);
    std::vector<double> numbers;
    std::vector<unsigned int> nodes;
    std::string vertices, faces;
    while (numbers.size() < 180000) {
        char number[64];
        const auto digits = int(random() % 21);
        std::snprintf(number, sizeof number, random() % 2 ? "%.*e" : "%.*g", digits,
                      std::bit_cast<double>(random()));
        const double value = std::strtod(number, nullptr);
        if (!std::isfinite(value)) continue;
        vertices.append(numbers.size() % 3 == 0 ? "\nv " : " ").append(number);
        numbers.push_back(value);
        nodes.push_back(unsigned(random() % 60000));
        faces.append(nodes.size() % 3 == 1 ? "\nf " : " ").append(std::to_string(nodes.back() + 1));
    }
    surface s;
    ASSERT_EQ(read_text(vertices + faces, s), 0);
    EXPECT_EQ(entries(s.pos), numbers);
    EXPECT_EQ(entries(s.triangles), nodes);
}

TEST(WavefrontOBJ_input, accepts_what_programs_write) {
    const std::string square = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";
    const struct {
        std::string text;
        const char *triangles, *quads;
    } cases[] = {
        {square +
             "vt 0 0\nvn 0 0 1\nf 1 2 3\nf 1/1 2/1 3/1\nf 1//1 2//1 4//1\nf 1/7/9 3/8/9 4/9/9\nf 1 2 3 4\n"
             " f 1// 2// 3// \n f 1/1/ 2/2/ 4/4/ 3/3/ \nf 0000000000000000000001 +2 3\n",
         "123 123 124 134 123 123", "1234 1243"},
        {"v 0 0 0\nv 1 0 0\nv 1 1 0\nf -3 -2 -1\nv 0 1 0\nf -1/-1/-1 -2//-2 -4/-3\n", "123 431", ""},
        {"f 1 2 3\n" + square + "f 1 2 3 4 1\nf -4/1/1 2//1 3/1 4 2/2/ 3\n",
         "123 123 134 141 123 134 142 123", ""},
        {"# made by hand\nmtllib a b.mtl\no part\ng group 1\ns off\ns 1\nusemtl steel\nvp 0.5\ncstype "
         "bspline\n" +
             square + "usemtl v\nf 1\nf 1 2\nl 1 2\np 1\nf 2 3 4\n",
         "234", ""},
        {"\tv\t0  0\t0 \nv 1 0 0\r\n   v 1 1 0\t\n\n \t \r\nv 0 1\nf\t1  2\t3\t\r\nf 1 2 4", "123 124", ""},
        {"v 0 \\\n0 0\nv 1 0\\\n 0\nv 1 1 0\nv 0 1\nf 1 2 \\\n 3 4\nf \\\r\n 1 \\\r\n 2 3\\\r\n\r\nf 2 3 4\\",
         "123 234", "1234"},
        {"# C:\\models\\\nv 0 0 0 # C:\\models\\\nv 1 0 0 1 # w\nv 1 1 0# z\nv 0 1\nf 1 2 3 # the first\n"
         "vn 0 0 1 # up\nvt 0 1 # uv\n",
         "123", ""},
    };
    const auto corners = [](const dense2D<unsigned int>& faces) {
        std::string text;
        for (unsigned int k = 0; k < faces.size(); ++k) {
            if (k != 0 && k % faces.rows() == 0) text += " ";
            text += std::to_string(faces.data()[k] + 1);
        }
        return text;
    };
    for (const auto& [text, triangles, quads] : cases) {
        surface s;
        ASSERT_EQ(read_text(text, s), 0) << text;
        EXPECT_TRUE(same(s.pos, real_matrix(3, {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}))) << text;
        EXPECT_EQ(corners(s.triangles), triangles) << text;
        EXPECT_EQ(corners(s.quads), quads) << text;
    }
    const std::string numbers =
        "v 1 2 3 0.5\nv 4 5 6 0.1 0.2 0.3\nv 7 8\nv 0 -1e-400 4.9e-324\nv +1.5 .5 -5.\n"
        "v inf 1E2 nan\nvn 0 1e+2 1e-2\nvt 0.25\nvt 0.5 0.75\nvt 0.1 0.2 0.3\n";
    surface s;
    ASSERT_EQ(read_text(numbers, s), 0);
    EXPECT_EQ(literal_file(s),
              " v 1 2 3 \n v 4 5 6 \n v 7 8 0 \n v 0 -0 4.94066e-324 \n v 1.5 0.5 -5 \n"
              " v inf 100 nan \n vt 0.25 0 \n vt 0.5 0.75 \n vt 0.1 0.2 \n vn 0 100 0.01 \n");
}

TEST(WavefrontOBJ_input, refuses_what_it_cannot_read_and_leaves_nothing) {
    const std::string good = "v 0 0 0\nv 1 0 0\nv 1 1 0\nvn 0 0 1\nvt 0 0\nf 1 2 3\n";
    surface s;
    std::istringstream lines(
        "v\nv 1\nv 1 x 3\nv 1 2 3x\nv 1,5 2 3\nv 1 2 --3\nv 1..5 2 3\nv 1e 2 3\nv - 2 3\nv 1e400 0 0\n"
        "vn\nvn 1 2\nvn 1 2 3 4\nvn 1 2 z\nvt\nvt x\nvt 1 2 3 4\nvt 1 2 z\n"
        "f 1 2 x\nf 0 1 2\nf 1 2 4\nf -4 1 2\nf 1 2 3 4 5\nf 1.5 2 3\nf /1 2 3\nf - 1 2\n"
        "f 1 2 99999999999999999999\nf 1 2 4294967297\nf 1 2 18446744073709551617");
    for (std::string bad; std::getline(lines, bad);) {
        s = sample();
        EXPECT_EQ(read_text(good + bad + "\n", s), -1) << bad;
        EXPECT_TRUE(s.empty()) << bad;
    }
    for (const char* path : {NO_SUCH_DIRECTORY, "/", "/dev/null"}) {
        s = sample();
        EXPECT_EQ(read(path, s), path == std::string("/dev/null") ? 0 : -1) << path;
        EXPECT_TRUE(s.empty()) << path;
    }
}

TEST(WavefrontOBJ_input, survives_damage) {
    for_every_damage(
        "# x\nv 0 0 0 1\nv 1.5e0 0 -1\r\n\tv 1 1 \\\n 0\nvt 0 1\nvn 0 0 1\nf 1/1/1 2//1 -1 3\nf 1 2 3\ns 1\n",
        4000, [](const char* path, const std::string& text) {
            surface s;
            const int status = read(path, s);
            ASSERT_TRUE(status == 0 || status == -1) << text;
            EXPECT_TRUE(check_IDs(s.triangles, ELEM_TRIA3, s.pos.cols())) << text;
            EXPECT_TRUE(check_IDs(s.quads, ELEM_QUAD4, s.pos.cols())) << text;
            EXPECT_TRUE(status == 0 || s.empty()) << text;
        });
}

TEST(WavefrontOBJ_input, turns_a_face_of_any_length_into_a_fan_unless_its_line_is_cut) {
    std::string text = "v 0 0 0\nf";
    for (int k = 0; k < 400000; ++k) text += " 1";
    surface s;
    ASSERT_EQ(read_text(text, s), 0);
    EXPECT_EQ(s.triangles.cols(), 399998u);
    EXPECT_EQ(read_text(text.append(400000, ' '), s), -1);
    EXPECT_TRUE(s.empty());
}

TEST(WavefrontOBJ_input, gives_nothing_when_any_block_cannot_be_had) {
    std::mt19937 random(2);
    const surface before = sample();
    surface large = before;
    large.pos = random_nodes(3, 3000, random);
    const temporary_file file(literal_file(large));
    int result = -199;
    for (unsigned int blocks = 0; result == -199; ++blocks) {
        surface s = before;
        blocks_left = blocks;
        result = read(file.path(), s);
        blocks_left = UINT_MAX;
        EXPECT_EQ(s.empty(), result == -199) << blocks;
    }
    EXPECT_EQ(result, 0);
}

} // namespace
