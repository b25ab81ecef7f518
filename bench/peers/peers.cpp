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

const measurement* find(const job& j, const std::string& contender) {
    const auto found = std::find_if(j.results.begin(), j.results.end(),
                                    [&](const measurement& m) { return m.name == contender; });
    return found == j.results.end() ? nullptr : &*found;
}

/// Name, time and our ratio to it.
void print_cells(const measurement* m, double ours) {
    if (m) {
        std::printf(" %-29s | %8.4f | %5.2f |", m->name.c_str(), m->seconds, ours / m->seconds);
    } else {
        std::printf(" %-29s | %8s | %5s |", "-", "-", "-");
    }
}

std::string megabytes(const measurement* m) {
    return m ? std::to_string(m->peak_bytes >> 20) : "-";
}

/// The power of the size with which the time of a contender grows from one job to another.
std::string growth(const measurement* m, const job& from, const job& to) {
    const measurement* earlier = m && from.size != to.size ? find(from, m->name) : nullptr;
    if (!earlier) return "-";
    char text[16];
    const double exponent =
        std::log(m->seconds / earlier->seconds) / std::log(double(to.size) / double(from.size));
    std::snprintf(text, sizeof text, "%.2f", exponent);
    return text;
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
    std::printf("| %-34s | %8s | %8s | %-29s | %8s | %5s | %5s | %-29s | %8s | %5s | %12s | %16s |\n",
                "Workload", "Size", "Ours, s", "Best peer", "s", "Ratio", "Goal", "Bare program", "s",
                "Ratio", "MB ours/peer", "Growth ours/peer");
    std::printf("|---|--:|--:|---|--:|--:|--:|---|--:|--:|--:|--:|\n");
    std::map<std::string, const job*> smallest;
    for (const job& j : jobs_) {
        const measurement* ours = best_of(j, role::subject);
        if (!ours) continue;
        const measurement* peer = best_of(j, role::peer);
        const job& first = *smallest.try_emplace(j.name, &j).first->second;
        std::printf("| %-34s | %8zu | %8.4f |", j.name.c_str(), j.size, ours->seconds);
        print_cells(peer, ours->seconds);
        if (j.target > 0) {
            std::printf(" %5.2f |", j.target);
        } else {
            std::printf(" %5s |", "-");
        }
        print_cells(best_of(j, role::limit), ours->seconds);
        std::printf(" %12s | %16s |\n", (megabytes(ours) + "/" + megabytes(peer)).c_str(),
                    (growth(ours, first, j) + "/" + growth(peer, first, j)).c_str());
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

contender line_scan(const std::string& path) {
    return {role::limit, "memchr line scan", [path] {
                std::FILE* file = std::fopen(path.c_str(), "rb");
                std::vector<char> slice(1 << 20);
                std::size_t lines = 0;
                for (std::size_t got; (got = std::fread(slice.data(), 1, slice.size(), file));) {
                    const char* at = slice.data();
                    const char* const end = at + got;
                    while ((at = static_cast<const char*>(std::memchr(at, '\n', std::size_t(end - at))))) {
                        ++at;
                        ++lines;
                    }
                }
                std::fclose(file);
                keep(lines);
            }};
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
