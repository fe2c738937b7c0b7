// SPDX-License-Identifier: MIT
#include "display/ImageItem.h"

#include "DisplayTestImages.h"
#include "display/TileCache.h"
#include "platform/CException.h"

#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>

using namespace Pictor;

namespace {

const QRgb kUntouched = qRgb(255, 0, 255);

/// Paints `item` into a device of `deviceSize` through `transform`, exposing `exposed` (item coordinates).
QImage paintItem(ImageItem& item, const QRectF& exposed, const QSize& deviceSize,
                 const QTransform& transform = QTransform()) {
    QImage device(deviceSize, QImage::Format_RGB32);
    device.fill(kUntouched);
    QPainter painter(&device);
    painter.setWorldTransform(transform);
    QStyleOptionGraphicsItem option;
    option.exposedRect = exposed;
    item.paint(&painter, &option);
    return device;
}

uint32_t greyAt(const QImage& image, int x, int y) {
    return uint32_t(qRed(image.pixel(x, y)));
}

struct TypeCase {
    const char* name;
    KYVO::CImage image;
    bool normalize;
    std::function<QRgb(int x, int y)> expected;
};

} // namespace

// Every pixel type through an exposed rectangle that crosses tile borders (tiles of 16 on a 40×30 layer).
TEST(ImageItem, PaintsExposedAreaWithTheRightColours) {
    const int w = 40, h = 30;
    const KYVO::CSize size(w, h, 2);
    std::vector<uint8_t> v8, vb, vrgb;
    std::vector<uint16_t> v16;
    std::vector<float> vf;
    for (int z = 0; z < 2; ++z)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                v8.push_back(uint8_t(50 + x + y)); // 50 … 118 on both layers
                vb.push_back(uint8_t((x + y) % 2));
                vrgb.insert(vrgb.end(), {uint8_t(x), uint8_t(y), uint8_t(200 + z)});
                // Layer 1 holds the volume's extremes: layer 0 must still use the whole-volume window.
                v16.push_back(z ? uint16_t(x == 0 ? 0 : 65280) : uint16_t(1000 + 1000 * x));
                vf.push_back(z ? -2.0f : (x == 3 ? std::numeric_limits<float>::quiet_NaN() : float(x) / 4));
            }
    auto grey = [](double g) { return qRgb(int(g), int(g), int(g)); };
    std::vector<TypeCase> cases;
    cases.push_back({"grey8", pxmtest::makeImage(KYVO::IMAGE_GREY_8, size, v8), false,
                     [&](int x, int y) { return grey(50 + x + y); }});
    cases.push_back({"grey8 normalized", pxmtest::makeImage(KYVO::IMAGE_GREY_8, size, v8), true,
                     [&](int x, int y) { return grey(std::floor((x + y) * 255.0 / 68 + 0.5)); }});
    cases.push_back({"bool", pxmtest::makeImage(KYVO::IMAGE_BOOL, size, vb), false,
                     [&](int x, int y) { return grey((x + y) % 2 ? 255 : 0); }});
    cases.push_back({"rgb", pxmtest::makeImage(KYVO::IMAGE_RGB_8I, size, vrgb), false,
                     [&](int x, int y) { return qRgb(x, y, 200); }});
    // Channel values span 0 … 201 over the volume; all three channels share that range.
    auto stretch = [](int c) { return int(std::floor(c * 255.0 / 201 + 0.5)); };
    cases.push_back({"rgb normalized", pxmtest::makeImage(KYVO::IMAGE_RGB_8I, size, vrgb), true,
                     [&](int x, int y) { return qRgb(stretch(x), stretch(y), stretch(200)); }});
    // Window 0 … 65280 = 255·256 of the whole volume.
    cases.push_back({"grey16", pxmtest::makeImage(KYVO::IMAGE_GREY_16, size, v16), false,
                     [&](int x, int) { return grey(std::floor((1000.0 + 1000 * x) / 256 + 0.5)); }});
    // Window −2 … 9.75; NaN black.
    cases.push_back({"float", pxmtest::makeImage(KYVO::IMAGE_GREY_F, size, vf), false, [&](int x, int) {
                         return x == 3 ? grey(0) : grey(std::floor((x / 4.0 + 2) * 255 / 11.75 + 0.5));
                     }});

    const QRect exposed(5, 3, 32, 26); // columns 5…36, rows 3…28: tiles (0…2, 0…1)
    for (TypeCase& c : cases) {
        SCOPED_TRACE(c.name);
        ImageItem item(&c.image, 0, c.normalize, 16);
        EXPECT_EQ(item.boundingRect(), QRectF(0, 0, w, h));
        const QImage out = paintItem(item, exposed, QSize(w, h));
        int wrong = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const QRgb want = exposed.contains(x, y) ? c.expected(x, y) : kUntouched;
                if (out.pixel(x, y) != want && wrong++ < 3)
                    ADD_FAILURE() << "pixel " << x << "," << y << ": " << std::hex << out.pixel(x, y)
                                  << " not " << want;
            }
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(item.convertedTileCount(), 6u);
    }
}

