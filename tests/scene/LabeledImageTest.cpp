// SPDX-License-Identifier: MIT
#include "scene/LabeledImage.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabelItems.h"
#include "scene/MaskItem.h"
#include "scene/MaskPalette.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "support/TestSupport.h"

#include <QGraphicsItem>
#include <QPainter>
#include <gtest/gtest.h>

using namespace pxm;
using KYVO::CImage;
using KYVO::CSize;
using State = LabeledImage::ImageState;
using MState = LabeledImage::MaskState;

namespace {
std::string local(const QString& path) {
    return path.toLocal8Bit().toStdString();
}

uint8_t at(const CImage& v, std::size_t x, std::size_t y, std::size_t z = 0) {
    return *v.voxel(x, y, z);
}
} // namespace

TEST(LabeledImage, PinsLoadSwapAndShowItemsOnlyWhilePinned) {
    pxmtest::TempDir dir;
    const QString imagePath = dir.path("img.pgm");
    const QString maskPath = dir.path("mask.pgm");
    KYVO::CImageIo2::Save(local(imagePath), CImage(KYVO::IMAGE_GREY_8, CSize(6, 4, 1)));
    std::unique_ptr<CImage> mask(pxmtest::volume(6, 4, 1, {0, 1, 1}));
    KYVO::CImageIo2::Save(local(maskPath), *mask);

    Project project;
    project.createLabel();
    auto* image = new LabeledImage(&project);
    image->setImagePath(imagePath);
    image->setMaskPath(maskPath);
    image->setWidth(6);
    image->setHeight(4);
    image->setDepth(1);
    image->createScenes();
    project.addImage(image);
    Scene* scene = image->scene(0);
    ASSERT_NE(scene, nullptr);
    EXPECT_EQ(image->image(), nullptr) << "nothing loads before the first pin";

    scene->incUsage();
    scene->incUsage();
    EXPECT_EQ(image->usageCount(), 2u);
    ASSERT_NE(image->image(), nullptr);
    ASSERT_NE(image->mask(), nullptr);
    EXPECT_NE(scene->imageItem(), nullptr);
    EXPECT_NE(scene->maskItem(), nullptr);
    EXPECT_EQ(scene->imageItem()->zValue(), -1.0);
    EXPECT_DOUBLE_EQ(scene->maskItem()->zValue(), -0.9);

    scene->decUsage();
    EXPECT_NE(scene->imageItem(), nullptr) << "still pinned once";
    scene->decUsage();
    EXPECT_EQ(scene->imageItem(), nullptr);
    EXPECT_EQ(scene->maskItem(), nullptr);
    EXPECT_EQ(image->usageCount(), 0u);
    EXPECT_EQ(image->image(), nullptr) << "an image with a path is swapped out";
    EXPECT_EQ(image->mask(), nullptr);

    // An unpinned scene still releases one pin, which swaps again.
    scene->decUsage();
    EXPECT_EQ(image->usageCount(), 0u);
    scene->incUsage();
    EXPECT_EQ(image->imageState(), State::Ok);
    EXPECT_NE(scene->imageItem(), nullptr) << "reloaded on the next pin";
    scene->decUsage();

    // An image handed in without a path is never swapped out.
    LabeledImage* framework = pxmtest::addImage(project, 3, 3);
    CImage* pixels = framework->image();
    framework->incUsage();
    framework->decUsage();
    framework->decUsage();
    EXPECT_EQ(framework->image(), pixels);
}

TEST(LabeledImage, EraseOverlaySurvivesSwapOutAndReload) {
    Project project;
    project.createLabel();
    LabeledImage* image = pxmtest::addImage(project, 5, 4, 2);
    image->setMask(pxmtest::volume(5, 4, 2, {1, 1, 1, 1, 1}), true, false);
    ASSERT_NE(image->eraseOverlay(), nullptr);
    image->eraseOverlay()->voxel(1, 0, 0)[0] = 2;
    image->eraseOverlay()->voxel(4, 3, 1)[0] = 1;

    image->incUsage();
    image->decUsage();
    EXPECT_EQ(image->eraseOverlay(), nullptr);
    EXPECT_TRUE(image->eraseOverlayPath().startsWith(project.temporaryDirectory().absolutePath()));
    EXPECT_TRUE(image->eraseOverlayPath().contains("erased_mask_"));
    EXPECT_NE(image->mask(), nullptr) << "a mask without a path stays";

    image->incUsage();
    ASSERT_NE(image->eraseOverlay(), nullptr);
    EXPECT_EQ(at(*image->eraseOverlay(), 1, 0), 2);
    EXPECT_EQ(at(*image->eraseOverlay(), 4, 3, 1), 1);
    std::unique_ptr<CImage> erased(image->createErasedMask());
    EXPECT_EQ(at(*erased, 0, 0), 1);
    EXPECT_EQ(at(*erased, 1, 0), 0);

    // An overlay file of the wrong size is replaced by a fresh one.
    const QString path = image->eraseOverlayPath();
    image->decUsage();
    KYVO::CImageIo2::Save(local(path), CImage(KYVO::IMAGE_GREY_8, CSize(2, 2, 1)));
    image->incUsage();
    ASSERT_NE(image->eraseOverlay(), nullptr);
    EXPECT_EQ(at(*image->eraseOverlay(), 1, 0), 0);
}

