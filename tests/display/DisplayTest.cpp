// SPDX-License-Identifier: MIT
#include "display/CImageInfo.h"
#include "display/DisplayContrast.h"
#include "display/ImageItem.h"
#include "display/LayerHistogram.h"
#include "display/PixelValue.h"
#include "display/Scene.h"
#include "display/TileCache.h"
#include "display/TileRenderer.h"
#include "display/ZoomToolBar.h"
#include "display/ZoomToolBarView.h"
#include "platform/CException.h"
#include "platform/CImage.h"

#include <QSignalSpy>
#include <QtWidgets>
#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <vector>

using namespace Pictor;
using KYVO::IMAGE_BOOL, KYVO::IMAGE_GREY_8, KYVO::IMAGE_GREY_16, KYVO::IMAGE_GREY_F, KYVO::IMAGE_RGB_8I;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

/// An image of `type` holding `values` voxel after voxel (x fastest, then y, then z; channels in turn).
KYVO::CImage imageOf(KYVO::EnImageType type, const KYVO::CSize& size, const std::vector<double>& values) {
    KYVO::CImage image(type, size);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (type == IMAGE_GREY_16)
            reinterpret_cast<uint16_t*>(image.data())[i] = uint16_t(values[i]);
        else if (type == IMAGE_GREY_F)
            reinterpret_cast<float*>(image.data())[i] = float(values[i]);
        else
            image.data()[i] = uint8_t(values[i]);
    }
    return image;
}

/// Checks the figures against a plain two-pass sum over `values`, NaNs left out.
void expectStats(const SliceStatistics& s, std::vector<double> values) {
    values.erase(std::remove_if(values.begin(), values.end(), [](double v) { return std::isnan(v); }),
                 values.end());
    const double n = double(values.size());
    const double mean = values.empty() ? 0 : std::accumulate(values.begin(), values.end(), 0.0) / n;
    double m = 0;
    for (double v : values)
        m += (v - mean) * (v - mean);
    const auto [lo, hi] = std::minmax_element(values.begin(), values.end());
    EXPECT_EQ(std::tuple(s.count, s.min, s.max),
              std::tuple(uint64_t(values.size()), values.empty() ? 0 : *lo, values.empty() ? 0 : *hi));
    EXPECT_DOUBLE_EQ(s.mean, mean);
    EXPECT_NEAR(s.sumSquaredDeviations, m, 1e-9 * std::max(1.0, m));
    const double sd = values.size() > 1 ? std::sqrt(m / (n - 1)) : -1;
    EXPECT_NEAR(sampleStandardDeviation(s.sumSquaredDeviations, s.count), sd, 1e-9 * std::max(1.0, sd));
}

const QRgb kUntouched = qRgb(255, 0, 255);

/// Paints `item` into a device of `deviceSize` through `transform`, exposing `exposed` (item coordinates),
/// within the painter's `clip` if one is given.
QImage paintItem(ImageItem& item, const QRectF& exposed, const QSize& deviceSize,
                 const QTransform& transform = QTransform(), const QRect& clip = QRect()) {
    QImage device(deviceSize, QImage::Format_RGB32);
    device.fill(kUntouched);
    QPainter painter(&device);
    painter.setWorldTransform(transform);
    if (!clip.isNull())
        painter.setClipRect(clip);
    QStyleOptionGraphicsItem option;
    option.exposedRect = exposed;
    item.paint(&painter, &option);
    return device;
}

QRgb grey(double g) {
    return qRgb(int(g), int(g), int(g));
}

} // namespace

