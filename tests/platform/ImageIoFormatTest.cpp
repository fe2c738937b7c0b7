// SPDX-License-Identifier: MIT
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/CValueMap.h"
#include "platform/GzStream.h"
#include "platform/io/TiffCodec.h"
#include "support/TestSupport.h"

#include <QImage>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <tiffio.h>
#include <vector>
#include <zlib.h>

using namespace KYVO;

namespace {

std::unique_ptr<CImage> loadBytes(const pxmtest::TempDir& dir, const QString& name, const QByteArray& bytes) {
    EXPECT_TRUE(pxmtest::writeFile(dir.path(name), bytes));
    return std::unique_ptr<CImage>(CImageIo2::Load(dir.localPath(name)));
}

std::vector<int> values(const CImage& img) {
    std::vector<int> v;
    for (std::size_t z = 0; z < img.size().z; ++z)
        for (std::size_t y = 0; y < img.size().y; ++y)
            for (std::size_t x = 0; x < img.size().x; ++x)
                for (int c = 0; c < img.channels(); ++c)
                    v.push_back(int(img.value(x, y, z, c)));
    return v;
}

using Tags = std::vector<std::pair<ttag_t, int>>;

/// Writes one page with exactly the given tags (plus size and one strip) through libtiff.
void writeTiffPage(TIFF* tif, int w, int h, const Tags& tags, const std::vector<std::uint8_t>& strip,
                   int extraSamples = 0) {
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, w);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, h);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, h);
    for (const auto& [tag, value] : tags)
        TIFFSetField(tif, tag, value);
    if (extraSamples) {
        std::vector<std::uint16_t> kinds(std::size_t(extraSamples), EXTRASAMPLE_UNSPECIFIED);
        kinds[0] = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, extraSamples, kinds.data());
    }
    ASSERT_GE(TIFFWriteEncodedStrip(tif, 0, const_cast<std::uint8_t*>(strip.data()), tmsize_t(strip.size())),
              0);
    ASSERT_TRUE(TIFFWriteDirectory(tif));
}

} // namespace