// A reassign edits the loaded mask in memory only; stepping to another image must not drop
// those edits by reading the file back.
TEST(LabeledImage, AnEditedMaskStaysInMemoryUntilSaved) {
    pxmtest::TempDir dir;
    Project project;
    project.createLabel();
    const QString maskPath = dir.path("mask.pgm");
    KYVO::CImageIo2::Save(local(maskPath), *std::unique_ptr<CImage>(pxmtest::volume(3, 3, 1, {1, 1, 0, 1})));
    LabeledImage* image = pxmtest::addImage(project, 3, 3);
    image->setMaskPath(maskPath);
    Scene* scene = image->scene(0);
    scene->incUsage();
    ASSERT_NE(scene->maskItem(), nullptr);
    scene->maskItem()->flood(QPoint(0, 0), 5);
    EXPECT_TRUE(image->maskModified());
    scene->decUsage();
    ASSERT_NE(image->mask(), nullptr) << "the edited mask was dropped";
    EXPECT_EQ(at(*image->mask(), 0, 0), 5);
    scene->incUsage();
    EXPECT_EQ(at(*image->mask(), 1, 0), 5);
    scene->decUsage();

    // Once the file holds the edits (as a save leaves it), the mask may go and come back.
    KYVO::CImageIo2::Save(local(maskPath), *image->mask());
    image->setMaskModified(false);
    image->incUsage();
    image->decUsage();
    EXPECT_EQ(image->mask(), nullptr);
    image->incUsage();
    ASSERT_NE(image->mask(), nullptr);
    EXPECT_EQ(at(*image->mask(), 0, 0), 5);
    EXPECT_FALSE(image->maskModified());
    image->decUsage();
}

TEST(LabeledImage, MasksAreCheckedForSizeTypeAndUnknownValues) {
    Project project;
    Label* existing = project.createLabel(); // mask id 1
    LabeledImage* image = pxmtest::addImage(project, 4, 2);

    image->setMask(new CImage(KYVO::IMAGE_GREY_8, CSize(3, 2, 1)), true, true);
    EXPECT_EQ(image->maskState(), MState::SizeMismatch);
    EXPECT_EQ(image->mask(), nullptr);
    image->setMask(new CImage(KYVO::IMAGE_GREY_16, CSize(4, 2, 1)), true, true);
    EXPECT_EQ(image->maskState(), MState::WrongType);

    image->setMask(pxmtest::volume(4, 2, 1, {0, 1, 9, 9, 200, 9, 1, 0}), true, true);
    EXPECT_EQ(image->maskState(), MState::Ok);
    ASSERT_EQ(project.labels().size(), 3) << "one new label per missing value";
    EXPECT_EQ(project.labels()[0], existing);
    EXPECT_EQ(project.labels()[1]->maskId(), 9);
    EXPECT_EQ(project.labels()[2]->maskId(), 200);

    image->setImage(new CImage(KYVO::IMAGE_GREY_8, CSize(5, 2, 1)), true);
    EXPECT_EQ(image->imageState(), State::SizeMismatch);

    image->setMaskPath("/nonexistent/mask.png");
    image->loadMask(true, true);
    EXPECT_EQ(image->maskState(), MState::LoadFailed);
    LabeledImage missing(&project);
    missing.setImagePath("/nonexistent/image.png");
    missing.loadImage();
    EXPECT_EQ(missing.imageState(), State::LoadFailed);
}

