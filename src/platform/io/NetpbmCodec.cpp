// SPDX-License-Identifier: MIT
#include "platform/io/NetpbmCodec.h"

#include "platform/CException.h"
#include "platform/io/BinaryFile.h"
#include "platform/io/ByteOrder.h"
#include "platform/io/NetpbmReader.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace KYVO {
namespace io {

namespace {

struct FormatInfo {
    const char* name;
    const char* ending;
};

const FormatInfo kFormats[] = {{"PBM images", ".pbm"},
                               {"PGM images", ".pgm"},
                               {"PPM images", ".ppm"},
                               {"PAM images", ".pam"},
                               {"PFM images", ".pfm"}};

bool accepts(NetpbmCodec::Format format, EnImageType type) {
    switch (format) {
    case NetpbmCodec::Pbm:
        return type == IMAGE_BOOL || type == IMAGE_GREY_8;
    case NetpbmCodec::Pgm:
        return type == IMAGE_GREY_8 || type == IMAGE_GREY_16 || type == IMAGE_BOOL;
    case NetpbmCodec::Ppm:
        return type == IMAGE_RGB_8I || type == IMAGE_GREY_8;
    case NetpbmCodec::Pam:
        return type != IMAGE_GREY_F;
    case NetpbmCodec::Pfm:
        return type == IMAGE_GREY_F;
    }
    return false;
}

std::string header(NetpbmCodec::Format format, const CImage& image) {
    const std::string size = std::to_string(image.size().x) + " " + std::to_string(image.size().y) + "\n";
    const EnImageType type = image.type();
    switch (format) {
    case NetpbmCodec::Pbm:
        return "P4\n" + size;
    case NetpbmCodec::Pgm:
        return "P5\n" + size + (type == IMAGE_GREY_16 ? "65535\n" : type == IMAGE_BOOL ? "1\n" : "255\n");
    case NetpbmCodec::Ppm:
        return "P6\n" + size + "255\n";
    case NetpbmCodec::Pam: {
        const char* tuple = type == IMAGE_RGB_8I ? "RGB" : type == IMAGE_BOOL ? "BLACKANDWHITE" : "GRAYSCALE";
        const char* maxval = type == IMAGE_GREY_16 ? "65535" : type == IMAGE_BOOL ? "1" : "255";
        return "P7\nWIDTH " + std::to_string(image.size().x) + "\nHEIGHT " + std::to_string(image.size().y) +
               "\nDEPTH " + std::to_string(image.channels()) + "\nMAXVAL " + maxval + "\nTUPLTYPE " + tuple +
               "\nENDHDR\n";
    }
    case NetpbmCodec::Pfm:
        // A negative scale marks little-endian samples.
        return "Pf\n" + size + (hostIsLittleEndian() ? "-1.0\n" : "1.0\n");
    }
    return {};
}

/// Writes one z-layer's raster in the stored form of `format`.
void writeLayer(BinaryFile& f, NetpbmCodec::Format format, const CImage& image, std::size_t z) {
    const std::size_t w = image.size().x, h = image.size().y;
    const std::uint8_t* layer = image.layer(z);
    const std::size_t rowBytes = w * std::size_t(image.bytesPerVoxel());
    std::vector<std::uint8_t> row;
    if (format == NetpbmCodec::Pbm) {
        row.resize((w + 7) / 8);
        for (std::size_t y = 0; y < h; ++y) {
            std::fill(row.begin(), row.end(), 0);
            const std::uint8_t* in = layer + y * w;
            for (std::size_t x = 0; x < w; ++x)
                if (in[x])
                    row[x >> 3] |= std::uint8_t(0x80 >> (x & 7));
            f.write(row.data(), row.size());
        }
    } else if (format == NetpbmCodec::Pfm) {
        for (std::size_t y = h; y-- > 0;)
            f.write(layer + y * rowBytes, rowBytes);
    } else if (image.type() == IMAGE_GREY_16 && hostIsLittleEndian()) {
        // Netpbm samples are big-endian.
        row.resize(rowBytes);
        for (std::size_t y = 0; y < h; ++y) {
            std::memcpy(row.data(), layer + y * rowBytes, rowBytes);
            swapBytes(row.data(), w, 2);
            f.write(row.data(), rowBytes);
        }
    } else if (format == NetpbmCodec::Ppm && image.type() == IMAGE_GREY_8) {
        row.resize(3 * w);
        for (std::size_t y = 0; y < h; ++y) {
            for (std::size_t x = 0; x < w; ++x)
                row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = layer[y * w + x];
            f.write(row.data(), row.size());
        }
    } else {
        f.write(layer, image.layerBytes());
    }
}

} // namespace

std::string NetpbmCodec::name() const {
    return kFormats[m_format].name;
}

std::vector<std::string> NetpbmCodec::endings() const {
    return {kFormats[m_format].ending};
}

std::unique_ptr<CImage> NetpbmCodec::read(const std::string& path, const Options&) const {
    return NetpbmReader::read(path);
}

CSize NetpbmCodec::readSize(const std::string& path) const {
    return NetpbmReader::readSize(path);
}

void NetpbmCodec::checkWritable(const CImage& image) const {
    if (!accepts(m_format, image.type()))
        KYVO_THROW(std::string(kFormats[m_format].ending + 1) + " files cannot hold " +
                   ImageTypeName(image.type()) + " images");
}

void NetpbmCodec::write(const std::string& path, const CImage& image, const Options&) const {
    checkWritable(image);
    BinaryFile f(path, BinaryFile::Write);
    const std::string head = header(m_format, image);
    for (std::size_t z = 0; z < image.size().z; ++z) {
        f.write(head);
        writeLayer(f, m_format, image, z);
    }
    f.close();
}

} // namespace io
} // namespace KYVO
