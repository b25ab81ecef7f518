// The node detector over random points, points of a grid and points in one place.

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

using namespace qv7::plexo;
using vector3 = vector_fixed<double, 3>;

[[maybe_unused]] const int fixed_threshold = mallopt(M_MMAP_THRESHOLD, 128 << 10); // see foundations_bench

constexpr unsigned int QUERIES = 100000;

enum cloud { RANDOM, GRID, ONE_PLACE };

dense2D<double> points(cloud kind, unsigned int count, unsigned int seed = 1) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> unit(0, 1);
    const auto side = static_cast<unsigned int>(std::ceil(std::cbrt(count)));
    dense2D<double> pos(3, count, 0.5);
    for (unsigned int j = 0; j < count; ++j) {
        const unsigned int cell[3] = {j % side, j / side % side, j / side / side};
        for (unsigned int k = 0; k < 3; ++k) {
            if (kind == RANDOM) pos(k, j) = unit(random);
            if (kind == GRID) pos(k, j) = double(cell[k]) / side;
        }
    }
    return pos;
}

vector3 point(const dense2D<double>& pos, unsigned int j) {
    return {pos(0, j), pos(1, j), pos(2, j)};
}

void build(benchmark::State& state) {
    const auto pos = points(cloud(state.range(1)), unsigned(state.range(0)));
    for (auto _ : state) {
        const node_detector detector(pos);
        benchmark::DoNotOptimize(detector.size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void find_closest(benchmark::State& state) {
    const auto pos = points(cloud(state.range(1)), unsigned(state.range(0)));
    const auto queries = points(RANDOM, QUERIES, 2);
    const node_detector detector(pos);
    for (auto _ : state) {
        unsigned int sum = 0;
        for (unsigned int j = 0; j < QUERIES; ++j) sum += detector.find_closest(point(queries, j));
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * QUERIES);
}

/// Every node asks for its closest neighbour; on a grid six of them are equally close.
void find_closest_other_node(benchmark::State& state) {
    const auto pos = points(cloud(state.range(1)), unsigned(state.range(0)));
    const node_detector detector(pos);
    for (auto _ : state) {
        unsigned int sum = 0;
        for (unsigned int j = 0; j < pos.cols(); ++j) sum += detector.find_closest(j);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// Boxes of about `state.range(2)` nodes.
void find_in_box(benchmark::State& state) {
    const auto pos = points(cloud(state.range(1)), unsigned(state.range(0)));
    const auto queries = points(RANDOM, QUERIES, 2);
    const double half = std::cbrt(double(state.range(2)) / double(state.range(0))) / 2;
    const node_detector detector(pos);
    dense1D<unsigned int, 16> found;
    for (auto _ : state) {
        std::size_t hits = 0;
        for (unsigned int j = 0; j < QUERIES; ++j) {
            const vector3 P = point(queries, j);
            found.clear();
            detector.find_in_box(vector3{P[0] - half, P[1] - half, P[2] - half},
                                 vector3{P[0] + half, P[1] + half, P[2] + half}, found);
            hits += found.size();
        }
        benchmark::DoNotOptimize(hits);
    }
    state.SetItemsProcessed(state.iterations() * QUERIES);
}

/// Nodes that come one at a time.
void insert_one_by_one(benchmark::State& state) {
    const auto pos = points(RANDOM, unsigned(state.range(0)));
    dense1D<unsigned int, 16> node(1);
    for (auto _ : state) {
        node_detector detector(pos, dense1D<unsigned int, 16>());
        for (unsigned int j = 0; j < pos.cols(); ++j) {
            node[0] = j;
            detector.insert(node);
        }
        benchmark::DoNotOptimize(detector.size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

const std::vector<std::int64_t> SIZES = {10000, 100000, 1000000};

BENCHMARK(build)->ArgsProduct({SIZES, {RANDOM, GRID, ONE_PLACE}})->Unit(benchmark::kMillisecond);
BENCHMARK(find_closest)->ArgsProduct({SIZES, {RANDOM, GRID}})->Unit(benchmark::kMillisecond);
BENCHMARK(find_closest_other_node)->ArgsProduct({SIZES, {RANDOM, GRID}})->Unit(benchmark::kMillisecond);
BENCHMARK(find_in_box)->ArgsProduct({SIZES, {RANDOM, GRID}, {10, 1000}})->Unit(benchmark::kMillisecond);
BENCHMARK(insert_one_by_one)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