TEST(LabeledImage, LabelMasksFollowThePrecedenceRules) {
    for (const std::size_t depth : {std::size_t(1), std::size_t(3)}) {
        SCOPED_TRACE(depth);
        Project project;
        Label* a = project.createLabel(); // mask id 1
        Label* b = project.createLabel(); // mask id 2
        Label* wide = project.createLabel();
        wide->setMaskId(300);
        LabeledImage* image = pxmtest::addImage(project, 10, 8, depth);
        const std::size_t z = depth - 1;
        Scene* scene = image->scene(int(z));

        std::unique_ptr<CImage> empty(image->createLabelMask());
        EXPECT_EQ(std::count(empty->data(), empty->data() + empty->byteCount(), 0), long(empty->byteCount()));

        auto* mask = new CImage(KYVO::IMAGE_GREY_8, CSize(10, 8, depth));
        mask->voxel(2, 2, z)[0] = 7;
        mask->voxel(3, 2, z)[0] = 7;
        image->setMask(mask, true, false);
        image->eraseOverlay()->voxel(3, 2, z)[0] = 1;

        scene->addLabelItem(new QGraphicsRectItem(0, 0, 6, 6), a); // lower in the stack: wins
        scene->addLabelItem(new QGraphicsRectItem(4, 4, 4, 3), b);
        scene->addLabelItem(new QGraphicsRectItem(8, 0, 2, 2), wide); // mask id >= 256: nothing
        auto* moved = new QGraphicsEllipseItem(0, 0, 2, 2);
        moved->setPos(7, 6);
        scene->addLabelItem(moved, b);

        std::unique_ptr<CImage> labels(image->createLabelMask());
        EXPECT_EQ(at(*labels, 1, 1, z), 1);
        EXPECT_EQ(at(*labels, 2, 2, z), 7) << "a loaded mask voxel beats shapes";
        EXPECT_EQ(at(*labels, 3, 2, z), 1) << "an erased voxel takes the shape";
        EXPECT_EQ(at(*labels, 5, 5, z), 1) << "the lowest shape wins the overlap";
        EXPECT_EQ(at(*labels, 7, 5, z), 2);
        EXPECT_EQ(at(*labels, 9, 1, z), 0);
        EXPECT_EQ(at(*labels, 8, 7, z), 2) << "items are painted with their scene transform";
        if (depth > 1) {
            EXPECT_EQ(at(*labels, 1, 1, 0), 0) << "other layers stay untouched";
        }
    }
}

TEST(LabeledImage, SingleLabelMasksAndTheLineAsymmetry) {
    Project project;
    Label* a = project.createLabel();
    Label* b = project.createLabel();
    LabeledImage* image = pxmtest::addImage(project, 8, 8, 2);
    image->scene(1)->addLabelItem(new QGraphicsRectItem(1, 1, 3, 3), a);
    image->scene(1)->addLabelItem(new QGraphicsPolygonItem(QPolygonF({{5, 5}, {8, 5}, {8, 8}, {5, 8}})), b);
    auto* line = new QGraphicsLineItem(0, 7, 7, 7);
    image->scene(0)->addLabelItem(line, a);
    line->setPen(QPen(Qt::red, 3));

    std::unique_ptr<CImage> single(image->createSingleLabelMask(a->id()));
    EXPECT_EQ(single->type(), KYVO::IMAGE_BOOL);
    EXPECT_EQ(at(*single, 2, 2, 1), 1);
    EXPECT_EQ(at(*single, 6, 6, 1), 0) << "other labels are not drawn";
    EXPECT_EQ(std::count(single->layer(0), single->layer(0) + 64, 1), 0) << "lines of the label add nothing";

    std::unique_ptr<CImage> full(image->createLabelMask());
    EXPECT_EQ(at(*full, 3, 7, 0), a->maskId()) << "the full mask does draw lines";
    EXPECT_EQ(at(*full, 6, 6, 1), b->maskId());
}

TEST(LabeledImage, MaskPaletteGreyValueIsTheIndex) {
    const QVector<QRgb>& palette = maskPalette();
    ASSERT_EQ(palette.size(), 256);
    QImage grey(256, 1, QImage::Format_Grayscale8);
    QPainter painter(&grey);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(qAlpha(palette[i]), 255);
        EXPECT_EQ(maskGrey(qRed(palette[i]), qGreen(palette[i]), qBlue(palette[i])), i);
        painter.fillRect(QRect(i, 0, 1, 1), QColor::fromRgb(palette[i]));
    }
    painter.end();
    for (int i = 0; i < 256; ++i)
        EXPECT_EQ(grey.constScanLine(0)[i], i) << "Qt paints entry i as grey i";
}
