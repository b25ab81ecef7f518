#include <plexo/ids.h>
#include <plexo/io.h>

#include "limited_memory.h"
#include "ranged_meshes.h"
#include "test_containers.h"
#include "test_files.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <sstream>

using namespace test;

namespace {

struct surface {
    dense2D<double> pos, normals, texture;
    dense2D<unsigned int> triangles, quads;
};

int read(const char* path, surface& s) {
    return WavefrontOBJ_input(path, s.pos, s.normals, s.texture, s.triangles, s.quads);
}

int read_text(std::string_view text, surface& s) {
    const temporary_file file{std::string(text)};
    return read(file.path(), s);
}

int write(const char* path, const surface& s) {
    return WavefrontOBJ_output(path, s.pos, s.normals, s.texture, s.triangles, s.quads);
}

/// The format as a stream writes it, one insertion after the other.
std::string literal_file(const surface& s) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    for (unsigned int j = 0; j < s.pos.cols(); ++j) {
        out << " v ";
        for (unsigned int i = 0; i < s.pos.rows(); ++i) out << s.pos(i, j) << " ";
        for (unsigned int i = s.pos.rows(); i < 3; ++i) out << "0 ";
        out << "\n";
    }
    for (unsigned int j = 0; j < s.texture.cols(); ++j) {
        out << " vt " << s.texture(0, j) << " " << s.texture(1, j) << " \n";
    }
    for (unsigned int j = 0; j < s.normals.cols(); ++j) {
        out << " vn " << s.normals(0, j) << " " << s.normals(1, j) << " " << s.normals(2, j) << " \n";
    }
    const auto faces = [&](const dense2D<unsigned int>& elements, unsigned int corners) {
        for (unsigned int j = 0; j < elements.cols(); ++j) {
            out << " f ";
            for (unsigned int i = 0; i < corners; ++i) {
                const unsigned int node = elements(i, j) + 1;
                out << node << "/";
                if (!s.texture.empty()) out << node;
                out << "/";
                if (!s.normals.empty()) out << node;
                out << " ";
            }
            out << "\n";
        }
    };
    faces(s.triangles, 3);
    faces(s.quads, 4);
    return out.str();
}

const std::vector<double> AWKWARD = {
    0.0,      -0.0,        1.0,        -2.5,   0.1,        1e-5,  0.0001,     123456.0,  1234567.0,
    999999.5, 9999995.0,   1.0 / 3.0,  -1e300, 5e-324,     1e100, 0.00012345, 2.5e-5,    65535.5,
    100000.0, 0.999999499, 3.14159265, 1e15,   -12345.678, 7.0,   HUGE_VAL,   -HUGE_VAL, NAN};

dense2D<double> awkward_matrix(unsigned int rows, unsigned int cols, unsigned int start) {
    dense2D<double> m(rows, cols);
    for (unsigned int k = 0; k < m.size(); ++k) m.data()[k] = AWKWARD[(start + k) % AWKWARD.size()];
    return m;
}

surface sample(unsigned int dimension, bool normals, bool texture) {
    surface s;
    s.pos = awkward_matrix(dimension, 27, 0);
    if (normals) s.normals = awkward_matrix(3, 27, 5);
    if (texture) s.texture = awkward_matrix(2, 27, 11);
    s.triangles = id_matrix(3, {0, 1, 2, 26, 9, 10, 4294967294u, NO_ID, 3});
    s.quads = id_matrix(4, {0, 1, 2, 3, 99, 100, 8, 7});
    return s;
}

TEST(WavefrontObjOutput, WritesEveryByteAsAStreamWould) {
    for (const unsigned int dimension : {2u, 3u}) {
        for (const bool normals : {false, true}) {
            for (const bool texture : {false, true}) {
                const surface s = sample(dimension, normals, texture);
                const temporary_file file("what stood there before\n");
                ASSERT_EQ(write(file.path(), s), 0);
                EXPECT_EQ(file.content(), literal_file(s));
            }
        }
    }
}

