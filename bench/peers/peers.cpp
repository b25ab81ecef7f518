#include "peers.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>

namespace peers {

namespace {

constexpr double SLOW = 1.5; ///< seconds

/// A line of /proc/self/status, in bytes; 0 where the platform has none.
std::size_t status_bytes(const char* key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(key, 0) == 0)
            return std::strtoull(line.c_str() + std::strlen(key), nullptr, 10) * 1024;
    }
    return 0;
}

void reset_peak() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
}

measurement run_once(contender& c) {
    c.prepare();
    reset_peak();
    const std::size_t before = status_bytes("VmRSS:");
    const auto start = std::chrono::steady_clock::now();
    c.run();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    const std::size_t peak = status_bytes("VmHWM:");
    return {c.part, c.name, taken.count(), peak > before ? peak - before : 0};
}

const measurement* best_of(const job& j, role part) {
    const measurement* best = nullptr;
    for (const measurement& m : j.results) {
        if (m.part == part && (!best || m.seconds < best->seconds)) best = &m;
    }
    return best;
}

void print_cell(const measurement* m, double ours) {
    if (m) {
        std::printf(" %-28s | %8.4f | %5.2f |", m->name.c_str(), m->seconds, ours / m->seconds);
    } else {
        std::printf(" %-28s | %8s | %5s |", "-", "-", "-");
    }
}

std::string megabytes(const measurement* m) {
    return m ? std::to_string(m->peak_bytes >> 20) : "-";
}

} // namespace

void session::measure(const std::string& name, std::size_t size, double target,
                      std::vector<contender> contenders) {
    job j{name, size, target, {}};
    for (int repetition = 0; repetition < repetitions_; ++repetition) {
        for (std::size_t k = 0; k < contenders.size(); ++k) {
            // Noise does not matter in what takes seconds, and its time is better spent on the others.
            if (repetition > 0 && j.results[k].seconds > SLOW) continue;
            measurement m = run_once(contenders[k]);
            if (repetition == 0) {
                j.results.push_back(m);
            } else {
                j.results[k].seconds = std::min(j.results[k].seconds, m.seconds);
            }
        }
    }
    std::fprintf(stderr, "%s, %zu done\n", name.c_str(), size);
    jobs_.push_back(std::move(j));
}

void session::print() const {
    std::printf("| %-34s | %8s | %8s | %-28s | %8s | %5s | %6s | %-28s | %8s | %5s | %13s | %6s |\n",
                "Workload", "size", "ours s", "best peer", "s", "ratio", "target", "practical limit", "s",
                "ratio", "MB ours/peer", "growth");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    std::map<std::string, std::pair<std::size_t, double>> smallest;
    for (const job& j : jobs_) {
        const measurement* ours = best_of(j, role::subject);
        if (!ours) continue;
        const measurement* peer = best_of(j, role::peer);
        const auto [first, is_first] = smallest.try_emplace(j.name, j.size, ours->seconds);
        const double growth = is_first ? NAN
                                       : std::log(ours->seconds / first->second.second) /
                                             std::log(double(j.size) / double(first->second.first));
        std::printf("| %-34s | %8zu | %8.4f |", j.name.c_str(), j.size, ours->seconds);
        print_cell(peer, ours->seconds);
        if (j.target > 0) {
            std::printf(" %6.2f |", j.target);
        } else {
            std::printf(" %6s |", "-");
        }
        print_cell(best_of(j, role::limit), ours->seconds);
        std::printf(" %13s |", (megabytes(ours) + "/" + megabytes(peer)).c_str());
        if (is_first) {
            std::printf(" %6s |\n", "-");
        } else {
            std::printf(" %6.2f |\n", growth);
        }
    }
    std::printf("\nEvery contender, seconds:\n");
    for (const job& j : jobs_) {
        std::printf("  %s, %zu:", j.name.c_str(), j.size);
        for (const measurement& m : j.results) std::printf(" %s %.4f;", m.name.c_str(), m.seconds);
        std::printf("\n");
    }
}

std::string working_file(const std::string& name) {
    return (std::filesystem::temp_directory_path() / ("plexo_peers_" + std::to_string(getpid()) + "_" + name))
        .string();
}

} // namespace peers

int main(int argc, char** argv) {
    bool quick = false;
    std::string filter;
    for (int k = 1; k < argc; ++k) {
        if (std::strcmp(argv[k], "--quick") == 0) {
            quick = true;
        } else {
            filter = argv[k];
        }
    }
    peers::session session(quick ? std::vector<std::size_t>{100'000, 1'000'000}
                                 : std::vector<std::size_t>{100'000, 1'000'000, 4'000'000},
                           quick ? 2 : 5, filter);
    peers::weld_jobs(session);
    peers::topology_jobs(session);
    peers::search_jobs(session);
    peers::quality_jobs(session);
    peers::metric_jobs(session);
    peers::stl_jobs(session);
    peers::writer_jobs(session);
    peers::reader_jobs(session);
    session.print();
    return 0;
}