TEST(ImageIoNetpbm, PbmSetBitsAreOnesAndOtherFlavoursKeepStoredValues) {
    pxmtest::TempDir dir;
    CImage mask(IMAGE_BOOL, CSize(10, 1, 1));
    mask.voxel(0, 0, 0)[0] = mask.voxel(9, 0, 0)[0] = 1;
    CImageIo2::Save(dir.localPath("m.pbm"), mask);
    EXPECT_EQ(pxmtest::readFile(dir.path("m.pbm")), QByteArray("P4\n10 1\n\x80\x40", 10))
        << "1 is a set (black) bit";
    EXPECT_EQ(values(*loadBytes(dir, "p.pbm", "P1\n# plain\n3 2\n1 0 1\n010\n")),
              (std::vector<int>{1, 0, 1, 0, 1, 0}));

    CImage grey(IMAGE_GREY_8, CSize(3, 1, 1));
    grey.data()[1] = 7, grey.data()[2] = 255;
    CImageIo2::Save(dir.localPath("g.pbm"), grey);
    std::unique_ptr<CImage> thresholded(CImageIo2::Load(dir.localPath("g.pbm")));
    EXPECT_EQ(thresholded->type(), IMAGE_BOOL);
    EXPECT_EQ(values(*thresholded), (std::vector<int>{0, 1, 1})) << "grey voxels other than 0 set their bit";

    EXPECT_EQ(values(*loadBytes(dir, "a.pgm", "P2\n# maxval 15 keeps raw values\n3 1\n15\n0 7\n15\n")),
              (std::vector<int>{0, 7, 15}));
    std::unique_ptr<CImage> deep = loadBytes(dir, "b.pgm", QByteArray("P5 2 1 65535\n\x12\x34\xab\xcd", 17));
    EXPECT_EQ(deep->type(), IMAGE_GREY_16);
    EXPECT_EQ(values(*deep), (std::vector<int>{0x1234, 0xabcd})) << "samples are big-endian";

    std::unique_ptr<CImage> stack =
        loadBytes(dir, "s.pgm", "P5\n2 1\n255\n\x01\x02P5\n# second\n2 1 255\n\x03\x04\n");
    EXPECT_EQ(stack->size(), CSize(2, 1, 2));
    EXPECT_EQ(values(*stack), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_THROW(loadBytes(dir, "mixed.pgm", "P5\n2 1\n255\n\x01\x02P5\n3 1\n255\n\x03\x04\x05"), CException);

    const QByteArray pam =
        QByteArray("P7\nWIDTH 2\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\n") +
        QByteArray("\x0a\xff\x14\x00", 4);
    std::unique_ptr<CImage> greyAlpha = loadBytes(dir, "a.pam", pam);
    EXPECT_EQ(greyAlpha->type(), IMAGE_GREY_8);
    EXPECT_EQ(values(*greyAlpha), (std::vector<int>{10, 20})) << "alpha is dropped";

    // Positive scale: big-endian; rows run bottom to top.
    const QByteArray pfm = QByteArray("Pf\n1 2\n1.0\n") + QByteArray("\x3f\xc0\x00\x00\xc0\x00\x00\x00", 8);
    std::unique_ptr<CImage> floats = loadBytes(dir, "f.pfm", pfm);
    EXPECT_EQ(floats->value(0, 0, 0), -2.0);
    EXPECT_EQ(floats->value(0, 1, 0), 1.5);
    EXPECT_THROW(loadBytes(dir, "c.pfm", "PF\n1 1\n-1.0\n123456789012"), CException);
    EXPECT_THROW(loadBytes(dir, "huge.pgm", "P5\n2000000000 2000000000\n255\n\x01"), CException);
}

TEST(ImageIoTiff, HandWrittenPagesReadAsTheyLook) {
    pxmtest::TempDir dir;
    struct Case {
        const char* name;
        int w, h;
        Tags tags;
        std::vector<std::uint8_t> strip;
        EnImageType type;
        std::vector<int> expected;
        int extraSamples;
    };
    const Case cases[] = {
        // Bilevel without a BitsPerSample tag: libtiff's default of 1 bit applies.
        {"nobps",
         10,
         2,
         {{TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK}},
         {0xa0, 0x40, 0x00, 0xc0},
         IMAGE_BOOL,
         {1, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1},
         0},
        {"white1",
         3,
         1,
         {{TIFFTAG_BITSPERSAMPLE, 1}, {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE}},
         {0xa0},
         IMAGE_BOOL,
         {0, 1, 0},
         0},
        {"white8",
         3,
         1,
         {{TIFFTAG_BITSPERSAMPLE, 8}, {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE}},
         {0, 5, 255},
         IMAGE_GREY_8,
         {255, 250, 0},
         0},
        {"grey4",
         3,
         1,
         {{TIFFTAG_BITSPERSAMPLE, 4}, {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK}},
         {0x1f, 0x70},
         IMAGE_GREY_8,
         {1, 15, 7},
         0},
        {"planes",
         2,
         1,
         {{TIFFTAG_BITSPERSAMPLE, 8},
          {TIFFTAG_SAMPLESPERPIXEL, 3},
          {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB},
          {TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE}},
         {},
         IMAGE_RGB_8I,
         {1, 3, 5, 2, 4, 6},
         0},
        {"rgba",
         2,
         1,
         {{TIFFTAG_BITSPERSAMPLE, 8},
          {TIFFTAG_SAMPLESPERPIXEL, 4},
          {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB},
          {TIFFTAG_COMPRESSION, COMPRESSION_LZW}},
         {1, 2, 3, 0, 4, 5, 6, 128},
         IMAGE_RGB_8I,
         {1, 2, 3, 4, 5, 6},
         1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.localPath(QString(c.name) + ".tif");
        TIFF* tif = TIFFOpen(path.c_str(), "w");
        ASSERT_TRUE(tif);
        if (std::string(c.name) == "planes") {
            // One strip per colour plane.
            for (const auto& [tag, value] : c.tags)
                TIFFSetField(tif, tag, value);
            TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, c.w);
            TIFFSetField(tif, TIFFTAG_IMAGELENGTH, c.h);
            std::uint8_t planes[3][2] = {{1, 2}, {3, 4}, {5, 6}};
            for (int p = 0; p < 3; ++p)
                ASSERT_EQ(TIFFWriteEncodedStrip(tif, std::uint32_t(p), planes[p], 2), 2);
            ASSERT_TRUE(TIFFWriteDirectory(tif));
        } else {
            writeTiffPage(tif, c.w, c.h, c.tags, c.strip, c.extraSamples);
        }
        TIFFClose(tif);
        if (std::string(c.name) == "nobps") {
            std::uint16_t bits = 0;
            tif = TIFFOpen(path.c_str(), "r");
            EXPECT_FALSE(TIFFGetField(tif, TIFFTAG_BITSPERSAMPLE, &bits)) << "the tag really is absent";
            TIFFClose(tif);
        }
        std::unique_ptr<CImage> img(CImageIo2::Load(path));
        EXPECT_EQ(img->type(), c.type);
        EXPECT_EQ(img->size(), CSize(std::size_t(c.w), std::size_t(c.h), 1));
        EXPECT_EQ(values(*img), c.expected);
    }

    // Pages that differ in size do not make a volume.
    const std::string mixed = dir.localPath("mixed.tif");
    TIFF* tif = TIFFOpen(mixed.c_str(), "w");
    writeTiffPage(tif, 2, 1, {{TIFFTAG_BITSPERSAMPLE, 8}}, {1, 2});
    writeTiffPage(tif, 1, 1, {{TIFFTAG_BITSPERSAMPLE, 8}}, {3});
    TIFFClose(tif);
    EXPECT_THROW(std::unique_ptr<CImage>(CImageIo2::Load(mixed)), CException);
}

TEST(ImageIoTiff, SampleCountsAndStripSizesAreBoundedBeforeAnythingIsDecoded) {
    pxmtest::TempDir dir;
    const auto loadError = [](const std::string& path) -> std::string {
        try {
            std::unique_ptr<CImage> image(CImageIo2::Load(path));
            return image ? "" : "no image";
        } catch (const CException& e) {
            return e.what();
        }
    };
    // Up to 16 samples beyond a pixel's colours are read (and dropped); one more is refused.
    struct Samples {
        int photometric, colours, extra;
    };
    for (const Samples& c : {Samples{PHOTOMETRIC_RGB, 3, 4}, Samples{PHOTOMETRIC_MINISBLACK, 1, 16},
                             Samples{PHOTOMETRIC_MINISBLACK, 1, 17}}) {
        const int spp = c.colours + c.extra;
        SCOPED_TRACE(spp);
        const std::string path = dir.localPath(QString("spp%1.tif").arg(spp));
        std::vector<std::uint8_t> strip(2 * std::size_t(spp));
        for (std::size_t i = 0; i < strip.size(); ++i)
            strip[i] = std::uint8_t(i + 1);
        TIFF* tif = TIFFOpen(path.c_str(), "w");
        writeTiffPage(tif, 2, 1,
                      {{TIFFTAG_BITSPERSAMPLE, 8},
                       {TIFFTAG_SAMPLESPERPIXEL, spp},
                       {TIFFTAG_PHOTOMETRIC, c.photometric}},
                      strip, c.extra);
        TIFFClose(tif);
        const std::string error = loadError(path);
        if (c.extra > 16) {
            EXPECT_NE(error.find(std::to_string(spp) + " samples per pixel"), std::string::npos) << error;
            continue;
        }
        ASSERT_EQ(error, "");
        std::vector<int> expected;
        for (int x = 0; x < 2; ++x)
            for (int k = 0; k < c.colours; ++k)
                expected.push_back(x * spp + k + 1);
        EXPECT_EQ(values(*std::unique_ptr<CImage>(CImageIo2::Load(path))), expected);
    }

    // A strip decodes to at most its stored bytes times what its compression can expand to:
    // the densest real data of each compression reads, a header promising more is refused.
    struct Strips {
        const char* name;
        int compression, w, h;
        std::vector<std::uint8_t> raw; // empty: zeros encoded by libtiff
        bool reads;
    };
    const std::vector<std::uint8_t> run128 = {0x81, 7}; // PackBits: 128 times 7
    std::vector<std::uint8_t> zeros(std::size_t(4096) * 256), deflated(compressBound(uLong(zeros.size())));
    uLongf deflatedSize = uLongf(deflated.size());
    ASSERT_EQ(compress2(deflated.data(), &deflatedSize, zeros.data(), uLong(zeros.size()), 9), Z_OK);
    deflated.resize(deflatedSize); // over 1000:1
    for (const Strips& c : {Strips{"packbits", COMPRESSION_PACKBITS, 128, 1, run128, true},
                            Strips{"packbits-short", COMPRESSION_PACKBITS, 128, 2, run128, false},
                            Strips{"deflate", COMPRESSION_ADOBE_DEFLATE, 4096, 256, deflated, true},
                            Strips{"lzw", COMPRESSION_LZW, 4096, 256, {}, true}}) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.localPath(QString(c.name) + ".tif");
        TIFF* tif = TIFFOpen(path.c_str(), "w");
        for (const auto& [tag, value] : Tags{{TIFFTAG_IMAGEWIDTH, c.w},
                                             {TIFFTAG_IMAGELENGTH, c.h},
                                             {TIFFTAG_ROWSPERSTRIP, c.h},
                                             {TIFFTAG_BITSPERSAMPLE, 8},
                                             {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
                                             {TIFFTAG_COMPRESSION, c.compression}})
            TIFFSetField(tif, tag, value);
        std::vector<std::uint8_t> data =
            c.raw.empty() ? std::vector<std::uint8_t>(std::size_t(c.w) * c.h) : c.raw;
        const tmsize_t n = tmsize_t(data.size());
        ASSERT_GE(c.raw.empty() ? TIFFWriteEncodedStrip(tif, 0, data.data(), n)
                                : TIFFWriteRawStrip(tif, 0, data.data(), n),
                  0);
        ASSERT_TRUE(TIFFWriteDirectory(tif));
        TIFFClose(tif);
        const std::string error = loadError(path);
        EXPECT_EQ(error.empty(), c.reads) << error;
        if (!c.reads) {
            EXPECT_NE(error.find("strip 0 holds 2 bytes, too little to decode to the 256 bytes"),
                      std::string::npos)
                << error;
        }
    }
}

TEST(ImageIoTiff, StacksAreNumberedPagesInAnyCompressionByteOrderAndTiling) {
    pxmtest::TempDir dir;
    CImage stack(IMAGE_GREY_16, CSize(40, 20, 3));
    for (std::size_t i = 0; i < stack.byteCount(); ++i)
        stack.data()[i] = std::uint8_t(i * 31 / 7);
    const std::string path = dir.localPath("stack.tif");
    CImageIo2::Save(path, stack);
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    ASSERT_EQ(TIFFNumberOfDirectories(tif), 3u);
    for (std::uint16_t page = 0; page < 3; ++page) {
        std::uint32_t kind = 0;
        std::uint16_t number = 0, total = 0;
        ASSERT_TRUE(TIFFSetDirectory(tif, page));
        EXPECT_TRUE(TIFFGetField(tif, TIFFTAG_SUBFILETYPE, &kind) && kind == FILETYPE_PAGE);
        EXPECT_TRUE(TIFFGetField(tif, TIFFTAG_PAGENUMBER, &number, &total));
        EXPECT_EQ(number, page);
        EXPECT_EQ(total, 3);
    }
    TIFFClose(tif);

    const std::size_t plain = std::size_t(pxmtest::readFile(dir.path("stack.tif")).size());
    for (const char* compression : {"deflate", "lzw", "packbits"}) {
        SCOPED_TRACE(compression);
        CValueMap options;
        options.SetString("compression", compression);
        const std::string packed = dir.localPath(QString("packed-%1.tif").arg(compression));
        CImageIo2::Save(packed, stack, &options);
        std::unique_ptr<CImage> back(CImageIo2::Load(packed));
        EXPECT_EQ(std::memcmp(back->data(), stack.data(), stack.byteCount()), 0);
        if (std::string(compression) != "packbits") {
            EXPECT_LT(std::size_t(pxmtest::readFile(QString::fromLocal8Bit(packed.c_str())).size()), plain);
        }
    }
    CValueMap bad;
    bad.SetString("compression", "zstd-ultra");
    EXPECT_THROW(CImageIo2::Save(dir.localPath("bad.tif"), stack, &bad), CException);

    // Big-endian strips, compressed tiles and BigTIFF take the other reading paths.
    for (const char* mode : {"wb", "wl", "w8"}) {
        SCOPED_TRACE(mode);
        const std::string other = dir.localPath(QString("other-%1.tif").arg(mode));
        tif = TIFFOpen(other.c_str(), mode);
        for (std::size_t z = 0; z < stack.size().z; ++z) {
            TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 40);
            TIFFSetField(tif, TIFFTAG_IMAGELENGTH, 20);
            TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 16);
            TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
            if (mode[1] != 'l') {
                TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 7);
                // libtiff swaps the bytes of the row it is given in place.
                std::vector<std::uint8_t> row(80);
                for (std::uint32_t y = 0; y < 20; ++y) {
                    std::memcpy(row.data(), stack.voxel(0, y, z), 80);
                    ASSERT_EQ(TIFFWriteScanline(tif, row.data(), y, 0), 1);
                }
            } else {
                TIFFSetField(tif, TIFFTAG_TILEWIDTH, 16);
                TIFFSetField(tif, TIFFTAG_TILELENGTH, 16);
                TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
                std::vector<std::uint16_t> tile(16 * 16);
                for (std::uint32_t ty = 0; ty < 20; ty += 16)
                    for (std::uint32_t tx = 0; tx < 40; tx += 16) {
                        std::fill(tile.begin(), tile.end(), 0);
                        for (std::uint32_t y = ty; y < std::min(ty + 16, 20u); ++y)
                            for (std::uint32_t x = tx; x < std::min(tx + 16, 40u); ++x)
                                std::memcpy(&tile[(y - ty) * 16 + (x - tx)], stack.voxel(x, y, z), 2);
                        ASSERT_GE(TIFFWriteTile(tif, tile.data(), tx, ty, 0, 0), 0);
                    }
            }
            ASSERT_TRUE(TIFFWriteDirectory(tif));
        }
        TIFFClose(tif);
        std::unique_ptr<CImage> back(CImageIo2::Load(other));
        ASSERT_EQ(back->size(), stack.size());
        EXPECT_EQ(std::memcmp(back->data(), stack.data(), stack.byteCount()), 0);
    }
}