TEST(WavefrontObjOutput, WritesViewsAndMoreRowsThanNeededLikeTheirCopies) {
    const surface s = sample(3, true, true);
    surface views{as_view(s.pos), as_view(s.normals), as_view(s.texture), as_view(s.triangles),
                  as_view(s.quads)};
    const temporary_file file;
    ASSERT_EQ(write(file.path(), views), 0);
    EXPECT_EQ(file.content(), literal_file(s));
    views.triangles = s.quads; // 4 rows: the fourth is not looked at
    surface three_of_four = s;
    three_of_four.triangles = s.quads.sub_matrix(0, 0, 3, 2);
    ASSERT_EQ(write(file.path(), views), 0);
    EXPECT_EQ(file.content(), literal_file(three_of_four));
}

TEST(WavefrontObjOutput, DoesNotHeedTheLocale) {
    const surface s = sample(3, true, true);
    const std::string expected = literal_file(s);
    const temporary_file file;
    surface back;
    {
        const comma_locale here;
        ASSERT_EQ(write(file.path(), s), 0);
        ASSERT_EQ(read_text("v 1.5 -2.25 3e2\n", back), 0);
    }
    EXPECT_EQ(file.content(), expected);
    EXPECT_EQ(entries(back.pos), (std::vector<double>{1.5, -2.25, 300}));
}

TEST(WavefrontObjOutput, WritesTheDocumentedLines) {
    const temporary_file file;
    ASSERT_EQ(WavefrontOBJ_output(file.path(), real_matrix(2, {0, 1, 2.5, -3, 4, 5}), id_matrix(3, {0, 1, 2}),
                                  ELEM_TRIA3),
              0);
    EXPECT_EQ(file.content(), " v 0 1 0 \n v 2.5 -3 0 \n v 4 5 0 \n f 1// 2// 3// \n");
}

TEST(WavefrontObjOutput, RoutesConnectivitiesByType) {
    const dense2D<double> pos = real_matrix(3, {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0});
    const auto a3 = id_matrix(3, {0, 1, 2}), b3 = id_matrix(3, {2, 3, 0});
    const auto a4 = id_matrix(4, {0, 1, 2, 3}), b4 = id_matrix(4, {3, 2, 1, 0});
    const auto both3 = id_matrix(3, {0, 1, 2, 2, 3, 0}), both4 = id_matrix(4, {0, 1, 2, 3, 3, 2, 1, 0});
    const auto none = dense2D<unsigned int>();
    const struct {
        dense2D<unsigned int> first, second;
        element_type first_type, second_type;
        dense2D<unsigned int> triangles, quads;
    } cases[] = {
        {a3, b3, ELEM_TRIA3, ELEM_TRIA3, both3, none},      {a4, b4, ELEM_QUAD4, ELEM_QUAD4, none, both4},
        {a3, b4, ELEM_TRIA3, ELEM_QUAD4, a3, b4},           {a4, b3, ELEM_QUAD4, ELEM_TRIA3, b3, a4},
        {a3, b4, ELEM_TRIA3, ELEM_TRIA6, a3, none},         {a3, b4, ELEM_HEXA8, ELEM_QUAD4, none, b4},
        {a3, none, ELEM_TRIA3, ELEM_TRIA3, a3, none},       {none, b4, ELEM_QUAD4, ELEM_QUAD4, none, b4},
        {a4, b3, ELEM_FACE_MIX, ELEM_FACE_MIX, none, none},
    };
    for (const auto& c : cases) {
        const temporary_file file;
        ASSERT_EQ(WavefrontOBJ_output(file.path(), pos, c.first, c.second, c.first_type, c.second_type), 0);
        EXPECT_EQ(file.content(), literal_file({pos, {}, {}, c.triangles, c.quads}));
    }
    const temporary_file file;
    ASSERT_EQ(WavefrontOBJ_output(file.path(), pos, a4, ELEM_QUAD4), 0);
    EXPECT_EQ(file.content(), literal_file({pos, {}, {}, none, a4}));
    ASSERT_EQ(WavefrontOBJ_output(file.path(), pos, a4, ELEM_TRIA6), 0);
    EXPECT_EQ(file.content(), literal_file({pos, {}, {}, none, none}));
}

