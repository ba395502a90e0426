#pragma once

// Output files appear complete or not at all: they are written under a temporary name in the target folder
// and renamed over the final name only after the last byte is out.

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace velin {
namespace io {

/// An output file could not be written. The message names the file and the reason.
class FileWriteError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One contiguous piece of a file's content.
struct ByteChunk {
    const void* data;
    std::size_t size;
};

/// Writes the chunks, in order, as the file `path`, replacing an existing file only once the new content is
/// complete. On failure the temporary file is removed, any earlier file at `path` is left as it was, and
/// FileWriteError is thrown.
void writeFileAtomically(const std::string& path, const std::vector<ByteChunk>& chunks);

}  // namespace io
}  // namespace velin
