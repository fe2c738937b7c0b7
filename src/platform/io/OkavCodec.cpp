// SPDX-License-Identifier: MIT
#include "platform/io/OkavCodec.h"

#include "platform/CException.h"
#include "platform/GzStream.h"
#include "platform/MemoryBudget.h"
#include "platform/io/BinaryFile.h"
#include "platform/io/ByteOrder.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace KYVO {
namespace io {

namespace {

constexpr std::size_t kBaseHeader = 64;
constexpr std::uint32_t kMaxHeader = 1 << 20;
constexpr std::uint16_t kMajorVersion = 1;
// deflate cannot expand data by more than about 1032:1; anything beyond is a lie.
constexpr std::uint64_t kMaxInflateRatio = 1032;

// File codes of the pixel types; fixed by the format, independent of the enumeration.
const EnImageType kTypeCodes[] = {IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_F, IMAGE_BOOL, IMAGE_RGB_8I};

struct Header {
    EnImageType type = IMAGE_GREY_8;
    CSize size;
    std::uint32_t headerBytes = kBaseHeader;
    std::uint64_t voxelBytes = 0;
};

[[noreturn]] void corrupt(const std::string& why) {
    KYVO_THROW("the OKAV header is corrupt (" + why + ")");
}

void encodeHeader(const CImage& image, std::uint8_t* out) {
    std::memset(out, 0, kBaseHeader);
    std::memcpy(out, "OKAV", 4);
    putLE(out + 4, kMajorVersion, 2);
    putLE(out + 6, 0, 2);
    putLE(out + 8, kBaseHeader, 4);
    const std::uint32_t code = std::uint32_t(
        std::find(std::begin(kTypeCodes), std::end(kTypeCodes), image.type()) - std::begin(kTypeCodes));
    putLE(out + 12, code, 4);
    putLE(out + 16, std::uint32_t(image.channels()), 4);
    putLE(out + 20, std::uint32_t(ImageTypeBytesPerChannel(image.type())), 4);
    putLE(out + 24, image.size().x, 8);
    putLE(out + 32, image.size().y, 8);
    putLE(out + 40, image.size().z, 8);
    putLE(out + 48, image.byteCount(), 8);
}

Header decodeHeader(const std::uint8_t* in) {
    if (std::memcmp(in, "OKAV", 4) != 0)
        KYVO_THROW("not an OKAV volume (bad magic)");
    Header h;
    const auto major = std::uint16_t(getLE(in + 4, 2));
    if (major != kMajorVersion)
        KYVO_THROW("OKAV version " + std::to_string(major) + " is not supported");
    h.headerBytes = std::uint32_t(getLE(in + 8, 4));
    if (h.headerBytes < kBaseHeader || h.headerBytes > kMaxHeader)
        corrupt("header size");
    const std::uint64_t code = getLE(in + 12, 4);
    if (code >= std::size(kTypeCodes))
        corrupt("unknown pixel type " + std::to_string(code));
    h.type = kTypeCodes[code];
    if (getLE(in + 16, 4) != std::uint64_t(ImageTypeChannels(h.type)) ||
        getLE(in + 20, 4) != std::uint64_t(ImageTypeBytesPerChannel(h.type)))
        corrupt("channels do not match the pixel type");
    h.size = CSize(getLE(in + 24, 8), getLE(in + 32, 8), getLE(in + 40, 8));
    h.voxelBytes = getLE(in + 48, 8);
    std::uint64_t bytes = 0;
    if (!mulOverflow(h.size.x, h.size.y, &bytes) || !mulOverflow(bytes, h.size.z, &bytes) ||
        !mulOverflow(bytes, std::uint64_t(ImageTypeBytesPerVoxel(h.type)), &bytes) || bytes != h.voxelBytes)
        corrupt("sizes do not match the voxel byte count");
    return h;
}

/// Brings freshly read voxels into the machine's form.
void fixVoxels(CImage& image) {
    const int width = ImageTypeBytesPerChannel(image.type());
    if (width > 1 && !hostIsLittleEndian())
        swapBytes(image.data(), image.byteCount() / std::size_t(width), width);
    if (image.type() == IMAGE_BOOL) {
        // Keep boolean voxels strictly 0 or 1 whatever the file held.
        std::uint8_t* p = image.data();
        for (std::size_t i = 0, n = image.byteCount(); i < n; ++i)
            p[i] = p[i] != 0;
    }
}

/// Hands the voxels to `sink` little-endian, in slices on big-endian machines.
template <class Sink> void emitVoxels(const CImage& image, Sink sink) {
    const int width = ImageTypeBytesPerChannel(image.type());
    if (width == 1 || hostIsLittleEndian()) {
        sink(image.data(), image.byteCount());
        return;
    }
    std::vector<std::uint8_t> slice(std::size_t(1) << 20);
    for (std::size_t done = 0; done < image.byteCount(); done += slice.size()) {
        const std::size_t n = std::min(slice.size(), image.byteCount() - done);
        std::memcpy(slice.data(), image.data() + done, n);
        swapBytes(slice.data(), n / std::size_t(width), width);
        sink(slice.data(), n);
    }
}

bool looksGzipped(BinaryFile& f) {
    std::uint8_t magic[2] = {0, 0};
    return f.readSome(magic, 2) == 2 && magic[0] == 0x1f && magic[1] == 0x8b;
}

void checkStoredSize(const Header& h, std::uint64_t fileSize) {
    const std::uint64_t expected = h.headerBytes + h.voxelBytes; // both bounded, no overflow
    if (fileSize < expected)
        KYVO_THROW("the file ends early (truncated)");
    if (fileSize > expected)
        KYVO_THROW("unexpected data after the voxels");
}

std::unique_ptr<CImage> readPlain(const std::string& path) {
    BinaryFile f(path, BinaryFile::Read);
    std::uint8_t head[kBaseHeader];
    f.read(head, kBaseHeader);
    const Header h = decodeHeader(head);
    checkStoredSize(h, f.size());
    f.seek(h.headerBytes);
    auto image = std::make_unique<CImage>(h.type, h.size, CImage::Uninitialised);
    f.read(image->data(), image->byteCount());
    fixVoxels(*image);
    return image;
}

[[noreturn]] void failGzRead(gzifstream& in) {
    if (in.corrupt())
        KYVO_THROW("the compressed data are corrupt or truncated");
    KYVO_THROW("the file ends early (truncated)");
}

std::unique_ptr<CImage> readCompressed(const std::string& path) {
    std::uint64_t compressedSize;
    bool gzipped;
    {
        BinaryFile probe(path, BinaryFile::Read);
        compressedSize = probe.size();
        gzipped = looksGzipped(probe);
    }
    gzifstream in(path.c_str());
    if (!in.is_open())
        KYVO_THROW("cannot open the file");
    std::uint8_t head[kBaseHeader];
    if (!in.read(reinterpret_cast<char*>(head), kBaseHeader))
        failGzRead(in);
    const Header h = decodeHeader(head);
    // Validate what the header promises before allocating for it.
    if (!gzipped)
        checkStoredSize(h, compressedSize);
    else if (h.voxelBytes / kMaxInflateRatio > compressedSize)
        KYVO_THROW("the header promises more voxels than the compressed file can hold");
    if (h.headerBytes > kBaseHeader && !in.ignore(h.headerBytes - kBaseHeader))
        failGzRead(in);
    auto image = std::make_unique<CImage>(h.type, h.size, CImage::Uninitialised);
    // The volume is inflated into directly; beside it only the stream's buffers are held.
    const MemoryClaim buffers(image->byteCount() + gzstreambuf::ReadMemory, "Inflating an OKAV volume");
    if (!in.read(reinterpret_cast<char*>(image->data()), std::streamsize(image->byteCount())))
        failGzRead(in);
    // Reading on to the end makes zlib check the trailer's checksum and length.
    const bool extra = in.get() != std::char_traits<char>::eof();
    if (in.corrupt())
        KYVO_THROW("the compressed data are corrupt (checksum mismatch)");
    if (extra)
        KYVO_THROW("unexpected data after the voxels");
    fixVoxels(*image);
    return image;
}

} // namespace

std::string OkavCodec::name() const {
    return m_compressed ? "Compressed OKAV volumes" : "OKAV volumes";
}

std::vector<std::string> OkavCodec::endings() const {
    return {m_compressed ? ".okav.gz" : ".okav"};
}

std::unique_ptr<CImage> OkavCodec::read(const std::string& path, const Options&) const {
    return m_compressed ? readCompressed(path) : readPlain(path);
}

void OkavCodec::checkWritable(const CImage&) const {}

void OkavCodec::write(const std::string& path, const CImage& image, const Options& options) const {
    std::uint8_t head[kBaseHeader];
    encodeHeader(image, head);
    if (!m_compressed) {
        BinaryFile f(path, BinaryFile::Write);
        f.write(head, kBaseHeader);
        emitVoxels(image, [&](const std::uint8_t* p, std::size_t n) { f.write(p, n); });
        f.close();
        return;
    }
    const int level = options.level >= 1 && options.level <= 9 ? options.level : DefaultLevel;
    gzofstream out(path.c_str(), level);
    if (!out.is_open())
        KYVO_THROW("cannot open the file for writing");
    out.write(reinterpret_cast<const char*>(head), kBaseHeader);
    emitVoxels(image, [&](const std::uint8_t* p, std::size_t n) {
        out.write(reinterpret_cast<const char*>(p), std::streamsize(n));
    });
    out.close();
    if (out.fail())
        KYVO_THROW("cannot write the compressed file");
}

} // namespace io
} // namespace KYVO