TEST(WavefrontObjOutput, ChecksInOrderAndLeavesAnEmptyFile) {
    surface s = sample(3, true, true);
    EXPECT_EQ(write(NO_SUCH_DIRECTORY, surface()), -1);
    EXPECT_EQ(write(testing::TempDir().c_str(), s), -1);
    const auto fails_with = [](const surface& broken, int code) {
        const temporary_file file("before");
        EXPECT_EQ(write(file.path(), broken), code);
        EXPECT_TRUE(file.exists());
        EXPECT_EQ(file.content(), "");
    };
    // Broken from the last check to the first: each failure hides those behind it.
    s.quads = id_matrix(3, {0, 1, 2});
    fails_with(s, -6);
    s.triangles = id_matrix(2, {0, 1});
    fails_with(s, -5);
    const dense2D<double> texture = s.texture;
    s.texture = real_matrix(3, {0, 0, 0});
    fails_with(s, -4);
    s.texture = texture.sub_matrix(0, 0, 2, 26);
    fails_with(s, -4);
    s.texture = awkward_matrix(3, 27, 0);
    fails_with(s, -4);
    const dense2D<double> normals = s.normals;
    s.normals = awkward_matrix(2, 27, 0);
    fails_with(s, -3);
    s.normals = normals.sub_matrix(0, 0, 3, 26);
    fails_with(s, -3);
    s.pos = awkward_matrix(4, 27, 0);
    fails_with(s, -2);
    s.pos = awkward_matrix(1, 27, 0);
    fails_with(s, -2);
    s.pos = {};
    fails_with(s, -2);

    // A joined matrix fails as the triangles or the quads that it becomes part of.
    const auto pos = real_matrix(3, {0, 0, 0});
    const temporary_file file;
    EXPECT_EQ(WavefrontOBJ_output(file.path(), pos, id_matrix(3, {0, 0, 0}), id_matrix(2, {0, 0}), ELEM_TRIA3,
                                  ELEM_TRIA3),
              -5);
    EXPECT_EQ(WavefrontOBJ_output(file.path(), pos, id_matrix(2, {0, 0}), ELEM_QUAD4), -6);
    EXPECT_EQ(file.content(), "");
}

TEST(WavefrontObjOutput, ReportsAFullDisk) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    EXPECT_EQ(write("/dev/full", sample(3, true, true)), -1); // shows only at close
    surface large;
    large.pos = dense2D<double>(3, 200000, 1.5);
    EXPECT_EQ(write("/dev/full", large), -1);
}

TEST(WavefrontObj, ReadsBackWhatItWrites) {
    for (const unsigned int dimension : {2u, 3u}) {
        for (const bool normals : {false, true}) {
            for (const bool texture : {false, true}) {
                surface s = sample(dimension, normals, texture);
                for (dense2D<double>* m : {&s.pos, &s.normals, &s.texture}) {
                    std::replace_if(
                        m->data(), m->data() + m->size(), [](double v) { return !std::isfinite(v); }, 8.125);
                }
                s.triangles = id_matrix(3, {0, 1, 2, 26, 9, 10});
                s.quads = id_matrix(4, {0, 1, 2, 3, 26, 25, 8, 7});
                const temporary_file file;
                ASSERT_EQ(write(file.path(), s), 0);
                surface back;
                ASSERT_EQ(read(file.path(), back), 0);
                dense2D<double> pos = as_printed(s.pos);
                pos.resize(3, pos.cols(), 0.0);
                EXPECT_TRUE(same(back.pos, pos));
                EXPECT_TRUE(same(back.normals, as_printed(s.normals)));
                EXPECT_TRUE(same(back.texture, as_printed(s.texture)));
                EXPECT_TRUE(same(back.triangles, s.triangles));
                EXPECT_TRUE(same(back.quads, s.quads));

                const std::string once = file.content();
                if (dimension == 3) {
                    ASSERT_EQ(write(file.path(), back), 0);
                    EXPECT_EQ(file.content(), once);
                }
            }
        }
    }
}

