// SPDX-License-Identifier: MIT
#include "scene/Scene.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/GrabItem.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/MaskFlood.h"
#include "scene/MaskItem.h"
#include "scene/MaskPalette.h"
#include "scene/SceneTestSupport.h"
#include "scene/commands/ItemCommands.h"
#include "scene/commands/MaskItemFlood.h"
#include "support/TestSupport.h"

#include <QSignalSpy>
#include <QtWidgets>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <memory>

using namespace pxm;
using KYVO::CImage;
using KYVO::CSize;

namespace {
/// A QGraphicsItem is no QObject; this one reports its destruction.
template <class Base> class Tracked : public Base {
public:
    using Base::Base;
    ~Tracked() override { ++destroyed; }
    static inline int destroyed = 0;
};

int at(const CImage& v, std::size_t x, std::size_t y, std::size_t z = 0) {
    return *v.voxel(x, y, z);
}

/// A rectangle per visible voxel in its label's colour, or grey hatching at half opacity without a label.
void paintReference(QPainter& painter, const LabeledImage& image, const Project& project, uint32_t z) {
    QBrush hatch(Qt::gray, Qt::Dense3Pattern);
    hatch.setTransform(painter.worldTransform().inverted());
    painter.setPen(Qt::NoPen);
    const std::size_t w = image.width(), h = image.height();
    for (std::size_t y = 0; y < h; ++y)
        for (std::size_t x = 0; x < w; ++x) {
            const std::size_t i = x + w * (y + h * z);
            const uint8_t v = image.mask()->data()[i];
            if (v == 0 || image.eraseOverlay()->data()[i] != 0)
                continue;
            const Label* label = project.labelsByMaskId(v).value(0);
            painter.setBrush(label ? QBrush(label->color()) : hatch);
            painter.setOpacity(label ? label->opacity() : 0.5);
            painter.drawRect(QRectF(x, y, 1, 1));
        }
}

QImage render(const std::function<void(QPainter&)>& paint, int scale) {
    QImage out(40 * scale, 30 * scale, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::white);
    QPainter painter(&out);
    painter.scale(scale, scale);
    paint(painter);
    return out;
}

/// The largest difference of a colour channel between two opaque pictures of one format.
int maxChannelDifference(const QImage& a, const QImage& b) {
    int worst = 0;
    for (qsizetype i = 0; i < a.sizeInBytes(); ++i)
        worst = std::max(worst, std::abs(a.constBits()[i] - b.constBits()[i]));
    return worst;
}

/// A project with one label, mask id 1, which the tests here start from.
class ProjectTest : public ::testing::Test {
protected:
    Project project;
    Label* label = project.createLabel();
};
using SceneTest = ProjectTest;
using LabeledImageTest = ProjectTest;
using MaskItemTest = ProjectTest;

} // namespace

