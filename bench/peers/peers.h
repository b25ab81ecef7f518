#pragma once

/// \file
/// Side-by-side timing of this library ("subject"), general libraries ("peers") and bare programs for the
/// same job ("limits") on the same data in one process.

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace peers {

/// `other` does only a part of the job: it is listed, but not compared with.
enum class role { subject, peer, limit, other };

/// One way of doing a job. `prepare` runs untimed before each timed `run`; results live in the closure and
/// are dropped by the next `prepare`, so that nobody pays for freeing inside the timed part.
struct contender {
    role part;
    std::string name;
    std::function<void()> run;
    std::function<void()> prepare = [] {};
};

struct measurement {
    role part;
    std::string name;
    double seconds;
    std::size_t peak_bytes; ///< growth of the resident set during one run
};

/// A job at one size. Jobs with the same name at several sizes give the growth exponent.
struct job {
    std::string name;
    std::size_t size;
    double target; ///< ratio to the best peer that we want to stay below; 0 when there is none
    std::vector<measurement> results;
};

/// Runs jobs and collects what they took.
class session {
public:
    session(std::vector<std::size_t> sizes, int repetitions, std::string filter)
        : sizes_(std::move(sizes)), repetitions_(repetitions), filter_(std::move(filter)) {}

    const std::vector<std::size_t>& sizes() const { return sizes_; }
    bool wants(const std::string& name) const { return name.find(filter_) != std::string::npos; }

    /// Runs the contenders in turn, several times, and keeps the shortest time of each.
    void measure(const std::string& name, std::size_t size, double target, std::vector<contender> contenders);

    /// One table row a job, and the growth exponent under the last size of each name.
    void print() const;

private:
    std::vector<std::size_t> sizes_;
    int repetitions_;
    std::string filter_;
    std::vector<job> jobs_;
};

/// The value of an expression that must not be optimised away.
template <typename T>
void keep(const T& value) {
    asm volatile("" : : "r,m"(value) : "memory");
}

/// A path for a working file of this process in the temporary directory.
std::string working_file(const std::string& name);

/// The least that any reader of lines does.
contender line_scan(const std::string& path);

// One function per family; each registers its jobs at all sizes.
void weld_jobs(session&);
void stl_jobs(session&);
void topology_jobs(session&);
void search_jobs(session&);
void quality_jobs(session&);
void metric_jobs(session&);
void writer_jobs(session&);
void reader_jobs(session&);

} // namespace peers
