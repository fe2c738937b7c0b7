// SPDX-License-Identifier: MIT
// Images too large to hold: read on demand from a pyramid TIFF; full masks written in strips equal whole
// ones.
#include "exchange/ExchangeTestSupport.h"
#include "exchange/ExportMaskWorker.h"
#include "platform/io/TiffPyramid.h"
#include "support/PyramidTiff.h"

#include <QGraphicsEllipseItem>
#include <QGraphicsPolygonItem>

using namespace pxmtest;

TEST(LargeImageTest, StripsEqualTheWholeMask) {
    for (const bool withMask : {false, true}) {
        SCOPED_TRACE(withMask ? "loaded mask with erased voxels" : "shapes only");
        TempDir dir;
        pxm::Project project;
        pxm::LabeledImage* image = addMemoryImage(project, 700, 500);
        const pxm::Label* a = addLabel(project, "a", 1, 3);
        const pxm::Label* b = addLabel(project, "b", 2, 7);
        if (withMask) {
            auto* mask = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(700, 500, 1));
            for (std::size_t i = 0; i < mask->byteCount(); ++i)
                mask->data()[i] = (i / 700) % 50 < 10 ? 7 : 0;
            image->setMask(mask, true, false);
            ASSERT_NE(image->eraseOverlay(), nullptr);
            image->eraseOverlay()->data()[700 * 5 + 20] = 1;
        }
        pxm::Scene* scene = image->scene(0);
        addRect(scene, QRectF(10.5, 30, 600, 41), a);
        auto* ellipse = new QGraphicsEllipseItem(200, 60, 300, 380);
        ellipse->setRotation(12);
        scene->addLabelItem(ellipse, b);
        scene->addLabelItem(
            new QGraphicsPolygonItem(QPolygonF(QVector<QPointF>{{0, 499}, {699, 0}, {699, 499}})), a);

        const std::unique_ptr<KYVO::CImage> whole(image->createLabelMask());
        pxm::ExportMaskWorker worker(&project);
        worker.exportFullMaskInStrips(*image, dir.path("strips.pgm"), 37, 256);
        // Byte for byte the file the mask built whole makes.
        KYVO::CImageIo2::Save(dir.localPath("whole.pgm"), *whole);
        const QByteArray strips = readFile(dir.path("strips.pgm"));
        EXPECT_TRUE(!strips.isEmpty() && strips == readFile(dir.path("whole.pgm")) &&
                    worker.failureCount() == 0);
    }
}

TEST(LargeImageTest, HugeTiffIsShownOnDemandWithoutPixelsInMemory) {
    TempDir dir;
    PyramidTiff tiff;
    tiff.width = 16400;
    tiff.height = 16400;
    tiff.levels = 7;
    tiff.rgb = true;
    tiff.tileValue = [](int level, uint32_t column, uint32_t row) {
        return uint8_t(level * 40 + (column + row) % 2);
    };
    writePyramidTiff(dir.localPath("huge.tif"), tiff);
    pxm::Project project;
    pxm::LabeledImage* image = addImageByPath(project, dir.path("huge.tif"), 16400, 16400, 1);
    image->scene(0)->incUsage();
    ASSERT_EQ(image->imageState(), pxm::LabeledImage::ImageState::Ok);
    ASSERT_TRUE(image->pyramid());
    EXPECT_TRUE(image->pyramid()->levelCount() == 7 && image->colorChannels() == 3u);
    EXPECT_TRUE(!image->image() && image->tooLargeForPixels() && !image->eraseOverlay()) << "no pixels held";
    ASSERT_NE(image->scene(0)->imageItem(), nullptr);
    EXPECT_EQ(image->scene(0)->imageItem()->boundingRect(), QRectF(0, 0, 16400, 16400));
    // A file that does not match the size the project knows is refused, as any image is.
    ASSERT_TRUE(QFile::link(dir.path("huge.tif"), dir.path("other.tif")));
    pxm::LabeledImage* other = addImageByPath(project, dir.path("other.tif"), 16400, 100, 1);
    other->incUsage();
    EXPECT_EQ(other->imageState(), pxm::LabeledImage::ImageState::SizeMismatch);
    other->decUsage();
    image->scene(0)->decUsage();
}
