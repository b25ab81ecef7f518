#include <plexo/io.h>

#include "io/facet_mesh.h"
#include "io/stl_layout.h"
#include "io/text_reader.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string_view>

namespace qv7::plexo {

using io::facet;
using io::facet_mesh;
using io::is_blank;

namespace {

constexpr std::size_t BATCH = 64; // facets handed over together

// Lines as a 256-character buffer would hold them; nothing behind a zero counts.
class stl_lines {
public:
    explicit stl_lines(const char* path) : file_(path, "rt") {}
    const io::line_reader& file() const { return file_; }
    bool next(std::string_view& line) {
        constexpr std::size_t LONGEST = 255;
        if (!file_.next(line)) return false;
        line = line.substr(0, LONGEST);
        if (const std::size_t zero = line.find('\0'); zero != line.npos) line = line.substr(0, zero);
        return true;
    }

private:
    io::line_reader file_;
};

// Takes blanks, if any, and the word from the front of the line. The length of a literal is known when this
// is compiled, so no call is left of the comparison.
template <std::size_t N>
inline bool take_word(std::string_view& line, const char (&word)[N]) {
    const std::string_view rest = io::skip_blanks(line);
    if (rest.size() < N - 1 || std::memcmp(rest.data(), word, N - 1) != 0) return false;
    line = rest.substr(N - 1);
    return true;
}

template <std::size_t N>
inline bool contains(std::string_view line, const char (&word)[N]) {
    std::string_view rest = line;
    return take_word(rest, word) || line.find(word) != line.npos; // most lines begin with it
}

// Takes three numbers from the front of the line; scan(i, first, last) gives the end of the i-th, or null.
template <typename Scan>
inline bool take_three(std::string_view& line, Scan scan) {
    const char* const last = line.data() + line.size();
    const char* p = line.data();
    for (int i = 0; i < 3; ++i) {
        while (p != last && is_blank(*p)) ++p;
        p = scan(i, p, last);
        if (!p) return false;
    }
    line = std::string_view(p, std::size_t(last - p));
    return true;
}

bool take_numbers(std::string_view& line, double* numbers) {
    return take_three(line, [numbers](int i, const char* first, const char* last) {
        return io::scan_double(first, last, numbers[i]);
    });
}

bool skip_numbers(std::string_view& line) {
    return take_three(line,
                      [](int, const char* first, const char* last) { return io::skip_double(first, last); });
}

enum class facet_start { facet, end_of_solid, malformed };

facet_start read_facet_start(std::string_view line) {
    std::string_view rest = line;
    const bool matches = take_word(rest, "facet") && take_word(rest, "normal") && skip_numbers(rest);
    if (matches && io::skip_blanks(rest).empty()) return facet_start::facet;
    if (contains(line, "endsolid")) return facet_start::end_of_solid;
    return matches ? facet_start::facet : facet_start::malformed;
}

bool read_facet_body(stl_lines& lines, facet& corners) {
    std::string_view line;
    if (!lines.next(line) || !contains(line, "outer loop")) return false;
    for (unsigned int k = 0; k < 3; ++k) {
        if (!lines.next(line) || !take_word(line, "vertex") || !take_numbers(line, corners.data() + 3 * k)) {
            return false;
        }
    }
    return lines.next(line) && contains(line, "endloop") && lines.next(line) && contains(line, "endfacet");
}

// What a file of the usual layout holds; any other makes the mesh grow or leaves room.
std::size_t likely_facets(const io::line_reader& file) {
    constexpr std::uint64_t USUAL_FACET_TEXT = 256, MOST = 1u << 24;
    return std::size_t(std::min(file.file_size() / USUAL_FACET_TEXT, MOST));
}

int read_ascii(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM) {
    stl_lines lines(path);
    if (!lines.file().is_open()) return -1;
    if (lines.file().out_of_memory()) return -199;
    std::string_view line;
    if (!lines.next(line) || !contains(line, "solid")) return -2;

    facet_mesh mesh(false);
    facet batch[BATCH];
    std::size_t pending = 0;
    bool roomy = false;
    for (;;) {
        if (!lines.next(line)) return -3;
        const facet_start start = read_facet_start(line);
        if (start == facet_start::end_of_solid) break;
        if (start == facet_start::malformed || !read_facet_body(lines, batch[pending])) return -3;
        if (++pending == BATCH) {
            if (!roomy && !mesh.reserve(likely_facets(lines.file()))) return -199;
            roomy = true;
            if (!mesh.add(batch, pending)) return -199;
            pending = 0;
        }
    }
    if (pending != 0 && !mesh.add(batch, pending)) return -199;
    return mesh.finish(pos, connectM);
}

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// How many facets fit between the current position and the end of the file, if it has one.
std::optional<std::size_t> facets_ahead(std::FILE* file) {
    const long here = std::ftell(file);
    if (here < 0 || std::fseek(file, 0, SEEK_END) != 0) return std::nullopt;
    const long end = std::ftell(file);
    if (std::fseek(file, here, SEEK_SET) != 0 || end < here) return 0;
    return std::size_t(end - here) / stl::FACET_SIZE;
}

facet load_facet(const char* record) {
    facet corners;
    for (std::size_t c = 0; c < corners.size(); ++c) {
        corners[c] = double(stl::load_float(record + stl::NORMAL_SIZE + c * sizeof(float)));
    }
    return corners;
}

int read_binary(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM) {
    const std::unique_ptr<std::FILE, file_closer> file(std::fopen(path, "rb"));
    if (!file) return -1;
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    char header[stl::HEADER_SIZE], count_field[stl::COUNT_SIZE];
    if (std::fread(header, 1, sizeof header, file.get()) != sizeof header) return -1;
    if (std::fread(count_field, 1, sizeof count_field, file.get()) != sizeof count_field) return -3;
    const std::size_t facets = stl::load_u32(count_field);
    const std::optional<std::size_t> ahead = facets_ahead(file.get());
    if (ahead && facets > *ahead) return -3; // the read that falls short, before anything is allocated for it

    constexpr std::size_t SLICE = 20000; // facets, a megabyte
    facet_mesh mesh(true);
    scratch<char> slice;
    if (!slice.allocate(SLICE * stl::FACET_SIZE)) return -199;
    if (!mesh.reserve(ahead ? facets : std::min(facets, SLICE))) return -199;
    for (std::size_t done = 0; done < facets;) {
        const std::size_t n = std::min(facets - done, SLICE);
        if (std::fread(slice.data(), stl::FACET_SIZE, n, file.get()) != n) return -3;
        for (std::size_t i = 0; i < n; i += BATCH) {
            facet batch[BATCH];
            const std::size_t size = std::min(n - i, BATCH);
            for (std::size_t k = 0; k < size; ++k) {
                batch[k] = load_facet(slice.data() + (i + k) * stl::FACET_SIZE);
            }
            if (!mesh.add(batch, size)) return -199;
        }
        done += n;
    }
    return mesh.finish(pos, connectM);
}

} // namespace

int STL_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM) try {
    pos.clear();
    connectM.clear();
    const int result = read_ascii(path, pos, connectM);
    if (result >= 0 || result <= -199) return result;
    return read_binary(path, pos, connectM);
} catch (const std::bad_alloc&) {
    return -199;
}

} // namespace qv7::plexo
