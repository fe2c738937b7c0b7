// SPDX-License-Identifier: MIT
#include "display/Scene.h"

#include "DisplayTestImages.h"
#include "display/ImageItem.h"
#include "platform/CException.h"

#include <QPainter>
#include <gtest/gtest.h>

using namespace Pictor;

namespace {

/// A scene that draws its image item itself, as the annotation scene does.
class OwnItemScene : public Scene {
public:
    OwnItemScene() { SetShowsImageItem(false); }
};

} // namespace

TEST(Scene, ShowsTheLayerAndCachesStatisticsPerImage) {
    KYVO::CImage first = pxmtest::makeImage<uint8_t>(KYVO::IMAGE_GREY_8, KYVO::CSize(3, 2, 2),
                                                     {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    const KYVO::CImage second(KYVO::IMAGE_GREY_16, KYVO::CSize(5, 4, 1));
    Scene scene;
    EXPECT_EQ(scene.ImageInfo(), nullptr);

    scene.SetCImage(&first, 1);
    EXPECT_EQ(scene.Layer(), 1u);
    auto* item = dynamic_cast<ImageItem*>(scene.ShownImageItem());
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->layer(), 1u);
    EXPECT_EQ(item->zValue(), -1.0);
    EXPECT_EQ(scene.items().size(), 1);
    EXPECT_EQ(scene.sceneRect(), QRectF(0, 0, 3, 2));

    const CImageInfo* info = scene.ImageInfo();
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->mean, 6.5);
    EXPECT_EQ(info->slices.size(), 2u);
    EXPECT_EQ(scene.ImageInfo(), info); // computed once

    // Normalisation reaches the item when the same image is set again.
    scene.SetNormalize(true);
    scene.SetCImage(&first, 1);
    EXPECT_TRUE(dynamic_cast<ImageItem*>(scene.ShownImageItem())->normalize());
    EXPECT_EQ(scene.items().size(), 1);
    EXPECT_EQ(scene.ImageInfo(), info);

    // Another scene on the same image shares the record; changed voxels are seen after invalidation.
    OwnItemScene other;
    other.SetCImage(&first, 0);
    EXPECT_EQ(other.ShownImageItem(), nullptr);
    EXPECT_TRUE(other.items().isEmpty());
    EXPECT_EQ(other.ImageInfo(), scene.ImageInfo());
    first.data()[0] = 100;
    other.InvalidateImageInfo();
    EXPECT_EQ(scene.ImageInfo()->max, 100.0);

    EXPECT_THROW(scene.SetCImage(&second, 1), KYVO::CException);
    EXPECT_EQ(scene.CImage(), &first);
    scene.SetCImage(&second);
    EXPECT_EQ(scene.ImageInfo()->typeName, QStringLiteral("IMAGE_GREY_16"));
    EXPECT_EQ(scene.sceneRect(), QRectF(0, 0, 5, 4));

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
            EXPECT_EQ(rendered.pixel(x, y), qRgb(7 + x + 3 * y, 7 + x + 3 * y, 7 + x + 3 * y))
                << x << "," << y;
    scene.SetCImage(&second);

    // clear() deletes the item behind the scene's back; the scene must notice.
    scene.clear();
    EXPECT_EQ(scene.ShownImageItem(), nullptr);
    scene.SetCImage(&second);
    scene.SetCImage(nullptr);
    EXPECT_TRUE(scene.items().isEmpty());
    EXPECT_EQ(scene.ImageInfo(), nullptr);
}
