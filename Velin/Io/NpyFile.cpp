#include <Velin/Io/NpyFile.h>

#include <Velin/Io/AtomicFile.h>
#include <Velin/Io/ReaderSupport.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <type_traits>

namespace velin {
namespace io {

namespace {

using detail::fail;

constexpr char kMagic[] = "\x93NUMPY";
constexpr std::size_t kMagicSize = 6;

std::size_t itemSize(NpyType type) {
    switch (type) {
        case NpyType::UInt8: return 1;
        case NpyType::Int16: return 2;
        case NpyType::Float32: return 4;
        case NpyType::Float64: return 8;
    }
    return 1;
}

// The header is a Python dict literal, e.g. {'descr': '<f4', 'fortran_order': False, 'shape': (2, 3), }.
// This parser accepts exactly the literal forms numpy writes: strings, True/False, integers and tuples.
class HeaderParser {
public:
    HeaderParser(const std::string& path, const std::string& text) : path_(path), text_(text) {}

    void parse(std::string& descr, bool& fortranOrder, std::vector<std::size_t>& shape) {
        bool haveDescr = false, haveOrder = false, haveShape = false;
        expect('{');
        while (!peekIs('}')) {
            const std::string key = parseString();
            expect(':');
            if (key == "descr") {
                descr = parseString();
                haveDescr = true;
            } else if (key == "fortran_order") {
                fortranOrder = parseBool();
                haveOrder = true;
            } else if (key == "shape") {
                shape = parseTuple();
                haveShape = true;
            } else {
                malformed("an unknown key '" + key + "'");
            }
            if (!peekIs(',')) break;
            expect(',');
        }
        expect('}');
        if (!haveDescr || !haveOrder || !haveShape) {
            malformed("a header without " + std::string(!haveDescr ? "'descr'" : !haveOrder ? "'fortran_order'"
                                                                                            : "'shape'"));
        }
    }

private:
    [[noreturn]] void malformed(const std::string& found) {
        fail(path_, "malformed .npy header: expected a dict with 'descr', 'fortran_order' and 'shape', found " +
                        found);
    }

    void skipSpace() {
        while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
    }

    bool peekIs(char c) {
        skipSpace();
        return pos_ < text_.size() && text_[pos_] == c;
    }

    void expect(char c) {
        if (!peekIs(c)) {
            malformed(pos_ < text_.size() ? "'" + text_.substr(pos_, 12) + "' where '" + std::string(1, c) +
                                                "' belongs"
                                          : "the end of the header where '" + std::string(1, c) + "' belongs");
        }
        ++pos_;
    }

    std::string parseString() {
        skipSpace();
        if (pos_ >= text_.size() || (text_[pos_] != '\'' && text_[pos_] != '"')) malformed("a key that is not a string");
        const char quote = text_[pos_++];
        const std::size_t end = text_.find(quote, pos_);
        if (end == std::string::npos) malformed("an unterminated string");
        std::string value = text_.substr(pos_, end - pos_);
        pos_ = end + 1;
        return value;
    }

    bool parseBool() {
        skipSpace();
        if (text_.compare(pos_, 4, "True") == 0) {
            pos_ += 4;
            return true;
        }
        if (text_.compare(pos_, 5, "False") == 0) {
            pos_ += 5;
            return false;
        }
        malformed("a 'fortran_order' that is neither True nor False");
    }

    std::vector<std::size_t> parseTuple() {
        std::vector<std::size_t> values;
        expect('(');
        while (!peekIs(')')) {
            skipSpace();
            std::size_t value = 0;
            bool any = false;
            while (pos_ < text_.size() && std::isdigit(static_cast<unsigned char>(text_[pos_]))) {
                const std::size_t digit = static_cast<std::size_t>(text_[pos_++] - '0');
                if (value > (std::numeric_limits<std::size_t>::max() - digit) / 10) malformed("a huge dimension");
                value = value * 10 + digit;
                any = true;
            }
            if (!any) malformed("a 'shape' that is not a tuple of non-negative integers");
            values.push_back(value);
            if (!peekIs(',')) break;
            expect(',');
        }
        expect(')');
        return values;
    }

