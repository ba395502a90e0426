#include <Velin/Io/JpegStreamCheck.h>

#include <array>
#include <utility>

namespace velin {
namespace io {
namespace {

constexpr std::uint8_t kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kDht = 0xC4, kDnl = 0xDC;

// Frame headers of the processes DCMTK's IJG decoders take: SOF0 (baseline), SOF1 (extended), SOF3
// (lossless). Every other start-of-frame marker (progressive, hierarchical, arithmetic) is refused.
bool isStartOfFrame(std::uint8_t marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != kDht && marker != 0xC8 && marker != 0xCC;
}

bool lossless(JpegProcess process) {
    return process == JpegProcess::Lossless || process == JpegProcess::LosslessFirstOrder;
}

std::string hex(std::uint8_t marker) {
    static const char digits[] = "0123456789ABCDEF";
    return std::string("FF") + digits[marker >> 4] + digits[marker & 15];
}

// The stream as a sequence of marker segments, with what the checks learnt so far.
class Headers {
public:
    Headers(const std::uint8_t* data, std::size_t size, const JpegExpectation& expected)
        : data_(data), size_(size), expected_(expected) {}

    std::string check() {
        if (size_ < 2 || data_[0] != 0xFF || data_[1] != kSoi) return "the frame does not start a JPEG stream";
        std::size_t at = 2;
        for (;;) {
            // Fill bytes (0xFF) may precede a marker.
            while (at < size_ && data_[at] == 0xFF && at + 1 < size_ && data_[at + 1] == 0xFF) ++at;
            if (at + 4 > size_ || data_[at] != 0xFF) return "the JPEG headers end before the first scan";
            const std::uint8_t marker = data_[at + 1];
            if (marker == kEoi || marker == kSoi || (marker >= 0xD0 && marker <= 0xD7))
                return "marker " + hex(marker) + " before the first scan";
            const std::size_t length = static_cast<std::size_t>(data_[at + 2]) << 8 | data_[at + 3];
            if (length < 2 || at + 2 + length > size_)
                return "JPEG segment " + hex(marker) + " of " + std::to_string(length) + " bytes runs past the frame";
            const std::uint8_t* segment = data_ + at + 4;
            const std::size_t bytes = length - 2;
            std::string problem;
            if (isStartOfFrame(marker))
                problem = frame(marker, segment, bytes);
            else if (marker == kDht)
                problem = huffmanTables(segment, bytes);
            else if (marker == kDnl)
                problem = "a DNL marker (the frame's height given after the scan) is not supported";
            else if (marker == kSos)
                return scan(segment, bytes);
            if (!problem.empty()) return problem;
            at += 2 + length;
        }
    }

private:
    std::string frame(std::uint8_t marker, const std::uint8_t* s, std::size_t bytes) {
        if (sawFrame_) return "a second JPEG frame header";
        sawFrame_ = true;
        const bool expectedMarker = lossless(expected_.process)                  ? marker == 0xC3
                                    : expected_.process == JpegProcess::Baseline ? marker == 0xC0
                                                                                 : marker == 0xC0 || marker == 0xC1;
        if (!expectedMarker) return "JPEG frame type " + hex(marker) + " does not belong to the transfer syntax";
        if (bytes < 6) return "JPEG frame header of " + std::to_string(bytes) + " bytes";
        precision_ = s[0];
        const int rows = s[1] << 8 | s[2], columns = s[3] << 8 | s[4], components = s[5];
        const bool precisionOk = lossless(expected_.process)                  ? precision_ >= 2 && precision_ <= 16
                                 : expected_.process == JpegProcess::Baseline ? precision_ == 8
                                                                              : precision_ == 8 || precision_ == 12;
        if (!precisionOk || precision_ > expected_.bitsAllocated)
            return "JPEG precision of " + std::to_string(precision_) + " bits does not fit the transfer syntax and " +
                   std::to_string(expected_.bitsAllocated) + "-bit samples";
        if (rows != expected_.rows || columns != expected_.columns)
            return "JPEG frame of " + std::to_string(rows) + "x" + std::to_string(columns) + " in frames of " +
                   std::to_string(expected_.rows) + "x" + std::to_string(expected_.columns) + " (rows x columns)";
        if (components != 1 || bytes != 6 + 3u)
            return "JPEG frame of " + std::to_string(components) + " components: expected one grey component";
        component_ = s[6];
        if (s[7] != 0x11) return "JPEG component sampled other than 1x1";
        return {};
    }

