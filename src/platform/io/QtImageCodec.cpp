// SPDX-License-Identifier: MIT
#include "platform/io/QtImageCodec.h"

#include "platform/CException.h"
#include "platform/MemoryBudget.h"
#include "platform/io/BinaryFile.h"
#include "platform/io/ByteOrder.h"
#include "platform/io/CompletenessCheck.h"

#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QVector>
#include <algorithm>
#include <climits>
#include <cstring>

namespace KYVO {
namespace io {

namespace {

constexpr int kDefaultJpegQuality = 95;
// deflate cannot expand data by more than about 1032:1.
constexpr std::uint64_t kMaxInflateRatio = 1032;
// Besides the picture, a plugin keeps a row pointer per row and a few rows of its library's
// own, at most 16-bit RGBA.
constexpr std::uint64_t kRowPointerBytes = 8, kScanlineBytesPerPixel = 8, kScanlines = 4;

QString qtPath(const std::string& path) {
    return QString::fromLocal8Bit(path.data(), int(path.size()));
}

std::string text(const QString& s) {
    return s.toLocal8Bit().toStdString();
}

void copyRows(const QImage& q, CImage& image) {
    const std::size_t rowBytes = image.size().x * std::size_t(image.bytesPerVoxel());
    for (int y = 0; y < q.height(); ++y)
        std::memcpy(image.data() + std::size_t(y) * rowBytes, q.constScanLine(y), rowBytes);
}

/// Claims the copy Qt makes when it converts `q` to `format`; none when it is in that format.
void claimConversion(MemoryClaim& claim, const QImage& q, QImage::Format format) {
    if (q.format() != format)
        claim.add(std::uint64_t(q.width()) * std::uint64_t(q.height()) *
                      std::uint64_t(QImage::toPixelFormat(format).bitsPerPixel() / 8),
                  "Converting an image of " + std::to_string(q.width()) + "x" + std::to_string(q.height()) +
                      " pixels");
}

std::unique_ptr<CImage> fromPalette(const QImage& source) {
    MemoryClaim conversion;
    claimConversion(conversion, source, QImage::Format_Indexed8);
    const QImage q =
        source.format() == QImage::Format_Indexed8 ? source : source.convertToFormat(QImage::Format_Indexed8);
    const QVector<QRgb> table = q.colorTable();
    bool grey = true;
    for (QRgb c : table)
        grey = grey && qRed(c) == qGreen(c) && qGreen(c) == qBlue(c);
    const bool bilevel = grey && table.size() == 2 && qRed(table[0]) + qRed(table[1]) == 255 &&
                         (qRed(table[0]) == 0 || qRed(table[0]) == 255);
    const EnImageType type = bilevel ? IMAGE_BOOL : grey ? IMAGE_GREY_8 : IMAGE_RGB_8I;
    std::uint8_t lut[256][3] = {};
    for (int i = 0; i < table.size() && i < 256; ++i) {
        lut[i][0] = std::uint8_t(bilevel ? qRed(table[i]) == 255 : qRed(table[i]));
        lut[i][1] = std::uint8_t(qGreen(table[i]));
        lut[i][2] = std::uint8_t(qBlue(table[i]));
    }
    const std::size_t w = std::size_t(q.width());
    auto image = std::make_unique<CImage>(type, CSize(w, std::size_t(q.height()), 1), CImage::Uninitialised);
    for (int y = 0; y < q.height(); ++y) {
        const uchar* in = q.constScanLine(y);
        std::uint8_t* out = image->data() + std::size_t(y) * w * std::size_t(image->bytesPerVoxel());
        for (std::size_t x = 0; x < w; ++x) {
            if (type == IMAGE_RGB_8I)
                std::memcpy(out + 3 * x, lut[in[x]], 3);
            else
                out[x] = lut[in[x]][0];
        }
    }
    return image;
}

std::unique_ptr<CImage> fromQImage(const QImage& q) {
    const CSize size(std::size_t(q.width()), std::size_t(q.height()), 1);
    switch (q.format()) {
    case QImage::Format_Grayscale8:
    case QImage::Format_Grayscale16: {
        auto image =
            std::make_unique<CImage>(q.format() == QImage::Format_Grayscale8 ? IMAGE_GREY_8 : IMAGE_GREY_16,
                                     size, CImage::Uninitialised);
        copyRows(q, *image);
        return image;
    }
    case QImage::Format_Mono:
    case QImage::Format_MonoLSB:
    case QImage::Format_Indexed8:
        return fromPalette(q);
    default:
        break;
    }
    // Straight (not premultiplied) colour values, so dropping alpha keeps the stored colour.
    MemoryClaim conversion;
    if (q.format() != QImage::Format_RGB32)
        claimConversion(conversion, q, QImage::Format_ARGB32);
    const QImage c = q.format() == QImage::Format_RGB32 || q.format() == QImage::Format_ARGB32
                         ? q
                         : q.convertToFormat(QImage::Format_ARGB32);
    auto image = std::make_unique<CImage>(IMAGE_RGB_8I, size, CImage::Uninitialised);
    for (int y = 0; y < c.height(); ++y) {
        const QRgb* in = reinterpret_cast<const QRgb*>(c.constScanLine(y));
        std::uint8_t* out = image->data() + std::size_t(y) * size.x * 3;
        for (std::size_t x = 0; x < size.x; ++x) {
            out[3 * x] = std::uint8_t(qRed(in[x]));
            out[3 * x + 1] = std::uint8_t(qGreen(in[x]));
            out[3 * x + 2] = std::uint8_t(qBlue(in[x]));
        }
    }
    return image;
}

/// The canvas Qt's GIF reader allocates: the logical screen, or where the screen's width or
/// height is 0, the first frame's extent from the origin, however far off it lies.
std::uint64_t gifCanvas(BinaryFile& f) {
    std::uint8_t head[13] = {};
    if (f.readSome(head, sizeof head) < sizeof head)
        return 0;
    const std::uint64_t screenWidth = getLE(head + 6, 2), screenHeight = getLE(head + 8, 2);
    const auto skip = [&f](std::uint64_t n) {
        if (n > f.remaining())
            return false;
        f.seek(f.tell() + n);
        return true;
    };
    if ((head[10] & 0x80) && !skip(3u << ((head[10] & 7) + 1)))
        return screenWidth * screenHeight;
    // Extensions may come first; the first image descriptor decides.
    for (int blocks = 0; blocks < 1024; ++blocks) {
        const int block = f.get();
        if (block == 0x21) {
            f.get(); // the extension's label
            for (int n = f.get(); n > 0; n = f.get())
                if (!skip(std::uint64_t(n)))
                    return screenWidth * screenHeight;
            continue;
        }
        std::uint8_t frame[8] = {}; // left, top, width, height
        if (block != 0x2c || f.readSome(frame, sizeof frame) < sizeof frame)
            break;
        const std::uint64_t width = screenWidth ? screenWidth : getLE(frame, 2) + getLE(frame + 4, 2);
        const std::uint64_t height = screenHeight ? screenHeight : getLE(frame + 2, 2) + getLE(frame + 6, 2);
        return width * height;
    }
    return screenWidth * screenHeight;
}

/// Pixels a plugin allocates beyond the size it reports: the canvas of a GIF, into which every
/// frame is drawn, and the bitmap or PNG inside an icon, whose own header Qt follows rather
/// than the directory's. 0 when there is nothing more.
std::uint64_t hiddenPixels(const QByteArray& format, const std::string& path) {
    BinaryFile f(path, BinaryFile::Read);
    if (format == "gif")
        return gifCanvas(f);
    if (format != "ico")
        return 0;
    std::uint8_t directory[6 + 16] = {};
    if (f.readSome(directory, sizeof directory) < sizeof directory)
        return 0;
    const std::uint64_t offset = getLE(directory + 6 + 12, 4);
    std::uint8_t head[24] = {};
    if (offset >= f.size())
        return 0;
    f.seek(offset);
    if (f.readSome(head, sizeof head) < sizeof head)
        return 0;
    if (std::memcmp(head, "\x89PNG", 4) == 0) {
        const auto bigEndian = [](const std::uint8_t* p) {
            return std::uint64_t(p[0]) << 24 | std::uint64_t(p[1]) << 16 | std::uint64_t(p[2]) << 8 | p[3];
        };
        return bigEndian(head + 16) * bigEndian(head + 20);
    }
    // The bitmap's height counts the colour rows and the mask rows together.
    const std::int64_t width = std::int32_t(getLE(head + 4, 4));
    const std::int64_t height = std::int32_t(getLE(head + 8, 4));
    return std::uint64_t(width < 0 ? -width : width) * std::uint64_t(height < 0 ? -height : height);
}

/// Refuses a PNG whose header promises more pixel data than its compressed stream can hold:
/// deflate expands by at most 1032:1, and every row needs at least its pixels' bits.
void checkPngPayload(const std::string& path) {
    BinaryFile f(path, BinaryFile::Read);
    std::uint8_t head[8 + 8 + 13] = {};
    if (f.readSome(head, sizeof head) < sizeof head || std::memcmp(head + 12, "IHDR", 4) != 0)
        return;
    const auto bigEndian = [](const std::uint8_t* p) {
        return std::uint64_t(p[0]) << 24 | std::uint64_t(p[1]) << 16 | std::uint64_t(p[2]) << 8 | p[3];
    };
    const std::uint64_t width = bigEndian(head + 16), height = bigEndian(head + 20);
    static const int samplesOfColourType[] = {1, 0, 3, 1, 2, 0, 4};
    const int colourType = head[25];
    const std::uint64_t samples = colourType < 7 ? std::uint64_t(samplesOfColourType[colourType]) : 0;
    const std::uint64_t bits = width * samples * head[24]; // both factors below 2^32 and 2^6
    // Interlaced passes add filter bytes but never fewer pixel bits than the plain layout.
    long double payload = static_cast<long double>(bits / 8) * height;
    if (payload > static_cast<long double>(f.size()) * kMaxInflateRatio)
        KYVO_THROW("the PNG header promises " + std::to_string(width) + "x" + std::to_string(height) +
                   " pixels, more than the compressed data in the file can hold");
}

/// Decodes greyscale images straight into the volume's memory, saving a copy of the pixels.
/// The reader has reported a valid size, so its format is set too.
std::unique_ptr<CImage> readGreyInPlace(QImageReader& reader, const QSize& size, QImage::Format format) {
    if ((format != QImage::Format_Grayscale8 && format != QImage::Format_Grayscale16) || size.isEmpty())
        return nullptr;
    const int bpv = format == QImage::Format_Grayscale8 ? 1 : 2;
    if (size.width() > INT_MAX / bpv)
        KYVO_THROW("the image is too large");
    auto image = std::make_unique<CImage>(bpv == 1 ? IMAGE_GREY_8 : IMAGE_GREY_16,
                                          CSize(std::size_t(size.width()), std::size_t(size.height()), 1),
                                          CImage::Uninitialised);
    QImage target(image->data(), size.width(), size.height(), size.width() * bpv, format);
    if (!reader.read(&target))
        KYVO_THROW("cannot decode the image (" + text(reader.errorString()) + ")");
    if (target.constBits() == image->data())
        return image;
    // The plugin allocated its own image after all.
    if (target.format() == format && target.size() == size) {
        copyRows(target, *image);
        return image;
    }
    return fromQImage(target);
}

} // namespace

CSize QtImageCodec::readSize(const std::string& path) const {
    QImageReader reader(qtPath(path));
    reader.setDecideFormatFromContent(true);
    if (!reader.canRead())
        KYVO_THROW("not a readable image (" + text(reader.errorString()) + ")");
    const QSize size = reader.size();
    if (!size.isValid() || size.isEmpty())
        KYVO_THROW("cannot read the image's size (" + text(reader.errorString()) + ")");
    return CSize(std::size_t(size.width()), std::size_t(size.height()), 1);
}

std::unique_ptr<CImage> QtImageCodec::read(const std::string& path, const Options&) const {
    QImageReader reader(qtPath(path));
    reader.setDecideFormatFromContent(true);
    if (!reader.canRead())
        KYVO_THROW("not a readable image (" + text(reader.errorString()) + ")");
    const QByteArray format = reader.format();
    if (format == "png")
        checkPngPayload(path);
    else if (format == "jpeg")
        CompletenessCheck::jpeg(path);
    else if (format == "bmp")
        CompletenessCheck::bmp(path);
    else if (format == "gif")
        CompletenessCheck::gif(path);
    else if (format == "ico")
        CompletenessCheck::ico(path);
    // Qt allocates the whole picture before decoding it. The header's size comes first: until
    // the plugin has read a valid header, the format it reports may be anything, even unset.
    const QSize size = reader.size();
    if (!size.isValid() || size.isEmpty())
        KYVO_THROW("cannot decode the image (" + text(reader.errorString()) + ")");
    const QImage::Format decoded = reader.imageFormat();
    const std::uint64_t pixels =
        std::max(std::uint64_t(size.width()) * std::uint64_t(size.height()), hiddenPixels(format, path));
    // Greyscale is decoded in place; everything else passes through a 32-bit (or wider) QImage
    // on its way into the volume.
    const bool grey = decoded == QImage::Format_Grayscale8 || decoded == QImage::Format_Grayscale16;
    const std::uint64_t bitsPerPixel =
        decoded == QImage::Format_Invalid ? 32 : QImage::toPixelFormat(decoded).bitsPerPixel();
    const std::uint64_t bytesPerPixel =
        grey ? bitsPerPixel / 8 : std::max<std::uint64_t>(4, bitsPerPixel / 8);
    const std::uint64_t picture = pixels * bytesPerPixel;
    const std::uint64_t scanlines = std::uint64_t(size.height()) * kRowPointerBytes +
                                    std::uint64_t(size.width()) * kScanlineBytesPerPixel * kScanlines;
    const std::string what = "Decoding an image of " + std::to_string(size.width()) + "x" +
                             std::to_string(size.height()) + " pixels";
    MemoryBudget::require(picture + scanlines, what);
    // Greyscale pictures are the volume itself, which counts itself; the others are held while
    // the volume is made from them.
    MemoryClaim decoding(grey ? scanlines : picture + scanlines, what);
    std::unique_ptr<CImage> image = readGreyInPlace(reader, size, decoded);
    if (!image) {
        QImage q;
        if (!reader.read(&q))
            KYVO_THROW("cannot decode the image (" + text(reader.errorString()) + ")");
        image = fromQImage(q);
    }
    return image;
}

void QtImageCodec::checkWritable(const CImage& image) const {
    const std::string format = m_traits.qtFormat.toUpper().toStdString();
    if (!m_traits.writable)
        KYVO_THROW(format + " files cannot be written");
    if (image.size().z != 1)
        KYVO_THROW(format + " files cannot hold a volume of " + std::to_string(image.size().z) + " z-layers");
    if (image.type() == IMAGE_GREY_F)
        KYVO_THROW(format + " files cannot hold floating-point images");
    if (image.type() == IMAGE_GREY_16 && !m_traits.holds16Bit)
        KYVO_THROW(format + " files cannot hold 16-bit images");
    if (image.size().x > 32767 * 16 || image.size().y > 32767 * 16 ||
        image.layerBytes() > std::size_t(INT_MAX))
        KYVO_THROW(format + " image is too large for Qt");
}

void QtImageCodec::write(const std::string& path, const CImage& image, const Options& options) const {
    checkWritable(image);
    const int w = int(image.size().x), h = int(image.size().y);
    const uchar* data = image.data();
    QImage q;
    switch (image.type()) {
    case IMAGE_GREY_8:
        q = QImage(data, w, h, w,
                   m_traits.greyAsPalette ? QImage::Format_Indexed8 : QImage::Format_Grayscale8);
        if (m_traits.greyAsPalette) {
            QVector<QRgb> grey(256);
            for (int i = 0; i < 256; ++i)
                grey[i] = qRgb(i, i, i);
            q.setColorTable(grey);
        }
        break;
    case IMAGE_GREY_16:
        q = QImage(data, w, h, 2 * w, QImage::Format_Grayscale16);
        break;
    case IMAGE_RGB_8I:
        q = QImage(data, w, h, 3 * w, QImage::Format_RGB888);
        break;
    default: // IMAGE_BOOL
        if (m_traits.holdsMono) {
            q = QImage(w, h, QImage::Format_Mono);
            q.setColorTable({qRgb(0, 0, 0), qRgb(255, 255, 255)});
            q.fill(0);
            for (int y = 0; y < h; ++y) {
                uchar* line = q.scanLine(y);
                for (int x = 0; x < w; ++x)
                    if (data[std::size_t(y) * std::size_t(w) + std::size_t(x)])
                        line[x >> 3] |= uchar(0x80 >> (x & 7));
            }
        } else {
            q = QImage(w, h, QImage::Format_Grayscale8);
            for (int y = 0; y < h; ++y) {
                uchar* line = q.scanLine(y);
                for (int x = 0; x < w; ++x)
                    line[x] = data[std::size_t(y) * std::size_t(w) + std::size_t(x)] ? 255 : 0;
            }
        }
        break;
    }
    QImageWriter writer(qtPath(path), m_traits.qtFormat);
    if (m_traits.qtFormat == "jpeg")
        writer.setQuality(options.quality >= 0 ? options.quality : kDefaultJpegQuality);
    if (!writer.write(q))
        KYVO_THROW("cannot write the image (" + text(writer.errorString()) + ")");
}

} // namespace io
} // namespace KYVO
