// FEMAP neutral files against a literal writer, and files as other programs write them.

#include <plexo/io.h>

#include "ranged_meshes.h"

namespace {

using namespace test;

const auto output = [](const auto&... arguments) { return FEMAP_output(arguments...); };
const auto input = [](auto&&... arguments) { return FEMAP_input(arguments...); };

const std::map<int, int> TOPOLOGIES = {{1, 9}, {3, 0},  {4, 1},  {6, 2},  {8, 3},   {7, 4},
                                       {9, 5}, {12, 6}, {16, 7}, {18, 8}, {13, 10}, {19, 12}};
const node_orders SLOTS = {{ELEM_TRIA6, {0, 1, 2, 5, 3, 4}},
                           {ELEM_TETRA4, {1, 0, 2, -1, 3}},
                           {ELEM_TETRA10, {0, 2, 1, -1, 3, -1, -1, -1, 5, 4, 6, -1, 7, 9, 8}},
                           {ELEM_WEDGE6, {0, 1, 2, -1, 3, 4, 5}}};
const std::string TAIL = "0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";

std::string literal_file(const dense2D<double>& pos, const std::vector<element>& elements) {
    const std::string stars = "*********************************\n";
    printed_text out;
    out.text = stars + "*********** NODES ***************\n" + stars + "-1\n403\n";
    for (unsigned int i = 0; i < pos.cols(); ++i)
        out.print("%u,0,0,1,0,0,0,0,0,0,0,%g,%g,%g,0,\n", i, pos(0, i), pos(1, i), pos(2, i));
    out.text += "-1\n" + stars + "********* ELEMENTS **************\n" + stars + "-1\n404\n";
    for (unsigned int j = 0; j < elements.size(); ++j) {
        const element& e = elements[j];
        if (!TOPOLOGIES.count(e.type)) continue;
        out.print("%u,%u,0,32,%d,1,0,0,0,0,0,0,0,\n", j, e.property, TOPOLOGIES.at(e.type));
        std::vector<unsigned int> slots = listed(e, SLOTS);
        slots.resize(20, 0);
        for (unsigned int i = 0; i < 20; ++i) out.print(i % 10 == 9 ? "%u,\n" : "%u,", slots[i]);
        out.text += TAIL;
    }
    return out.text + "-1\n";
}

void carry(const element& e, std::vector<element>& read) {
    if (TOPOLOGIES.count(e.type)) read.push_back(e);
}

TEST(Femap, WritesTheLiteralFileAndReadsItBack) {
    expect_literal_round_trips(output, input, literal_file, carry, true);
}

TEST(FemapOutput, ChecksInOrderAndLeavesAnEmptyFile) {
    expect_ranged_checks(output);
}

TEST(FemapInput, ReadsEveryTopologyInBlocksOfAnyOrderAndSurvivesDamage) {
    expect_seed(input, "femap_fuzz/blocks.neu", 3, 14, SLOTS);
}

TEST(FemapInput, EmptiesItsOutputsWhenItFails) {
    expect_emptied_outputs(input);
}

TEST(FemapInput, BoundsWhatAnIDMayAskFor) {
    expect_bounded_IDs(
        input, [](const std::string& ID) { return "-1\n403\n" + ID + ",0,0,1,0,0,0,0,0,0,0,1.5,-2,3.25"; });
}

} // namespace
