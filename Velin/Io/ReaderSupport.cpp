#include <Velin/Io/ReaderSupport.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace velin {
namespace io {
namespace detail {

namespace fs = std::filesystem;

void fail(const std::string& path, const std::string& what) { throw VolumeFileError(path + ": " + what); }

std::uint64_t fileSize(const std::string& path) {
    std::error_code ec;
    const fs::file_status status = fs::status(fs::u8path(path), ec);
    if (ec || !fs::exists(status)) fail(path, "cannot open: no such file");
    if (fs::is_directory(status)) fail(path, "cannot open: expected a file, found a directory");
    const std::uintmax_t size = fs::file_size(fs::u8path(path), ec);
    if (ec) fail(path, "cannot read its size: " + ec.message());
    return static_cast<std::uint64_t>(size);
}

namespace {

// A volume's buffer is touched page by page as it is read: with 4 KiB pages a 64 MB volume takes 16000 page
// faults, which cost more than the copy from the page cache. Linux backs a region with 2 MiB pages when asked
// (transparent huge pages in their "madvise" mode, the distributions' default); elsewhere nothing changes.
void preferLargePages(std::uint8_t* begin, std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::size_t kWorthIt = std::size_t{4} << 20;
    const long page = sysconf(_SC_PAGESIZE);
    if (bytes < kWorthIt || page <= 0) return;
    const auto mask = static_cast<std::uintptr_t>(page) - 1;
    const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(begin) + mask) & ~mask;
    const std::uintptr_t last = (reinterpret_cast<std::uintptr_t>(begin) + bytes) & ~mask;
    if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);  // only a hint
#else
    (void)begin;
    (void)bytes;
#endif
}

}  // namespace

bool appendBytes(std::istream& in, std::vector<std::uint8_t>& bytes, std::uint64_t count) {
    constexpr std::uint64_t kPiece = std::uint64_t{1} << 20;  // stays in the cache between zeroing and reading
    bytes.reserve(bytes.size() + static_cast<std::size_t>(count));
    preferLargePages(bytes.data() + bytes.size(), bytes.capacity() - bytes.size());
    while (count > 0) {
        const std::size_t piece = static_cast<std::size_t>(std::min(count, kPiece));
        const std::size_t start = bytes.size();
        bytes.resize(start + piece);
        in.read(reinterpret_cast<char*>(bytes.data() + start), static_cast<std::streamsize>(piece));
        const auto got = static_cast<std::size_t>(in.gcount());
        if (got != piece) {
            bytes.resize(start + got);
            return false;
        }
        count -= piece;
    }
    return true;
}

std::vector<std::uint8_t> readAll(const std::string& path, std::uint64_t maxBytes) {
    const std::uint64_t size = fileSize(path);
    if (size > maxBytes) {
        fail(path, "file too large: expected at most " + std::to_string(maxBytes) + " bytes, found " +
                       std::to_string(size));
    }
    std::ifstream in(fs::u8path(path), std::ios::binary);
    if (!in) fail(path, "cannot open for reading");
    std::vector<std::uint8_t> bytes;
    if (!appendBytes(in, bytes, size)) {
        fail(path, "read error: expected " + std::to_string(size) + " bytes, got " + std::to_string(bytes.size()));
    }
    return bytes;
}

std::string shapeText(std::uint64_t numBScans, std::uint64_t numAScans, std::uint64_t depth) {
    return std::to_string(numBScans) + "x" + std::to_string(numAScans) + "x" + std::to_string(depth);
}

void checkShape(const std::string& path, std::uint64_t numBScans, std::uint64_t numAScans, std::uint64_t depth) {
    if (numBScans == 0 || numAScans == 0 || depth == 0) {
        fail(path, "expected a non-empty volume, found shape " + shapeText(numBScans, numAScans, depth));
    }
    // Divide instead of multiplying so that absurd header values cannot overflow the check itself.
    if (numAScans > kMaxSamples / depth || numBScans > kMaxSamples / (numAScans * depth)) {
        fail(path, "volume too large: shape " + shapeText(numBScans, numAScans, depth) + " exceeds " +
                       std::to_string(kMaxSamples) + " samples");
    }
}

std::string lowerExtension(const std::string& path) {
    std::string ext = fs::u8path(path).extension().u8string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

std::uint32_t loadU32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

std::uint64_t loadU64(const std::uint8_t* p) {
    return static_cast<std::uint64_t>(loadU32(p)) | (static_cast<std::uint64_t>(loadU32(p + 4)) << 32);
}

float loadF32(const std::uint8_t* p) {
    const std::uint32_t bits = loadU32(p);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double loadF64(const std::uint8_t* p) {
    const std::uint64_t bits = loadU64(p);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace detail
}  // namespace io
}  // namespace velin