    const std::string& path_;
    const std::string& text_;
    std::size_t pos_ = 0;
};

NpyType typeFromDescr(const std::string& path, const std::string& descr, bool& swapBytes) {
    std::string code = descr;
    char order = '|';
    if (!code.empty() && (code[0] == '<' || code[0] == '>' || code[0] == '|' || code[0] == '=')) {
        order = code[0];
        code = code.substr(1);
    }
    NpyType type;
    if (code == "u1") {
        type = NpyType::UInt8;
    } else if (code == "i2") {
        type = NpyType::Int16;
    } else if (code == "f4") {
        type = NpyType::Float32;
    } else if (code == "f8") {
        type = NpyType::Float64;
    } else {
        fail(path, "unsupported .npy element type: expected uint8, int16, float32 or float64, found '" + descr + "'");
    }
    // Everything here is decoded as little-endian data; '=' (native) files come from little-endian machines
    // in practice, as do all platforms this program targets.
    swapBytes = order == '>';
    return type;
}

std::string shapeString(const std::vector<std::size_t>& shape) {
    std::string text = "(";
    for (std::size_t i = 0; i < shape.size(); ++i) {
        if (i > 0) text += ", ";
        text += std::to_string(shape[i]);
    }
    if (shape.size() == 1) text += ",";
    return text + ")";
}

std::string descrOf(NpyType type) {
    switch (type) {
        case NpyType::UInt8: return "|u1";
        case NpyType::Int16: return "<i2";
        case NpyType::Float32: return "<f4";
        case NpyType::Float64: return "<f8";
    }
    return "|u1";
}

// Version 1.0 header padded with spaces so that the data starts on a 64-byte boundary, as numpy writes it.
std::vector<std::uint8_t> makeHeader(NpyType type, const std::vector<std::size_t>& shape) {
    std::string dict = "{'descr': '" + descrOf(type) + "', 'fortran_order': False, 'shape': " + shapeString(shape) +
                       ", }";
    const std::size_t preamble = kMagicSize + 2 + 2;
    std::size_t total = preamble + dict.size() + 1;
    total = (total + 63) / 64 * 64;
    dict.append(total - preamble - dict.size() - 1, ' ');
    dict.push_back('\n');
    std::vector<std::uint8_t> header(kMagic, kMagic + kMagicSize);
    header.push_back(1);
    header.push_back(0);
    header.push_back(static_cast<std::uint8_t>(dict.size() & 0xFF));
    header.push_back(static_cast<std::uint8_t>(dict.size() >> 8));
    header.insert(header.end(), dict.begin(), dict.end());
    return header;
}

template <typename T>
std::vector<std::uint8_t> littleEndianBytes(const T* data, std::size_t count) {
    static_assert(sizeof(T) <= sizeof(std::uint64_t), "element too wide");
    std::vector<std::uint8_t> bytes(count * sizeof(T));
    for (std::size_t i = 0; i < count; ++i) {
        // Through an unsigned integer of the same width, so the bytes come out least significant first
        // whatever the host's byte order.
        using Bits = std::conditional_t<sizeof(T) == 2, std::uint16_t, std::uint32_t>;
        Bits bits;
        std::memcpy(&bits, &data[i], sizeof(T));
        for (std::size_t k = 0; k < sizeof(T); ++k) {
            bytes[i * sizeof(T) + k] = static_cast<std::uint8_t>((bits >> (8 * k)) & 0xFFu);
        }
    }
    return bytes;
}

void checkDims(const std::string& path, std::initializer_list<int> dims) {
    for (int d : dims) {
        if (d < 0) throw FileWriteError(path + ": cannot write: negative array dimension " + std::to_string(d));
    }
}

}  // namespace

std::size_t NpyArray::count() const {
    std::size_t n = 1;
    for (std::size_t d : shape) n *= d;
    return n;
}

template <typename Out>
static std::vector<Out> convertElements(const NpyArray& array) {
    const std::size_t n = array.count();
    std::vector<Out> out(n);
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint8_t* p = array.data.data() + i * itemSize(array.type);
        switch (array.type) {
            case NpyType::UInt8: out[i] = static_cast<Out>(*p); break;
            case NpyType::Int16: {
                std::int16_t v;
                std::memcpy(&v, p, 2);
                out[i] = static_cast<Out>(v);
                break;
            }
            case NpyType::Float32: {
                float v;
                std::memcpy(&v, p, 4);
                out[i] = static_cast<Out>(v);
                break;
            }
            case NpyType::Float64: {
                double v;
                std::memcpy(&v, p, 8);
                out[i] = static_cast<Out>(v);
                break;
            }
        }
    }
    return out;
}

std::vector<std::int16_t> NpyArray::toInt16() const { return convertElements<std::int16_t>(*this); }
std::vector<float> NpyArray::toFloat32() const { return convertElements<float>(*this); }

NpyArray readNpy(const std::string& path, std::uint64_t maxElements) {
    const std::uint64_t size = detail::fileSize(path);
    std::ifstream in(std::filesystem::u8path(path), std::ios::binary);
    if (!in) fail(path, "cannot open for reading");

    std::uint8_t preamble[12] = {};
    in.read(reinterpret_cast<char*>(preamble), 10);
    if (in.gcount() < 10 || std::memcmp(preamble, kMagic, kMagicSize) != 0) {
        fail(path, "not a .npy file: expected the magic bytes \\x93NUMPY at the start, found something else");
    }
    const int major = preamble[6];
    if (major < 1 || major > 3) {
        fail(path, "unsupported .npy format version: expected 1, 2 or 3, found " + std::to_string(major));
    }
    std::uint64_t headerLength = 0;
    std::uint64_t dataOffset = 0;
    if (major == 1) {
        headerLength = static_cast<std::uint64_t>(preamble[8]) | (static_cast<std::uint64_t>(preamble[9]) << 8);
        dataOffset = 10 + headerLength;
    } else {
        in.read(reinterpret_cast<char*>(preamble + 10), 2);
        if (in.gcount() < 2) fail(path, "truncated .npy preamble: expected 12 bytes, found " + std::to_string(size));
        headerLength = detail::loadU32(preamble + 8);
        dataOffset = 12 + headerLength;
    }
    if (dataOffset > size) {
        fail(path, "truncated .npy header: expected " + std::to_string(dataOffset) + " bytes of header, found " +
                       std::to_string(size) + " bytes in the file");
    }
    std::string header(static_cast<std::size_t>(headerLength), '\0');
    in.read(header.data(), static_cast<std::streamsize>(headerLength));

    NpyArray array;
    std::string descr;
    HeaderParser(path, header).parse(descr, array.fortranOrder, array.shape);
    bool swapBytes = false;
    array.type = typeFromDescr(path, descr, swapBytes);

    const std::size_t item = itemSize(array.type);
    const std::uint64_t available = size - dataOffset;
    std::uint64_t expected = item;
    for (std::size_t d : array.shape) {
        if (d != 0 && expected > std::numeric_limits<std::uint64_t>::max() / d) {
            fail(path, "malformed .npy header: expected a shape that fits in memory, found " + shapeString(array.shape));
        }
        expected *= d;
    }
    if (expected / item > maxElements) {
        fail(path, "array too large: shape " + shapeString(array.shape) + " has more than " +
                       std::to_string(maxElements) + " elements");
    }
    if (expected != available) {
        fail(path, std::string(expected > available ? "truncated" : "oversized") + " .npy file: expected " +
                       std::to_string(expected) + " data bytes for shape " + shapeString(array.shape) + " of '" +
                       descr + "', found " + std::to_string(available));
    }
    if (!detail::appendBytes(in, array.data, expected)) fail(path, "read error in the .npy data");
    if (swapBytes && item > 1) {
        for (std::size_t i = 0; i < array.data.size(); i += item) {
            std::reverse(array.data.begin() + static_cast<std::ptrdiff_t>(i),
                         array.data.begin() + static_cast<std::ptrdiff_t>(i + item));
        }
    }
    return array;
}

void writeNpy(const std::string& path, const std::int16_t* data, int rows, int cols) {
    checkDims(path, {rows, cols});
    const std::size_t n = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
    const std::vector<std::uint8_t> header = makeHeader(NpyType::Int16, {std::size_t(rows), std::size_t(cols)});
    const std::vector<std::uint8_t> body = littleEndianBytes(data, n);
    writeFileAtomically(path, {{header.data(), header.size()}, {body.data(), body.size()}});
}

void writeNpy(const std::string& path, const float* data, int rows, int cols) {
    checkDims(path, {rows, cols});
    const std::size_t n = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
    const std::vector<std::uint8_t> header = makeHeader(NpyType::Float32, {std::size_t(rows), std::size_t(cols)});
    const std::vector<std::uint8_t> body = littleEndianBytes(data, n);
    writeFileAtomically(path, {{header.data(), header.size()}, {body.data(), body.size()}});
}

void writeNpy(const std::string& path, const std::uint8_t* data, int dim0, int dim1, int dim2) {
    checkDims(path, {dim0, dim1, dim2});
    const std::size_t n = static_cast<std::size_t>(dim0) * static_cast<std::size_t>(dim1) * static_cast<std::size_t>(dim2);
    const std::vector<std::uint8_t> header =
        makeHeader(NpyType::UInt8, {std::size_t(dim0), std::size_t(dim1), std::size_t(dim2)});
    writeFileAtomically(path, {{header.data(), header.size()}, {data, n}});
}

void writeNpy(const std::string& path, const Volume& volume) {
    const std::size_t n = static_cast<std::size_t>(volume.numBScans) * static_cast<std::size_t>(volume.numAScans) *
                          static_cast<std::size_t>(volume.depth);
    if (volume.samples.size() != n) {
        throw FileWriteError(path + ": cannot write: the volume holds " + std::to_string(volume.samples.size()) +
                             " samples, its shape needs " + std::to_string(n));
    }
    writeNpy(path, volume.samples.data(), volume.numBScans, volume.numAScans, volume.depth);
}

}  // namespace io
}  // namespace velin