TEST_F(SceneTest, StylesEachItemKindFromItsLabel) {
    label->setColor(QColor(10, 20, 30));
    label->setPrimaryOpacity(0.8);
    label->setSecondaryOpacity(0.4);
    label->setPenWidth(0.6);
    label->setName("road");
    Scene* scene = pxmtest::addImage(project, 20, 20)->scene(0);
    auto* rect = new QGraphicsRectItem(0, 0, 5, 5);
    auto* ellipse = new QGraphicsEllipseItem(0, 0, 5, 5);
    auto* polygon = new QGraphicsPolygonItem(QPolygonF({{0, 0}, {4, 0}, {0, 4}}));
    auto* line = new QGraphicsLineItem(0, 0, 5, 5);
    auto* path = new QGraphicsPathItem;
    for (QGraphicsItem* item : QList<QGraphicsItem*>{rect, ellipse, polygon, line, path}) {
        item->setZValue(3);
        scene->addLabelItem(item, label);
        EXPECT_EQ(std::tuple(labelIdOf(item), item->toolTip(), item->zValue()),
                  std::tuple(label->id(), QString("road"), 0.0));
    }
    const QColor primary(10, 20, 30, int(0.8 * 255)), secondary(10, 20, 30, int(0.4 * 255));
    for (QAbstractGraphicsShapeItem* shape : QList<QAbstractGraphicsShapeItem*>{rect, ellipse, polygon}) {
        EXPECT_DOUBLE_EQ(shape->pen().widthF(), 3.0);
        EXPECT_EQ(std::tuple(shape->pen().isCosmetic(), shape->pen().color().alpha(), shape->brush().color()),
                  std::tuple(true, primary.alpha(), secondary));
    }
    // Free-hand regions have no outline.
    EXPECT_EQ(std::tuple(line->pen().color(), path->pen().style(), path->brush().color()),
              std::tuple(primary, Qt::NoPen, primary));
    // Label changes restyle its items, and only its items.
    Label* other = project.createLabel();
    auto* foreign = new QGraphicsRectItem(0, 0, 2, 2);
    scene->addLabelItem(foreign, other);
    const QBrush foreignBrush = foreign->brush();
    label->setColor(Qt::yellow);
    label->setName("street");
    EXPECT_EQ(std::tuple(rect->brush().color().rgb(), path->toolTip(), foreign->brush()),
              std::tuple(QColor(Qt::yellow).rgb(), QString("street"), foreignBrush));
    // Moving an item to another label restyles it; undo gives the first style back.
    const QPen pen = rect->pen();
    QUndoStack stack;
    stack.push(new commands::SetItemLabelId(rect, other));
    EXPECT_EQ(std::tuple(labelIdOf(rect), rect->toolTip(), rect->pen().color().rgb()),
              std::tuple(other->id(), other->name(), other->color().rgb()));
    stack.undo();
    EXPECT_EQ(std::tuple(labelIdOf(rect), rect->toolTip(), rect->pen()),
              std::tuple(label->id(), QString("street"), pen));
    label->setId(123456); // changing the id re-tags the items; labelsAt and itemsOfLabel follow
    EXPECT_EQ(std::pair(labelIdOf(rect), scene->itemsOfLabel(label).size()), std::pair(123456, 5));
    const QList<Label*> at = scene->labelsAt(QRectF(1, 1, 0.5, 0.5));
    EXPECT_EQ(at.first(), other) << "topmost first";
    EXPECT_TRUE(at.contains(label));
}

TEST_F(SceneTest, RemovingALabelAndUndoingRestoresTheSameItemsEverywhere) {
    Label* keep = project.createLabel();
    LabeledImage* first = pxmtest::addImage(project, 10, 10, 2);
    LabeledImage* second = pxmtest::addImage(project, 10, 10);
    QList<QGraphicsItem*> items;
    for (Scene* scene : {first->scene(0), first->scene(1), second->scene(0)}) {
        items << new QGraphicsRectItem(0, 0, 3, 3);
        scene->addLabelItem(items.last(), label);
        scene->addLabelItem(new QGraphicsRectItem(0, 0, 1, 1), keep);
    }
    const auto scenes = [&items] {
        return std::vector<QGraphicsScene*>{items[0]->scene(), items[1]->scene(), items[2]->scene()};
    };
    EXPECT_TRUE(first->hasItemsOfLabel(label));
    const std::unique_ptr<KYVO::CImage> before(first->createLabelMask());
    const QList<QGraphicsItem*> stacking = first->scene(1)->items();
    project.undoStack()->push(new commands::RemoveLabel(&project, label));
    EXPECT_EQ(std::tuple(scenes(), first->hasItemsOfLabel(label), first->hasLabelItems()),
              std::tuple(std::vector<QGraphicsScene*>(3, nullptr), false, true));
    project.undoStack()->undo();
    EXPECT_EQ(scenes(), (std::vector<QGraphicsScene*>{first->scene(0), first->scene(1), second->scene(0)}));
    EXPECT_EQ(first->scene(1)->itemsOfLabel(label), QList<QGraphicsItem*>({items[1]}));
    // Back at its place in the list and under the shapes it lay under: the full mask is the same.
    EXPECT_EQ(project.labels(), QList<Label*>({label, keep}));
    EXPECT_EQ(first->scene(1)->items(), stacking);
    const std::unique_ptr<KYVO::CImage> after(first->createLabelMask());
    EXPECT_EQ(std::memcmp(before->data(), after->data(), before->byteCount()), 0);
    // Destroying a label deletes its items, also those parked while it was out.
    Tracked<QGraphicsEllipseItem>::destroyed = 0;
    Label* doomed = project.createLabel();
    first->scene(0)->addLabelItem(new Tracked<QGraphicsEllipseItem>(0, 0, 1, 1), doomed);
    second->scene(0)->addLabelItem(new Tracked<QGraphicsEllipseItem>(0, 0, 1, 1), doomed);
    project.undoStack()->push(new commands::RemoveLabel(&project, doomed));
    project.undoStack()->clear();
    EXPECT_EQ(Tracked<QGraphicsEllipseItem>::destroyed, 2);
}

