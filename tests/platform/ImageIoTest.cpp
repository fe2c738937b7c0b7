// SPDX-License-Identifier: MIT
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/CValueMap.h"
#include "platform/GzStream.h"
#include "platform/io/TiffCodec.h"
#include "support/StoreBudget.h"
#include "support/TestSupport.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <algorithm>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <numeric>
#include <tiffio.h>
#include <variant>
#include <vector>
#include <zlib.h>

using namespace KYVO;
using pxmtest::BudgetScope;

namespace {

/// Voxels over each type's range: smooth enough for JPEG, high 16-bit bits, negative and fractional floats.
CImage makePattern(EnImageType type, const CSize& size) {
    CImage img(type, size);
    for (std::size_t z = 0; z < size.z; ++z)
        for (std::size_t y = 0; y < size.y; ++y)
            for (std::size_t x = 0; x < size.x; ++x) {
                std::uint8_t* v = img.voxel(x, y, z);
                const std::uint16_t s = std::uint16_t(x * 1500 + y * 700 + z * 9000 + 30000);
                const float f = (float(x) - 10.5f) * 0.25f + float(y) * 1e3f - float(z) * 0.125f;
                if (type == IMAGE_GREY_16)
                    std::memcpy(v, &s, 2);
                else if (type == IMAGE_GREY_F)
                    std::memcpy(v, &f, 4);
                else if (type == IMAGE_BOOL)
                    v[0] = (x / 3 + y + z) % 2;
                else if (type == IMAGE_RGB_8I)
                    v[0] = std::uint8_t(x * 6), v[1] = std::uint8_t(y * 9),
                    v[2] = std::uint8_t(x + y + z * 30);
                else
                    v[0] = std::uint8_t(x * 5 + y * 3 + z * 40);
            }
    return img;
}

int maxByteDifference(const CImage& a, const CImage& b) {
    int worst = 0;
    for (std::size_t i = 0; i < a.byteCount(); ++i)
        worst = std::max(worst, std::abs(int(a.data()[i]) - int(b.data()[i])));
    return worst;
}

/// A GIF of 5 x 3 pixels of a 4-colour palette (black, white, red, blue), pixel i showing colour i * 7 % 4;
/// a clear code before every pair of pixels keeps the LZW codes 3 bits wide.
const QByteArray kPaletteGif = QByteArray::fromHex(
    "47494638396105000300810000000000ffffffc81e280a78fa2c0000000005000300000209c4a810a3428c0a31aa003b");

/// The loader's message for a file, or "" when it loads.
std::string loadError(const std::string& path) {
    std::unique_ptr<CImage> image;
    const std::string error = pxmtest::thrownMessage([&] { image.reset(CImageIo2::Load(path)); });
    return image || !error.empty() ? error : "no image";
}

/// "TYPE WxHxD: v v ..." of a file's voxels, or "refused" when loading throws a message naming the file.
std::string contents(const std::string& path) {
    std::unique_ptr<CImage> image;
    const std::string error = pxmtest::thrownMessage([&] { image.reset(CImageIo2::Load(path)); });
    if (!error.empty())
        return error.find(path) == std::string::npos ? "refused without the path: " + error : "refused";
    if (!image)
        return "no image";
    const CSize& size = image->size();
    QString text =
        QString("%1 %2x%3x%4:").arg(ImageTypeName(image->type())).arg(size.x).arg(size.y).arg(size.z);
    for (std::size_t z = 0; z < size.z; ++z)
        for (std::size_t y = 0; y < size.y; ++y)
            for (std::size_t x = 0; x < size.x; ++x)
                for (int c = 0; c < image->channels(); ++c)
                    text += ' ' + QString::number(image->value(x, y, z, c));
    return text.toStdString();
}

/// contents() of a file of these bytes.
std::string readBytes(const pxmtest::TempDir& dir, const QString& name, const QByteArray& bytes) {
    EXPECT_TRUE(pxmtest::writeFile(dir.path(name), bytes));
    return contents(dir.localPath(name));
}

using Tags = std::vector<std::pair<ttag_t, std::variant<int, double, const char*>>>;

struct Page {
    int w, h;
    Tags tags;
    std::vector<std::vector<std::uint8_t>> strips; // or tiles; one per colour plane when planes are separate
    int extraSamples = 0;
    bool raw = false; // strips stored as given, not encoded
};

/// Writes pages with exactly the given tags (after the size and one strip a page) through libtiff; the mode
/// chooses the byte order and BigTIFF.
void writeTiff(const std::string& path, const std::vector<Page>& pages, const char* mode = "w") {
    TIFF* tif = TIFFOpen(path.c_str(), mode);
    ASSERT_TRUE(tif);
    for (const Page& page : pages) {
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, page.w);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, page.h);
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, page.h);
        for (const auto& [tag, value] : page.tags)
            std::visit([tif, tag = tag](auto v) { TIFFSetField(tif, tag, v); }, value);
        if (page.extraSamples) {
            std::vector<std::uint16_t> kinds(std::size_t(page.extraSamples), EXTRASAMPLE_UNSPECIFIED);
            kinds[0] = EXTRASAMPLE_UNASSALPHA;
            TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, page.extraSamples, kinds.data());
        }
        for (std::uint32_t i = 0; i < page.strips.size(); ++i) {
            auto* data = const_cast<std::uint8_t*>(page.strips[i].data());
            const tmsize_t n = tmsize_t(page.strips[i].size());
            ASSERT_GE(page.raw           ? TIFFWriteRawStrip(tif, i, data, n)
                      : TIFFIsTiled(tif) ? TIFFWriteEncodedTile(tif, i, data, n)
                                         : TIFFWriteEncodedStrip(tif, i, data, n),
                      0);
        }
        ASSERT_TRUE(TIFFWriteDirectory(tif));
    }
    TIFFClose(tif);
}

} // namespace

