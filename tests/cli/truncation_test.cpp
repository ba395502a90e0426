// Files that shrink while they are read. The test program stands in for the C library's read() and mmap():
// once armed for one file, it cuts that file short at a chosen read (or as soon as the file is mapped into
// memory) and lets the call go on, as when another program truncates the file at that moment. A reader
// must then refuse the file with an error naming it, or return the volume it read before the cut, and
// never crash. A mapped file that shrinks raises SIGBUS on the next page touched, which no reader can
// catch: so no reader may map its file (libtiff does unless told not to).

#include <Velin/Io/NpyFile.h>
#include <Velin/Io/VolumeFile.h>
#include "io_test_support.h"
#include "support/VolumeFiles.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace {

struct Watch {
    dev_t device = 0;
    ino_t inode = 0;
    std::string path;
    int cutAtRead = 0;  ///< the read (1 = the first) before which the file is cut; 0 = never
    off_t keep = 0;     ///< bytes left after the cut
    int reads = 0;
    bool mapped = false;
    bool cut = false;
};

Watch* gWatch = nullptr;

bool watched(int fd) {
    struct stat status;
    return gWatch != nullptr && fd >= 0 && fstat(fd, &status) == 0 && status.st_dev == gWatch->device &&
           status.st_ino == gWatch->inode;
}

void cutWatchedFile() {
    if (gWatch->cut) return;
    gWatch->cut = true;
    ASSERT_EQ(truncate(gWatch->path.c_str(), gWatch->keep), 0);
}

}  // namespace

// Visible, although the project hides symbols by default: the callers are in other shared objects.
#define VELIN_INTERPOSED extern "C" __attribute__((visibility("default")))

VELIN_INTERPOSED ssize_t read(int fd, void* buffer, size_t count) {
    using Read = ssize_t (*)(int, void*, size_t);
    static const Read next = reinterpret_cast<Read>(dlsym(RTLD_NEXT, "read"));
    if (watched(fd) && ++gWatch->reads == gWatch->cutAtRead) cutWatchedFile();
    return next(fd, buffer, count);
}

VELIN_INTERPOSED void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) {
    using Map = void* (*)(void*, size_t, int, int, int, off_t);
    static const Map next = reinterpret_cast<Map>(dlsym(RTLD_NEXT, "mmap"));
    void* mapping = next(address, length, protection, flags, fd, offset);
    if (watched(fd)) {
        gWatch->mapped = true;
        cutWatchedFile();
    }
    return mapping;
}

namespace {

using velin::io::ReadOptions;
using velin::io::Volume;

struct Format {
    const char* name;
    std::vector<std::uint8_t> bytes;
    ReadOptions options;
};

// Reads the file with the watch armed; "" for a volume equal to `expected`, else what went wrong.
std::string readWatched(const std::string& path, const ReadOptions& options, const Volume& expected, Watch& watch) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return "no file";
    watch.device = status.st_dev, watch.inode = status.st_ino, watch.path = path;
    gWatch = &watch;
    std::string outcome;
    try {
        const Volume v = velin::io::readVolume(path, options);
        if (v.samples != expected.samples) outcome = "a volume other than the file's";
    } catch (const velin::io::VolumeFileError& e) {
        if (std::string(e.what()).rfind(path + ": ", 0) != 0) outcome = std::string("unnamed error: ") + e.what();
    }
    gWatch = nullptr;
    return outcome;
}

TEST(IoTruncation, FilesCutShortAtAnyReadAreRefusedOrReadWholeAndNeverMapped) {
    io_test::ScratchDir dir;
    Volume volume;
    volume.numBScans = 3, volume.numAScans = 40, volume.depth = 64;
    volume.samples = io_test::patternedSamples(3, 40, 64);

    std::vector<Format> formats;
    velin::io::writeNpy(dir.file("v.npy"), volume);
    formats.push_back({"scan.npy", io_test::readBytes(dir.file("v.npy")), {}});
    ReadOptions shape;
    shape.numBScans = 3, shape.numAScans = 40, shape.depth = 64;
    formats.push_back({"scan.raw", volume.samples, shape});
    formats.push_back({"scan.vol", velin_test::volBytes(volume), {}});
    for (const std::uint16_t compression : {1, 5}) {
        velin_test::TiffLayout layout;
        layout.compression = compression, layout.rowsPerStrip = 16;
        ASSERT_TRUE(velin_test::writeTiffStack(dir.file("v.tif"), volume, layout));
        formats.push_back({compression == 1 ? "plain.tif" : "lzw.tif", io_test::readBytes(dir.file("v.tif")), {}});
    }

    for (const Format& format : formats) {
        SCOPED_TRACE(format.name);
        const std::string path = dir.file(format.name);
        Volume expected = volume;
        if (std::string(format.name) == "scan.vol")
            expected = velin::io::readVolume(dir.write(format.name, format.bytes), {});
        // How many reads a whole read takes.
        Watch count;
        io_test::writeBytes(path, format.bytes);
        ASSERT_EQ(readWatched(path, format.options, expected, count), "");
        EXPECT_FALSE(count.mapped);
        ASSERT_GT(count.reads, 0);
        const off_t size = static_cast<off_t>(format.bytes.size());
        for (int cutAt = 1; cutAt <= count.reads; ++cutAt)
            for (const off_t keep : {off_t{0}, size / 2, size - 1}) {
                io_test::writeBytes(path, format.bytes);
                Watch watch;
                watch.cutAtRead = cutAt, watch.keep = keep;
                EXPECT_EQ(readWatched(path, format.options, expected, watch), "")
                    << "cut at read " << cutAt << " to " << keep << " bytes";
                EXPECT_TRUE(watch.cut);
                EXPECT_FALSE(watch.mapped);
            }
    }
}

}  // namespace