TEST(ImageInfo, WholeAndPerSliceStatisticsMatchATwoPassSum) {
    const double top = 65535; // the largest 16-bit value
    const struct {
        const char* name;
        KYVO::EnImageType type;
        KYVO::CSize size;
        std::vector<double> values;
    } cases[] = {
        {"grey8", IMAGE_GREY_8, {2, 2, 3}, {1, 2, 3, 4, 10, 10, 10, 10, 0, 255, 0, 255}},
        {"grey16", IMAGE_GREY_16, {2, 2, 3}, {1000, 2000, 3000, 4000, top, top, top, top, 0, top, 0, top}},
        // NaN skipped, an all-NaN slice counts nothing, and a large offset must not cost precision.
        {"float",
         IMAGE_GREY_F,
         {2, 2, 3},
         {0.5, -1.5, 2.5, kNaN, 1000001, 1000002, 1000003, 1000004, kNaN, kNaN, kNaN, kNaN}},
        {"float, NaN past the last group of four", IMAGE_GREY_F, {5, 1, 1}, {1, 2, 3, 4, kNaN}},
        {"rgb counts every channel value", IMAGE_RGB_8I, {2, 1, 1}, {10, 20, 30, 40, 50, 60}},
        {"bool", IMAGE_BOOL, {4, 1, 1}, {0, 1, 1, 1}},
        {"single value", IMAGE_GREY_8, {1, 1, 1}, {7}},
        {"empty", IMAGE_GREY_16, {0, 5, 2}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const CImageInfo info = computeImageInfo(imageOf(c.type, c.size, c.values));
        EXPECT_EQ(std::tuple(info.width, info.height, info.depth, info.typeName),
                  std::tuple(c.size.x, c.size.y, c.size.z, QString::fromLatin1(KYVO::ImageTypeName(c.type))));
        ASSERT_EQ(info.slices.size(), c.size.z);
        const std::size_t perSlice = c.values.size() / c.size.z;
        for (std::size_t z = 0; z < c.size.z; ++z) {
            SCOPED_TRACE(z);
            const auto first = c.values.begin() + std::ptrdiff_t(z * perSlice);
            expectStats(info.slices[z], {first, first + std::ptrdiff_t(perSlice)});
        }
        expectStats(info.whole(), c.values);
    }
}

// Every pixel type through an exposed rectangle that crosses tile borders (tiles of 16 on a 40×30 layer).
TEST(ImageItem, PaintsExposedAreaWithTheRightColours) {
    const int w = 40, h = 30;
    const KYVO::CSize size(w, h, 2);
    std::vector<double> v8, vb, vrgb, v16, vf;
    for (int z = 0; z < 2; ++z)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                v8.push_back(50 + x + y); // 50 … 118 on both layers
                vb.push_back((x + y) % 2);
                vrgb.insert(vrgb.end(), {double(x), double(y), 200.0 + z});
                // Layer 1 holds the volume's extremes: layer 0 must still use the whole-volume window.
                v16.push_back(z ? (x == 0 ? 0 : 65280) : 1000 + 1000 * x);
                vf.push_back(z ? -2.0 : (x == 3 ? kNaN : x / 4.0));
            }
    // Channel values span 0 … 201 over the volume; all three channels share that range.
    auto stretch = [](int c) { return int(std::floor(c * 255.0 / 201 + 0.5)); };
    const struct {
        const char* name;
        KYVO::EnImageType type;
        const std::vector<double>& values;
        bool normalize;
        std::function<QRgb(int x, int y)> expected;
    } cases[] = {
        {"grey8", IMAGE_GREY_8, v8, false, [](int x, int y) { return grey(50 + x + y); }},
        {"grey8 normalized", IMAGE_GREY_8, v8, true,
         [](int x, int y) { return grey(std::floor((x + y) * 255.0 / 68 + 0.5)); }},
        {"bool", IMAGE_BOOL, vb, false, [](int x, int y) { return grey((x + y) % 2 ? 255 : 0); }},
        {"rgb", IMAGE_RGB_8I, vrgb, false, [](int x, int y) { return qRgb(x, y, 200); }},
        {"rgb normalized", IMAGE_RGB_8I, vrgb, true,
         [&](int x, int y) { return qRgb(stretch(x), stretch(y), stretch(200)); }},
        // Window 0 … 65280 = 255·256 of the whole volume.
        {"grey16", IMAGE_GREY_16, v16, false,
         [](int x, int) { return grey(std::floor((1000.0 + 1000 * x) / 256 + 0.5)); }},
        // Window −2 … 9.75; NaN black.
        {"float", IMAGE_GREY_F, vf, false,
         [](int x, int) { return x == 3 ? grey(0) : grey(std::floor((x / 4.0 + 2) * 255 / 11.75 + 0.5)); }},
    };
    const QRect exposed(5, 3, 32, 26); // columns 5…36, rows 3…28: tiles (0…2, 0…1)
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const KYVO::CImage image = imageOf(c.type, size, c.values);
        ImageItem item(&image, 0, c.normalize, 16);
        QImage expected(w, h, QImage::Format_RGB32);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                expected.setPixel(x, y, exposed.contains(x, y) ? c.expected(x, y) : kUntouched);
        EXPECT_TRUE(paintItem(item, exposed, QSize(w, h)) == expected);
        EXPECT_EQ(item.convertedTileCount(), 6u);
    }
}