TEST(ImageIo, EveryCodecRoundTripsEveryTypeItHoldsAndRefusesDamagedFilesNamingThePath) {
    pxmtest::TempDir dir;
    struct Case {
        const char* ending;
        EnImageType type;
        CSize size;
        EnImageType readType;
        int tolerance;
    };
    const CSize s2(37, 23, 1), s3(37, 23, 3), tiny(7, 5, 1);
    std::vector<Case> cases = {
        {".pgm", IMAGE_GREY_8, s3, IMAGE_GREY_8, 0},   {".pgm", IMAGE_GREY_16, {9, 4, 2}, IMAGE_GREY_16, 0},
        {".pgm", IMAGE_BOOL, s2, IMAGE_GREY_8, 0},     {".pbm", IMAGE_BOOL, s3, IMAGE_BOOL, 0},
        {".ppm", IMAGE_RGB_8I, s3, IMAGE_RGB_8I, 0},   {".pfm", IMAGE_GREY_F, s3, IMAGE_GREY_F, 0},
        {".pam", IMAGE_GREY_8, s3, IMAGE_GREY_8, 0},   {".pam", IMAGE_GREY_16, s2, IMAGE_GREY_16, 0},
        {".pam", IMAGE_BOOL, s3, IMAGE_BOOL, 0},       {".PAM", IMAGE_RGB_8I, s2, IMAGE_RGB_8I, 0},
        {".png", IMAGE_GREY_8, s2, IMAGE_GREY_8, 0},   {".png", IMAGE_GREY_16, s2, IMAGE_GREY_16, 0},
        {".Png", IMAGE_RGB_8I, s2, IMAGE_RGB_8I, 0},   {".png", IMAGE_BOOL, s2, IMAGE_BOOL, 0},
        {".bmp", IMAGE_GREY_8, s2, IMAGE_GREY_8, 0},   {".bmp", IMAGE_RGB_8I, s2, IMAGE_RGB_8I, 0},
        {".bmp", IMAGE_BOOL, s2, IMAGE_BOOL, 0},       {".jpg", IMAGE_GREY_8, s2, IMAGE_GREY_8, 6},
        {".jpeg", IMAGE_RGB_8I, s2, IMAGE_RGB_8I, 12}, {".ico", IMAGE_RGB_8I, {32, 32, 1}, IMAGE_RGB_8I, 0},
        {".jp2", IMAGE_GREY_8, tiny, IMAGE_GREY_8, 0}, {".jp2", IMAGE_GREY_16, tiny, IMAGE_GREY_16, 0},
        {".jp2", IMAGE_RGB_8I, tiny, IMAGE_RGB_8I, 0}, {".j2k", IMAGE_BOOL, tiny, IMAGE_BOOL, 0},
        {".j2k", IMAGE_GREY_8, s2, IMAGE_GREY_8, 0},   {".j2k", IMAGE_RGB_8I, {1, 1, 1}, IMAGE_RGB_8I, 0},
        {".tif", IMAGE_GREY_8, s3, IMAGE_GREY_8, 0},   {".tif", IMAGE_GREY_16, s3, IMAGE_GREY_16, 0},
        {".tif", IMAGE_GREY_F, s3, IMAGE_GREY_F, 0},   {".TIF", IMAGE_BOOL, s3, IMAGE_BOOL, 0},
        {".tiff", IMAGE_RGB_8I, s3, IMAGE_RGB_8I, 0},
    };
    for (int t = 0; t < ImageTypeCount; ++t) {
        cases.push_back({".okav", EnImageType(t), s3, EnImageType(t), 0});
        cases.push_back({t ? ".okav.gz" : ".OKAV.GZ", EnImageType(t), s3, EnImageType(t), 0});
    }
    // The first file of each ending is also read cut in half and damaged where its header or data is.
    using Mutation = std::function<void(QByteArray&)>;
    auto at = [](int offset, QByteArray bytes) -> Mutation {
        return [=](QByteArray& d) { d.replace(offset, bytes.size(), bytes); };
    };
    auto after = [](QByteArray marker, int skip, QByteArray bytes) -> Mutation {
        return [=](QByteArray& d) { d.replace(d.indexOf(marker) + skip, bytes.size(), bytes); };
    };
    const QByteArray ff(8, '\xff');
    const Mutation flipMiddle = [](QByteArray& d) { d[d.size() / 2] = char(d[d.size() / 2] ^ 0x5a); };
    std::map<std::string, Mutation> damages = {{".pgm", at(3, "x")},
                                               {".pbm", at(3, "-")},
                                               {".ppm", at(1, "9")},
                                               {".pfm", after("\n-1", 1, "abc")},
                                               {".pam", after("DEPTH", 6, "7")},
                                               {".png", after("IDAT", 6, "\x55\xaa\x55")},
                                               {".jpg", at(2, QByteArray(40, '\x01'))},
                                               {".bmp", at(14, ff)},
                                               {".ico", at(4, ff)},
                                               {".tif", at(4, ff.left(4))},
                                               {".jp2", after("\xff\x4f\xff\x51", 4, ff)},
                                               {".j2k", after("\xff\x4f\xff\x51", 4, ff)},
                                               {".okav", at(12, "\x63")},
                                               {".okav.gz", flipMiddle}};
    ASSERT_TRUE(QDir(dir.path()).mkdir("damaged"));
    int n = 0;
    for (const Case& c : cases) {
        const std::string path = dir.localPath(QString("img%1%2").arg(n++).arg(c.ending));
        SCOPED_TRACE(path + " " + ImageTypeName(c.type));
        const CImage original = makePattern(c.type, c.size);
        ASSERT_TRUE(CImageIo2::CanWrite(path) && CImageIo2::CanRead(path));
        CImageIo2::Save(path, original);
        EXPECT_EQ(CImageIo2::ReadSize(path), c.size);
        std::unique_ptr<CImage> loaded(CImageIo2::Load(path));
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->type(), c.readType);
        ASSERT_TRUE(loaded->size() == c.size && loaded->byteCount() == original.byteCount());
        if (c.tolerance)
            EXPECT_LE(maxByteDifference(*loaded, original), c.tolerance);
        else
            EXPECT_EQ(std::memcmp(loaded->data(), original.data(), original.byteCount()), 0);
        const auto damage = damages.find(c.ending);
        if (damage == damages.end())
            continue;
        QByteArray bytes = pxmtest::readFile(QString::fromStdString(path));
        EXPECT_EQ(readBytes(dir, QString("damaged/cut") + c.ending, bytes.left(bytes.size() / 2)), "refused");
        damage->second(bytes);
        EXPECT_EQ(readBytes(dir, QString("damaged/bad") + c.ending, bytes), "refused");
        damages.erase(damage);
    }
    EXPECT_TRUE(damages.empty());
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), n) << "no temporary file is left behind";
    // Grey written as PPM reads back as colour with the grey in every channel.
    const CImage grey = makePattern(IMAGE_GREY_8, s2);
    CImageIo2::Save(dir.localPath("grey.ppm"), grey);
    const std::unique_ptr<CImage> rgb(CImageIo2::Load(dir.localPath("grey.ppm")));
    ASSERT_TRUE(rgb->type() == IMAGE_RGB_8I && rgb->size() == s2);
    for (std::size_t i = 0; i < grey.byteCount(); ++i)
        ASSERT_TRUE(rgb->data()[3 * i] == grey.data()[i] && rgb->data()[3 * i + 2] == grey.data()[i]) << i;
    // GIF is read only (the palette one is read in the hand-made files' test): damaged, an unknown ending, an
    // empty file, a missing one and a folder besides.
    const QByteArray& gif = kPaletteGif;
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.tif"));
    const QList<QPair<QString, QByteArray>> others = {{"cut.gif", gif.left(gif.size() - 6)},
                                                      {"bad.gif", QByteArray(gif).replace(25, 1, "x")},
                                                      {"x.gz", "data"},
                                                      {"empty.tif", ""},
                                                      {"missing.png", {}},
                                                      {"folder.tif", {}}};
    for (const auto& [name, bytes] : others) {
        ASSERT_TRUE(bytes.isNull() || pxmtest::writeFile(dir.path(name), bytes));
        EXPECT_EQ(contents(dir.localPath(name)), "refused") << name.toStdString();
    }
}