TEST(WavefrontObj, ReadsBackManyRecordsAcrossEveryBufferBoundary) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> coordinate(-1000, 1000);
    surface s;
    s.pos = dense2D<double>(3, 60000);
    for (unsigned int k = 0; k < s.pos.size(); ++k)
        s.pos.data()[k] = coordinate(random) * std::pow(10, int(random() % 20) - 10);
    s.triangles = dense2D<unsigned int>(3, 120000);
    for (unsigned int k = 0; k < s.triangles.size(); ++k) s.triangles.data()[k] = unsigned(random() % 60000);
    const temporary_file file;
    ASSERT_EQ(write(file.path(), s), 0);
    surface back;
    ASSERT_EQ(read(file.path(), back), 0);
    EXPECT_TRUE(same(back.pos, as_printed(s.pos)));
    EXPECT_TRUE(same(back.triangles, s.triangles));
}

TEST(WavefrontObjInput, AcceptsWhatProgramsWrite) {
    const std::string vertices = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0.5 2 0\n";
    const struct {
        const char* what;
        std::string text;
        std::vector<unsigned int> triangles, quads;
    } cases[] = {
        {"plain", vertices + "f 1 2 3\nf 1 2 3 4\n", {0, 1, 2}, {0, 1, 2, 3}},
        {"texture", vertices + "vt 0 0\nf 1/1 2/1 3/1\n", {0, 1, 2}, {}},
        {"normal", vertices + "vn 0 0 1\nf 1//1 2//1 3//1\n", {0, 1, 2}, {}},
        {"both", vertices + "f 1/7/9 2/8/9 5/9/9\n", {0, 1, 4}, {}},
        {"open slashes", vertices + " f 1// 2// 3// \n f 1/1/ 2/2/ 3/3/ 4/4/ \n", {0, 1, 2}, {0, 1, 2, 3}},
        {"relative", vertices + "f -5 -4 -3\nf -1/-1/-1 -2//-2 -3/-3\n", {0, 1, 2, 4, 3, 2}, {}},
        {"relative to the vertices so far",
         "v 0 0 0\nv 1 0 0\nv 1 1 0\nf -3 -2 -1\nv 0 1 0\nf -3 -2 -1\n",
         {0, 1, 2, 1, 2, 3},
         {}},
        {"faces first", "f 1 2 3\n" + vertices, {0, 1, 2}, {}},
        {"pentagon", vertices + "f 1 2 3 4 5\n", {0, 1, 2, 0, 2, 3, 0, 3, 4}, {}},
        {"pentagon by three forms", vertices + "f -5/1/1 2//1 3/1 4 5/2/\n", {0, 1, 2, 0, 2, 3, 0, 3, 4}, {}},
        {"points and lines", vertices + "f 1\nf 1 2\nl 1 2\np 1\nf 3 4 5\n", {2, 3, 4}, {}},
        {"other records",
         "# made by hand\nmtllib a b.mtl\no part\ng group 1\ns off\ns 1\nusemtl steel\nvp 0.5\ncstype "
         "bspline\n" +
             vertices + "usemtl v\nf 1 2 3\n",
         {0, 1, 2},
         {}},
        {"blanks and tabs", "\tv\t0  0\t0 \nv 1 0 0\n   v 1 1 0\t\n\n \t \nf\t1  2\t3\t\n", {0, 1, 2}, {}},
        {"carriage returns", "v 0 0 0\r\nv 1 0 0\r\nv 1 1 0\r\n\r\nf 1 2 3\r\n", {0, 1, 2}, {}},
        {"no last line end", vertices + "f 1 2 3", {0, 1, 2}, {}},
        {"continued face",
         vertices + "f 1 2 \\\n 3 4\nf \\\r\n 1 \\\r\n 2 3\\\r\n\r\n",
         {0, 1, 2},
         {0, 1, 2, 3}},
        {"continued vertex", "v 0 \\\n0 0\nv 1 0\\\n 0\nv 1 1 0\nf 1 2 3\n", {0, 1, 2}, {}},
        {"a backslash at the end of a comment",
         "# C:\\models\\\nv 0 0 0\nv 1 0 0\nv 1 1 0\nf 1 2 3\n",
         {0, 1, 2},
         {}},
        {"a backslash at the end of a remark behind a record",
         "v 0 0 0 # C:\\models\\\nv 1 0 0\nv 1 1 0\nf 1 2 3\n",
         {0, 1, 2},
         {}},
        {"a backslash at the end of the file", vertices + "f 1 2 3\\", {0, 1, 2}, {}},
        {"remarks behind records",
         vertices + "f 1 2 3 # the first\nvn 0 0 1 # up\nvt 0 1 # uv\nv 0 0 9# z\n",
         {0, 1, 2},
         {}},
        {"long integers", vertices + "f 0000000000000000000001 +2 3\n", {0, 1, 2}, {}},
    };
    for (const auto& c : cases) {
        surface s;
        ASSERT_EQ(read_text(c.text, s), 0) << c.what;
        EXPECT_EQ(entries(s.triangles), c.triangles) << c.what;
        EXPECT_EQ(entries(s.quads), c.quads) << c.what;
        EXPECT_GE(s.pos.cols(), 3u) << c.what;
        EXPECT_EQ(s.pos.rows(), 3u) << c.what;
    }
}

