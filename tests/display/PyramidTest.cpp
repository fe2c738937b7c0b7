// SPDX-License-Identifier: MIT
// Large TIFFs read on demand: levels, the level painted at each zoom, and tile memory while panning.
#include "display/PyramidItem.h"
#include "display/TileCache.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/io/TiffOverviews.h"
#include "platform/io/TiffPyramid.h"
#include "support/PyramidTiff.h"
#include "support/TestSupport.h"

#include <QtGui>
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

using KYVO::io::TiffPyramid;

namespace {

// Blocks of 64 pixels at level 0, so every level up to 64x smaller samples the same block value.
uint8_t blockValue(uint32_t x, uint32_t y) {
    return uint8_t((x / 64) * 37 + (y / 64) * 11);
}

pxmtest::PyramidTiff blocks(bool subIfds, bool rgb) {
    pxmtest::PyramidTiff tiff;
    tiff.width = 2000;
    tiff.height = 1500;
    tiff.levels = 4;
    tiff.tile = 128;
    tiff.rgb = rgb;
    tiff.subIfds = subIfds;
    tiff.value = [](int level, uint32_t x, uint32_t y) { return blockValue(x << level, y << level); };
    return tiff;
}

} // namespace

TEST(PyramidTest, SubIfdAndPagePyramidsShowTheSamePixelsAndTheItemPaintsItsZoomsLevelWithinItsTileBudget) {
    for (const auto& [subIfds, rgb] :
         {std::pair{true, false}, std::pair{true, true}, std::pair{false, false}, std::pair{false, true}}) {
        SCOPED_TRACE(std::string(subIfds ? "SubIFDs" : "pages") + (rgb ? ", RGB" : ", grey"));
        pxmtest::TempDir dir;
        const std::string path = dir.localPath("pyramid.tif");
        pxmtest::writePyramidTiff(path, blocks(subIfds, rgb));
        const auto pyramid = std::make_shared<const TiffPyramid>(path);
        ASSERT_EQ(pyramid->levelCount(), 4);
        EXPECT_EQ(pyramid->type(), rgb ? KYVO::IMAGE_RGB_8I : KYVO::IMAGE_GREY_8);
        EXPECT_EQ(std::pair(pyramid->level(3).width, pyramid->level(3).height), std::pair(250u, 187u));
        // A region across tile edges, clipped at the image's right edge.
        const auto region = pyramid->read(0, 1900, 100, 300, 200);
        ASSERT_EQ(region->size(), KYVO::CSize(100, 200, 1));
        int wrong = 0;
        for (uint32_t y = 0; y < 200; ++y)
            for (uint32_t x = 0; x < 100; ++x)
                wrong += region->value(x, y, 0) != blockValue(1900 + x, 100 + y);
        EXPECT_EQ(wrong, 0);
        EXPECT_THROW(pyramid->read(1, 1000, 0, 10, 10), KYVO::CException);
        // The point (1000, 700) as the item shows it at every level.
        Pictor::PyramidItem item(pyramid);
        for (int level = 0; level < 4; ++level)
            EXPECT_EQ(qRed(item.displayedPixel(level, 1000 >> level, 700 >> level)), blockValue(1000, 700))
                << "level " << level;
        if (!subIfds || rgb)
            continue;
        EXPECT_EQ(item.tileSize(), 128);
        for (const auto& [zoom, level] : std::vector<std::pair<double, int>>{
                 {4.0, 0}, {1.0, 0}, {0.6, 0}, {0.5, 1}, {0.3, 1}, {0.25, 2}, {0.125, 3}, {0.01, 3}})
            EXPECT_EQ(item.levelFor(zoom), level) << "zoom " << zoom;
        // Pan a 400 x 300 window across the whole image at 1:1 with room for 24 tiles, with a fresh item.
        Pictor::PyramidItem panned(pyramid);
        Pictor::TileCache& cache = Pictor::TileCache::shared();
        const std::size_t capacity = cache.capacity();
        cache.setCapacity(24 * 128 * 128 * 4);
        std::size_t peak = 0;
        QImage screen(400, 300, QImage::Format_RGB32);
        for (int y = 0; y < 1500; y += 150) {
            for (int x = 0; x < 2000; x += 200) {
                QPainter painter(&screen);
                painter.translate(-x, -y);
                panned.paint(&painter, nullptr);
                painter.end();
                peak = std::max(peak, cache.byteSize());
                EXPECT_EQ(qRed(screen.pixel(10, 10)), blockValue(uint32_t(x + 10), uint32_t(y + 10)));
            }
        }
        EXPECT_LE(peak, cache.capacity());
        EXPECT_GE(panned.convertedTileCount(), 16u * 12u); // every tile of level 0 was read at least once
        cache.setCapacity(capacity);
    }
}

TEST(PyramidTest, OverviewsAreBuiltOnceAndMatchTheFileAndStacksAndBrokenFilesAreRefused) {
    pxmtest::TempDir dir;
    pxmtest::PyramidTiff tiff = blocks(true, false);
    tiff.width = 3000;
    tiff.levels = 1;
    tiff.rowsPerStrip = 7;
    const std::string path = dir.localPath("flat.tif");
    pxmtest::writePyramidTiff(path, tiff);
    const std::string cache = dir.localPath("cache");
    EXPECT_TRUE(KYVO::io::TiffOverviews::needed(TiffPyramid(path)));
    EXPECT_TRUE(KYVO::io::TiffOverviews::find(path, cache).empty());
    // Stopped half way, nothing is left to be mistaken for a finished set.
    EXPECT_TRUE(KYVO::io::TiffOverviews::build(path, cache, [](double done) { return done < 0.5; }).empty());
    EXPECT_TRUE(QDir(QString::fromStdString(cache)).entryList(QDir::Files).isEmpty());
    std::vector<double> steps;
    const auto files = KYVO::io::TiffOverviews::build(path, cache, [&](double done) {
        steps.push_back(done);
        return true;
    });
    ASSERT_EQ(files.size(), 2u); // 1500 x 750, then 750 x 375
    EXPECT_EQ(KYVO::io::TiffOverviews::find(path, cache), files);
    EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
    EXPECT_NEAR(steps.back(), 1.0, 1e-9);
    const TiffPyramid pyramid(path, files);
    ASSERT_EQ(pyramid.levelCount(), 3);
    EXPECT_EQ(std::pair(pyramid.level(2).width, pyramid.level(2).height), std::pair(750u, 375u));
    EXPECT_FALSE(KYVO::io::TiffOverviews::needed(pyramid));
    // Inside a 64-pixel block the averages are the block's value.
    for (int level = 0; level < 3; ++level)
        EXPECT_EQ(pyramid.read(level, 1000 >> level, 700 >> level, 1, 1)->value(0, 0, 0),
                  blockValue(1000, 700));
    // An overview that does not fit the image is refused.
    EXPECT_THROW(TiffPyramid(path, {files[1], files[0]}), KYVO::CException);
    // Pages of one size are z-layers, not levels.
    pxmtest::PyramidTiff stack = blocks(false, false);
    stack.halve = false;
    pxmtest::writePyramidTiff(dir.localPath("stack.tif"), stack);
    EXPECT_THROW(TiffPyramid(dir.localPath("stack.tif")), KYVO::CException);
    EXPECT_THROW(TiffPyramid(dir.localPath("missing.tif")), KYVO::CException);
    ASSERT_TRUE(pxmtest::writeFile(dir.path("broken.tif"), QByteArray("II*\0\x08\0\0\0\xff\xff", 10)));
    EXPECT_THROW(TiffPyramid(dir.localPath("broken.tif")), KYVO::CException);
}
