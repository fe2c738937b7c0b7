// SPDX-License-Identifier: MIT
#include "scene/Scene.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"
#include "scene/GrabItem.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/SceneTestSupport.h"
#include "scene/commands/ItemCommands.h"

#include <QGraphicsView>
#include <QPointer>
#include <QSignalSpy>
#include <QUndoStack>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

using namespace pxm;

namespace {
/// A QGraphicsItem is no QObject; this one reports its destruction.
template <class Base> class Tracked : public Base {
public:
    using Base::Base;
    ~Tracked() override { ++destroyed; }
    static inline int destroyed = 0;
};
} // namespace

TEST(Scene, StylesEachItemKindFromItsLabel) {
    Project project;
    Label* label = project.createLabel();
    label->setColor(QColor(10, 20, 30));
    label->setPrimaryOpacity(0.8);
    label->setSecondaryOpacity(0.4);
    label->setPenWidth(0.6);
    label->setName("road");
    LabeledImage* image = pxmtest::addImage(project, 20, 20);
    Scene* scene = image->scene(0);

    auto* rect = new QGraphicsRectItem(0, 0, 5, 5);
    auto* ellipse = new QGraphicsEllipseItem(0, 0, 5, 5);
    auto* polygon = new QGraphicsPolygonItem(QPolygonF({{0, 0}, {4, 0}, {0, 4}}));
    auto* line = new QGraphicsLineItem(0, 0, 5, 5);
    auto* path = new QGraphicsPathItem;
    for (QGraphicsItem* item : QList<QGraphicsItem*>{rect, ellipse, polygon, line, path}) {
        item->setZValue(3);
        scene->addLabelItem(item, label);
        EXPECT_EQ(labelIdOf(item), label->id());
        EXPECT_EQ(item->toolTip(), "road");
        EXPECT_EQ(item->zValue(), 0.0);
    }
    const int primaryAlpha = int(0.8 * 255), secondaryAlpha = int(0.4 * 255);
    for (QAbstractGraphicsShapeItem* shape : QList<QAbstractGraphicsShapeItem*>{rect, ellipse, polygon}) {
        EXPECT_TRUE(shape->pen().isCosmetic());
        EXPECT_DOUBLE_EQ(shape->pen().widthF(), 3.0);
        EXPECT_EQ(shape->pen().color().alpha(), primaryAlpha);
        EXPECT_EQ(shape->brush().color(), QColor(10, 20, 30, secondaryAlpha));
    }
    EXPECT_EQ(line->pen().color(), QColor(10, 20, 30, primaryAlpha));
    EXPECT_EQ(path->pen().style(), Qt::NoPen) << "free-hand regions have no outline";
    EXPECT_EQ(path->brush().color(), QColor(10, 20, 30, primaryAlpha));

    // Label changes restyle its items, and only its items.
    Label* other = project.createLabel();
    auto* foreign = new QGraphicsRectItem(0, 0, 2, 2);
    scene->addLabelItem(foreign, other);
    const QBrush foreignBrush = foreign->brush();
    label->setColor(Qt::yellow);
    label->setName("street");
    EXPECT_EQ(rect->brush().color().rgb(), QColor(Qt::yellow).rgb());
    EXPECT_EQ(path->toolTip(), "street");
    EXPECT_EQ(foreign->brush(), foreignBrush);

    // Changing the id re-tags the items; labelsAt and itemsOfLabel follow.
    label->setId(123456);
    EXPECT_EQ(labelIdOf(rect), 123456);
    EXPECT_EQ(scene->itemsOfLabel(label).size(), 5);
    const QList<Label*> at = scene->labelsAt(QRectF(1, 1, 0.5, 0.5));
    EXPECT_EQ(at.first(), other) << "topmost first";
    EXPECT_TRUE(at.contains(label));

    // An item carrying an unknown id gets a label of its own.
    auto* orphan = new QGraphicsRectItem(0, 0, 1, 1);
    orphan->setData(LabelIdDataKey, 777);
    scene->addLabelItem(orphan);
    ASSERT_NE(project.labelById(777), nullptr);
    EXPECT_EQ(orphan->toolTip(), project.labelById(777)->name());
}