TEST_F(SceneTest, ItemCommandsOwnTheirItemExactlyWhileItIsOut) {
    for (const bool undone : {false, true}) {
        SCOPED_TRACE(undone ? "stack cleared undone" : "stack cleared done");
        Scene* scene = pxmtest::addImage(project, 10, 10)->scene(0);
        Tracked<QGraphicsRectItem>::destroyed = 0;
        auto* added = new Tracked<QGraphicsRectItem>(0, 0, 2, 2);
        auto* removed = new Tracked<QGraphicsRectItem>(0, 0, 2, 2);
        scene->addLabelItem(added, label);
        scene->addLabelItem(removed, label);
        QUndoStack stack;
        stack.push(new commands::AddItemToScene(scene, added)); // already in: no change
        stack.push(new commands::RemoveItemFromScene(removed));
        using Scenes = std::pair<QGraphicsScene*, QGraphicsScene*>;
        EXPECT_EQ(Scenes(added->scene(), removed->scene()), Scenes(scene, nullptr));
        if (undone) {
            stack.setIndex(0);
            EXPECT_EQ(Scenes(added->scene(), removed->scene()), Scenes(nullptr, scene));
        }
        stack.clear();
        EXPECT_EQ(Tracked<QGraphicsRectItem>::destroyed, 1) << "the item that is out dies once";
    } // the scene deletes the other one; AddressSanitizer would see a second deletion
}

TEST_F(SceneTest, GrabHandleSignalsChangesAndKeepsItsScreenSize) {
    GrabItem grab;
    QSignalSpy colorSpy(&grab, &GrabItem::colorChanged);
    QSignalSpy posSpy(&grab, &GrabItem::posChanged);
    grab.setColor(Qt::red);
    grab.setColor(Qt::red);
    grab.setPos(3, 0);
    grab.setPos(3, 4);
    EXPECT_EQ(std::pair(colorSpy.count(), posSpy.count()), std::pair(1, 2));
    EXPECT_EQ(std::pair(grab.contains(QPointF(7.9, -7.9)), grab.contains(QPointF(8.2, 0))),
              std::pair(true, false));
    // The handle keeps 16 screen pixels at any zoom.
    QGraphicsScene scene;
    auto* handle = new GrabItem;
    scene.addItem(handle);
    QGraphicsView view(&scene);
    view.scale(4, 4);
    const QRectF onScreen = handle->deviceTransform(view.viewportTransform()).mapRect(handle->boundingRect());
    EXPECT_DOUBLE_EQ(onScreen.width(), 17.0);
}

using State = LabeledImage::ImageState;
using MState = LabeledImage::MaskState;

