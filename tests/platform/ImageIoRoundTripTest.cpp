// SPDX-License-Identifier: MIT
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "support/TestSupport.h"

#include <QDir>
#include <algorithm>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

using namespace KYVO;

namespace {

/// Voxels that use each type's range: smooth enough for JPEG, high bits set in 16-bit
/// images, negative and fractional floats.
CImage makePattern(EnImageType type, const CSize& size) {
    CImage img(type, size);
    for (std::size_t z = 0; z < size.z; ++z)
        for (std::size_t y = 0; y < size.y; ++y)
            for (std::size_t x = 0; x < size.x; ++x) {
                std::uint8_t* v = img.voxel(x, y, z);
                const std::uint16_t s = std::uint16_t(x * 1500 + y * 700 + z * 9000 + 30000);
                const float f = (float(x) - 10.5f) * 0.25f + float(y) * 1e3f - float(z) * 0.125f;
                switch (type) {
                case IMAGE_GREY_8:
                    v[0] = std::uint8_t(x * 5 + y * 3 + z * 40);
                    break;
                case IMAGE_GREY_16:
                    std::memcpy(v, &s, 2);
                    break;
                case IMAGE_GREY_F:
                    std::memcpy(v, &f, 4);
                    break;
                case IMAGE_BOOL:
                    v[0] = (x / 3 + y + z) % 2;
                    break;
                case IMAGE_RGB_8I:
                    v[0] = std::uint8_t(x * 6), v[1] = std::uint8_t(y * 9),
                    v[2] = std::uint8_t(x + y + z * 30);
                    break;
                }
            }
    return img;
}

int maxByteDifference(const CImage& a, const CImage& b) {
    int worst = 0;
    for (std::size_t i = 0; i < a.byteCount(); ++i)
        worst = std::max(worst, std::abs(int(a.data()[i]) - int(b.data()[i])));
    return worst;
}

/// A GIF with a 4-colour palette, LZW-coded with a clear code before every pair of pixels
/// so that codes stay 3 bits wide.
QByteArray makeGif(int w, int h, const std::vector<std::uint8_t>& indices, const std::uint8_t palette[4][3]) {
    QByteArray g("GIF89a");
    auto put16 = [&](int v) { g.append(char(v & 0xff)).append(char(v >> 8)); };
    put16(w), put16(h);
    g.append(char(0x81)).append(2, '\0');
    g.append(reinterpret_cast<const char*>(palette), 12);
    g.append(',');
    put16(0), put16(0), put16(w), put16(h);
    g.append('\0').append(char(2));
    QByteArray data;
    std::uint32_t acc = 0;
    int bits = 0;
    auto code = [&](std::uint32_t c) {
        acc |= c << bits;
        for (bits += 3; bits >= 8; bits -= 8, acc >>= 8)
            data.append(char(acc & 0xff));
    };
    for (std::size_t i = 0; i < indices.size(); ++i) {
        if (i % 2 == 0)
            code(4);
        code(indices[i]);
    }
    code(5);
    if (bits)
        data.append(char(acc));
    for (int i = 0; i < data.size(); i += 255) {
        const int n = std::min(255, int(data.size()) - i);
        g.append(char(n)).append(data.mid(i, n));
    }
    return g.append('\0').append(';');
}

void expectLoadFails(const std::string& path, const char* what) {
    SCOPED_TRACE(what);
    try {
        std::unique_ptr<CImage> img(CImageIo2::Load(path));
        ADD_FAILURE() << "loaded " << path;
    } catch (const CException& e) {
        EXPECT_NE(std::string(e.what()).find(path), std::string::npos) << e.what();
    }
}

} // namespace

TEST(ImageIo, EveryCodecRoundTripsEveryTypeItHolds) {
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
    int n = 0;
    for (const Case& c : cases) {
        const std::string path = dir.localPath(QString("img%1%2").arg(n++).arg(c.ending));
        SCOPED_TRACE(path + " " + ImageTypeName(c.type));
        const CImage original = makePattern(c.type, c.size);
        ASSERT_TRUE(CImageIo2::CanWrite(path) && CImageIo2::CanRead(path));
        CImageIo2::Save(path, original);
        std::unique_ptr<CImage> loaded(CImageIo2::Load(path));
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->type(), c.readType);
        ASSERT_EQ(loaded->size(), c.size);
        ASSERT_EQ(loaded->byteCount(), original.byteCount());
        if (c.tolerance)
            EXPECT_LE(maxByteDifference(*loaded, original), c.tolerance);
        else
            EXPECT_EQ(std::memcmp(loaded->data(), original.data(), original.byteCount()), 0);
    }
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), n) << "no temporary file is left behind";

    // GIF is read only: a hand-made one with a colour palette.
    const std::uint8_t palette[4][3] = {{0, 0, 0}, {255, 255, 255}, {200, 30, 40}, {10, 120, 250}};
    std::vector<std::uint8_t> indices(5 * 3);
    for (std::size_t i = 0; i < indices.size(); ++i)
        indices[i] = std::uint8_t((i * 7) % 4);
    ASSERT_TRUE(pxmtest::writeFile(dir.path("p.gif"), makeGif(5, 3, indices, palette)));
    std::unique_ptr<CImage> gif(CImageIo2::Load(dir.localPath("p.gif")));
    ASSERT_EQ(gif->type(), IMAGE_RGB_8I);
    ASSERT_EQ(gif->size(), CSize(5, 3, 1));
    for (std::size_t i = 0; i < indices.size(); ++i)
        EXPECT_EQ(std::memcmp(gif->data() + 3 * i, palette[indices[i]], 3), 0) << "pixel " << i;
}

