// SPDX-License-Identifier: MIT
// Decoded sizes beyond the memory budget are refused with a message before anything is
// allocated for them, by CImage and by every codec whose library allocates first.
#include "platform/MemoryBudget.h"

#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

using namespace KYVO;

namespace {

/// Restores the machine's budget however the test ends.
struct BudgetScope {
    explicit BudgetScope(std::uint64_t bytes) { MemoryBudget::setLimit(bytes); }
    ~BudgetScope() { MemoryBudget::setLimit(0); }
};

std::string loadError(const std::string& path) {
    try {
        std::unique_ptr<CImage> image(CImageIo2::Load(path));
        return image ? "" : "no image";
    } catch (const CException& e) {
        return e.what();
    }
}

} // namespace

TEST(MemoryBudget, FollowsTheMachineAndCanBeLowered) {
    const std::uint64_t machine = MemoryBudget::machineLimit();
    EXPECT_GT(machine, std::uint64_t(64) << 20) << "any machine that runs us can give 64 MiB";
    EXPECT_EQ(MemoryBudget::limit(), machine);
    {
        const BudgetScope scope(1000);
        EXPECT_EQ(MemoryBudget::limit(), 1000u);
        EXPECT_TRUE(MemoryBudget::fits(1000));
        EXPECT_FALSE(MemoryBudget::fits(1001));
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

TEST(MemoryBudget, AnImageBeyondTheMachineIsRefusedBeforeAllocating) {
    // 16 TiB: the size arithmetic fits, the memory of no desktop does.
    try {
        CImage image(IMAGE_GREY_8, CSize(std::size_t(1) << 22, std::size_t(1) << 22, 1));
        FAIL() << "allocated " << image.byteCount() << " bytes";
    } catch (const CException& e) {
        EXPECT_NE(std::string(e.what()).find("An image of 4194304x4194304x1 voxels needs 16.0 TiB of memory"),
                  std::string::npos)
            << e.what();
    }
}

TEST(MemoryBudget, EveryCodecRefusesAnImageOverTheBudget) {
    pxmtest::TempDir dir;
    struct Case {
        const char* name;
        EnImageType type;
        const char* refusal; // how the message begins after the path
    };
    const Case cases[] = {
        {"a.pbm", IMAGE_BOOL, "An image of"},
        {"a.pgm", IMAGE_GREY_16, "An image of"},
        {"a.ppm", IMAGE_RGB_8I, "An image of"},
        {"a.pfm", IMAGE_GREY_F, "An image of"},
        {"a.pam", IMAGE_GREY_8, "An image of"},
        {"a.tif", IMAGE_RGB_8I, "An image of"},
        {"a.okav", IMAGE_GREY_8, "An image of"},
        {"a.okav.gz", IMAGE_GREY_16, "An image of"},
        {"a.png", IMAGE_GREY_8, "Decoding an image"},
        {"b.png", IMAGE_RGB_8I, "Decoding an image"},
        {"a.jpg", IMAGE_RGB_8I, "Decoding an image"},
        {"a.bmp", IMAGE_GREY_8, "Decoding an image"},
        {"a.ico", IMAGE_RGB_8I, "Decoding an image"},
        {"a.jp2", IMAGE_GREY_8, "Decoding a JPEG 2000 image"},
        {"a.j2k", IMAGE_RGB_8I, "Decoding a JPEG 2000 image"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.localPath(c.name);
        CImageIo2::Save(path, CImage(c.type, CSize(64, 48, 1)));
        {
            // Below a single layer of the smallest type, above the file's header.
            const BudgetScope scope(2048);
            const std::string error = loadError(path);
            EXPECT_NE(error.find(c.refusal), std::string::npos) << error;
            EXPECT_NE(error.find("one image may use on this machine"), std::string::npos) << error;
        }
        EXPECT_EQ(loadError(path), "") << "the same file loads within the machine's budget";
    }
}

TEST(MemoryBudget, JpegTwoThousandTilesCountBeforeOpenJpegSeesThem) {
    // OpenJPEG allocates the parameters of every tile while it reads the header; a header
    // that cuts a small image into one-pixel tiles must be refused before that.
    pxmtest::TempDir dir;
    const std::string path = dir.localPath("tiles.j2k");
    CImageIo2::Save(path, CImage(IMAGE_GREY_8, CSize(64, 48, 1)));
    QByteArray bytes = pxmtest::readFile(QString::fromStdString(path));
    ASSERT_EQ(bytes.left(4), QByteArray("\xff\x4f\xff\x51", 4));
    const QByteArray oneByOne("\0\0\0\1\0\0\0\1", 8); // XTsiz, YTsiz
    bytes.replace(24, 8, oneByOne);
    ASSERT_TRUE(pxmtest::writeFile(QString::fromStdString(path), bytes));

    const BudgetScope scope(std::uint64_t(4) << 20);
    const std::string error = loadError(path);
    EXPECT_NE(error.find("Decoding a JPEG 2000 image of 64x48 pixels in 3072 tiles needs"), std::string::npos)
        << error;
}

TEST(MemoryBudget, AGifCountsTheCanvasQtDrawsItsFrameInto) {
    // A screen 0 wide and 65534 high with a frame at x = 256, 2049 wide: Qt widens the screen
    // to the frame's right edge and allocates 2305 x 65534 pixels of 4 bytes (576.2 MiB), and
    // a few scanlines of the reported 2305 x 700 size besides.
    static const unsigned char gif[] = {'G',  'I', 'F',  '8',  '9',  'a', 0,    0, 0xfe, 0xff, 0x80,
                                        0,    0,   0xff, 0xff, 0xff, 0,   0,    0, 0x2c, 0,    1,
                                        0xbb, 0,   1,    8,    1,    2,   0x44, 1, 0,    0x3b};
    pxmtest::TempDir dir;
    ASSERT_TRUE(
        pxmtest::writeFile(dir.path("a.gif"), QByteArray(reinterpret_cast<const char*>(gif), sizeof gif)));
    const BudgetScope scope(std::uint64_t(64) << 20);
    const std::string error = loadError(dir.localPath("a.gif"));
    EXPECT_NE(error.find("needs 576.3 MiB of memory"), std::string::npos) << error;
}