TEST(ImageItem, ConvertsOnlyTheTilesItNeedsAndCachesThem) {
    std::vector<double> values(100 * 70);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = double(i % 251);
    const auto image = imageOf(IMAGE_GREY_8, KYVO::CSize(100, 70, 1), values);
    ImageItem item(&image, 0, false, 16);
    EXPECT_EQ(item.convertedTileCount(), 0u);              // nothing before the first paint
    paintItem(item, QRectF(20, 20, 8, 8), QSize(100, 70)); // inside tile (1, 1)
    EXPECT_EQ(item.convertedTileCount(), 1u);
    paintItem(item, QRectF(30, 17, 4, 20), QSize(100, 70)); // tiles (1, 1), (2, 1), (1, 2), (2, 2)
    EXPECT_EQ(std::tuple(item.convertedTileCount(), item.cachedTileCount()), std::tuple(4u, 4u));
    paintItem(item, QRectF(16, 16, 32, 32), QSize(100, 70)); // the same four again: all cached
    EXPECT_EQ(item.convertedTileCount(), 4u);
    // The painter's clip and the device bound the area as well as the exposed rectangle.
    paintItem(item, QRectF(0, 0, 100, 70), QSize(100, 70), QTransform(),
              QRect(90, 50, 5, 5)); // in tile (5, 3)
    EXPECT_EQ(item.convertedTileCount(), 5u);
    paintItem(item, QRectF(0, 0, 100, 70), QSize(10, 10)); // only tile (0, 0) reaches the device
    EXPECT_EQ(item.convertedTileCount(), 6u);
    // Zoomed out to 1/4: level 2, one coarse tile sampled at the block middles, no gaps between tiles.
    const QImage small =
        paintItem(item, QRectF(0, 0, 100, 70), QSize(25, 18), QTransform::fromScale(0.25, 0.25));
    EXPECT_EQ(item.levelFor(0.25), 2);
    EXPECT_EQ(item.convertedTileCount(), 10u); // 64-pixel tiles: all 2 × 2
    for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 25; ++x)
            ASSERT_EQ(qRed(small.pixel(x, y)), int(values[std::size_t((4 * y + 2) * 100 + 4 * x + 2)]))
                << x << "," << y;
    // At an odd scale with level 0 no device pixel inside the layer stays unpainted at tile seams.
    const QImage odd = paintItem(item, QRectF(0, 0, 100, 70), QSize(70, 49), QTransform::fromScale(0.7, 0.7));
    for (int y = 0; y < 49; ++y)
        for (int x = 0; x < 70; ++x)
            ASSERT_NE(odd.pixel(x, y), kUntouched) << x << "," << y;
}