TEST(WavefrontObjInput, TakesTheNumbersThatARecordNeeds) {
    surface s;
    ASSERT_EQ(read_text("v 1 2 3 0.5\nv 4 5 6 0.1 0.2 0.3\nv 7 8\nv 1e400 -1e-400 4.9e-324\nv +1.5 .5 -5.\nv "
                        "1E2 1e+2 1e-2\n"
                        "vn 0 0 1\nvt 0.25\nvt 0.5 0.75\nvt 0.1 0.2 0.3\n",
                        s),
              -1); // 1e400 is beyond every double
    ASSERT_EQ(
        read_text(
            "v 1 2 3 0.5\nv 4 5 6 0.1 0.2 0.3\nv 7 8\nv 0 -1e-400 4.9e-324\nv +1.5 .5 -5.\nv 1E2 1e+2 1e-2\n"
            "vn 0 0 1\nvt 0.25\nvt 0.5 0.75\nvt 0.1 0.2 0.3\n",
            s),
        0);
    EXPECT_EQ(entries(s.pos), (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, -0.0, 4.9e-324, 1.5, .5, -5,
                                                   100, 100, .01}));
    EXPECT_TRUE(same(s.normals, real_matrix(3, {0, 0, 1})));
    EXPECT_TRUE(same(s.texture, real_matrix(2, {0.25, 0, 0.5, 0.75, 0.1, 0.2})));
}

TEST(WavefrontObjInput, ReadsTheNearestDouble) {
    std::mt19937_64 random(7);
    std::vector<double> expected;
    std::string text;
    while (expected.size() < 30000) {
        const std::uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) continue;
        char number[64];
        const int digits = int(random() % 21);
        std::snprintf(number, sizeof number, random() % 2 ? "%.*e" : "%.*g", digits, value);
        value = std::strtod(number, nullptr);
        if (!std::isfinite(value)) continue;
        text += expected.size() % 3 == 0 ? "\nv " : " ";
        text += number;
        expected.push_back(value);
    }
    surface s;
    ASSERT_EQ(read_text(text, s), 0);
    EXPECT_EQ(entries(s.pos), expected);
}

