#pragma once

#include "io/growing_columns.h"
#include "io/node_columns.h"
#include "io/text_reader.h"

namespace qv7::plexo::io {

/// The elements of a file in the order in which they come, gathered as NASTRAN and FEMAP readers give them:
/// one connectivity padded with NO_ID, cut into blocks of consecutive elements of one type, and a property
/// number per element.
class element_blocks {
public:
    element_blocks() noexcept : nodes_(0, NO_ID) {}

    /// A column for the nodes of one more element, to be filled by the caller; null when memory runs out.
    unsigned int* add(element_type type, unsigned int property) noexcept;

    /// Hands over what was gathered: blocks + 1 ranges, blocks types, a property per element.
    /// \return the number of elements, or -199 when memory runs out
    int move_to(dense2D<unsigned int>& connect, dense1D<unsigned int, 16>& ranges, dense1D<int, 16>& types,
                dense1D<unsigned int, 16>& properties) noexcept;

private:
    growing_columns<unsigned int> nodes_;
    dense1D<unsigned int, 16> starts_; ///< first element of each block
    dense1D<int, 16> types_;
    dense1D<unsigned int, 16> properties_;
};

/// What such a reader gathers in all.
struct gathered_mesh {
    node_columns nodes;
    element_blocks elements;

    /// \return the number of elements, or -199 when memory runs out; the outputs are empty then
    int move_to(dense2D<double>& pos, dense2D<unsigned int>& connect, dense1D<unsigned int, 16>& ranges,
                dense1D<int, 16>& types, dense1D<unsigned int, 16>& properties) noexcept {
        if (!nodes.move_to(pos)) return -199;
        const int count = elements.move_to(connect, ranges, types, properties);
        if (count < 0) pos = dense2D<double>();
        return count;
    }
};

/// Copies block k, when there is one, into a matrix of its own with the rows of its type. False when memory
/// runs out.
bool extract_block(unsigned int k, const dense2D<unsigned int>& connect,
                   const dense1D<unsigned int, 16>& ranges, const dense1D<int, 16>& types,
                   dense2D<unsigned int>& block, element_type& type) noexcept;

/// The general form of an input. A `Reader` is made of the file and of what it gathers; its read() returns 0
/// or -199.
/// \return the number of elements; -1 the file cannot be opened or read; -199. After a failure the outputs
/// are empty
template <typename Reader>
int read_blocks(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connect,
                dense1D<unsigned int, 16>& ranges, dense1D<int, 16>& types,
                dense1D<unsigned int, 16>& properties) {
    pos = dense2D<double>();
    connect = dense2D<unsigned int>();
    ranges = properties = dense1D<unsigned int, 16>();
    types = dense1D<int, 16>();
    line_reader file(path);
    if (!file.is_open()) return -1;
    gathered_mesh mesh{node_columns(file.file_size()), element_blocks()};
    if (const int status = Reader(file, mesh).read(); status != 0) return status;
    if (file.out_of_memory()) return -199;
    if (file.read_failed()) return -1;
    return mesh.move_to(pos, connect, ranges, types, properties);
}

/// The first block of a file. The connectivity is empty and the type stays as it is when there is none.
/// \return what read_blocks() does
template <typename Reader>
int read_one_block(const char* path, dense2D<double>& pos, dense2D<unsigned int>& block, element_type& type) {
    dense2D<unsigned int> connect;
    dense1D<unsigned int, 16> ranges, properties;
    dense1D<int, 16> types;
    block = dense2D<unsigned int>();
    const int status = read_blocks<Reader>(path, pos, connect, ranges, types, properties);
    if (status < 0 || extract_block(0, connect, ranges, types, block, type)) return status;
    pos = dense2D<double>();
    return -199;
}

/// The first two blocks of a file, as far as there are so many.
template <typename Reader>
int read_two_blocks(const char* path, dense2D<double>& pos, dense2D<unsigned int>& first,
                    dense2D<unsigned int>& second, element_type& first_type, element_type& second_type) {
    dense2D<unsigned int> connect;
    dense1D<unsigned int, 16> ranges, properties;
    dense1D<int, 16> types;
    first = second = dense2D<unsigned int>();
    const int status = read_blocks<Reader>(path, pos, connect, ranges, types, properties);
    if (status < 0) return status;
    if (extract_block(0, connect, ranges, types, first, first_type) &&
        extract_block(1, connect, ranges, types, second, second_type)) {
        return status;
    }
    pos = dense2D<double>();
    first = second = dense2D<unsigned int>();
    return -199;
}

} // namespace qv7::plexo::io
