// SPDX-License-Identifier: MIT
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/GzStream.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <string>

using namespace KYVO;

TEST(CImage, TypesSizesLayoutAndCopies) {
    struct Case {
        EnImageType type;
        const char* name;
        int channels;
        int bytes;
    };
    const Case cases[] = {{IMAGE_GREY_8, "IMAGE_GREY_8", 1, 1},
                          {IMAGE_GREY_16, "IMAGE_GREY_16", 1, 2},
                          {IMAGE_GREY_F, "IMAGE_GREY_F", 1, 4},
                          {IMAGE_BOOL, "IMAGE_BOOL", 1, 1},
                          {IMAGE_RGB_8I, "IMAGE_RGB_8I", 3, 3}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_STREQ(ImageTypeName(c.type), c.name);
        EnImageType parsed;
        ASSERT_TRUE(ImageTypeFromName(c.name, &parsed));
        EXPECT_EQ(parsed, c.type);

        CImage img(c.type, CSize(5, 3, 2));
        EXPECT_EQ(img.channels(), c.channels);
        EXPECT_EQ(img.size().Elements(), 30u);
        ASSERT_EQ(img.byteCount(), std::size_t(30 * c.bytes));
        for (std::size_t i = 0; i < img.byteCount(); ++i)
            ASSERT_EQ(img.data()[i], 0) << "new images are zero-filled";

        // x fastest, then y, then z.
        EXPECT_EQ(img.voxel(4, 2, 1) - img.data(), std::ptrdiff_t((4 + 5 * 2 + 15 * 1) * c.bytes));
        img.voxel(4, 2, 1)[0] = 7;
        CImage copy(img);
        img.voxel(4, 2, 1)[0] = 9;
        EXPECT_EQ(copy.voxel(4, 2, 1)[0], 7) << "a copy does not share voxels";
        EXPECT_EQ(copy.type(), c.type);
    }
    EXPECT_FALSE(ImageTypeFromName("IMAGE_RGBA", nullptr));
}

TEST(CImage, HostileSizesThrowInsteadOfOverflowing) {
    EXPECT_THROW(CImage(IMAGE_GREY_F, CSize(std::size_t(1) << 40, std::size_t(1) << 40, 16)), CException);
    CImage empty(IMAGE_GREY_8, CSize(0, 0, 0));
    EXPECT_NE(empty.data(), nullptr);
    EXPECT_EQ(empty.byteCount(), 0u);
}

TEST(CException, LocationComesFromTheThrowSite) {
    try {
        KYVO_THROW("broken input");
        FAIL();
    } catch (const CException& e) {
        EXPECT_STREQ(e.what(), "broken input");
        EXPECT_EQ(e.File(), "CoreTypesTest");
        EXPECT_GT(e.Line(), 0);
        EXPECT_NE(e.Function().find("TestBody"), std::string::npos);
        const std::string formatted = e.FormattedWhat();
        EXPECT_EQ(formatted.rfind("broken input", 0), 0u);
        EXPECT_NE(formatted.find("CoreTypesTest:" + std::to_string(e.Line())), std::string::npos);
    }
    EXPECT_EQ(SourceBaseName("C:\\src\\ui\\MainWindow.cpp"), "MainWindow");
    EXPECT_EQ(SourceBaseName("/a/b/PPixmarker.cpp"), "PPixmarker");
}

TEST(GzStream, RoundTripLargeAndSmallWritesAndDetectsTruncation) {
    pxmtest::TempDir dir;
    const std::string path = dir.localPath("data.gz");
    std::string big(3 << 20, '\0');
    for (std::size_t i = 0; i < big.size(); ++i)
        big[i] = char((i * 7919) >> 5);
    {
        gzofstream out(path.c_str());
        ASSERT_TRUE(out.is_open());
        out << "header line\n";
        out.write(big.data(), std::streamsize(big.size()));
        out.close();
        ASSERT_TRUE(out.good());
    }
    {
        gzifstream in(path.c_str());
        std::string line;
        std::getline(in, line);
        EXPECT_EQ(line, "header line");
        std::string back(big.size(), '\0');
        in.read(&back[0], std::streamsize(back.size()));
        EXPECT_EQ(in.gcount(), std::streamsize(big.size()));
        EXPECT_TRUE(back == big);
        EXPECT_FALSE(in.corrupt());
    }
    // Cut the file in half: reading must stop early and say the stream is corrupt.
    QByteArray bytes = pxmtest::readFile(QString::fromStdString(path));
    ASSERT_TRUE(pxmtest::writeFile(QString::fromStdString(path), bytes.left(bytes.size() / 2)));
    gzifstream in(path.c_str());
    std::string back(big.size() + 64, '\0');
    in.read(&back[0], std::streamsize(back.size()));
    EXPECT_LT(in.gcount(), std::streamsize(big.size()));
    EXPECT_TRUE(in.corrupt());

    gzifstream missing(dir.localPath("missing.gz").c_str());
    EXPECT_FALSE(missing.is_open());
    EXPECT_TRUE(missing.fail());
}