TEST(WavefrontObjInput, RefusesWhatItCannotReadAndLeavesNothing) {
    const std::string good = "v 0 0 0\nv 1 0 0\nv 1 1 0\nvn 0 0 1\nvt 0 0\nf 1 2 3\n";
    static constexpr const char* BAD[] = {"v",
                                          "v 1",
                                          "v 1 x 3",
                                          "v 1 2 3x",
                                          "v 1,5 2 3",
                                          "v 1 2 --3",
                                          "v 1..5 2 3",
                                          "v 1e 2 3",
                                          "v - 2 3",
                                          "vn",
                                          "vn 1 2",
                                          "vn 1 2 3 4",
                                          "vn 1 2 z",
                                          "vt",
                                          "vt x",
                                          "vt 1 2 3 4",
                                          "vt 1 2 z",
                                          "f 1 2 x",
                                          "f 0 1 2",
                                          "f 1 2 4",
                                          "f -4 1 2",
                                          "f 1 2 3 4 5",
                                          "f 1.5 2 3",
                                          "f /1 2 3",
                                          "f 1 2 99999999999999999999",
                                          "f 1 2 4294967297",
                                          "f - 1 2"};
    for (const char* bad : BAD) {
        surface s = sample(3, true, true);
        EXPECT_EQ(read_text(good + bad + "\n", s), -1) << bad;
        EXPECT_TRUE(s.pos.empty() && s.normals.empty() && s.texture.empty() && s.triangles.empty() &&
                    s.quads.empty())
            << bad;
    }
    surface s = sample(3, true, true);
    EXPECT_EQ(read(NO_SUCH_DIRECTORY, s), -1);
    EXPECT_TRUE(s.pos.empty() && s.normals.empty() && s.texture.empty() && s.triangles.empty() &&
                s.quads.empty());
    s = sample(3, true, true);
    EXPECT_EQ(read_text("", s), 0);
    EXPECT_TRUE(s.pos.empty() && s.normals.empty() && s.texture.empty() && s.triangles.empty() &&
                s.quads.empty());
}

TEST(WavefrontObjInput, LeavesOtherHoldersOfItsOutputsAlone) {
    surface s = sample(3, true, true);
    const surface kept = s;
    ASSERT_EQ(read_text("v 9 9 9\nv 1 0 0\nv 1 1 0\nvn 0 0 1\nvt 0 0\nf 3 2 1\nf 1 2 3 1\n", s), 0);
    EXPECT_EQ(literal_file(kept), literal_file(sample(3, true, true)));
}

TEST(WavefrontObjInput, SurvivesDamage) {
    for_every_damage(
        "# x\nv 0 0 0 1\nv 1.5e0 0 -1\r\n\tv 1 1 \\\n 0\nvt 0 1\nvn 0 0 1\nf 1/1/1 2//1 -1 3\nf 1 2 3\ns 1\n",
        4000, [](const char* path, const std::string& text) {
            surface s;
            const int status = read(path, s);
            ASSERT_TRUE(status == 0 || status == -1 || status == -199) << text;
            EXPECT_TRUE(check_IDs(s.triangles, ELEM_TRIA3, s.pos.cols())) << text;
            EXPECT_TRUE(check_IDs(s.quads, ELEM_QUAD4, s.pos.cols())) << text;
            EXPECT_TRUE(status == 0 || (s.pos.empty() && s.triangles.empty() && s.quads.empty())) << text;
        });
}

TEST(WavefrontObjInput, TurnsAFaceOfAnyLengthIntoAFan) {
    std::string text = "v 0 0 0\nf";
    for (int k = 0; k < 400000; ++k) text += " 1";
    surface s;
    ASSERT_EQ(read_text(text, s), 0);
    EXPECT_EQ(s.triangles.cols(), 399998u);
    for (int k = 0; k < 400000; ++k) text += " 1"; // longer than the longest line: not cut silently
    EXPECT_EQ(read_text(text, s), -1);
    EXPECT_TRUE(s.triangles.empty());
}

TEST(WavefrontObjInput, SurvivesWithoutMemory) {
    std::string text;
    for (int k = 0; k < 3000000; ++k) text += "v 1 2\n";
    const temporary_file file(text);
    text = std::string();
    expect_survives_without_memory([&file] {
        const rlimit limit{std::size_t(64) << 20, std::size_t(64) << 20};
        surface s;
        return setrlimit(RLIMIT_AS, &limit) == 0 && read(file.path(), s) == -199 && s.pos.empty();
    });
}

} // namespace