    std::string huffmanTables(const std::uint8_t* s, std::size_t bytes) {
        std::size_t at = 0;
        while (at < bytes) {
            if (at + 17 > bytes) return "JPEG Huffman table cut short";
            const int tableClass = s[at] >> 4, slot = s[at] & 15;
            if (tableClass > 1 || slot > 3)
                return "JPEG Huffman table class " + std::to_string(tableClass) + " slot " + std::to_string(slot);
            std::size_t codes = 0;
            for (int k = 1; k <= 16; ++k) codes += s[at + static_cast<std::size_t>(k)];
            if (codes == 0 || codes > 256 || at + 17 + codes > bytes)
                return "JPEG Huffman table of " + std::to_string(codes) + " codes";
            // Lossless tables code difference categories, 0 to 16; lossy DC tables categories up to the
            // precision, 11 or 15.
            if (tableClass == 0) {
                const int most = lossless(expected_.process) ? 16 : 15;
                for (std::size_t k = 0; k < codes; ++k)
                    if (s[at + 17 + k] > most)
                        return std::string(lossless(expected_.process) ? "lossless" : "DC") + " Huffman table " +
                               std::to_string(slot) + " holds difference category " + std::to_string(s[at + 17 + k]) +
                               " (at most " + std::to_string(most) + ")";
            } else if (lossless(expected_.process)) {
                return "an AC Huffman table in a lossless JPEG stream";
            }
            defined_[static_cast<std::size_t>(tableClass)][static_cast<std::size_t>(slot)] = true;
            at += 17 + codes;
        }
        return {};
    }

    std::string scan(const std::uint8_t* s, std::size_t bytes) {
        if (!sawFrame_) return "a JPEG scan before the frame header";
        if (bytes != 1 + 2 + 3u || s[0] != 1) return "JPEG scan of other than one component";
        if (s[1] != component_) return "JPEG scan of component " + std::to_string(s[1]) + ", not of the frame's";
        const int dc = s[2] >> 4, ac = s[2] & 15;
        if (dc > 3 || !defined_[0][static_cast<std::size_t>(dc)])
            return "JPEG scan uses Huffman table " + std::to_string(dc) + ", which is not defined";
        const int start = s[3], end = s[4], high = s[5] >> 4, low = s[5] & 15;
        if (lossless(expected_.process)) {
            const int mostPredictor = expected_.process == JpegProcess::LosslessFirstOrder ? 1 : 7;
            if (start < 1 || start > mostPredictor || end != 0 || high != 0 || low >= precision_)
                return "lossless JPEG scan with predictor " + std::to_string(start) + " and point transform " +
                       std::to_string(low) + " (predictor 1 to " + std::to_string(mostPredictor) +
                       ", transform below the precision of " + std::to_string(precision_) + " bits)";
            return {};
        }
        if (ac > 3 || !defined_[1][static_cast<std::size_t>(ac)])
            return "JPEG scan uses AC Huffman table " + std::to_string(ac) + ", which is not defined";
        if (start != 0 || end != 63 || high != 0 || low != 0) return "JPEG scan is not sequential";
        return {};
    }

    const std::uint8_t* data_;
    std::size_t size_;
    JpegExpectation expected_;
    bool sawFrame_ = false;
    int precision_ = 0;
    int component_ = -1;
    std::array<std::array<bool, 4>, 2> defined_{};
};

}  // namespace

std::string jpegStreamProblem(const std::uint8_t* data, std::size_t size, const JpegExpectation& expected) {
    return Headers(data, size, expected).check();
}

}  // namespace io
}  // namespace velin