TEST(ImageIo, RefusedOrFailedSavesKeepTheOldFileAndLeaveNoTemporary) {
    pxmtest::TempDir dir;
    const CImage grey = makePattern(IMAGE_GREY_8, CSize(6, 4, 1));
    const char* const targets[] = {"keep.png", "keep.pbm", "keep.bmp", "keep.jp2", "keep.gif"};
    for (const char* name : {"keep.png", "keep.pbm", "keep.bmp", "keep.jp2"})
        CImageIo2::Save(dir.localPath(name), grey);
    ASSERT_TRUE(pxmtest::writeFile(dir.path("keep.gif"), "old"));
    std::vector<QByteArray> before;
    for (const char* t : targets)
        before.push_back(pxmtest::readFile(dir.path(t)));
    struct Refusal {
        const char* target;
        CImage image;
    };
    const Refusal refusals[] = {
        {"keep.pbm", makePattern(IMAGE_RGB_8I, CSize(6, 4, 1))},
        {"keep.png", makePattern(IMAGE_GREY_8, CSize(6, 4, 2))},
        {"keep.png", makePattern(IMAGE_GREY_F, CSize(6, 4, 1))},
        {"keep.bmp", makePattern(IMAGE_GREY_16, CSize(6, 4, 1))},
        {"keep.jp2", makePattern(IMAGE_GREY_8, CSize(6, 4, 3))},
        {"keep.gif", grey},
        {"keep.png", CImage(IMAGE_GREY_8, CSize(0, 4, 1))},
    };
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.target);
        const std::string path = dir.localPath(r.target);
        const std::string error = pxmtest::thrownMessage([&] { CImageIo2::Save(path, r.image); });
        EXPECT_NE(error.find(path), std::string::npos) << error;
    }
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_EQ(pxmtest::readFile(dir.path(targets[i])), before[i]) << targets[i];
    // A target that cannot be replaced (a directory) and one in a missing directory.
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.png"));
    for (const char* target : {"folder.png", "missing/x.png"})
        EXPECT_THROW(CImageIo2::Save(dir.localPath(target), grey), CException) << target;
    EXPECT_TRUE(QFileInfo(dir.path("folder.png")).isDir());
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), int(before.size())) << "no temporary is left";
}

