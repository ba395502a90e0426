#include <Velin/Io/ReaderSupport.h>

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <memory>

namespace velin {
namespace io {
namespace detail {

namespace {

// The most 8-bit pixels one stored byte can stand for: uncompressed one; PackBits 64 (128 from a 2-byte
// run); deflate and LZW stop near 1032 and 1300, so 2048 leaves room; for any other codec a bound no
// real picture reaches. The whole stack is held to the general bound too, as pages may share their strips.
constexpr std::uint64_t kMaxPackBitsRatio = 64;
constexpr std::uint64_t kMinLibtiffAllocation = 8u << 20;
constexpr std::uint64_t kMaxDictionaryRatio = 2048;
constexpr std::uint64_t kMaxCompressionRatio = 4096;

std::uint64_t maxPixelsPerByte(std::uint16_t compression) {
    switch (compression) {
        case COMPRESSION_NONE:
            return 1;
        case COMPRESSION_PACKBITS:
            return kMaxPackBitsRatio;
        case COMPRESSION_LZW:
        case COMPRESSION_ADOBE_DEFLATE:
        case COMPRESSION_DEFLATE:
            return kMaxDictionaryRatio;
        default:
            return kMaxCompressionRatio;
    }
}

// libtiff reports problems through callbacks; these collect the first message for this file's error instead
// of printing to the terminal.
int collectMessage(TIFF*, void* userData, const char*, const char* format, va_list args) {
    std::string& message = *static_cast<std::string*>(userData);
    if (message.empty()) {
        char buffer[512];
        std::vsnprintf(buffer, sizeof buffer, format, args);
        message = buffer;
    }
    return 1;
}

int ignoreWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct TiffCloser {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};

struct OptionsFree {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

}  // namespace

Volume readTiffStack(const std::string& path) {
    const std::uint64_t size = fileSize(path);
    std::string libtiffMessage;
    std::unique_ptr<TIFFOpenOptions, OptionsFree> openOptions(TIFFOpenOptionsAlloc());
    TIFFOpenOptionsSetErrorHandlerExtR(openOptions.get(), collectMessage, &libtiffMessage);
    TIFFOpenOptionsSetWarningHandlerExtR(openOptions.get(), ignoreWarning, nullptr);
    // libtiff's own buffers (a strip, the directory's arrays) come from the file and need no more than its
    // size; a damaged directory could otherwise make it reserve gigabytes for arrays it estimates.
    TIFFOpenOptionsSetMaxSingleMemAlloc(
        openOptions.get(), static_cast<tmsize_t>(std::max<std::uint64_t>(2 * size, kMinLibtiffAllocation)));
    // "m": no memory mapping. A mapped file that shrinks while it is read raises SIGBUS on the next page
    // touched; plain reads just come back short, which libtiff reports as an error.
    std::unique_ptr<TIFF, TiffCloser> tiff(TIFFOpenExt(path.c_str(), "rm", openOptions.get()));
    if (!tiff) {
        fail(path, "not a readable TIFF file (" + std::to_string(size) +
                       " bytes): " + (libtiffMessage.empty() ? std::string("unknown libtiff error") : libtiffMessage));
    }

    Volume volume;
    std::vector<std::uint8_t> line;
    int page = 0;
    do {
        std::uint32_t width = 0, height = 0;
        std::uint16_t bits = 0, samplesPerPixel = 1, photometric = PHOTOMETRIC_MINISBLACK;
        TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width);
        TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height);
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &samplesPerPixel);
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_PHOTOMETRIC, &photometric);
        const std::string where = "page " + std::to_string(page) + ": ";
        if (bits != 8 || samplesPerPixel != 1) {
            fail(path, where + "expected 8-bit grey pages, found " + std::to_string(samplesPerPixel) +
                           " sample(s) of " + std::to_string(bits) + " bits per pixel");
        }
        if (TIFFIsTiled(tiff.get())) fail(path, where + "expected a strip-organised TIFF, found a tiled one");
        if (page == 0) {
            checkShape(path, 1, width, height);
            volume.numAScans = static_cast<int>(width);
            volume.depth = static_cast<int>(height);
        } else if (static_cast<int>(width) != volume.numAScans || static_cast<int>(height) != volume.depth) {
            fail(path, where + "expected the size of the first page, " + std::to_string(volume.numAScans) + "x" +
                           std::to_string(volume.depth) + " (columns x rows), found " + std::to_string(width) + "x" +
                           std::to_string(height));
        }
        checkShape(path, static_cast<std::uint64_t>(page) + 1, width, height);
        // A damaged directory can claim a huge page. Its pixels must come from the bytes its strips occupy in
        // the file, at no better ratio than the codec allows, before memory is reserved for them.
        std::uint16_t compression = COMPRESSION_NONE;
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_COMPRESSION, &compression);
        // Only the part of a strip that lies within the file counts: libtiff cuts a single uncompressed strip
        // into strips of a few rows whose counts follow the claimed size, not the file.
        std::uint64_t stored = 0;
        for (std::uint32_t strip = 0; strip < TIFFNumberOfStrips(tiff.get()); ++strip) {
            const std::uint64_t offset = TIFFGetStrileOffset(tiff.get(), strip);
            if (offset < size) stored += std::min(TIFFGetStrileByteCount(tiff.get(), strip), size - offset);
        }
        const std::uint64_t pixels = static_cast<std::uint64_t>(width) * height;
        const std::uint64_t ratio = maxPixelsPerByte(compression);
        const std::uint64_t stackPixels = (static_cast<std::uint64_t>(page) + 1) * pixels;
        if (stackPixels > kMaxCompressionRatio * size) {
            fail(path, where + "expected at most " + std::to_string(kMaxCompressionRatio) +
                           " pixels per file byte, found " + std::to_string(stackPixels) + " pixels in " +
                           std::to_string(size) + " bytes");
        }
        if (pixels > ratio * stored) {
            fail(path, where + "truncated or damaged: " + std::to_string(width) + "x" + std::to_string(height) +
                           " pixels cannot come from the " + std::to_string(stored) +
                           " bytes its strips hold in the file (" + std::to_string(size) + " bytes) at " +
                           std::to_string(ratio) + " pixel(s) per byte at most (compression " +
                           std::to_string(compression) + ")");
        }

        // A page is depth rows of A-scan samples; the library wants each A-scan contiguous.
        const std::size_t na = width, nd = height;
        const std::size_t base = volume.samples.size();
        volume.samples.resize(base + na * nd);
        line.resize(static_cast<std::size_t>(TIFFScanlineSize(tiff.get())));
        for (std::uint32_t row = 0; row < height; ++row) {
            if (line.size() < na || TIFFReadScanline(tiff.get(), line.data(), row, 0) < 0) {
                fail(path, where + "truncated or corrupt image data at row " + std::to_string(row) +
                               (libtiffMessage.empty() ? std::string() : ": " + libtiffMessage));
            }
            const bool invert = photometric == PHOTOMETRIC_MINISWHITE;
            for (std::size_t a = 0; a < na; ++a) {
                volume.samples[base + a * nd + row] = invert ? static_cast<std::uint8_t>(255 - line[a]) : line[a];
            }
        }
        ++page;
    } while (TIFFReadDirectory(tiff.get()) == 1);
    if (!libtiffMessage.empty()) fail(path, "after page " + std::to_string(page - 1) + ": " + libtiffMessage);
    volume.numBScans = page;
    return volume;
}

}  // namespace detail
}  // namespace io
}  // namespace velin
