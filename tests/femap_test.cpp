#include <plexo/ids.h>
#include <plexo/io.h>

#include "ranged_meshes.h"
#include "test_containers.h"
#include "test_files.h"

#include <map>
#include <sstream>

using namespace test;

namespace {

int write(const char* path, const ranged& m) {
    return FEMAP_output(path, m.pos, m.connect, m.ranges, m.types, m.properties);
}
int read(const char* path, ranged& m) {
    return FEMAP_input(path, m.pos, m.connect, m.ranges, m.types, m.properties);
}
int read_text(const std::string& text, ranged& m) {
    const temporary_file file(text);
    return read(file.path(), m);
}

const std::map<int, int> TOPOLOGY = {{1, 9}, {3, 0},  {4, 1},  {6, 2},  {8, 3},   {7, 4},
                                     {9, 5}, {12, 6}, {16, 7}, {18, 8}, {13, 10}, {19, 12}};

bool carried(int type) {
    return TOPOLOGY.count(type) != 0;
}

/// The file as a stream writes it, one insertion after the other.
std::string literal_file(const ranged& m) {
    const std::string stars = "*********************************\n";
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << stars << "*********** NODES ***************\n" << stars << "-1\n403\n";
    for (unsigned int i = 0; i < m.pos.cols(); ++i) {
        out << i << ",0,0,1,0,0,0,0,0,0,0," << m.pos(0, i) << "," << m.pos(1, i) << "," << m.pos(2, i)
            << ",0,\n";
    }
    out << "-1\n" << stars << "********* ELEMENTS **************\n" << stars << "-1\n404\n";
    for (unsigned int k = 0; k < m.types.size(); ++k) {
        for (unsigned int j = m.ranges[k]; j < m.ranges[k + 1]; ++j) {
            const unsigned int* n = m.connect.col_data(j);
            const unsigned int rows = m.connect.rows();
            int type = m.types[k];
            if (type == ELEM_FACE_MIX) type = rows < 4 || n[3] == NO_ID ? ELEM_TRIA3 : ELEM_QUAD4;
            if (type == ELEM_SOLID_MIX) {
                type = rows < 5 || n[4] == NO_ID   ? ELEM_TETRA4
                       : rows < 6 || n[5] == NO_ID ? ELEM_PYRAMID5
                       : rows < 7 || n[6] == NO_ID ? ELEM_WEDGE6
                                                   : ELEM_HEXA8;
            }
            if (!carried(type)) continue;
            unsigned int slot[20] = {};
            const auto put = [&](std::initializer_list<std::pair<int, int>> pairs) {
                for (const auto& [to, row] : pairs) slot[to] = n[row];
            };
            switch (type) {
            case ELEM_TRIA6:
                put({{0, 0}, {1, 1}, {2, 2}, {3, 5}, {4, 3}, {5, 4}});
                break;
            case ELEM_TETRA4:
                put({{0, 1}, {1, 0}, {2, 2}, {4, 3}});
                break;
            case ELEM_TETRA10:
                put({{0, 0}, {1, 2}, {2, 1}, {4, 3}, {8, 5}, {9, 4}, {10, 6}, {12, 7}, {13, 9}, {14, 8}});
                break;
            case ELEM_WEDGE6:
                put({{0, 0}, {1, 1}, {2, 2}, {4, 3}, {5, 4}, {6, 5}});
                break;
            default:
                for (unsigned int i = 0; i < NODES_PER_ELEMENT[type]; ++i) slot[i] = n[i];
            }
            out << j << "," << m.properties[j] << ",0,32," << TOPOLOGY.at(type) << ",1,0,0,0,0,0,0,0,\n";
            for (int i = 0; i < 10; ++i) out << slot[i] << ",";
            out << "\n";
            for (int i = 10; i < 20; ++i) out << slot[i] << ",";
            out << "\n0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";
        }
    }
    out << "-1\n";
    return out.str();
}

TEST(FemapOutput, WritesEveryTypeAsAStreamWould) {
    expect_ranged_bytes(write, read, literal_file);
}

TEST(FemapOutput, WritesTheDocumentedSlots) {
    const auto pos = real_matrix(3, {0, 0, 0});
    const temporary_file file;
    ASSERT_EQ(FEMAP_output(file.path(), pos, id_matrix(4, {11, 12, 13, 14}), ELEM_TETRA4), 0);
    EXPECT_NE(file.content().find(
                  "\n0,1,0,32,6,1,0,0,0,0,0,0,0,\n12,11,13,0,14,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n"),
              std::string::npos);
    for (const auto& [type, nodes] : {std::pair(ELEM_PYRAMID5, 5u), {ELEM_QUAD9, 9u}, {ELEM_HEXA27, 27u}}) {
        ASSERT_EQ(FEMAP_output(file.path(), pos, dense2D<unsigned int>(nodes, 1, 0), type), 0);
        EXPECT_NE(file.content().find("\n404\n-1\n"), std::string::npos);
    }
}

TEST(FemapOutput, GivesTheShortFormsOnePropertyPerBlock) {
    const auto pos = real_matrix(3, {0, 0, 0, 1, 1, 1});
    const auto one = id_matrix(3, {0, 1, 0}), two = id_matrix(3, {0, 1, 0, 1, 1, 0});
    const temporary_file file("before");
    EXPECT_EQ(FEMAP_output(file.path(), pos, two, ELEM_TRIA3), -6);
    EXPECT_EQ(file.content(), "");
    EXPECT_EQ(FEMAP_output(file.path(), pos, dense2D<unsigned int>(3, 10), ELEM_TRIA3), -6);
    EXPECT_EQ(FEMAP_output(file.path(), pos, one, two, ELEM_TRIA3, ELEM_TRIA3), -6);
    EXPECT_EQ(FEMAP_output(file.path(), pos, one, {}, ELEM_TRIA3, ELEM_TRIA3), -6);
    EXPECT_EQ(FEMAP_output(file.path(), pos, {}, {}, ELEM_TRIA3, ELEM_TRIA3), 0);
    EXPECT_EQ(file.content(), "");
    ASSERT_EQ(FEMAP_output(file.path(), pos, one, ELEM_TRIA3), 0);
    EXPECT_EQ(file.content(), literal_file({pos, one, ids({0, 1}), codes({ELEM_TRIA3}), ids({1})}));
    const auto quad = id_matrix(4, {0, 1, 1, 0});
    ASSERT_EQ(FEMAP_output(file.path(), pos, one, quad, ELEM_TRIA3, ELEM_QUAD4), 0);
    EXPECT_EQ(file.content(), literal_file({pos, id_matrix(4, {0, 1, 0, NO_ID, 0, 1, 1, 0}), ids({0, 1, 2}),
                                            codes({ELEM_TRIA3, ELEM_QUAD4}), ids({1, 2})}));
    ASSERT_EQ(FEMAP_output(file.path(), pos, two, {}, ELEM_TRIA3, ELEM_QUAD4), 0); // two elements in all
    EXPECT_EQ(file.content(),
              literal_file({pos, two, ids({0, 2, 2}), codes({ELEM_TRIA3, ELEM_QUAD4}), ids({1, 2})}));
}

TEST(FemapOutput, ChecksInOrderAndLeavesAnEmptyFile) {
    expect_ranged_checks(write);
}

TEST(Femap, ReadsBackWhatItWrites) {
    for (unsigned int seed = 1; seed <= 200; ++seed) {
        const ranged m = random_mesh(seed);
        const temporary_file file;
        ASSERT_EQ(write(file.path(), m), 0);
        const ranged expected = only(m, carried, false);
        ranged back, again;
        ASSERT_EQ(read(file.path(), back), int(expected.connect.cols())) << seed;
        expect_same(back, expected);
        // What was read is written and read without any further loss.
        ASSERT_EQ(write(file.path(), back), 0);
        const std::string once = file.content();
        ASSERT_EQ(read(file.path(), again), int(back.connect.cols()));
        if (!back.connect.empty()) expect_same(again, back);
        ASSERT_EQ(write(file.path(), again), 0);
        EXPECT_EQ(file.content(), once);
    }
}

const std::string SLOTS_BEHIND =
    "0,0,0,0,0,0,0,0,0,0,\n0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";

TEST(FemapInput, ReadsBlocksInAnyOrder) {
    const std::string expected_nodes = "0,0,0,1,46,0,0,0,0,0,0,1.,2.,3.,0,\n";
    const std::string triangle = "1,5,0,32,2,1,0,0,0,0,0,0,0,\n0,1,2,0,0,0,0,0,0,0,\n" + SLOTS_BEHIND;
    const std::string quad = "2,6,0,32,4,1,0,0,0,0,0,0,0,\n0,1,2,3,0,0,0,0,0,0,\n" + SLOTS_BEHIND;
    const struct {
        const char* what;
        std::string text;
    } cases[] = {
        {"elements first", "-1\n404\n" + triangle + quad + "-1\n-1\n403\n" + expected_nodes + "-1\n"},
        {"several blocks of each", "-1\n404\n" + triangle + "-1\n-1\n403\n-1\n-1\n404\n" + quad +
                                       "-1\n-1\n403\n" + expected_nodes + "-1\n"},
        {"other blocks and remarks", "$ made elsewhere\n   -1\n   100\n<NULL>\n8.2,\n   -1\n   -1\n   "
                                     "405\n1,-601,\n-1,\n   -1\n*** here\n   -1\n   403\n" +
                                         expected_nodes + "   -1\nCOM behind\n   -1\n   404\n" + triangle +
                                         quad + "   -1\n   -1\n   402\n1,110,1,17,1,1,0,\n403\n404\n   -1\n"},
        {"carriage returns and blanks",
         "  -1 \r\n  403  \r\n 0 , 0 , 0 , 1 , 46 , 0 , 0 , 0 , 0 , 0 , 0 , 1. , 2. , 3. , 0 , \r\n "
         "-1\r\n\r\n-1\r\n404\r\n 1, 5, 0, 32, 2, 1,\r\n"
         " 0 ,1 , 2,0,0,0,0,0,0,0\r\n 0,0,0,0,0,0,0,0,0,0,\r\n0.,\r\n0.,\r\n0.,\r\n0,\r\n 2,\t6, "
         "0,32,4\r\n0,1,2,3\r\n0,\r\n0.,\r\n0.,\r\n0.,\r\n0,\r\n-1\r\n"},
        {"exponents of every kind",
         "-1\n403\n0,0,0,1,46,0,0,0,0,0,0,1.0D+00,0.2d1,.3+1,0,\n-1\n-1\n404\n" + triangle + quad},
        {"no end",
         "-1\n403\n" + expected_nodes + "-1\n-1\n404\n" + triangle + quad.substr(0, quad.size() - 1)},
        {"colour in front of the property",
         "-1\n403\n" + expected_nodes + "-1\n-1\n404\n1,124,5,17,2,1,0,0,0,0,0,0,0,\n0,1,2,0,0,0,0,0,0,0,\n" +
             SLOTS_BEHIND + "2,124,6,17,4,1,0,0,0,0,0,0,0,\n0,1,2,3,0,0,0,0,0,0,\n" + SLOTS_BEHIND + "-1\n"},
        {"elements not known, with lists of nodes",
         "-1\n403\n" + expected_nodes + "-1\n-1\n404\n" + triangle +
             "9,124,0,29,13,1,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n" + SLOTS_BEHIND +
             "3,0,1.,1,1,1,1,1,1,\n4,0,1.,1,1,1,1,1,1,\n-1,0,0.,0,0,0,0,0,0,\n" +
             "8,1,0,25,14,1,0,0,0,0,0,0,0,\n1,2,3,4,5,0,0,0,0,0,\n" + SLOTS_BEHIND + quad + "-1\n"},
        {"records that cannot be read", "-1\n403\nx,0,0,1,46,0,0,0,0,0,0,9.,9.,9.,0,\n0,0,0,1\n-5,0,0,1,46,0,"
                                        "0,0,0,0,0,9.,9.,9.,0,\n0,0,0,1,46,0,0,0,0,0,0,9.,,9.,0,\n" +
                                            expected_nodes + "-1\n-1\n404\n" + triangle +
                                            "7,1,0,32,4,1,0,0,\n0,1,x,3,0,0,0,0,0,0,\n" + SLOTS_BEHIND +
                                            quad + "-1\n"},
    };
    for (const auto& c : cases) {
        ranged m;
        ASSERT_EQ(read_text(c.text, m), 2) << c.what;
        EXPECT_EQ(entries(m.pos), (std::vector<double>{1, 2, 3})) << c.what;
        EXPECT_EQ(entries(m.connect), (std::vector<unsigned int>{0, 1, 2, NO_ID, 0, 1, 2, 3})) << c.what;
        EXPECT_EQ(entries(m.types), (std::vector<int>{ELEM_TRIA3, ELEM_QUAD4})) << c.what;
        EXPECT_EQ(entries(m.ranges), (std::vector<unsigned int>{0, 1, 2})) << c.what;
        EXPECT_EQ(entries(m.properties), (std::vector<unsigned int>{5, 6})) << c.what;
    }
}

TEST(FemapInput, MapsTheSlotsOfEveryTopologyBack) {
    std::string slots;
    for (int i = 0; i < 10; ++i) slots += std::to_string(100 + i) + ",";
    slots += "\n";
    for (int i = 10; i < 20; ++i) slots += std::to_string(100 + i) + ",";
    slots += "\n";
    const std::map<int, std::vector<unsigned int>> rows = {
        {ELEM_TRIA6, {100, 101, 102, 104, 105, 103}},
        {ELEM_TETRA4, {101, 100, 102, 104}},
        {ELEM_TETRA10, {100, 102, 101, 104, 109, 108, 110, 112, 114, 113}},
        {ELEM_WEDGE6, {100, 101, 102, 104, 105, 106}}};
    for (int topology = 0; topology < 20; ++topology) {
        ranged m;
        const int status = read_text("-1\n404\n3,4,0,32," + std::to_string(topology) + ",1,0,0,0,0,0,0,0,\n" +
                                         slots + SLOTS_BEHIND.substr(SLOTS_BEHIND.find('\n') + 1) + "-1\n",
                                     m);
        const auto known = std::find_if(TOPOLOGY.begin(), TOPOLOGY.end(),
                                        [=](const auto& t) { return t.second == topology; });
        ASSERT_EQ(status, known == TOPOLOGY.end() ? 0 : 1) << topology;
        if (status == 0) continue;
        EXPECT_EQ(entries(m.types), std::vector<int>{known->first}) << topology;
        std::vector<unsigned int> expected(NODES_PER_ELEMENT[known->first]);
        for (unsigned int i = 0; i < expected.size(); ++i) expected[i] = 100 + i;
        if (rows.count(known->first)) expected = rows.at(known->first);
        EXPECT_EQ(entries(m.connect), expected) << topology;
    }
}

TEST(FemapInput, GivesTheFirstBlocksToTheShortForms) {
    const temporary_file file;
    const ranged m{real_matrix(3, {1, 2, 3}), id_matrix(4, {0, 1, 2, NO_ID, 3, 4, 5, NO_ID, 9, 8, 7, 6}),
                   ids({0, 2, 3}), codes({ELEM_TRIA3, ELEM_TETRA4}), ids({1, 1, 1})};
    ASSERT_EQ(write(file.path(), m), 0);
    dense2D<double> pos;
    dense2D<unsigned int> first, second;
    element_type first_type = ELEM_NONE, second_type = ELEM_NONE;
    EXPECT_EQ(FEMAP_input(file.path(), pos, first, first_type), 3);
    EXPECT_TRUE(same(pos, m.pos));
    EXPECT_TRUE(same(first, id_matrix(3, {0, 1, 2, 3, 4, 5})));
    EXPECT_EQ(first_type, ELEM_TRIA3);
    first = {};
    EXPECT_EQ(FEMAP_input(file.path(), pos, first, second, first_type, second_type), 3);
    EXPECT_TRUE(same(first, id_matrix(3, {0, 1, 2, 3, 4, 5})));
    EXPECT_TRUE(same(second, id_matrix(4, {9, 8, 7, 6})));
    EXPECT_EQ(second_type, ELEM_TETRA4);
    const temporary_file empty("");
    EXPECT_EQ(FEMAP_input(empty.path(), pos, first, second, first_type, second_type), 0);
    EXPECT_TRUE(pos.empty() && first.empty() && second.empty());
    EXPECT_EQ(first_type, ELEM_TRIA3);
    EXPECT_EQ(FEMAP_input(NO_SUCH_DIRECTORY, pos, first, first_type), -1);
    EXPECT_EQ(FEMAP_input(NO_SUCH_DIRECTORY, pos, first, second, first_type, second_type), -1);
}

TEST(FemapInput, BoundsWhatAnIDMayAskFor) {
    expect_bounded_IDs(
        [](const std::string& ID) { return "-1\n403\n" + ID + ",0,0,1,0,0,0,0,0,0,0,1,2,3,0,\n-1\n"; }, read);
}

TEST(FemapInput, EmptiesItsOutputsAndLeavesOtherHoldersAlone) {
    expect_emptied_outputs(read, "-1\n403\n0,0,0,1,0,0,0,0,0,0,0,9,9,9,0,\n", 0);
}

TEST(FemapInput, SurvivesDamage) {
    const temporary_file file;
    ASSERT_EQ(write(file.path(), random_blocks({ELEM_TRIA6, ELEM_HEXA20, ELEM_TETRA10, ELEM_NODE1}, 1, 9)),
              0);
    for_every_damage(file.content(), 3000, [](const char* path, const std::string& text) {
        ranged m;
        const int status = read(path, m);
        expect_consistent(m, status, text);
    });
}

} // namespace