TEST(ImageIoQt, PalettesBilevelAndAlphaBecomeTheNaturalPixelType) {
    pxmtest::TempDir dir;
    QImage greyPalette(2, 1, QImage::Format_Indexed8);
    greyPalette.setColorTable({qRgb(10, 10, 10), qRgb(200, 200, 200)});
    greyPalette.setPixel(0, 0, 1), greyPalette.setPixel(1, 0, 0);
    QImage colourPalette = greyPalette;
    colourPalette.setColor(1, qRgb(200, 0, 9));
    QImage bilevel(3, 1, QImage::Format_Mono);
    bilevel.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)}); // index 0 is white here
    bilevel.setPixel(0, 0, 0), bilevel.setPixel(1, 0, 1), bilevel.setPixel(2, 0, 0);
    QImage alpha(1, 1, QImage::Format_ARGB32);
    alpha.setPixel(0, 0, qRgba(100, 150, 200, 30));
    struct Case {
        const char* name;
        QImage image;
        EnImageType type;
        std::vector<int> expected;
    };
    const Case cases[] = {{"grey.png", greyPalette, IMAGE_GREY_8, {200, 10}},
                          {"colour.png", colourPalette, IMAGE_RGB_8I, {200, 0, 9, 10, 10, 10}},
                          {"bilevel.png", bilevel, IMAGE_BOOL, {1, 0, 1}},
                          {"bilevel.bmp", bilevel, IMAGE_BOOL, {1, 0, 1}},
                          {"alpha.png", alpha, IMAGE_RGB_8I, {100, 150, 200}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(c.image.save(dir.path(c.name)));
        std::unique_ptr<CImage> img(CImageIo2::Load(dir.localPath(c.name)));
        EXPECT_EQ(img->type(), c.type);
        EXPECT_EQ(values(*img), c.expected);
    }
}