TEST(ImageItem, RejectsBadLayersAndKeepsTheSharedCacheBounded) {
    const KYVO::CImage image(IMAGE_GREY_8, KYVO::CSize(64, 64, 2));
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
    EXPECT_TRUE(cache.find({7, 0, 1, 0}).isNull() && !cache.find({7, 0, 0, 0}).isNull());
    EXPECT_EQ(cache.byteSize(), 3u * 1024);
    cache.insert({8, 0, 0, 0}, tile());
    cache.removeOwner(7);
    EXPECT_EQ(std::tuple(cache.tileCount(7), cache.tileCount(8), cache.byteSize()),
              std::tuple(0u, 1u, 1024u));
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

TEST(PixelValue, FormatsEveryTypeAndRefusesOutsidePositions) {
    const KYVO::CSize size(2, 1, 2);
    const auto g8 = imageOf(IMAGE_GREY_8, size, {7, 200, 9, 255});
    const auto g16 = imageOf(IMAGE_GREY_16, size, {1, 2, 3, 65535});
    const auto gf = imageOf(IMAGE_GREY_F, size, {0, 0, 0, -1.23456});
    const auto gb = imageOf(IMAGE_BOOL, size, {0, 0, 0, 1});
    const auto rgb = imageOf(IMAGE_RGB_8I, size, {0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 20, 255});
    const QString grey = QStringLiteral("[%x, %y, %z] = %1"),
                  colour = QStringLiteral("[%x, %y, %z] = [%1, %2, %3]");
    const struct {
        const KYVO::CImage* image;
        int x, y, z;
        QString format;
        int precision;
        QString expected;
    } cases[] = {
        {&g8, 1, 0, 1, grey, 2, "[1, 0, 1] = 255"},
        {&g16, 1, 0, 1, grey, 2, "[1, 0, 1] = 65535"},
        {&gf, 1, 0, 1, grey, 2, "[1, 0, 1] = -1.23"},
        {&gf, 1, 0, 1, grey, 4, "[1, 0, 1] = -1.2346"},
        {&gb, 1, 0, 1, grey, 2, "[1, 0, 1] = 1"},
        {&rgb, 1, 0, 1, colour, 2, "[1, 0, 1] = [10, 20, 255]"},
        // Grey images have no second or third channel; unknown sequences stay.
        {&g8, 1, 0, 1, colour, 2, "[1, 0, 1] = [255, , ]"},
        {&g8, 0, 0, 1, grey, 2, "[0, 0, 1] = 9"},
        {&g8, 1, 0, 1, QStringLiteral("%q %% %1%"), 0, "%q %% 255%"},
        // Outside the image, or no image: nothing.
        {&g8, 2, 0, 0, grey, 2, ""},
        {&g8, 0, 1, 0, grey, 2, ""},
        {&g8, 0, 0, 2, grey, 2, ""},
        {nullptr, 0, 0, 0, grey, 2, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.expected.toStdString() << " at " << c.x << c.y << c.z);
        EXPECT_EQ(pixelValueAsString(c.image, c.x, c.y, c.z, c.format, c.precision), c.expected);
    }
    EXPECT_EQ(
        (std::vector<bool>{isGreyImage(&g8), isGreyImage(&gf), isGreyImage(&rgb), isGreyImage(nullptr)}),
        (std::vector<bool>{true, true, false, false}));
}

TEST(Scene, ShowsTheLayerAndCachesStatisticsPerImage) {
    KYVO::CImage first = imageOf(IMAGE_GREY_8, KYVO::CSize(3, 2, 2), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    const KYVO::CImage second(IMAGE_GREY_16, KYVO::CSize(5, 4, 1));
    Scene scene;
    EXPECT_EQ(scene.ImageInfo(), nullptr);
    scene.SetCImage(&first, 1);
    auto* item = dynamic_cast<ImageItem*>(scene.ShownImageItem());
    ASSERT_NE(item, nullptr);
    // Layer of scene and item, the item's z, the scene's items and rectangle.
    EXPECT_EQ(
        std::tuple(scene.Layer(), item->layer(), item->zValue(), scene.items().size(), scene.sceneRect()),
        std::tuple(1u, 1u, -1.0, 1, QRectF(0, 0, 3, 2)));
    const CImageInfo* info = scene.ImageInfo();
    ASSERT_NE(info, nullptr);
    EXPECT_TRUE(info->mean == 6.5 && info->slices.size() == 2u);
    // Normalisation reaches the item when the same image is set again; the statistics are computed once.
    scene.SetNormalize(true);
    scene.SetCImage(&first, 1);
    EXPECT_EQ(std::tuple(dynamic_cast<ImageItem*>(scene.ShownImageItem())->normalize(), scene.items().size(),
                         scene.ImageInfo()),
              std::tuple(true, 1, info));
    // Another scene on the image (drawing its item itself) shares the record; invalidation shows changed
    // voxels.
    struct OwnItemScene : Scene {
        OwnItemScene() { SetShowsImageItem(false); }
    } other;
    other.SetCImage(&first, 0);
    EXPECT_EQ(std::tuple(other.ShownImageItem(), other.items().size(), other.ImageInfo()),
              std::tuple(nullptr, 0, scene.ImageInfo()));
    first.data()[0] = 100;
    other.InvalidateImageInfo();
    EXPECT_EQ(scene.ImageInfo()->max, 100.0);
    EXPECT_THROW(scene.SetCImage(&second, 1), KYVO::CException);
    EXPECT_EQ(scene.CImage(), &first);
    scene.SetCImage(&second);
    EXPECT_EQ(std::pair(scene.ImageInfo()->typeName, scene.sceneRect()),
              std::pair(QStringLiteral("IMAGE_GREY_16"), QRectF(0, 0, 5, 4)));
    // Rendering the scene, as snapshots do, goes through the item's painting.
    scene.SetNormalize(false);
    scene.SetCImage(&first, 1);
    QImage rendered(3, 2, QImage::Format_RGB32);
    rendered.fill(Qt::red);
    {
        QPainter painter(&rendered);
        scene.render(&painter, QRectF(rendered.rect()), scene.sceneRect());
    }
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(rendered.pixel(x, y), grey(7 + x + 3 * y)) << x << "," << y;
    scene.SetCImage(&second);
    // clear() deletes the item behind the scene's back; the scene must notice.
    scene.clear();
    EXPECT_EQ(scene.ShownImageItem(), nullptr);
    scene.SetCImage(&second);
    scene.SetCImage(nullptr);
    EXPECT_EQ(std::tuple(scene.items().size(), scene.ImageInfo()), std::tuple(0, nullptr));
}

TEST(Zoom, LadderInOutResetAndFit) {
    const auto& steps = ZoomToolBarView::zoomSteps();
    EXPECT_EQ(QString("%1 %2").arg(steps.front()).arg(steps.back()), "0.03125 32");
    EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
    const int one = int(std::find(steps.begin(), steps.end(), 1.0) - steps.begin()),
              last = int(steps.size()) - 1;
    ASSERT_TRUE(one >= 1 && one < last);
    QGraphicsScene scene(0, 0, 1000, 500);
    ZoomToolBarView view(&scene);
    view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.resize(400, 300);
    // The step index and the factor, which must be the step's when on the ladder.
    const auto zoom = [&] { return QString("%1 %2").arg(view.zoomIndex()).arg(view.zoomFactor()); };
    const auto step = [&](int i) { return QString("%1 %2").arg(i).arg(steps[std::size_t(i)]); };
    QSignalSpy changed(&view, &ZoomToolBarView::zoomChanged);
    EXPECT_EQ(zoom(), step(one));
    view.zoomIn();
    EXPECT_EQ(zoom(), step(one + 1));
    ASSERT_EQ(changed.size(), 1);
    EXPECT_DOUBLE_EQ(changed.last().at(0).toDouble(), steps[std::size_t(one + 1)]);
    // Rotation and mirroring survive zooming.
    view.rotate(90);
    view.scale(-1, 1);
    view.zoomOut();
    view.zoomOut();
    EXPECT_EQ(zoom(), step(one - 1));
    EXPECT_NEAR(view.transform().m11(), 0.0, 1e-12);
    EXPECT_LT(view.transform().determinant(), 0.0);
    // Off the ladder, the next step is the nearest one above or below the current scale.
    view.scale(1.1, 1.1);
    view.resetZoomIndex();
    EXPECT_EQ(view.zoomIndex(), -1);
    const double between = view.zoomFactor();
    view.zoomIn();
    EXPECT_EQ(zoom(), step(one));
    view.scale(between, between);
    view.resetZoomIndex();
    view.zoomOut();
    EXPECT_EQ(zoom(), step(one - 1));
    view.zoomToFit();
    const QRect viewport = view.viewport()->rect();
    const double fit = std::min((viewport.width() - 4) / 500.0, (viewport.height() - 4) / 1000.0); // rotated
    EXPECT_EQ(view.zoomIndex(), -1);
    EXPECT_NEAR(view.zoomFactor(), fit, 1e-9);
    for (std::size_t i = 0; i < steps.size() + 2; ++i)
        view.zoomIn();
    view.setZoomIndex(last + 1); // ignored
    EXPECT_EQ(zoom(), step(last));
    view.setZoomIndex(0);
    view.zoomOut();
    EXPECT_EQ(zoom(), step(0));

    // The tool bar drives a view and shows its zoom in percent.
    QGraphicsScene small(0, 0, 100, 100);
    ZoomToolBarView shown(&small);
    ZoomToolBar bar;
    EXPECT_FALSE(bar.zoomInAction()->isEnabled());
    bar.setView(&shown);
    EXPECT_TRUE(bar.zoomInAction()->isEnabled());
    QStringList labels{bar.zoomLabel()->text()};
    for (QAction* action : {bar.zoomInAction(), bar.zoomOutAction(), bar.zoomOutAction()}) {
        action->trigger();
        labels << bar.zoomLabel()->text();
    }
    shown.rotate(90);
    bar.actualSizeAction()->trigger();
    EXPECT_EQ(labels << bar.zoomLabel()->text(), QStringList({"100%", "150%", "100%", "67%", "100%"}));
    EXPECT_NEAR(shown.transform().m12(), 1.0, 1e-12); // still rotated
    EXPECT_EQ(shown.zoomIndex(), one);
    bar.zoomToFitAction()->trigger();
    EXPECT_EQ(shown.zoomIndex(), -1);
    EXPECT_EQ(bar.zoomLabel()->text(), QStringLiteral("%1%").arg(std::lround(shown.zoomFactor() * 100)));
    bar.setView(nullptr);
    EXPECT_FALSE(bar.zoomOutAction()->isEnabled());
    bar.zoomInAction()->trigger(); // disabled: nothing happens
    EXPECT_EQ(shown.zoomIndex(), -1);
}

// Each value is shown as round(255 · t^gamma) of its place t in the window, clamped; NaN black.
TEST(Contrast, ValuesMapThroughTheWindowAndGamma) {
    const struct {
        const char* name;
        KYVO::EnImageType type;
        double min, max;
        std::vector<double> values;
        std::vector<int> greys;
        double gamma = 1.0;
    } cases[] = {
        {"8-bit", IMAGE_GREY_8, 50, 150, {0, 50, 100, 149, 150, 255}, {0, 0, 128, 252, 255, 255}},
        {"8-bit gamma 2", IMAGE_GREY_8, 0, 200, {0, 50, 100, 200, 201}, {0, 16, 64, 255, 255}, 2.0},
        {"16-bit", IMAGE_GREY_16, 1000, 5000, {0, 1000, 3000, 4000, 5000, 65535}, {0, 0, 128, 191, 255, 255}},
        {"16-bit gamma 0.5", IMAGE_GREY_16, 0, 40000, {10000, 40000, 60000}, {128, 255, 255}, 0.5},
        {"float", IMAGE_GREY_F, -1, 1, {-5, -1, 0, 0.5, 1, 7}, {0, 0, 128, 191, 255, 255}},
        {"float not finite", IMAGE_GREY_F, -1, 1, {kNaN, kInf, -kInf}, {0, 255, 0}},
        {"float gamma 2", IMAGE_GREY_F, 0, 2, {0.5, 1, 3, -1, kNaN}, {16, 64, 255, 0, 0}, 2.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const DisplayContrast contrast = DisplayContrast::of(c.min, c.max, c.gamma);
        const KYVO::CImage image = imageOf(c.type, {c.values.size(), 1, 1}, c.values);
        // Normalisation gives way to the user's window.
        const QImage shown =
            TileRenderer(&image, 0, true, nullptr, contrast).render(QRect(0, 0, int(image.size().x), 1), 0);
        for (std::size_t i = 0; i < c.values.size(); ++i) {
            EXPECT_EQ(shown.pixel(int(i), 0), grey(c.greys[i])) << "value " << c.values[i];
            EXPECT_EQ(contrast.map(c.values[i]), c.greys[i]) << "value " << c.values[i];
        }
    }
    // Colour: one window per channel, or the first for all.
    DisplayContrast colour = DisplayContrast::of(0, 200);
    colour.channels[1] = {100, 200};
    colour.channels[2] = {0, 100};
    const KYVO::CImage rgb = imageOf(IMAGE_RGB_8I, {1, 1, 1}, {100, 100, 100});
    EXPECT_EQ(TileRenderer(&rgb, 0, false, nullptr, colour).render(QRect(0, 0, 1, 1), 0).pixel(0, 0),
              qRgb(128, 128, 128));
    colour.perChannel = true;
    EXPECT_EQ(TileRenderer(&rgb, 0, false, nullptr, colour).render(QRect(0, 0, 1, 1), 0).pixel(0, 0),
              qRgb(128, 0, 255));
    // What the project file keeps reads back the same; an unusable window reads as unset.
    colour.gamma = 0.7;
    EXPECT_EQ(DisplayContrast::fromVariant(colour.toVariant()), colour);
    EXPECT_EQ(DisplayContrast::fromVariant(DisplayContrast::of(0, 1, 3).toVariant()).gamma, 3.0);
    EXPECT_FALSE(DisplayContrast::fromVariant(DisplayContrast::of(5, 5).toVariant()).isSet());
    const QVariantMap flatBlue{{"min", QVariantList{1, 2, 3}}, {"max", QVariantList{4, 5, 3}}};
    EXPECT_FALSE(DisplayContrast::fromVariant(flatBlue).isSet());
    // An item given a new contrast paints with it at once: no tile of the old mapping survives.
    const KYVO::CImage image = imageOf(IMAGE_GREY_16, {4, 1, 1}, {0, 1000, 2000, 3000});
    ImageItem item(&image, 0);
    auto row = [&item] {
        const QImage device = paintItem(item, QRectF(0, 0, 4, 1), QSize(4, 1));
        std::vector<int> greys;
        for (int x = 0; x < 4; ++x)
            greys.push_back(qGray(device.pixel(x, 0)));
        return greys;
    };
    EXPECT_EQ(row(), (std::vector<int>{0, 85, 170, 255}));
    item.setContrast(DisplayContrast::of(0, 2000));
    EXPECT_EQ(row(), (std::vector<int>{0, 128, 255, 255}));
    item.setContrast(DisplayContrast());
    EXPECT_EQ(row(), (std::vector<int>{0, 85, 170, 255}));
}

// Values 1..1000, then zeros (floats: NaN, infinities). Auto clips 0.1, 0.35, 1, 2 % a side, then again.
TEST(Contrast, AutoWindowClipsMoreOnEachPress) {
    std::vector<double> values(1500, 0.0);
    for (int i = 0; i < 1000; ++i)
        values[std::size_t(i)] = i + 1;
    std::vector<double> floats = values;
    floats[1000] = kNaN;
    floats[1001] = floats[1002] = kInf;
    const ChannelWindow ignoring[] = {{2, 999}, {4, 997}, {11, 990}, {21, 980}, {2, 999}};
    for (const auto& [type, data] : {std::pair{IMAGE_GREY_16, values}, std::pair{IMAGE_GREY_F, floats}}) {
        SCOPED_TRACE(KYVO::ImageTypeName(type));
        const KYVO::CImage image = imageOf(type, {100, 15, 1}, data);
        HistogramOptions options;
        options.ignoreZerosAndNonFinite = true;
        const LayerHistogram h = computeLayerHistogram(image, 0, options);
        EXPECT_EQ(h.count, 1000u);
        // Float bins are 999 / 65536 wide; the window edges are those of the bins.
        const double tolerance = h.integral ? 0.0 : h.binWidth();
        for (int press = 0; press < 5; ++press) {
            const ChannelWindow w = h.clipped(autoClipFraction(press));
            EXPECT_NEAR(w.min, ignoring[press].min, tolerance) << "press " << press;
            EXPECT_NEAR(w.max, ignoring[press].max, tolerance) << "press " << press;
        }
        // Counting the zeros (and infinities, at the ends) moves the lower edge down to 0.
        const ChannelWindow all = computeLayerHistogram(image, 0).clipped(0.001);
        EXPECT_EQ(all.min, 0.0);
        EXPECT_NEAR(all.max, h.integral ? 999.0 : 1000.0, tolerance);
        // A region counts only its pixels: the first five rows hold 1..500.
        options.region = QRect(0, 0, 100, 5);
        const ChannelWindow region = computeLayerHistogram(image, 0, options).clipped(0.001);
        EXPECT_NEAR(region.min, 1.0, tolerance);
        EXPECT_NEAR(region.max, 500.0, tolerance);
    }
    // A constant layer still gets a window of some width.
    const KYVO::CImage constant = imageOf(IMAGE_GREY_8, {3, 1, 1}, {7, 7, 7});
    const ChannelWindow flat = computeLayerHistogram(constant, 0).clipped(0.02);
    EXPECT_EQ(std::pair(flat.min, flat.max), std::pair(7.0, 8.0));
}