TEST_F(LabeledImageTest, PinsLoadAndSwapImagesMasksAndEraseOverlaysAndShowItemsOnlyWhilePinned) {
    pxmtest::TempDir dir;
    const QString imagePath = dir.path("img.pgm"), maskPath = dir.path("mask.pgm");
    KYVO::CImageIo2::Save(dir.localPath("img.pgm"), CImage(KYVO::IMAGE_GREY_8, CSize(6, 4, 1)));
    KYVO::CImageIo2::Save(dir.localPath("mask.pgm"),
                          *std::unique_ptr<CImage>(pxmtest::volume(6, 4, 1, {0, 1, 1})));
    LabeledImage* image = pxmtest::addImageByPath(project, imagePath, 6, 4, 1);
    image->setMaskPath(maskPath);
    Scene* scene = image->scene(0);
    // The pins, then what is in memory: image, mask, image item, mask item.
    const auto state = [&] {
        return QString("%1 %2%3%4%5")
            .arg(image->usageCount())
            .arg(image->image() ? "I" : "-", image->mask() ? "M" : "-", scene->imageItem() ? "i" : "-",
                 scene->maskItem() ? "m" : "-");
    };
    EXPECT_EQ(state(), "0 ----") << "nothing loads before the first pin";
    scene->incUsage();
    scene->incUsage();
    ASSERT_EQ(state(), "2 IMim");
    EXPECT_EQ(scene->imageItem()->zValue(), -1.0);
    EXPECT_DOUBLE_EQ(scene->maskItem()->zValue(), -0.9);
    scene->decUsage();
    EXPECT_EQ(state(), "1 IMim") << "still pinned once";
    scene->decUsage();
    EXPECT_EQ(state(), "0 ----") << "an image with a path is swapped out";
    scene->decUsage(); // an unpinned scene still releases one pin, which swaps again
    EXPECT_EQ(image->usageCount(), 0u);
    scene->incUsage();
    EXPECT_EQ(std::pair(image->imageState(), state()), std::pair(State::Ok, QString("1 IMim"))) << "reloaded";
    scene->decUsage();
    // An edited mask stays in memory: stepping to another image and back must not read the file again.
    scene->incUsage();
    scene->maskItem()->flood(QPoint(1, 0), 5);
    EXPECT_TRUE(image->maskModified());
    scene->decUsage();
    ASSERT_NE(image->mask(), nullptr) << "the edited mask was dropped";
    scene->incUsage();
    EXPECT_EQ(at(*image->mask(), 2, 0), 5);
    scene->decUsage();
    // Once the file holds the edits (as a save leaves it), the mask may go and come back.
    KYVO::CImageIo2::Save(dir.localPath("mask.pgm"), *image->mask());
    image->setMaskModified(false);
    image->incUsage();
    image->decUsage();
    EXPECT_EQ(image->mask(), nullptr);
    image->incUsage();
    ASSERT_NE(image->mask(), nullptr);
    EXPECT_EQ(std::pair(at(*image->mask(), 1, 0), image->maskModified()), std::pair(5, false));
    image->decUsage();
    // An image handed in without a path is never swapped out, nor its mask without a path; its erase overlay
    // is, to a file of the project's.
    LabeledImage* framework = pxmtest::addImage(project, 5, 4, 2);
    CImage* pixels = framework->image();
    framework->setMask(pxmtest::volume(5, 4, 2, {1, 1, 1, 1, 1}), true, false);
    ASSERT_NE(framework->eraseOverlay(), nullptr);
    framework->eraseOverlay()->voxel(1, 0, 0)[0] = 2;
    framework->eraseOverlay()->voxel(4, 3, 1)[0] = 1;
    framework->incUsage();
    framework->decUsage();
    framework->decUsage();
    EXPECT_EQ(std::tuple(framework->image(), !!framework->mask(), !!framework->eraseOverlay()),
              std::tuple(pixels, true, false));
    EXPECT_TRUE(framework->eraseOverlayPath().startsWith(project.temporaryDirectory().absolutePath()) &&
                framework->eraseOverlayPath().contains("erased_mask_"));
    framework->incUsage();
    ASSERT_NE(framework->eraseOverlay(), nullptr);
    EXPECT_EQ(std::pair(at(*framework->eraseOverlay(), 1, 0), at(*framework->eraseOverlay(), 4, 3, 1)),
              std::pair(2, 1));
    std::unique_ptr<CImage> erased(framework->createErasedMask());
    EXPECT_EQ(std::pair(at(*erased, 0, 0), at(*erased, 1, 0)), std::pair(1, 0));
    // An overlay file of the wrong size is replaced by a fresh one.
    const QString overlayPath = framework->eraseOverlayPath();
    framework->decUsage();
    KYVO::CImageIo2::Save(overlayPath.toLocal8Bit().toStdString(),
                          CImage(KYVO::IMAGE_GREY_8, CSize(2, 2, 1)));
    framework->incUsage();
    ASSERT_NE(framework->eraseOverlay(), nullptr);
    EXPECT_EQ(at(*framework->eraseOverlay(), 1, 0), 0);
}

