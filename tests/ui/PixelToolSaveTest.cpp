// SPDX-License-Identifier: MIT
// What the pixel tools leave in a saved project: a freehand region as the union of its
// brush stamps, and nothing of a stroke still under way.
#include "tools/ToolTestSupport.h"
#include "ui/AutosaveTestSupport.h"

#include <QPainterPath>

namespace {

class PixelToolSaveTest : public pxmtest::ToolFixture {
protected:
    void SetUp() override {
        ToolFixture::SetUp();
        project.setSetting("FreehandTool.brushWidth", 7);
        view->setTool(pxm::ToolType::Freehand);
    }
    /// The fill polygons of every path item the project document holds.
    QList<QList<QPolygonF>> savedPaths() {
        QList<QList<QPolygonF>> paths;
        int items = 0;
        for (const QJsonValue image : autosavetest::normalisedDocument(project)["images"].toArray())
            for (const QJsonValue scene : image["scenes"].toArray())
                for (const QJsonValue item : scene["labelItems"].toArray()) {
                    ++items;
                    if (item["$type"].toString() != "QGraphicsPathItem")
                        continue;
                    paths << QList<QPolygonF>();
                    for (const QJsonValue polygon : item["path"]["polygons"].toArray()) {
                        paths.last() << QPolygonF();
                        for (const QJsonValue p : polygon["points"].toArray())
                            paths.last().last() << QPointF(p["x"].toDouble(), p["y"].toDouble());
                    }
                }
        EXPECT_EQ(items, paths.size()) << "only path items were drawn";
        return paths;
    }
};

TEST_F(PixelToolSaveTest, RegionIsSavedAsTheUnionOfItsBrushStampsAndAStrokeUnderWayNotAtAll) {
    const QList<QPointF> points = {{10.2, 10.7}, {14, 12}, {40, 30}, {198, 198}, {100.5, 100.5}};
    press(points.first());
    for (const QPointF& p : points.mid(1))
        move(p, Qt::LeftButton);
    EXPECT_TRUE(savedPaths().isEmpty()) << "neither the stroke under way nor the brush cursor is saved";

    release(points.last());
    const QList<QList<QPolygonF>> saved = savedPaths();
    ASSERT_EQ(saved.size(), 1);
    QPainterPath savedPath;
    savedPath.setFillRule(Qt::WindingFill);
    for (const QPolygonF& polygon : saved.first())
        savedPath.addPolygon(polygon);
    for (const QPointF& p : points) {
        QRectF square(0, 0, 7, 7);
        // Where the tool sees the pointer: the event carries whole view pixels.
        square.moveCenter(view->mapToScene(view->mapFromScene(p)));
        const QRect pixels = square.intersected(QRectF(0, 0, 200, 200)).toRect();
        for (const QPoint& corner : {pixels.topLeft(), pixels.bottomRight()})
            EXPECT_TRUE(savedPath.contains(QPointF(corner) + QPointF(0.5, 0.5))) << "the square at " << p.x();
    }
    // The stroke is stamped all along its way, so the saved polygons hold the line between.
    EXPECT_TRUE(savedPath.contains(QPointF(120.5, 120.5)));
    EXPECT_FALSE(savedPath.contains(QPointF(100.5, 20.5)));
    QRectF all;
    for (const QPolygonF& polygon : saved.first())
        all |= polygon.boundingRect();
    EXPECT_EQ(all.bottomRight(), QPointF(200, 200));
}

} // namespace