TEST(ImageItem, ConvertsOnlyTheTilesItNeedsAndCachesThem) {
    std::vector<uint8_t> values(100 * 70);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = uint8_t(i % 251);
    const auto image = pxmtest::makeImage(KYVO::IMAGE_GREY_8, KYVO::CSize(100, 70, 1), values);
    ImageItem item(&image, 0, false, 16);
    EXPECT_EQ(item.convertedTileCount(), 0u); // nothing before the first paint

    paintItem(item, QRectF(20, 20, 8, 8), QSize(100, 70)); // inside tile (1, 1)
    EXPECT_EQ(item.convertedTileCount(), 1u);
    paintItem(item, QRectF(30, 17, 4, 20), QSize(100, 70)); // tiles (1, 1), (2, 1), (1, 2), (2, 2)
    EXPECT_EQ(item.convertedTileCount(), 4u);
    EXPECT_EQ(item.cachedTileCount(), 4u);
    paintItem(item, QRectF(16, 16, 32, 32), QSize(100, 70)); // the same four again: all cached
    EXPECT_EQ(item.convertedTileCount(), 4u);

    // The painter's clip and the device bound the area as well as the exposed rectangle.
    {
        QImage device(100, 70, QImage::Format_RGB32);
        QPainter painter(&device);
        painter.setClipRect(QRect(90, 50, 5, 5)); // inside tile (5, 3)
        QStyleOptionGraphicsItem option;
        option.exposedRect = QRectF(0, 0, 100, 70);
        item.paint(&painter, &option);
    }
    EXPECT_EQ(item.convertedTileCount(), 5u);
    paintItem(item, QRectF(0, 0, 100, 70), QSize(10, 10)); // only tile (0, 0) reaches the device
    EXPECT_EQ(item.convertedTileCount(), 6u);

    // Zoomed out to 1/4 the layer comes from level 2: one coarse tile, sampled at the block middles,
    // with no gaps between tiles.
    const QImage small =
        paintItem(item, QRectF(0, 0, 100, 70), QSize(25, 18), QTransform::fromScale(0.25, 0.25));
    EXPECT_EQ(item.levelFor(0.25), 2);
    EXPECT_EQ(item.convertedTileCount(), 10u); // 64-pixel tiles: all 2 × 2
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 25; ++x)
            ASSERT_EQ(greyAt(small, x, y), values[std::size_t((4 * y + 2) * 100 + 4 * x + 2)])
                << x << "," << y;

    // At an odd scale with level 0 no device pixel inside the layer stays unpainted at tile seams.
    const QImage odd = paintItem(item, QRectF(0, 0, 100, 70), QSize(70, 49), QTransform::fromScale(0.7, 0.7));
    for (int y = 0; y < 49; ++y)
        for (int x = 0; x < 70; ++x)
            ASSERT_NE(odd.pixel(x, y), kUntouched) << x << "," << y;
}

TEST(ImageItem, RejectsBadLayersAndKeepsTheSharedCacheBounded) {
    const KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(64, 64, 2));
    EXPECT_THROW(ImageItem(&image, 2), KYVO::CException);
    EXPECT_THROW(delete toQGraphicsItem(nullptr, 0), KYVO::CException);
    std::unique_ptr<QGraphicsItem> made(toQGraphicsItem(&image, 1));
    EXPECT_EQ(made->boundingRect(), QRectF(0, 0, 64, 64));

    TileCache cache(3 * 1024);
    auto tile = [] { return QImage(16, 16, QImage::Format_RGB32); }; // 1 KiB each
    for (int i = 0; i < 3; ++i)
        cache.insert({7, 0, i, 0}, tile());
    EXPECT_FALSE(cache.find({7, 0, 0, 0}).isNull()); // (0,0) is now the most recent
    cache.insert({7, 0, 3, 0}, tile());              // evicts (1,0), the least recent
    EXPECT_TRUE(cache.find({7, 0, 1, 0}).isNull());
    EXPECT_FALSE(cache.find({7, 0, 0, 0}).isNull());
    EXPECT_EQ(cache.byteSize(), 3u * 1024);
    cache.insert({8, 0, 0, 0}, tile());
    cache.removeOwner(7);
    EXPECT_EQ(cache.tileCount(7), 0u);
    EXPECT_EQ(cache.tileCount(8), 1u);
    EXPECT_EQ(cache.byteSize(), 1024u);

    // Destroying an item frees its tiles in the shared cache.
    const std::size_t before = TileCache::shared().byteSize();
    {
        ImageItem item(&image, 0, false, 16);
        paintItem(item, QRectF(0, 0, 64, 64), QSize(64, 64));
        EXPECT_EQ(item.cachedTileCount(), 16u);
        EXPECT_EQ(TileCache::shared().byteSize(), before + 16 * 16 * 16 * 4);
    }
    EXPECT_EQ(TileCache::shared().byteSize(), before);
}