// A shown scene never keeps pixels its image dropped (refused or failed to reload), nor a refused mask.
TEST_F(LabeledImageTest, RefusedAndFailedImagesAndMasksLeaveNothingBehind) {
    LabeledImage* image = pxmtest::addImage(project, 4, 2);
    Scene* scene = image->scene(0);
    scene->incUsage();
    // Without the pixels the statistics go too (the display scene's test).
    const auto shown = [scene] { return std::pair(!!scene->imageItem(), !!scene->CImage()); };
    ASSERT_EQ(shown(), std::pair(true, true));
    QSignalSpy imageChanged(image, &LabeledImage::imageChanged);
    QSignalSpy maskChanged(image, &LabeledImage::maskChanged);
    image->setMask(pxmtest::volume(4, 2, 1, {0, 1, 9, 9, 200, 9, 1, 0}), true, true);
    EXPECT_EQ(image->maskState(), MState::Ok);
    ASSERT_EQ(project.labels().size(), 3) << "one new label per missing value";
    EXPECT_EQ(std::tuple(project.labels()[0], project.labels()[1]->maskId(), project.labels()[2]->maskId()),
              std::tuple(label, 9, 200));
    // A mask refused or cleared drops the old one, and is a mask change the mask item follows.
    image->setMask(new CImage(KYVO::IMAGE_GREY_8, CSize(3, 2, 1)), true, true);
    EXPECT_EQ(std::tuple(image->maskState(), image->mask()), std::tuple(MState::SizeMismatch, nullptr));
    image->setMask(new CImage(KYVO::IMAGE_GREY_16, CSize(4, 2, 1)), true, true);
    EXPECT_EQ(image->maskState(), MState::WrongType);
    image->setMask(pxmtest::volume(4, 2, 1, {1}), true, false);
    image->setMask(nullptr, false, false);
    EXPECT_EQ(std::tuple(image->mask(), maskChanged.count()), std::tuple(nullptr, 4));
    // Refused for its size: the old image is deleted all the same.
    image->setImage(new CImage(KYVO::IMAGE_GREY_8, CSize(5, 2, 1)), true);
    EXPECT_EQ(std::tuple(image->imageState(), image->image(), imageChanged.count(), shown()),
              std::tuple(State::SizeMismatch, nullptr, 1, std::pair(false, false)));
    // A reload from a path that does not exist fails after dropping the image.
    image->setImage(new CImage(KYVO::IMAGE_GREY_8, CSize(4, 2, 1)), true);
    ASSERT_NE(scene->imageItem(), nullptr);
    image->setImagePath("/nonexistent/pixmarker/image.png");
    image->loadImage(true);
    EXPECT_EQ(std::tuple(image->imageState(), !!scene->imageItem(), !!scene->CImage()),
              std::tuple(State::LoadFailed, false, false));
    image->setMaskPath("/nonexistent/mask.png");
    image->loadMask(true, true);
    EXPECT_EQ(image->maskState(), MState::LoadFailed);
    scene->decUsage();
}