// Files made by hand or by other writers, of every format the loader reads, read as they look.
TEST(ImageIo, HandMadeFilesReadAsTheyLookAndPbmSetBitsAreOnes) {
    pxmtest::TempDir dir;
    CImage mask(IMAGE_BOOL, CSize(10, 1, 1));
    mask.voxel(0, 0, 0)[0] = mask.voxel(9, 0, 0)[0] = 1;
    CImageIo2::Save(dir.localPath("m.pbm"), mask);
    EXPECT_EQ(pxmtest::readFile(dir.path("m.pbm")), QByteArray("P4\n10 1\n\x80\x40", 10))
        << "1 is a set (black) bit";
    CImage grey(IMAGE_GREY_8, CSize(3, 1, 1));
    grey.data()[1] = 7, grey.data()[2] = 255;
    CImageIo2::Save(dir.localPath("g.pbm"), grey);
    EXPECT_EQ(contents(dir.localPath("g.pbm")), "IMAGE_BOOL 3x1x1: 0 1 1")
        << "grey voxels other than 0 set their bit";
    const QByteArray pam = "P7\nWIDTH 2\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\n";
    // TIFF pages with exactly the given tags.
    const auto tiff = [&](const std::vector<Page>& pages) {
        writeTiff(dir.localPath("pages.tif"), pages);
        return pxmtest::readFile(dir.path("pages.tif"));
    };
    const auto bps = [](int b) { return std::pair<ttag_t, int>{TIFFTAG_BITSPERSAMPLE, b}; };
    const auto photo = [](int p) { return std::pair<ttag_t, int>{TIFFTAG_PHOTOMETRIC, p}; };
    const auto spp = [](int n) { return std::pair<ttag_t, int>{TIFFTAG_SAMPLESPERPIXEL, n}; };
    const std::pair<ttag_t, int> separate{TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE};
    const auto ramp = [](std::size_t n) { // 1, 2, 3, ...
        std::vector<std::uint8_t> bytes(n);
        std::iota(bytes.begin(), bytes.end(), 1);
        return bytes;
    };
    // Images as Qt writes them.
    const auto qt = [](const QImage& image, const char* format) {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        EXPECT_TRUE(image.save(&buffer, format));
        return bytes;
    };
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
    // The palette GIF's colours 0, 3, 2, 1 over and over.
    const std::string gif = "0 0 0 10 120 250 200 30 40 255 255 255 ";
    const struct {
        const char* name;
        QByteArray bytes;
        std::string expected;
    } cases[] = {
        {"p.pbm", "P1\n# plain\n3 2\n1 0 1\n010\n", "IMAGE_BOOL 3x2x1: 1 0 1 0 1 0"},
        {"a.pgm", "P2\n# maxval 15 keeps raw values\n3 1\n15\n0 7\n15\n", "IMAGE_GREY_8 3x1x1: 0 7 15"},
        // Samples are big-endian; pages of one size make a stack; alpha is dropped.
        {"b.pgm", QByteArray("P5 2 1 65535\n\x12\x34\xab\xcd", 17), "IMAGE_GREY_16 2x1x1: 4660 43981"},
        {"s.pgm", "P5\n2 1\n255\n\x01\x02P5\n# second\n2 1 255\n\x03\x04\n", "IMAGE_GREY_8 2x1x2: 1 2 3 4"},
        {"a.pam", pam + QByteArray("\x0a\xff\x14\x00", 4), "IMAGE_GREY_8 2x1x1: 10 20"},
        // Positive scale: big-endian; rows run bottom to top.
        {"f.pfm", QByteArray("Pf\n1 2\n1.0\n\x3f\xc0\x00\x00\xc0\x00\x00\x00", 19),
         "IMAGE_GREY_F 1x2x1: -2 1.5"},
        {"mixed.pgm", "P5\n2 1\n255\n\x01\x02P5\n3 1\n255\n\x03\x04\x05", "refused"},
        {"c.pfm", "PF\n1 1\n-1.0\n123456789012", "refused"},
        {"huge.pgm", "P5\n2000000000 2000000000\n255\n\x01", "refused"},
        // clang-format off
        // Bilevel without a BitsPerSample tag: libtiff's default of 1 bit applies.
        {"nobps.tif", tiff({{10, 2, {photo(PHOTOMETRIC_MINISBLACK)}, {{0xa0, 0x40, 0x00, 0xc0}}}}),
         "IMAGE_BOOL 10x2x1: 1 0 1 0 0 0 0 0 0 1 0 0 0 0 0 0 0 0 1 1"},
        {"white1.tif", tiff({{3, 1, {bps(1), photo(PHOTOMETRIC_MINISWHITE)}, {{0xa0}}}}),
         "IMAGE_BOOL 3x1x1: 0 1 0"},
        {"white8.tif", tiff({{3, 1, {bps(8), photo(PHOTOMETRIC_MINISWHITE)}, {{0, 5, 255}}}}),
         "IMAGE_GREY_8 3x1x1: 255 250 0"},
        {"grey4.tif", tiff({{3, 1, {bps(4), photo(PHOTOMETRIC_MINISBLACK)}, {{0x1f, 0x70}}}}),
         "IMAGE_GREY_8 3x1x1: 1 15 7"},
        {"planes.tif", tiff({{2, 1, {bps(8), spp(3), photo(PHOTOMETRIC_RGB), separate},
                              {{1, 2}, {3, 4}, {5, 6}}}}), "IMAGE_RGB_8I 2x1x1: 1 3 5 2 4 6"},
        {"rgba.tif", tiff({{2, 1, {bps(8), spp(4), photo(PHOTOMETRIC_RGB),
                            {TIFFTAG_COMPRESSION, COMPRESSION_LZW}}, {{1, 2, 3, 0, 4, 5, 6, 128}}, 1}}),
         "IMAGE_RGB_8I 2x1x1: 1 2 3 4 5 6"},
        // Pages that differ in size do not make a volume.
        {"mixed.tif", tiff({{2, 1, {bps(8)}, {{1, 2}}}, {1, 1, {bps(8)}, {{3}}}}), "refused"},
        // Up to 16 samples beyond a pixel's colours are read (and dropped); one more is refused.
        {"spp7.tif", tiff({{2, 1, {bps(8), spp(7), photo(PHOTOMETRIC_RGB)}, {ramp(14)}, 4}}),
         "IMAGE_RGB_8I 2x1x1: 1 2 3 8 9 10"},
        {"spp17.tif", tiff({{2, 1, {bps(8), spp(17), photo(PHOTOMETRIC_MINISBLACK)}, {ramp(34)}, 16}}),
         "IMAGE_GREY_8 2x1x1: 1 18"},
        {"spp18.tif", tiff({{2, 1, {bps(8), spp(18), photo(PHOTOMETRIC_MINISBLACK)}, {ramp(36)}, 17}}),
         "refused"},
        // clang-format on
        {"grey.png", qt(greyPalette, "PNG"), "IMAGE_GREY_8 2x1x1: 200 10"},
        {"colour.png", qt(colourPalette, "PNG"), "IMAGE_RGB_8I 2x1x1: 200 0 9 10 10 10"},
        {"bilevel.png", qt(bilevel, "PNG"), "IMAGE_BOOL 3x1x1: 1 0 1"},
        {"bilevel.bmp", qt(bilevel, "BMP"), "IMAGE_BOOL 3x1x1: 1 0 1"},
        {"alpha.png", qt(alpha, "PNG"), "IMAGE_RGB_8I 1x1x1: 100 150 200"},
        {"p.gif", kPaletteGif, "IMAGE_RGB_8I 5x3x1: " + gif + gif + gif + "0 0 0 10 120 250 200 30 40"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(readBytes(dir, c.name, c.bytes), c.expected) << c.name;
}

TEST(ImageIoTiff, StripSizesAreBoundedBeforeAnythingIsDecoded) {
    pxmtest::TempDir dir;
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
        const Tags tags = {{TIFFTAG_BITSPERSAMPLE, 8},
                           {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
                           {TIFFTAG_COMPRESSION, c.compression}};
        const bool raw = !c.raw.empty();
        writeTiff(
            path,
            {{c.w, c.h, tags, {raw ? c.raw : std::vector<std::uint8_t>(std::size_t(c.w) * c.h)}, 0, raw}});
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
        EXPECT_TRUE(TIFFGetField(tif, TIFFTAG_PAGENUMBER, &number, &total) && number == page && total == 3)
            << number << " of " << total;
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
        const std::size_t size =
            std::size_t(pxmtest::readFile(QString::fromLocal8Bit(packed.c_str())).size());
        EXPECT_TRUE(std::string(compression) == "packbits" || size < plain) << size;
    }
    CValueMap bad;
    bad.SetString("compression", "zstd-ultra");
    EXPECT_THROW(CImageIo2::Save(dir.localPath("bad.tif"), stack, &bad), CException);
    // Big-endian strips, compressed tiles and BigTIFF take the other reading paths.
    for (const char* mode : {"wb", "wl", "w8"}) {
        SCOPED_TRACE(mode);
        const bool tiled = mode[1] == 'l';
        const std::uint32_t across = tiled ? 16 : 40, down = tiled ? 16 : 7; // a tile's or a strip's size
        Tags tags = {{TIFFTAG_BITSPERSAMPLE, 16}, {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK}};
        if (tiled)
            tags.insert(tags.end(), {{TIFFTAG_TILEWIDTH, 16},
                                     {TIFFTAG_TILELENGTH, 16},
                                     {TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE}});
        else
            tags.push_back({TIFFTAG_ROWSPERSTRIP, 7});
        std::vector<Page> pages(3, Page{40, 20, tags, {}});
        for (std::uint32_t z = 0; z < 3; ++z)
            for (std::uint32_t top = 0; top < 20; top += down)
                for (std::uint32_t left = 0; left < 40; left += across) {
                    // Tiles are padded to their full size; the last strip is shorter.
                    std::vector<std::uint8_t> piece(2 * across * (tiled ? down : std::min(down, 20 - top)));
                    for (std::uint32_t y = top; y < std::min(top + down, 20u); ++y)
                        for (std::uint32_t x = left; x < std::min(left + across, 40u); ++x)
                            std::memcpy(&piece[2 * ((y - top) * across + x - left)], stack.voxel(x, y, z), 2);
                    pages[z].strips.push_back(piece);
                }
        const std::string other = dir.localPath(QString("other-%1.tif").arg(mode));
        writeTiff(other, pages, mode);
        std::unique_ptr<CImage> back(CImageIo2::Load(other));
        ASSERT_EQ(back->size(), stack.size());
        EXPECT_EQ(std::memcmp(back->data(), stack.data(), stack.byteCount()), 0);
    }
}

TEST(ImageIoOkav, HeaderIsLittleEndianAndHostileSizesAreRefusedBeforeAllocating) {
    pxmtest::TempDir dir;
    CImage img(IMAGE_GREY_16, CSize(3, 2, 1));
    img.data()[0] = 0x34, img.data()[1] = 0x12;
    CImageIo2::Save(dir.localPath("v.okav"), img);
    const QByteArray bytes = pxmtest::readFile(dir.path("v.okav"));
    ASSERT_EQ(bytes.size(), 64 + 12);
    // "OKAV", version 1.0, header size, type code, channels, bytes a channel, x, y, z, voxel bytes, zeros.
    const QByteArray header =
        "OKAV" + QByteArray::fromHex("0100 0000 40000000 01000000 01000000 02000000"
                                     "0300000000000000 0200000000000000 0100000000000000"
                                     "0c00000000000000 0000000000000000");
    EXPECT_EQ(bytes.left(66).toHex(' '), (header + "\x34\x12").toHex(' '));
    // 2^20 × 2^20 × 2^10 voxels of 2^51 bytes: a consistent header on a tiny file, plain and compressed.
    const QByteArray hostile = header.left(24) +
                               QByteArray::fromHex("0000100000000000 0000100000000000 0004000000000000"
                                                   "0000000000000800") +
                               header.mid(56);
    EXPECT_EQ(readBytes(dir, "h.okav", hostile + QByteArray(100, '\0')), "refused");
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
    EXPECT_TRUE(read.contains("TIFF images (*.tif *.tiff)") && read.size() == write.size() + 1);
    EXPECT_TRUE(CImageIo2::CanRead("x.gif") && !CImageIo2::CanWrite("x.gif"));
    EXPECT_FALSE(CImageIo2::CanRead("x.gz") || CImageIo2::CanRead("png") || CImageIo2::CanWrite("x.txt"));
}

// Sizes beyond the memory budget are refused before anything is allocated, also where a library allocates
// first.

TEST(MemoryBudget, FollowsTheMachineAndCanBeLowered) {
    const std::uint64_t machine = MemoryBudget::machineLimit();
    EXPECT_GT(machine, std::uint64_t(64) << 20) << "any machine that runs us can give 64 MiB";
    {
        const BudgetScope scope(1000);
        EXPECT_TRUE(MemoryBudget::limit() == 1000u && MemoryBudget::fits(1000) && !MemoryBudget::fits(1001));
    }
    EXPECT_EQ(MemoryBudget::limit(), machine);
    struct Case {
        std::uint64_t bytes;
        const char* text;
    };
    for (const Case& c : {Case{0, "0 bytes"}, Case{1023, "1023 bytes"}, Case{1536, "1.5 KiB"},
                          Case{std::uint64_t(3) << 30, "3.0 GiB"}, Case{std::uint64_t(5) << 40, "5.0 TiB"}})
        EXPECT_EQ(MemoryBudget::describe(c.bytes), c.text);
}

TEST(MemoryBudget, EveryCodecRefusesAnImageOverTheBudgetAlsoWhereTheHeaderHidesTheCost) {
    pxmtest::TempDir dir;
    // OpenJPEG allocates the parameters of every tile while it reads the header: a small
    // image cut into one-pixel tiles (XTsiz, YTsiz) must be refused before that.
    const std::string j2k = dir.localPath("tiles.j2k");
    CImageIo2::Save(j2k, CImage(IMAGE_GREY_8, CSize(64, 48, 1)));
    QByteArray tiles = pxmtest::readFile(QString::fromStdString(j2k));
    ASSERT_EQ(tiles.left(4), QByteArray("\xff\x4f\xff\x51", 4));
    tiles.replace(24, 8, QByteArray("\0\0\0\1\0\0\0\1", 8));
    // An icon whose directory says 1 x 1; the bitmap inside, whose header Qt follows, is 3000
    // wide and 6000 high (colour and transparency rows) at 32 bits: 68.7 MiB.
    const QByteArray ico = QByteArray("\0\0\1\0\1\0\1\1\0\0\1\0\x20\0\x2c\0\0\0\x16\0\0\0", 22) +
                           QByteArray("\x28\0\0\0\xb8\x0b\0\0\x70\x17\0\0\1\0\x20\0", 16) +
                           QByteArray(28, '\0');
    // A GIF screen 0 wide and 65534 high with a frame at x = 256, 2049 wide: Qt widens the
    // screen to the frame's right edge and allocates 2305 x 65534 pixels of 4 bytes (576.2 MiB),
    // and a few scanlines of the reported 2305 x 700 size besides.
    const QByteArray gifBytes = pxmtest::readFile(
        QFileInfo(__FILE__).dir().filePath("../fuzz/crashes/gif/tall-screen-zero-width.gif"));
    struct Case {
        const char* name;
        EnImageType type;     // of a 64 x 48 image saved there when no bytes are given
        QByteArray bytes;     // the file, which loads within the machine's budget when saved here
        std::uint64_t budget; // 0: the machine's
        const char* refusal;  // what the message says before the memory it needs
    };
    // Saved images get a budget below a single layer of the smallest type, above the file's header.
    const std::uint64_t layer = 2048, mib = 1 << 20;
    const char *own = "An image of", *qt = "Decoding an image", *jpeg2000 = "Decoding a JPEG 2000 image";
    const char *tileMessage = "JPEG 2000 image of 64x48 pixels in 3072 tiles needs",
               *icoMessage = "needs 68.7 MiB of memory, more than the 8.0 MiB",
               *gifMessage = "needs 576.3 MiB of memory";
    const Case cases[] = {
        {"a.pbm", IMAGE_BOOL, {}, layer, own},          {"a.pgm", IMAGE_GREY_16, {}, layer, own},
        {"a.ppm", IMAGE_RGB_8I, {}, layer, own},        {"a.pfm", IMAGE_GREY_F, {}, layer, own},
        {"a.pam", IMAGE_GREY_8, {}, layer, own},        {"a.tif", IMAGE_RGB_8I, {}, layer, own},
        {"a.okav", IMAGE_GREY_8, {}, layer, own},       {"a.okav.gz", IMAGE_GREY_16, {}, layer, own},
        {"a.png", IMAGE_GREY_8, {}, layer, qt},         {"b.png", IMAGE_RGB_8I, {}, layer, qt},
        {"a.jpg", IMAGE_RGB_8I, {}, layer, qt},         {"a.bmp", IMAGE_GREY_8, {}, layer, qt},
        {"a.ico", IMAGE_RGB_8I, {}, layer, qt},         {"a.jp2", IMAGE_GREY_8, {}, layer, jpeg2000},
        {"a.j2k", IMAGE_RGB_8I, {}, layer, jpeg2000},   {"a.gif", {}, gifBytes, 64 * mib, gifMessage},
        {"tiles.j2k", {}, tiles, 4 * mib, tileMessage}, {"b.ico", {}, ico, 8 * mib, icoMessage}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.localPath(c.name);
        if (c.bytes.isEmpty())
            CImageIo2::Save(path, CImage(c.type, CSize(64, 48, 1)));
        ASSERT_TRUE(c.bytes.isEmpty() || pxmtest::writeFile(dir.path(c.name), c.bytes));
        {
            const BudgetScope scope(c.budget);
            const std::string error = loadError(path);
            EXPECT_NE(error.find(c.refusal), std::string::npos) << error;
            EXPECT_NE(error.find("one image may use on this machine"), std::string::npos) << error;
        }
        EXPECT_TRUE(!c.bytes.isEmpty() || loadError(path).empty())
            << "the same file loads within the machine's budget";
    }
    // 16 TiB: the size arithmetic fits, the memory of no desktop does.
    const std::string error =
        pxmtest::thrownMessage([] { CImage(IMAGE_GREY_8, CSize(1u << 22, 1u << 22, 1)); });
    EXPECT_NE(error.find("An image of 4194304x4194304x1 voxels needs 16.0 TiB of memory"), std::string::npos)
        << error;
}

// The header gives the size (pages the depth); the voxel size (µm) comes from resolution tags or ImageJ.
TEST(ImageIoTiff, SizeAndVoxelSizeFromTheHeader) {
    pxmtest::TempDir dir;
    const std::string volume = dir.localPath("stack.tif");
    CImageIo2::Save(volume, CImage(IMAGE_GREY_16, CSize(7, 5, 3)));
    // Every codec's size is checked in the round trip; here a missing file, and a GIF named as a TIFF.
    ASSERT_TRUE(pxmtest::writeFile(dir.path("gif.tif"), kPaletteGif));
    for (const std::string& bad : {dir.localPath("missing.tif"), dir.localPath("gif.tif")})
        EXPECT_THROW(CImageIo2::ReadSize(bad), CException) << bad;
    double size[3] = {};
    EXPECT_FALSE(io::TiffCodec::voxelSize(volume, size)) << "no resolution tags";
    struct Case {
        std::uint16_t unit;
        float resolution;
        const char* description;
        std::vector<double> expected;
    };
    for (const Case& c :
         {Case{RESUNIT_CENTIMETER, 2, nullptr, {5000, 5000, 5000}},
          Case{RESUNIT_NONE, 4, "ImageJ=1.53t\nunit=micron\nspacing=2.5\n", {0.25, 0.25, 2.5}},
          Case{RESUNIT_NONE, 4, "ImageJ=1.53t\n", {}}}) {
        const std::string path = dir.localPath("resolution.tif");
        Tags tags = {{TIFFTAG_BITSPERSAMPLE, 8},
                     {TIFFTAG_XRESOLUTION, double(c.resolution)},
                     {TIFFTAG_YRESOLUTION, double(c.resolution)},
                     {TIFFTAG_RESOLUTIONUNIT, c.unit}};
        if (c.description)
            tags.push_back({TIFFTAG_IMAGEDESCRIPTION, c.description});
        writeTiff(path, {{1, 1, tags, {{0}}}});
        const bool known = io::TiffCodec::voxelSize(path, size);
        EXPECT_EQ(known ? std::vector<double>(size, size + 3) : std::vector<double>(), c.expected);
    }
}