TEST(Scene, RemovingALabelAndUndoingRestoresTheSameItemsEverywhere) {
    Project project;
    Label* label = project.createLabel();
    Label* keep = project.createLabel();
    LabeledImage* first = pxmtest::addImage(project, 10, 10, 2);
    LabeledImage* second = pxmtest::addImage(project, 10, 10);
    QList<QGraphicsItem*> items;
    for (Scene* scene : {first->scene(0), first->scene(1), second->scene(0)}) {
        auto* item = new QGraphicsRectItem(0, 0, 3, 3);
        scene->addLabelItem(item, label);
        items << item;
        scene->addLabelItem(new QGraphicsRectItem(0, 0, 1, 1), keep);
    }
    EXPECT_TRUE(first->hasItemsOfLabel(label));
    const std::unique_ptr<KYVO::CImage> before(first->createLabelMask());
    const QList<QGraphicsItem*> stacking = first->scene(1)->items();

    project.undoStack()->push(new commands::RemoveLabel(&project, label));
    for (QGraphicsItem* item : items)
        EXPECT_EQ(item->scene(), nullptr);
    EXPECT_FALSE(first->hasItemsOfLabel(label));
    EXPECT_TRUE(first->hasLabelItems());

    project.undoStack()->undo();
    EXPECT_EQ(items[0]->scene(), first->scene(0));
    EXPECT_EQ(items[1]->scene(), first->scene(1));
    EXPECT_EQ(items[2]->scene(), second->scene(0));
    EXPECT_EQ(first->scene(1)->itemsOfLabel(label), QList<QGraphicsItem*>({items[1]}));
    // Back in its place in the list and under the shapes it lay under: where they overlap,
    // the full mask is the same byte for byte.
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

TEST(Scene, ItemCommandsOwnTheirItemExactlyWhileItIsOut) {
    for (const bool undone : {false, true}) {
        SCOPED_TRACE(undone ? "stack cleared undone" : "stack cleared done");
        Project project;
        Label* label = project.createLabel();
        LabeledImage* image = pxmtest::addImage(project, 10, 10);
        Scene* scene = image->scene(0);
        Tracked<QGraphicsRectItem>::destroyed = 0;
        auto* added = new Tracked<QGraphicsRectItem>(0, 0, 2, 2);
        auto* removed = new Tracked<QGraphicsRectItem>(0, 0, 2, 2);
        scene->addLabelItem(added, label);
        scene->addLabelItem(removed, label);

        QUndoStack stack;
        stack.push(new commands::AddItemToScene(scene, added)); // already in: no change
        EXPECT_EQ(added->scene(), scene);
        stack.push(new commands::RemoveItemFromScene(removed));
        EXPECT_EQ(removed->scene(), nullptr);
        if (undone) {
            stack.setIndex(0);
            EXPECT_EQ(added->scene(), nullptr);
            EXPECT_EQ(removed->scene(), scene);
        }
        stack.clear();
        EXPECT_EQ(Tracked<QGraphicsRectItem>::destroyed, 1) << "the item that is out dies once";
    } // the scene deletes the other one; AddressSanitizer would see a second deletion
}

TEST(Scene, SetItemLabelIdRestylesAndUndoRestores) {
    Project project;
    Label* car = project.createLabel();
    car->setName("car");
    Label* tree = project.createLabel();
    tree->setName("tree");
    LabeledImage* image = pxmtest::addImage(project, 10, 10);
    auto* item = new QGraphicsRectItem(0, 0, 4, 4);
    image->scene(0)->addLabelItem(item, car);
    const QPen carPen = item->pen();

    QUndoStack stack;
    stack.push(new commands::SetItemLabelId(item, tree));
    EXPECT_EQ(labelIdOf(item), tree->id());
    EXPECT_EQ(item->toolTip(), "tree");
    EXPECT_EQ(item->pen().color().rgb(), tree->color().rgb());
    stack.undo();
    EXPECT_EQ(labelIdOf(item), car->id());
    EXPECT_EQ(item->toolTip(), "car");
    EXPECT_EQ(item->pen(), carPen);
}

TEST(Scene, GrabHandleSignalsChangesAndKeepsItsScreenSize) {
    GrabItem grab;
    QSignalSpy colorSpy(&grab, &GrabItem::colorChanged);
    QSignalSpy posSpy(&grab, &GrabItem::posChanged);
    grab.setColor(Qt::red);
    grab.setColor(Qt::red);
    EXPECT_EQ(colorSpy.count(), 1);
    grab.setPos(3, 0);
    grab.setPos(3, 4);
    EXPECT_EQ(posSpy.count(), 2);
    EXPECT_TRUE(grab.contains(QPointF(7.9, -7.9)));
    EXPECT_FALSE(grab.contains(QPointF(8.2, 0)));

    // The handle keeps 16 screen pixels at any zoom.
    QGraphicsScene scene;
    auto* handle = new GrabItem;
    scene.addItem(handle);
    QGraphicsView view(&scene);
    view.scale(4, 4);
    const QRectF onScreen = handle->deviceTransform(view.viewportTransform()).mapRect(handle->boundingRect());
    EXPECT_DOUBLE_EQ(onScreen.width(), 17.0);
}

// A shown scene must never keep pixels its image dropped: refused, cleared or failed to
// reload, the old image is gone, and so must be the item and statistics made from it.
TEST(Scene, DroppedImageAndMaskLeaveNothingBehind) {
    Project project;
    LabeledImage* image = pxmtest::addImage(project, 4, 3);
    image->setMask(pxmtest::volume(4, 3, 1, {1, 2, 3}), true, false);
    Scene* scene = image->scene(0);
    scene->incUsage();
    ASSERT_NE(scene->imageItem(), nullptr);
    ASSERT_NE(scene->CImage(), nullptr);
    QSignalSpy imageChanged(image, &LabeledImage::imageChanged);
    QSignalSpy maskChanged(image, &LabeledImage::maskChanged);

    // Refused for its size: the old image is deleted all the same.
    image->setImage(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(5, 3, 1)), true);
    EXPECT_EQ(image->image(), nullptr);
    EXPECT_EQ(imageChanged.count(), 1);
    EXPECT_EQ(scene->imageItem(), nullptr);
    EXPECT_EQ(scene->CImage(), nullptr);
    EXPECT_EQ(scene->ImageInfo(), nullptr);

    // A reload from a path that does not exist fails after dropping the image.
    image->setImage(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(4, 3, 1)), true);
    ASSERT_NE(scene->imageItem(), nullptr);
    image->setImagePath("/nonexistent/pixmarker/image.png");
    image->loadImage(true);
    EXPECT_EQ(image->imageState(), LabeledImage::ImageState::LoadFailed);
    EXPECT_EQ(scene->imageItem(), nullptr);
    EXPECT_EQ(scene->CImage(), nullptr);

    // A mask cleared or refused is a mask change the mask item follows.
    image->setMask(nullptr, false, false);
    EXPECT_EQ(maskChanged.count(), 1);
    image->setMask(pxmtest::volume(4, 3, 1, {1}), true, false);
    image->setMask(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(2, 2, 1)), true, false);
    EXPECT_EQ(image->mask(), nullptr);
    EXPECT_EQ(maskChanged.count(), 3);
    scene->decUsage();
}