TEST_F(LabeledImageTest, LabelMasksFollowThePrecedenceRules) {
    Label* b = project.createLabel(); // mask id 2, `label` having 1
    Label* wide = project.createLabel();
    wide->setMaskId(300);
    for (const std::size_t depth : {std::size_t(1), std::size_t(3)}) {
        SCOPED_TRACE(depth);
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
        scene->addLabelItem(new QGraphicsRectItem(0, 0, 6, 6), label); // lower in the stack: wins
        scene->addLabelItem(new QGraphicsRectItem(4, 4, 4, 3), b);
        scene->addLabelItem(new QGraphicsRectItem(8, 0, 2, 2), wide); // mask id >= 256: nothing
        auto* moved = new QGraphicsEllipseItem(0, 0, 2, 2);
        moved->setPos(7, 6);
        scene->addLabelItem(moved, b);
        if (depth > 1) { // a thick line on another layer
            auto* line = new QGraphicsLineItem(0, 7, 7, 7);
            image->scene(0)->addLabelItem(line, label);
            line->setPen(QPen(Qt::red, 3));
        }
        std::unique_ptr<CImage> labels(image->createLabelMask());
        // Mask voxels beat shapes unless erased, the lowest shape wins, items are painted where they are;
        // other layers stay untouched but for the line.
        const std::vector<int> got = {at(*labels, 1, 1, z), at(*labels, 2, 2, z), at(*labels, 3, 2, z),
                                      at(*labels, 5, 5, z), at(*labels, 7, 5, z), at(*labels, 9, 1, z),
                                      at(*labels, 8, 7, z), at(*labels, 1, 1, 0), at(*labels, 3, 7, 0)};
        EXPECT_EQ(got, (std::vector<int>{1, 7, 1, 1, 2, 0, 2, depth > 1 ? 0 : 1, depth > 1 ? 1 : 0}));
        // A single label's mask draws neither other labels nor the label's lines.
        std::unique_ptr<CImage> single(image->createSingleLabelMask(label->id()));
        EXPECT_EQ(std::tuple(single->type(), at(*single, 1, 1, z), at(*single, 7, 5, z),
                             depth > 1 ? std::count(single->layer(0), single->layer(0) + 80, 1) : 0L),
                  std::tuple(KYVO::IMAGE_BOOL, 1, 0, 0L));
    }
}

TEST_F(LabeledImageTest, MaskPaletteGreyValueIsTheIndex) {
    const QVector<QRgb>& palette = maskPalette();
    ASSERT_EQ(palette.size(), 256);
    QImage grey(256, 1, QImage::Format_Grayscale8);
    QPainter painter(&grey);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(
            std::pair(qAlpha(palette[i]), maskGrey(qRed(palette[i]), qGreen(palette[i]), qBlue(palette[i]))),
            std::pair(255, i));
        painter.fillRect(QRect(i, 0, 1, 1), QColor::fromRgb(palette[i]));
    }
    painter.end();
    for (int i = 0; i < 256; ++i)
        EXPECT_EQ(grey.constScanLine(0)[i], i) << "Qt paints entry i as grey i";
}

TEST_F(MaskItemTest, PaintsWhatOneRectanglePerVoxelWouldPaint) {
    label->setColor(QColor(200, 30, 30));
    label->setPrimaryOpacity(0.6);
    project.createLabel(); // mask id 2, green
    LabeledImage* image = pxmtest::addImage(project, 40, 30, 2);
    auto* mask = new CImage(KYVO::IMAGE_GREY_8, CSize(40, 30, 2));
    QRandomGenerator random(7);
    const uint8_t values[] = {0, 0, 1, 2, 9};
    for (std::size_t i = 0; i < mask->byteCount(); ++i)
        mask->data()[i] = values[random.bounded(5)];
    image->setMask(mask, true, false);
    for (int i = 0; i < 200; ++i)
        image->eraseOverlay()->data()[random.bounded(int(mask->byteCount()))] = 1;
    for (const uint32_t z : {0u, 1u}) {
        for (const int scale : {1, 3}) {
            SCOPED_TRACE(QString("layer %1, zoom %2").arg(z).arg(scale).toStdString());
            MaskItem item(image, z);
            QStyleOptionGraphicsItem option;
            option.exposedRect = item.boundingRect();
            const QImage ours = render([&](QPainter& p) { item.paint(&p, &option, nullptr); }, scale);
            const QImage reference =
                render([&](QPainter& p) { paintReference(p, *image, project, z); }, scale);
            EXPECT_LE(maxChannelDifference(ours, reference), 1);
        }
    }
    // A partly exposed area paints only that area.
    MaskItem item(image, 0);
    QStyleOptionGraphicsItem option;
    option.exposedRect = QRectF(10.5, 10.2, 5, 5);
    const QImage part = render([&](QPainter& p) { item.paint(&p, &option, nullptr); }, 1);
    EXPECT_EQ(std::pair(part.pixel(0, 0), part.pixel(39, 29)),
              std::pair(QColor(Qt::white).rgb(), QColor(Qt::white).rgb()));
}

