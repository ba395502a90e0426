#include <Velin/Io/AtomicFile.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <system_error>

namespace velin {
namespace io {

namespace fs = std::filesystem;

namespace {

// Several volumes may be written at once (one thread each) and several processes may share a folder, so the
// temporary name carries a per-process random tag and a per-call counter.
std::string temporaryName(const fs::path& target) {
    static const unsigned long long processTag = [] {
        std::random_device device;
        return (static_cast<unsigned long long>(device()) << 32) ^ device();
    }();
    static std::atomic<unsigned long long> counter{0};
    std::ostringstream name;
    name << '.' << target.filename().u8string() << ".tmp-" << std::hex << processTag << '-' << counter++;
    return name.str();
}

[[noreturn]] void failWrite(const std::string& path, const std::string& reason) {
    throw FileWriteError(path + ": cannot write: " + reason);
}

std::string lastSystemError() {
    const int code = errno;
    return code != 0 ? std::string(std::strerror(code)) : std::string("I/O error");
}

}  // namespace

void writeFileAtomically(const std::string& path, const std::vector<ByteChunk>& chunks) {
    const fs::path target = fs::u8path(path);
    if (target.filename().empty()) failWrite(path, "the path names a folder, not a file");
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    std::error_code ec;
    if (!fs::is_directory(folder, ec)) failWrite(path, "the folder " + folder.u8string() + " does not exist");
    if (fs::is_directory(target, ec)) failWrite(path, "a folder of that name exists");

    const fs::path temporary = folder / fs::u8path(temporaryName(target));
    {
        errno = 0;
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out) failWrite(path, lastSystemError());
        for (const ByteChunk& chunk : chunks) {
            if (chunk.size == 0) continue;
            out.write(static_cast<const char*>(chunk.data), static_cast<std::streamsize>(chunk.size));
            if (!out) break;
        }
        out.close();
        if (!out) {
            const std::string reason = lastSystemError();
            fs::remove(temporary, ec);
            failWrite(path, reason);
        }
    }
    fs::rename(temporary, target, ec);
    if (ec) {
        const std::string reason = ec.message();
        std::error_code ignored;
        fs::remove(temporary, ignored);
        failWrite(path, reason);
    }
}

}  // namespace io
}  // namespace velin