TEST(ImageIo, TruncatedAndCorruptFilesOfEveryCodecThrowNamingThePath) {
    pxmtest::TempDir dir;
    using Mutation = std::function<void(QByteArray&)>;
    auto at = [](int offset, QByteArray bytes) -> Mutation {
        return [=](QByteArray& d) { d.replace(offset, bytes.size(), bytes); };
    };
    auto after = [](QByteArray marker, int skip, QByteArray bytes) -> Mutation {
        return [=](QByteArray& d) { d.replace(d.indexOf(marker) + skip, bytes.size(), bytes); };
    };
    struct Case {
        const char* ending;
        EnImageType type;
        Mutation corrupt;
    };
    const QByteArray ff(8, '\xff');
    const Case cases[] = {
        {".pgm", IMAGE_GREY_8, at(3, "x")},
        {".pbm", IMAGE_BOOL, at(3, "-")},
        {".ppm", IMAGE_RGB_8I, at(1, "9")},
        {".pfm", IMAGE_GREY_F, after("\n-1", 1, "abc")},
        {".pam", IMAGE_GREY_16, after("DEPTH", 6, "7")},
        {".png", IMAGE_GREY_8, after("IDAT", 6, "\x55\xaa\x55")},
        {".jpg", IMAGE_RGB_8I, at(2, QByteArray(40, '\x01'))},
        {".bmp", IMAGE_RGB_8I, at(14, ff)},
        {".ico", IMAGE_RGB_8I, at(4, ff)},
        {".jp2", IMAGE_GREY_8, after("\xff\x4f\xff\x51", 4, ff)},
        {".j2k", IMAGE_RGB_8I, after("\xff\x4f\xff\x51", 4, ff)},
        {".tif", IMAGE_GREY_16, at(4, ff.left(4))},
        {".okav", IMAGE_GREY_F, at(12, "\x63")},
        {".okav.gz", IMAGE_GREY_8, [](QByteArray& d) { d[d.size() / 2] = char(d[d.size() / 2] ^ 0x5a); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.ending);
        const QString name = QString("good") + c.ending;
        CImageIo2::Save(dir.localPath(name), makePattern(c.type, CSize(40, 30, c.ending[1] == 'o' ? 2 : 1)));
        QByteArray bytes = pxmtest::readFile(dir.path(name));
        ASSERT_GT(bytes.size(), 40);
        ASSERT_TRUE(pxmtest::writeFile(dir.path(QString("cut") + c.ending), bytes.left(bytes.size() / 2)));
        expectLoadFails(dir.localPath(QString("cut") + c.ending), "truncated");
        c.corrupt(bytes);
        ASSERT_TRUE(pxmtest::writeFile(dir.path(QString("bad") + c.ending), bytes));
        expectLoadFails(dir.localPath(QString("bad") + c.ending), "corrupt");
    }
    const std::uint8_t palette[4][3] = {};
    const QByteArray gif = makeGif(8, 8, std::vector<std::uint8_t>(64, 1), palette);
    ASSERT_TRUE(pxmtest::writeFile(dir.path("cut.gif"), gif.left(gif.size() - 12)));
    expectLoadFails(dir.localPath("cut.gif"), "truncated");
    ASSERT_TRUE(pxmtest::writeFile(dir.path("bad.gif"), QByteArray(gif).replace(25, 1, "x")));
    expectLoadFails(dir.localPath("bad.gif"), "corrupt");

    expectLoadFails(dir.localPath("missing.png"), "missing");
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.tif"));
    expectLoadFails(dir.localPath("folder.tif"), "directory");
    ASSERT_TRUE(pxmtest::writeFile(dir.path("x.gz"), "data"));
    expectLoadFails(dir.localPath("x.gz"), "unknown ending");
    ASSERT_TRUE(pxmtest::writeFile(dir.path("empty.tif"), ""));
    expectLoadFails(dir.localPath("empty.tif"), "empty");
}

TEST(ImageIo, RefusedOrFailedSavesKeepTheOldFileAndLeaveNoTemporary) {
    pxmtest::TempDir dir;
    const CImage grey = makePattern(IMAGE_GREY_8, CSize(6, 4, 1));
    const char* const targets[] = {"keep.png", "keep.pbm", "keep.bmp", "keep.jp2", "keep.gif"};
    CImageIo2::Save(dir.localPath("keep.png"), grey);
    CImageIo2::Save(dir.localPath("keep.pbm"), grey);
    CImageIo2::Save(dir.localPath("keep.bmp"), grey);
    CImageIo2::Save(dir.localPath("keep.jp2"), grey);
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
        try {
            CImageIo2::Save(path, r.image);
            ADD_FAILURE() << "saved";
        } catch (const CException& e) {
            EXPECT_NE(std::string(e.what()).find(path), std::string::npos) << e.what();
        }
    }
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_EQ(pxmtest::readFile(dir.path(targets[i])), before[i]) << targets[i];

    // A target that cannot be replaced (a directory) and one in a missing directory.
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.png"));
    EXPECT_THROW(CImageIo2::Save(dir.localPath("folder.png"), grey), CException);
    EXPECT_THROW(CImageIo2::Save(dir.localPath("missing/x.png"), grey), CException);
    EXPECT_TRUE(QFileInfo(dir.path("folder.png")).isDir());
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), int(before.size())) << "no temporary is left";
}