TEST_F(MaskItemTest, EraseCountsPassesAndUneraseIsItsInverse) {
    LabeledImage* image = pxmtest::addImage(project, 6, 5, 2);
    image->setMask(pxmtest::volume(6, 5, 2, {}), true, false);
    std::fill(image->mask()->data(), image->mask()->data() + image->mask()->byteCount(), 1);
    MaskItem item(image, 1);
    const QRectF r(1.7, 1.2, 1.1, 0.5); // whole pixels x 1..2, y 1..1
    item.erase(r);
    item.erase(r);
    item.unerase(r);
    const CImage& overlay = *image->eraseOverlay();
    // Still hidden after two erases and one unerase; only the item's layer.
    EXPECT_EQ(std::vector<uint8_t>({*overlay.voxel(1, 1, 1), *overlay.voxel(2, 1, 1), *overlay.voxel(3, 1, 1),
                                    *overlay.voxel(1, 2, 1), *overlay.voxel(1, 1, 0)}),
              std::vector<uint8_t>({1, 1, 0, 0, 0}));
    item.unerase(r);
    EXPECT_EQ(*overlay.voxel(1, 1, 1), 0);
    item.erase(QRectF(-10, -10, 100, 100)); // a rectangle beyond the image is clamped, never written outside
    EXPECT_EQ(std::count(overlay.layer(1), overlay.layer(1) + 30, 1), 30);
}

TEST_F(MaskItemTest, FloodUndoIsExactOutlivesTheMaskItemAndEmptyStartsFillNothing) {
    LabeledImage* image = pxmtest::addImage(project, 5, 4, 2);
    // Layer 1: a region of 2 (joined at a corner) next to 6s, the new value, and a separate region of 2.
    std::vector<uint8_t> voxels(40, 2);
    const std::vector<uint8_t> layer1 = {2, 2, 6, 0, 0, //
                                         0, 2, 6, 0, 2, //
                                         2, 0, 6, 2, 0, //
                                         6, 6, 0, 0, 2};
    std::copy(layer1.begin(), layer1.end(), voxels.begin() + 20);
    auto* mask = new CImage(KYVO::IMAGE_GREY_8, CSize{5, 4, 2});
    std::copy(voxels.begin(), voxels.end(), mask->data());
    image->setMask(mask, true, false);
    Scene* scene = image->scene(1);
    scene->incUsage();
    ASSERT_NE(scene->maskItem(), nullptr);
    QUndoStack stack;
    const uint8_t* m = image->mask()->data();
    auto layer = [m](int z) { return std::vector<uint8_t>(m + 20 * z, m + 20 * z + 20); };
    // Which pixels a flood takes is the breadth-first test's; here, that it takes them on its own layer.
    stack.push(new commands::MaskItemFlood(scene->maskItem(), QPoint(0, 0), 6));
    EXPECT_EQ(std::pair(layer(0), int(m[20 + 1])), std::pair(std::vector<uint8_t>(20, 2), 6));
    scene->decUsage(); // unpinning deletes the mask item; the mask stays with the labeled image
    ASSERT_EQ(scene->maskItem(), nullptr);
    stack.undo();
    EXPECT_EQ(layer(1), layer1) << "undo gives back exactly the changed pixels, not the touching 6s";
    scene->incUsage(); // a new mask item
    stack.redo();
    EXPECT_EQ(std::pair(int(m[20 + 1]), int(m[20 + 9])), std::pair(6, 2));
    stack.undo();
    EXPECT_EQ(layer(1), layer1);
    // Starts that fill nothing: unlabelled, outside (on and past each edge), erased.
    image->ensureEraseOverlay();
    image->eraseOverlay()->voxel(1, 1, 1)[0] = 1;
    const std::vector<uint8_t> before(m, m + 40);
    for (const QPoint start : {QPoint(3, 0), QPoint(5, 0), QPoint(0, 4), QPoint(-1, 0), QPoint(1, 1)})
        scene->maskItem()->flood(start, 7);
    EXPECT_EQ(std::vector<uint8_t>(m, m + 40), before);
    const MaskItem* item = scene->maskItem(); // x = width is outside; (1, 1) is erased
    EXPECT_EQ(std::tuple(item->value(QPoint(4, 3)), item->value(QPoint(5, 3)), item->value(QPoint(1, 1))),
              std::tuple(2, 0, 0));
    scene->decUsage();
}

