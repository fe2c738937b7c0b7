// SPDX-License-Identifier: MIT
#include "platform/io/NetpbmReader.h"

#include "platform/CException.h"
#include "platform/MemoryBudget.h"
#include "platform/io/BinaryFile.h"
#include "platform/io/ByteOrder.h"

#include <cstring>
#include <locale>
#include <sstream>
#include <vector>

namespace KYVO {
namespace io {

namespace {

constexpr std::uint64_t kMaxExtent = 0x7fffffff;
constexpr std::size_t kMaxHeaderLine = 4096;

/// What one image header of the file promises.
struct Header {
    char magic = 0;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    std::uint64_t depth = 1; // samples per pixel in the file
    std::uint64_t maxval = 1;
    bool plain = false;
    bool blackAndWhite = false;
    bool littleEndian = false; // PFM only
    EnImageType type = IMAGE_GREY_8;
    int sampleBytes = 1;
    std::uint64_t dataOffset = 0;
    std::uint64_t rowBytes = 0; // raw formats: bytes of one stored row
    std::uint64_t payload = 0;  // raw formats: bytes of the whole raster
};

bool isSpace(int c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

[[noreturn]] void corrupt(const std::string& what) {
    KYVO_THROW("the Netpbm file is corrupt (" + what + ")");
}

void skipSpaceAndComments(BinaryFile& f) {
    for (;;) {
        const int c = f.peek();
        if (isSpace(c)) {
            f.get();
        } else if (c == '#') {
            int d;
            do
                d = f.get();
            while (d >= 0 && d != '\n' && d != '\r');
        } else {
            return;
        }
    }
}

std::uint64_t parseDigits(BinaryFile& f, std::uint64_t max, const char* what) {
    int c = f.peek();
    if (c < 0)
        KYVO_THROW("the file ends early (truncated)");
    if (c < '0' || c > '9')
        corrupt(std::string("expected ") + what);
    std::uint64_t v = 0;
    while (c >= '0' && c <= '9') {
        f.get();
        v = v * 10 + std::uint64_t(c - '0');
        if (v > max)
            corrupt(std::string(what) + " out of range");
        c = f.peek();
    }
    return v;
}

std::uint64_t readNumber(BinaryFile& f, std::uint64_t max, const char* what) {
    skipSpaceAndComments(f);
    return parseDigits(f, max, what);
}

void expectSingleSpace(BinaryFile& f) {
    const int c = f.get();
    if (c < 0)
        KYVO_THROW("the file ends early (truncated)");
    if (!isSpace(c))
        corrupt("no white space before the raster");
}

std::string readToken(BinaryFile& f) {
    skipSpaceAndComments(f);
    std::string token;
    for (int c = f.peek(); c >= 0 && !isSpace(c) && token.size() < 64; c = f.peek())
        token += char(f.get());
    return token;
}

std::string readLine(BinaryFile& f) {
    std::string line;
    for (;;) {
        const int c = f.get();
        if (c < 0)
            KYVO_THROW("the file ends early (truncated)");
        if (c == '\n')
            return line;
        if (line.size() >= kMaxHeaderLine)
            corrupt("header line too long");
        line += char(c);
    }
}

void parsePamHeader(BinaryFile& f, Header& h) {
    std::string tupleType;
    std::string seen; // the keywords met so far
    expectSingleSpace(f);
    for (;;) {
        std::istringstream line(readLine(f));
        line.imbue(std::locale::classic());
        std::string key;
        line >> key;
        if (key.empty() || key[0] == '#')
            continue;
        if (key == "ENDHDR")
            break;
        if (key == "TUPLTYPE") {
            std::string rest;
            std::getline(line >> std::ws, rest);
            tupleType += (tupleType.empty() ? "" : " ") + rest;
            continue;
        }
        std::uint64_t value = 0;
        if (!(line >> value))
            corrupt("bad value for " + key);
        std::uint64_t* field = key == "WIDTH"    ? &h.width
                               : key == "HEIGHT" ? &h.height
                               : key == "DEPTH"  ? &h.depth
                               : key == "MAXVAL" ? &h.maxval
                                                 : nullptr;
        if (!field)
            corrupt("unknown keyword " + key);
        *field = value;
        seen += key + " ";
    }
    const bool complete = seen.find("WIDTH") != std::string::npos &&
                          seen.find("HEIGHT") != std::string::npos &&
                          seen.find("DEPTH") != std::string::npos && seen.find("MAXVAL") != std::string::npos;
    if (!complete)
        corrupt("WIDTH, HEIGHT, DEPTH or MAXVAL missing");
    if (h.depth < 1 || h.depth > 4)
        KYVO_THROW("PAM images with " + std::to_string(h.depth) + " samples per pixel are not supported");
    if (h.maxval < 1 || h.maxval > 65535)
        corrupt("MAXVAL out of range");

    // The tuple type names the meaning; without a known one the depth decides.
    int colours;
    if (tupleType.rfind("BLACKANDWHITE", 0) == 0) {
        colours = 1;
        h.blackAndWhite = true;
    } else if (tupleType.rfind("GRAYSCALE", 0) == 0) {
        colours = 1;
    } else if (tupleType.rfind("RGB", 0) == 0) {
        colours = 3;
    } else {
        colours = h.depth >= 3 ? 3 : 1;
    }
    if (h.depth < std::uint64_t(colours) || h.depth > std::uint64_t(colours) + 1)
        corrupt("DEPTH does not fit TUPLTYPE " + tupleType);
    if (h.blackAndWhite && h.maxval != 1)
        corrupt("BLACKANDWHITE needs MAXVAL 1");
    h.type = colours == 3      ? IMAGE_RGB_8I
             : h.blackAndWhite ? IMAGE_BOOL
             : h.maxval > 255  ? IMAGE_GREY_16
                               : IMAGE_GREY_8;
}

void parsePfmHeader(BinaryFile& f, Header& h) {
    if (h.magic == 'F')
        KYVO_THROW("colour PFM images are not supported (only greyscale \"Pf\")");
    h.width = readNumber(f, kMaxExtent, "width");
    h.height = readNumber(f, kMaxExtent, "height");
    std::istringstream scaleText(readToken(f));
    scaleText.imbue(std::locale::classic());
    double scale = 0;
    if (!(scaleText >> scale) || !scaleText.eof())
        corrupt("bad scale");
    expectSingleSpace(f);
    h.littleEndian = scale < 0;
    h.type = IMAGE_GREY_F;
    h.sampleBytes = 4;
}

Header parseHeader(BinaryFile& f) {
    Header h;
    const int p = f.get();
    const int m = f.get();
    if (p != 'P' || m <= 0 || !std::strchr("1234567Ff", m))
        KYVO_THROW("not a Netpbm image (unknown magic number)");
    h.magic = char(m);
    if (m == '7') {
        parsePamHeader(f, h);
    } else if (m == 'F' || m == 'f') {
        parsePfmHeader(f, h);
    } else {
        h.plain = m <= '3';
        h.width = readNumber(f, kMaxExtent, "width");
        h.height = readNumber(f, kMaxExtent, "height");
        const bool bits = m == '1' || m == '4';
        h.maxval = bits ? 1 : readNumber(f, 65535, "maxval");
        if (h.maxval == 0)
            corrupt("maxval 0");
        h.depth = (m == '3' || m == '6') ? 3 : 1;
        h.type = bits             ? IMAGE_BOOL
                 : h.depth == 3   ? IMAGE_RGB_8I
                 : h.maxval > 255 ? IMAGE_GREY_16
                                  : IMAGE_GREY_8;
        if (!h.plain)
            expectSingleSpace(f);
    }
    if (h.width == 0 || h.height == 0 || h.width > kMaxExtent || h.height > kMaxExtent)
        corrupt("bad image size");
    if (h.type != IMAGE_GREY_F)
        h.sampleBytes = h.maxval > 255 ? 2 : 1;
    h.dataOffset = f.tell();
    if (!h.plain) {
        // Both extents are below 2^31, so these products cannot overflow.
        h.rowBytes = h.magic == '4' ? (h.width + 7) / 8 : h.width * h.depth * std::uint64_t(h.sampleBytes);
        h.payload = h.rowBytes * h.height;
    }
    return h;
}

/// The stored sample values of one image as voxel bytes of the image's type.
class SampleSink {
public:
    SampleSink(const Header& h, std::uint8_t* out) : m_h(h), m_out(out) {}
    /// Stores sample `c` (< depth) of the next pixel; channels beyond the colour ones are dropped.
    void put(std::uint64_t c, std::uint32_t v) {
        const int colours = ImageTypeChannels(m_h.type);
        if (c < std::uint64_t(colours)) {
            switch (m_h.type) {
            case IMAGE_GREY_16: {
                const std::uint16_t s = std::uint16_t(v);
                std::memcpy(m_out, &s, 2);
                m_out += 2;
                break;
            }
            case IMAGE_BOOL:
                *m_out++ = v != 0;
                break;
            case IMAGE_RGB_8I:
                *m_out++ = std::uint8_t(
                    m_h.maxval > 255 ? (v * 255u + std::uint32_t(m_h.maxval / 2)) / m_h.maxval : v);
                break;
            default:
                *m_out++ = std::uint8_t(v);
                break;
            }
        }
    }

private:
    const Header& m_h;
    std::uint8_t* m_out;
};

std::vector<std::uint8_t> readPlainRaster(BinaryFile& f, const Header& h) {
    const std::uint64_t samples = h.width * h.height * h.depth;
    // Every plain sample takes at least one character: this bounds the allocation by the file.
    if (samples > f.remaining())
        KYVO_THROW("the file ends early (truncated)");
    std::vector<std::uint8_t> out(std::size_t(h.width * h.height) *
                                  std::size_t(ImageTypeBytesPerVoxel(h.type)));
    SampleSink sink(h, out.data());
    for (std::uint64_t i = 0; i < samples; ++i) {
        std::uint32_t v;
        if (h.magic == '1') {
            skipSpaceAndComments(f);
            const int c = f.get();
            if (c < 0)
                KYVO_THROW("the file ends early (truncated)");
            if (c != '0' && c != '1')
                KYVO_THROW("the PBM raster is corrupt");
            v = std::uint32_t(c - '0');
        } else {
            v = std::uint32_t(readNumber(f, h.maxval, "sample"));
        }
        sink.put(i % h.depth, v);
    }
    return out;
}

/// True when the stored rows are exactly the voxel bytes (up to byte order).
bool storedAsVoxels(const Header& h) {
    if (h.magic == '4' || h.blackAndWhite)
        return false;
    if (h.type == IMAGE_RGB_8I)
        return h.sampleBytes == 1 && h.depth == 3;
    return h.depth == 1;
}

void readRawRaster(BinaryFile& f, const Header& h, std::uint8_t* dst) {
    f.seek(h.dataOffset);
    const std::size_t outRow = std::size_t(h.width) * std::size_t(ImageTypeBytesPerVoxel(h.type));
    if (h.type == IMAGE_GREY_F) {
        // PFM stores the bottom row first.
        for (std::uint64_t y = 0; y < h.height; ++y)
            f.read(dst + (h.height - 1 - y) * outRow, outRow);
        if (h.littleEndian != hostIsLittleEndian())
            swapBytes(dst, std::size_t(h.width * h.height), 4);
        return;
    }
    if (storedAsVoxels(h)) {
        f.read(dst, std::size_t(h.payload));
        if (h.sampleBytes == 2 && hostIsLittleEndian())
            swapBytes(dst, std::size_t(h.payload / 2), 2);
        return;
    }
    // One stored row, which the check against the file's size has bounded.
    const MemoryClaim claim(h.rowBytes, "Reading Netpbm rows of " + std::to_string(h.width) + " pixels");
    std::vector<std::uint8_t> row(std::size_t(h.rowBytes));
    for (std::uint64_t y = 0; y < h.height; ++y) {
        f.read(row.data(), row.size());
        std::uint8_t* out = dst + y * outRow;
        if (h.magic == '4') {
            for (std::uint64_t x = 0; x < h.width; ++x)
                out[x] = (row[x >> 3] >> (7 - (x & 7))) & 1;
            continue;
        }
        SampleSink sink(h, out);
        const std::uint8_t* in = row.data();
        for (std::uint64_t x = 0; x < h.width; ++x) {
            for (std::uint64_t c = 0; c < h.depth; ++c, in += h.sampleBytes)
                sink.put(c, h.sampleBytes == 2 ? std::uint32_t(in[0] << 8 | in[1]) : in[0]);
        }
    }
}

/// Moves to the start of a following image; false when only white space or stray bytes remain.
bool nextImageFollows(BinaryFile& f, std::uint64_t end) {
    f.seek(end);
    int c;
    do
        c = f.get();
    while (isSpace(c));
    if (c != 'P')
        return false;
    const int m = f.peek();
    if (m <= 0 || !std::strchr("1234567Ff", m))
        return false;
    f.seek(f.tell() - 1);
    return true;
}

struct Layer {
    Header header;
    std::vector<std::uint8_t> plainVoxels;
};

/// The headers of every image of the file, one after another; plain rasters are read (kept
/// only with `keepPlain`), raw ones skipped.
std::vector<Layer> scanLayers(BinaryFile& f, MemoryClaim& held, bool keepPlain) {
    std::vector<Layer> layers;
    for (;;) {
        Layer layer{parseHeader(f), {}};
        const Header& h = layer.header;
        if (!layers.empty()) {
            const Header& first = layers.front().header;
            if (h.type != first.type || h.width != first.width || h.height != first.height)
                KYVO_THROW("image " + std::to_string(layers.size() + 1) +
                           " of the file differs in size or type from the first");
        }
        std::uint64_t end;
        if (h.plain) {
            held.add(h.width * h.height * std::uint64_t(ImageTypeBytesPerVoxel(h.type)),
                     "Reading a plain Netpbm image of " + std::to_string(h.width) + "x" +
                         std::to_string(h.height) + " pixels");
            layer.plainVoxels = readPlainRaster(f, h);
            end = f.tell();
            if (!keepPlain)
                layer.plainVoxels = {};
        } else {
            if (h.payload > f.size() - h.dataOffset)
                KYVO_THROW("the file ends early (truncated)");
            end = h.dataOffset + h.payload;
        }
        layers.push_back(std::move(layer));
        if (!nextImageFollows(f, end))
            break;
    }
    return layers;
}

} // namespace

CSize NetpbmReader::readSize(const std::string& path) {
    BinaryFile f(path, BinaryFile::Read);
    MemoryClaim held;
    const std::vector<Layer> layers = scanLayers(f, held, false);
    const Header& first = layers.front().header;
    return CSize(first.width, first.height, layers.size());
}

std::unique_ptr<CImage> NetpbmReader::read(const std::string& path) {
    BinaryFile f(path, BinaryFile::Read);
    // Plain layers are kept until the volume is made, and then held beside it.
    MemoryClaim held;
    const std::vector<Layer> layers = scanLayers(f, held, true);

    const Header& first = layers.front().header;
    auto image = std::make_unique<CImage>(first.type, CSize(first.width, first.height, layers.size()),
                                          CImage::Uninitialised);
    held.add(image->byteCount(), "A Netpbm volume");
    for (std::size_t z = 0; z < layers.size(); ++z) {
        if (layers[z].header.plain)
            std::memcpy(image->layer(z), layers[z].plainVoxels.data(), image->layerBytes());
        else
            readRawRaster(f, layers[z].header, image->layer(z));
    }
    return image;
}

} // namespace io
} // namespace KYVO