TEST(ImageIoOkav, HeaderIsLittleEndianAndHostileSizesAreRefusedBeforeAllocating) {
    pxmtest::TempDir dir;
    CImage img(IMAGE_GREY_16, CSize(3, 2, 1));
    img.data()[0] = 0x34, img.data()[1] = 0x12;
    CImageIo2::Save(dir.localPath("v.okav"), img);
    const QByteArray bytes = pxmtest::readFile(dir.path("v.okav"));
    ASSERT_EQ(bytes.size(), 64 + 12);
    auto field = [&](int offset, int size) {
        std::uint64_t v = 0;
        for (int i = size - 1; i >= 0; --i)
            v = v << 8 | std::uint8_t(bytes[offset + i]);
        return v;
    };
    EXPECT_EQ(bytes.left(4), "OKAV");
    const std::uint64_t expected[] = {1, 0, 64, 1, 1, 2, 3, 2, 1, 12};
    const int offsets[][2] = {{4, 2},  {6, 2},  {8, 4},  {12, 4}, {16, 4},
                              {20, 4}, {24, 8}, {32, 8}, {40, 8}, {48, 8}};
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(field(offsets[i][0], offsets[i][1]), expected[i]) << "field at " << offsets[i][0];
    EXPECT_EQ(bytes.mid(64, 2), "\x34\x12");

    // 2^20 × 2^20 × 2^10 voxels: a consistent header on a tiny file, plain and compressed.
    QByteArray hostile = bytes.left(64);
    const std::uint64_t sizes[] = {1u << 20, 1u << 20, 1u << 10, std::uint64_t(1) << 51};
    for (int i = 0; i < 4; ++i)
        for (int b = 0; b < 8; ++b)
            hostile[24 + 8 * i + b] = char(sizes[i] >> (8 * b));
    EXPECT_THROW(loadBytes(dir, "h.okav", hostile + QByteArray(100, '\0')), CException);
    {
        gzofstream out(dir.localPath("h.okav.gz").c_str());
        out.write(hostile.constData(), hostile.size());
        out.write(QByteArray(1000, '\0').constData(), 1000);
    }
    EXPECT_THROW(std::unique_ptr<CImage>(CImageIo2::Load(dir.localPath("h.okav.gz"))), CException);
}

TEST(ImageIo, EndingsAndDialogFiltersComeFromOneTable) {
    const QString all = "*.ppm *.pgm *.pbm *.pfm *.pam *.jpg *.jpeg *.jp2 *.j2k *.bmp *.tif *.tiff *.png "
                        "*.gif *.ico *.okav *.okav.gz";
    const QStringList read = CImageIo2::ReadFilters(), write = CImageIo2::WriteFilters();
    EXPECT_EQ(read.first(), "Images (" + all + ")");
    EXPECT_EQ(write.first(), "Images (" + QString(all).remove("*.gif ") + ")");
    EXPECT_TRUE(read.contains("TIFF images (*.tif *.tiff)"));
    EXPECT_EQ(read.size(), write.size() + 1);
    EXPECT_TRUE(CImageIo2::CanRead("a/B.OKAV.GZ") && CImageIo2::CanWrite("x.Jpeg"));
    EXPECT_TRUE(CImageIo2::CanRead("x.gif") && !CImageIo2::CanWrite("x.gif"));
    EXPECT_FALSE(CImageIo2::CanRead("x.gz") || CImageIo2::CanRead("png") || CImageIo2::CanWrite("x.txt"));
}