TEST_F(MaskItemTest, FloodMatchesAPlainBreadthFirstFill) {
    // Random layers with erased pixels against the textbook fill; the reported runs are the changed pixels.
    QRandomGenerator random(11);
    int reachedEdges = 0;
    for (int round = 0; round < 400; ++round) {
        const int w = 1 + random.bounded(round < 200 ? 10 : 40);
        const int h = 1 + random.bounded(round < 200 ? 10 : 40);
        const std::size_t n = std::size_t(w) * std::size_t(h);
        const int density = 5 + random.bounded(5); // in tenths
        std::vector<uint8_t> mask(n), overlay(n, 0);
        for (auto& v : mask)
            v = uint8_t(random.bounded(10) < density ? 1 : random.bounded(3));
        const bool erased = round % 4 != 0;
        if (erased)
            for (auto& v : overlay)
                v = uint8_t(random.bounded(25) == 0 ? 1 + random.bounded(2) : 0);
        const int x = random.bounded(w), y = random.bounded(h);
        const uint8_t newValue = uint8_t(round % 5 == 0 ? 2 : 9);
        std::vector<uint8_t> expected = mask;
        const uint8_t old = overlay[std::size_t(x + w * y)] ? 0 : mask[std::size_t(x + w * y)];
        if (old != 0 && old != newValue) {
            expected[std::size_t(x + w * y)] = newValue;
            for (std::deque<QPoint> queue{QPoint(x, y)}; !queue.empty(); queue.pop_front()) {
                const QPoint p = queue.front();
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx) {
                        const int qx = p.x() + dx, qy = p.y() + dy;
                        const std::size_t i = std::size_t(qx + w * qy);
                        if (qx < 0 || qy < 0 || qx >= w || qy >= h || overlay[i] || expected[i] != old)
                            continue;
                        expected[i] = newValue;
                        queue.push_back(QPoint(qx, qy));
                    }
            }
        }
        std::vector<uint8_t> ours = mask;
        std::vector<maskflood::Run> runs;
        const maskflood::Layer layer{ours.data(), erased ? overlay.data() : nullptr, w, h};
        maskflood::flood(layer, x, y, newValue, &runs);
        ASSERT_EQ(ours, expected) << "round " << round << " size " << w << "x" << h << " start " << x << ","
                                  << y;
        std::vector<uint8_t> back = ours;
        maskflood::fillRuns({back.data(), nullptr, w, h}, runs, old);
        ASSERT_EQ(back, mask) << "round " << round;
        for (int i = 0; i < h; ++i)
            reachedEdges += ours[std::size_t(w - 1 + w * i)] != mask[std::size_t(w - 1 + w * i)];
    }
    EXPECT_GT(reachedEdges, 100) << "regions must reach the last column";
}
