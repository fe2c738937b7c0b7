// SPDX-License-Identifier: MIT
// What the pixel tools leave in a saved project: a freehand region as the union of its
// brush squares, and nothing of a stroke still under way.
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "tools/View.h"

#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPainterPath>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>

namespace {

class PixelToolSaveTest : public ::testing::Test {
protected:
    void SetUp() override {
        window = std::make_unique<QMainWindow>();
        auto* image = new pxm::LabeledImage(&project);
        image->setImage(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(120, 90, 1)), true);
        project.addImage(image);
        project.setCurrentLabel(project.createLabel());
        view = new pxm::View(window.get());
        window->setCentralWidget(view);
        view->setProject(&project);
        window->show();
        view->setFixedSize(300, 300);
        QApplication::processEvents();
        view->resetTransform();
        view->centerOn(60, 45);
        QApplication::processEvents();
        project.setSetting("FreehandTool.brushWidth", 7);
        view->setTool(pxm::ToolType::Freehand);
    }

    void send(QEvent::Type type, const QPointF& scenePoint, Qt::MouseButton button,
              Qt::MouseButtons buttons) {
        const QPoint p = view->mapFromScene(scenePoint);
        QMouseEvent event(type, p, view->viewport()->mapToGlobal(p), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(view->viewport(), &event);
    }

    /// The fill polygons of every path item the saved file holds.
    QList<QList<QPolygonF>> savedPaths() {
        const QString file = dir.filePath("project.json");
        pxm::ProjectSerializer::write(&project, file, false);
        QFile in(file);
        EXPECT_TRUE(in.open(QIODevice::ReadOnly));
        const QJsonObject root = QJsonDocument::fromJson(in.readAll()).object();
        QList<QList<QPolygonF>> paths;
        int items = 0;
        for (const QJsonValue image : root["images"].toArray())
            for (const QJsonValue scene : image.toObject()["scenes"].toArray())
                for (const QJsonValue item : scene.toObject()["labelItems"].toArray()) {
                    ++items;
                    if (item.toObject()["$type"].toString() != "QGraphicsPathItem")
                        continue;
                    QList<QPolygonF> polygons;
                    for (const QJsonValue polygon :
                         item.toObject()["path"].toObject()["polygons"].toArray()) {
                        QPolygonF points;
                        for (const QJsonValue p : polygon.toObject()["points"].toArray())
                            points << QPointF(p.toObject()["x"].toDouble(), p.toObject()["y"].toDouble());
                        polygons << points;
                    }
                    paths << polygons;
                }
        EXPECT_EQ(items, paths.size()) << "only path items were drawn";
        return paths;
    }

    QTemporaryDir dir;
    pxm::Project project;
    std::unique_ptr<QMainWindow> window;
    pxm::View* view = nullptr;
};

TEST_F(PixelToolSaveTest, RegionIsSavedAsTheUnionOfItsBrushSquaresAndAStrokeUnderWayNotAtAll) {
    ASSERT_TRUE(dir.isValid());
    const QList<QPointF> points = {{10.2, 10.7}, {14, 12}, {40, 30}, {118, 88}, {60.5, 44.5}};
    send(QEvent::MouseButtonPress, points.first(), Qt::LeftButton, Qt::LeftButton);
    for (const QPointF& p : points.mid(1))
        send(QEvent::MouseMove, p, Qt::NoButton, Qt::LeftButton);
    EXPECT_TRUE(savedPaths().isEmpty()) << "neither the stroke under way nor the brush cursor is saved";

    send(QEvent::MouseButtonRelease, points.last(), Qt::LeftButton, Qt::NoButton);
    QPainterPath expected;
    expected.setFillRule(Qt::WindingFill);
    for (const QPointF& p : points) {
        QRectF square(0, 0, 7, 7);
        // Where the tool sees the pointer: the event carries whole view pixels.
        square.moveCenter(view->mapToScene(view->mapFromScene(p)));
        expected.addRect(square.intersected(QRectF(0, 0, 120, 90)).toRect());
    }
    const QList<QList<QPolygonF>> saved = savedPaths();
    ASSERT_EQ(saved.size(), 1);
    EXPECT_EQ(saved.first(), expected.toFillPolygons());
    // The two overlapping squares make one polygon; the square at the corner is clipped.
    EXPECT_EQ(saved.first().size(), 4);
    QRectF all;
    for (const QPolygonF& polygon : saved.first())
        all |= polygon.boundingRect();
    EXPECT_EQ(all.bottomRight(), QPointF(120, 90));
}

} // namespace
