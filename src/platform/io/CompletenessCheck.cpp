// SPDX-License-Identifier: MIT
#include "platform/io/CompletenessCheck.h"

#include "platform/CException.h"
#include "platform/io/BinaryFile.h"
#include "platform/io/ByteOrder.h"

#include <cstdlib>
#include <vector>

namespace KYVO {
namespace io {

namespace {
[[noreturn]] void truncated(const char* format) {
    KYVO_THROW(std::string("the ") + format + " data end early (truncated)");
}
} // namespace

void CompletenessCheck::jpeg(const std::string& path) {
    // Neither marker can occur inside entropy-coded data, so scanning back from the end
    // meets the end of image first exactly when the last scan is complete.
    BinaryFile f(path, BinaryFile::Read);
    std::vector<std::uint8_t> chunk(1 << 16);
    std::uint64_t end = f.size();
    int after = -1; // the byte that follows the current chunk
    while (end > 0) {
        const std::uint64_t start = end > chunk.size() ? end - chunk.size() : 0;
        const std::size_t n = std::size_t(end - start);
        f.seek(start);
        f.read(chunk.data(), n);
        for (std::size_t i = n; i-- > 0;) {
            const int next = i + 1 < n ? chunk[i + 1] : after;
            if (chunk[i] == 0xff && next == 0xd9)
                return;
            if (chunk[i] == 0xff && next == 0xda)
                truncated("JPEG");
        }
        after = chunk[0];
        end = start;
    }
    truncated("JPEG");
}

void CompletenessCheck::bmp(const std::string& path) {
    BinaryFile f(path, BinaryFile::Read);
    std::uint8_t h[34] = {};
    const std::size_t n = f.readSome(h, sizeof h);
    const std::uint64_t offset = getLE(h + 10, 4);
    const bool core = getLE(h + 14, 4) == 12; // the old OS/2 header with 16-bit fields
    if (n < (core ? 26u : 34u))
        truncated("BMP");
    const std::int64_t width = core ? std::int64_t(getLE(h + 18, 2)) : std::int32_t(getLE(h + 18, 4));
    const std::int64_t height = core ? std::int64_t(getLE(h + 20, 2)) : std::int32_t(getLE(h + 22, 4));
    const std::uint64_t bits = getLE(h + (core ? 24 : 28), 2);
    const std::uint64_t compression = core ? 0 : getLE(h + 30, 4);
    // Run-length coded bitmaps have no fixed size; Qt's reader checks those itself.
    if (compression != 0 && compression != 3 && compression != 6)
        return;
    const std::uint64_t stride = (std::uint64_t(std::llabs(width)) * bits + 31) / 32 * 4;
    if (f.size() < offset + stride * std::uint64_t(std::llabs(height)))
        truncated("BMP");
}

void CompletenessCheck::gif(const std::string& path) {
    BinaryFile f(path, BinaryFile::Read);
    auto skip = [&](std::uint64_t n) {
        if (n > f.remaining())
            truncated("GIF");
        f.seek(f.tell() + n);
    };
    auto skipSubBlocks = [&] {
        for (int n = f.get(); n != 0; n = f.get()) {
            if (n < 0)
                truncated("GIF");
            skip(std::uint64_t(n));
        }
    };
    std::uint8_t head[13];
    if (f.readSome(head, sizeof head) < sizeof head)
        truncated("GIF");
    if (head[10] & 0x80)
        skip(3u << ((head[10] & 7) + 1));
    for (;;) {
        const int block = f.get();
        if (block == 0x3b)
            return;
        if (block == 0x21) {
            f.get();
            skipSubBlocks();
        } else if (block == 0x2c) {
            std::uint8_t descriptor[9];
            if (f.readSome(descriptor, 9) < 9)
                truncated("GIF");
            if (descriptor[8] & 0x80)
                skip(3u << ((descriptor[8] & 7) + 1));
            f.get(); // LZW code size
            skipSubBlocks();
        } else if (block < 0) {
            truncated("GIF");
        } else {
            KYVO_THROW("the GIF block structure is corrupt");
        }
    }
}

void CompletenessCheck::ico(const std::string& path) {
    BinaryFile f(path, BinaryFile::Read);
    std::uint8_t head[6];
    if (f.readSome(head, sizeof head) < sizeof head)
        truncated("icon");
    const std::uint64_t count = getLE(head + 4, 2);
    for (std::uint64_t i = 0; i < count; ++i) {
        std::uint8_t entry[16];
        if (f.readSome(entry, sizeof entry) < sizeof entry)
            truncated("icon");
        if (getLE(entry + 12, 4) + getLE(entry + 8, 4) > f.size())
            truncated("icon");
    }
}

} // namespace io
} // namespace KYVO
