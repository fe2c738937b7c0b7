// SPDX-License-Identifier: MIT
#include "ToolTestSupport.h"
#include "scene/GraticuleItem.h"
#include "scene/MaskItem.h"
#include "tools/Brush.h"
#include "tools/EraseTool.h"
#include "tools/FastReassignTool.h"
#include "tools/FreehandRegion.h"
#include "tools/FreehandTool.h"

#include <deque>

using namespace pxmtest;
using namespace pxm;

namespace {

class PixelToolTest : public ToolFixture {
protected:
    template <typename T> T* useTool(ToolType type, int brushWidth = 0) {
        if (brushWidth > 0)
            project.setSetting(type == ToolType::Eraser ? "EraserTool.brushWidth" : "FreehandTool.brushWidth",
                               brushWidth);
        view->setTool(type);
        auto* tool = qobject_cast<T*>(view->tool());
        EXPECT_NE(tool, nullptr);
        return tool;
    }
    /// The label path items of the scene.
    QList<QGraphicsPathItem*> regions() const {
        QList<QGraphicsPathItem*> result;
        for (QGraphicsItem* item : scene()->items())
            if (isLabelItem(item) && item->type() == QGraphicsPathItem::Type)
                result << static_cast<QGraphicsPathItem*>(item);
        return result;
    }
    /// Gives the image a mask of zeros with `value` in the rectangle.
    void setMask(const QRect& r, int value) {
        auto* mask = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(200, 200, 1));
        for (int y = r.top(); y <= r.bottom(); ++y)
            for (int x = r.left(); x <= r.right(); ++x)
                mask->data()[x + 200 * y] = uint8_t(value);
        image->setMask(mask, true, false);
        ASSERT_NE(scene()->maskItem(), nullptr);
    }
    int maskAt(int x, int y) const { return scene()->maskItem()->value(QPoint(x, y)); }
    /// The shown (labelled, unerased) mask pixels; none without a mask.
    std::vector<bool> maskPixels() const {
        std::vector<bool> shown;
        if (scene()->maskItem())
            for (int i = 0; i < 200 * 200; ++i)
                shown.push_back(maskAt(i % 200, i / 200) != 0);
        return shown;
    }
};

/// True when every subpath is a closed rectangle on whole pixels (the reader picks old fill rules by it).
bool onlyPixelRectangles(const QPainterPath& path) {
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPointF p = path.elementAt(i), before = path.elementAt(std::max(0, i - 1));
        if (path.elementAt(i).type != (i % 5 ? QPainterPath::LineToElement : QPainterPath::MoveToElement) ||
            p != QPointF(p.toPoint()) || (i % 5 && p.x() != before.x() && p.y() != before.y()) ||
            (i % 5 == 4 && p != QPointF(path.elementAt(i - 4))))
            return false;
    }
    return path.elementCount() % 5 == 0;
}

TEST_F(PixelToolTest, FreehandStrokeIsOneUndoStepOfPixelRectanglesInsideTheScene) {
    auto* tool = useTool<FreehandTool>(ToolType::Freehand, 10);
    press({185.3, 190.6}); // along the bottom right corner and beyond it
    ASSERT_NE(tool->region(), nullptr);
    // A press stamps the brush rectangle clipped to the scene, rounded to whole pixels.
    QPainterPath single;
    single.setFillRule(Qt::WindingFill);
    single.addRect(QRectF(180.3, 185.6, 10, 10).toRect());
    EXPECT_EQ(tool->region()->path(), single);
    for (const QPointF p : {QPointF(192, 196), QPointF(198.2, 199.5), QPointF(230, 240), QPointF(199.9, 150)})
        move(p, Qt::LeftButton);
    release({199.9, 150});
    EXPECT_EQ(std::pair(!!tool->region(), stack()->count()), std::pair(false, 1));
    ASSERT_EQ(regions().size(), 1);
    const QPainterPath path = regions().first()->path();
    EXPECT_EQ(std::tuple(path.fillRule(), regions().first()->pen().style(), labelIdOf(regions().first())),
              std::tuple(Qt::WindingFill, Qt::NoPen, label->id()));
    // Never beyond the scene, but on the way back from beyond it. (Undo and redo: the stroke table.)
    EXPECT_TRUE(QRectF(0, 0, 200, 200).contains(path.boundingRect()));
    EXPECT_TRUE(path.contains(QPointF(199.5, 199.5)) && path.contains(QPointF(199.5, 160.5)));
    EXPECT_FALSE(path.contains(QPointF(150, 150)));
}

/// The item painted on white at a zoom, clipped to the exposed rectangle as a view clips it.
QImage paintItem(QGraphicsPathItem& item, double zoom, const QRectF& exposed) {
    QImage out(int(300 * zoom), int(300 * zoom), QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::white);
    QPainter painter(&out);
    painter.scale(zoom, zoom);
    painter.setClipRect(exposed);
    QStyleOptionGraphicsItem option;
    option.exposedRect = exposed;
    item.paint(&painter, &option, nullptr);
    return out;
}

TEST(FreehandRegion, PaintsWhatItsPathWouldPaint) {
    // Squares across tile borders (tiles are 128 wide), overlapping each other.
    FreehandRegion region;
    QGraphicsPathItem reference;
    const auto brushBoth = [&](const QColor& c) {
        for (QGraphicsPathItem* item : {static_cast<QGraphicsPathItem*>(&region), &reference})
            item->setBrush(c), item->setPen(Qt::NoPen);
    };
    brushBoth(QColor(200, 40, 40, 150));
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    for (const QRect& r : {QRect(3, 4, 9, 9), QRect(8, 8, 9, 9), QRect(50, 60, 30, 2), QRect(120, 0, 20, 300),
                           QRect(250, 240, 20, 30)}) {
        region.addSquare(r);
        path.addRect(r);
    }
    reference.setPath(path);
    EXPECT_EQ(region.path(), path);
    const auto expectSamePicture = [&](double zoom, const QRectF& exposed) {
        EXPECT_EQ(paintItem(region, zoom, exposed), paintItem(reference, zoom, exposed))
            << "zoom " << zoom << " exposed " << exposed.width();
    };
    for (const double zoom : {1.0, 3.0})
        for (const QRectF& exposed : {QRectF(0, 0, 300, 300), QRectF(5.5, 6.2, 250, 170)})
            expectSamePicture(zoom, exposed);
    // A new colour, and a path set from outside, as the eraser and undo do.
    brushBoth(QColor(20, 40, 240, 90));
    expectSamePicture(2, QRectF(0, 0, 300, 300));
    QPainterPath hole;
    hole.addRect(10, 0, 100, 50);
    QPainterPath cut = path.subtracted(hole).simplified();
    region.setPath(cut);
    reference.setPath(cut);
    expectSamePicture(1, QRectF(0, 0, 300, 300));
    // Stamping goes on from the path it has now.
    region.addSquare(QRect(60, 100, 5, 5));
    cut.setFillRule(Qt::WindingFill);
    cut.addRect(QRect(60, 100, 5, 5));
    reference.setPath(cut);
    EXPECT_EQ(region.path(), cut);
    expectSamePicture(1, QRectF(0, 0, 300, 300));
}

std::vector<bool> minus(std::vector<bool> a, const std::vector<bool>& b) {
    for (std::size_t i = 0; i < a.size(); ++i)
        a[i] = a[i] && !b[i];
    return a;
}

/// The pixels of the 200 x 200 image whose centres a path covers, row by row.
std::vector<bool> pixelsOf(const QPainterPath& path) {
    QImage picture(200, 200, QImage::Format_Grayscale8);
    picture.fill(0);
    QPainter(&picture).fillPath(path, Qt::white);
    std::vector<bool> covered;
    for (int i = 0; i < 200 * 200; ++i)
        covered.push_back(picture.constScanLine(i / 200)[i % 200] != 0);
    return covered;
}

/// The changed pixels are one 4-connected piece over the pointer's path (in `within`), none beyond `reach`.
void expectContinuous(const std::vector<bool>& stroke, const QVector<QPointF>& line, double reach,
                      const std::vector<bool>* within = nullptr, bool thin = false) {
    std::vector<int> crossed;
    for (int i = 1; i < line.size(); ++i)
        for (double t = 0; t <= 1; t += thin ? 1 : 0.005) {
            const QPointF p = line[i - 1] + t * (line[i] - line[i - 1]);
            if (!within || (*within)[int(p.x()) + 200 * int(p.y())])
                crossed.push_back(int(p.x()) + 200 * int(p.y()));
        }
    ASSERT_FALSE(crossed.empty());
    std::vector<bool> reached(stroke.size());
    std::deque<int> queue{crossed.front()};
    for (; !queue.empty(); queue.pop_front()) {
        const int i = queue.front(), x = i % 200, y = i / 200;
        if (!stroke[i] || reached[i])
            continue;
        reached[i] = true;
        for (const QPoint& n : {QPoint(x - 1, y), QPoint(x + 1, y), QPoint(x, y - 1), QPoint(x, y + 1)})
            if (QRect(0, 0, 200, 200).contains(n))
                queue.push_back(n.x() + 200 * n.y());
    }
    EXPECT_EQ(reached, stroke) << "one 4-connected piece";
    for (const int i : crossed)
        ASSERT_TRUE(reached[i]) << "gap at " << i % 200 << "," << i / 200;
    QPainterPath polyline(line.first());
    for (const QPointF& p : line)
        polyline.lineTo(p);
    const QPainterPathStroker near(QPen(Qt::black, 2 * reach, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    EXPECT_EQ(minus(stroke, pixelsOf(near.createStroke(polyline))), std::vector<bool>(stroke.size()))
        << "nothing beyond the brush's reach";
}

struct StrokeCase {
    ToolType tool;
    const char* shape;
    int width;
};

// Names the case, in test names and failures alike.
void PrintTo(const StrokeCase& c, std::ostream* os) {
    *os << (c.tool == ToolType::Eraser ? "Eraser" : "Freehand") << c.shape << c.width;
}

class BrushStrokeTest : public PixelToolTest, public ::testing::WithParamInterface<StrokeCase> {};

TEST_P(BrushStrokeTest, FastStrokeLeavesNoGapAndIsOneExactUndoStep) {
    const StrokeCase c = GetParam();
    const bool erasing = c.tool == ToolType::Eraser;
    // 20 px per move, neither straight nor diagonal, at the scene points the viewport's pixels give.
    QVector<QPointF> line;
    for (int i = 0; i <= 8; ++i)
        line << view->mapToScene(at(QPointF(20.3 + 16 * i, 30.6 + 12 * i)));
    QGraphicsPathItem* region = nullptr;
    if (erasing) {
        setMask(QRect(0, 0, 200, 200), 2);
        useTool<FreehandTool>(ToolType::Freehand, 150);
        click({100, 100});
        ASSERT_EQ(regions().size(), 1);
        region = regions().first();
    }
    project.setSetting(QString(erasing ? "EraserTool" : "FreehandTool") + ".brushShape", c.shape);
    useTool<Tool>(c.tool, c.width);
    const QPainterPath pathBefore = region ? region->path() : QPainterPath();
    const std::vector<bool> maskBefore = maskPixels();
    // The mask is labelled everywhere: any pixel the undo left erased would show in the snapshot.
    expectStep(erasing ? "erase" : "", [&] {
        press(line.first());
        for (const QPointF& p : line.mid(1))
            move(p, Qt::LeftButton);
        release(line.last());
    });
    if (erasing) {
        const std::vector<bool> painted = pixelsOf(pathBefore);
        expectContinuous(minus(painted, pixelsOf(region->path())), line, c.width + 1.5, &painted);
        expectContinuous(minus(maskBefore, maskPixels()), line, c.width + 1.5);
    } else {
        ASSERT_EQ(regions().size(), 1);
        region = regions().first();
        EXPECT_TRUE(onlyPixelRectangles(region->path()));
        expectContinuous(pixelsOf(region->path()), line, c.width + 1.5, nullptr, c.width == 1);
    }
}

INSTANTIATE_TEST_SUITE_P(
    ToolsAndShapes, BrushStrokeTest,
    ::testing::Values(StrokeCase{ToolType::Freehand, "Square", 3}, StrokeCase{ToolType::Freehand, "Round", 3},
                      StrokeCase{ToolType::Freehand, "Square", 1}, StrokeCase{ToolType::Freehand, "Round", 1},
                      StrokeCase{ToolType::Eraser, "Square", 3}, StrokeCase{ToolType::Eraser, "Round", 3}),
    [](const auto& info) { return testing::PrintToString(info.param); });

TEST(Brush, StampsCoverTheirShapeInFewDisjointRectangles) {
    using Shape = Brush::Shape;
    const struct {
        Shape shape;
        int width;
        QPointF from, to;
        int pixels;
        QRect bounds;
        int rectangles;
    } cases[] = {
        {Shape::Round, 5, {10.5, 10.5}, {10.5, 10.5}, 21, QRect(8, 8, 5, 5), 3}, // 5 x 5 less the corners
        // No pixel centre within half a pixel: the pixel under the pointer.
        {Shape::Round, 1, {10, 10}, {10, 10}, 1, QRect(10, 10, 1, 1), 1},
        {Shape::Round, 5, {1, 1}, {1, 1}, 9, QRect(0, 0, 3, 3), 1}, // cut by the image's corner
        // Along a row: a rectangle per run of equal rows; a square covers every pixel it meets.
        {Shape::Round, 5, {20.5, 50.5}, {120.5, 50.5}, 521, QRect(18, 48, 105, 5), 3},
        {Shape::Square, 3, {20.5, 50.5}, {120.5, 50.5}, 416, QRect(19, 49, 104, 4), 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " at " << c.from.x() << "," << c.from.y());
        const QVector<QRect> rects = Brush::strokePixels(c.shape, c.width, c.from, c.to,
                                                         QRectF(0, 0, 200, 200), Brush::Cover::Touched);
        QRegion covered;
        int area = 0;
        for (const QRect& r : rects) {
            EXPECT_FALSE(covered.intersects(r)) << "disjoint";
            covered += r;
            area += r.width() * r.height();
        }
        EXPECT_EQ(std::tuple(area, covered.boundingRect(), rects.size()),
                  std::tuple(c.pixels, c.bounds, c.rectangles));
    }
}

TEST_F(PixelToolTest, BrushCursorFollowsThePointerAndTheWidthAndShapeSettings) {
    auto* tool = useTool<FreehandTool>(ToolType::Freehand, 6);
    move({40, 30});
    ASSERT_NE(tool->brushCursor(), nullptr);
    EXPECT_EQ(tool->brushCursor()->rect(), QRectF(37, 27, 6, 6));
    typeKey(Qt::Key_Escape); // Escape takes the cursor away, the next move brings it back
    EXPECT_EQ(tool->brushCursor(), nullptr);
    move({40, 30});
    ASSERT_NE(tool->brushCursor(), nullptr);
    // The width setting and the spin box; the cursor is resized around its centre.
    const auto width = [&] {
        return std::pair(project.setting("FreehandTool.brushWidth").toInt(), tool->widthSpinBox()->value());
    };
    typeKey(Qt::Key_Plus);
    EXPECT_EQ(width(), std::pair(7, 7));
    EXPECT_EQ(tool->brushCursor()->rect(), QRectF(36.5, 26.5, 7, 7));
    tool->widthSpinBox()->setValue(3);
    EXPECT_EQ(width().first, 3);
    for (int i = 0; i < 5; ++i)
        typeKey(Qt::Key_Minus);
    EXPECT_EQ(tool->brushWidth(), 1) << "never below 1";
    // Past the spin box's maximum by key: the setting keeps it, the box shows 99.
    project.setSetting("FreehandTool.brushWidth", 99);
    typeKey(Qt::Key_Plus);
    EXPECT_EQ(width(), std::pair(100, 99));
    project.setSetting("FreehandTool.brushWidth", "junk");
    EXPECT_EQ(tool->brushWidth(), 1);
    // The shape box writes the tool's own setting and follows it; round shows a disc.
    const auto disc = [tool] {
        return qgraphicsitem_cast<QGraphicsEllipseItem*>(tool->brushCursor()->childItems().last());
    };
    QComboBox* shapes = tool->shapeComboBox();
    EXPECT_EQ(shapes->currentData().toString(), "Square");
    shapes->setCurrentIndex(shapes->findData("Round"));
    EXPECT_EQ(project.setting("FreehandTool.brushShape").toString(), "Round");
    EXPECT_FALSE(project.settings().contains("EraserTool.brushShape"));
    ASSERT_NE(disc(), nullptr);
    // Only the disc shows.
    EXPECT_EQ(std::pair(disc()->rect(), tool->brushCursor()->brush().style()),
              std::pair(tool->brushCursor()->rect(), Qt::NoBrush));
    project.setSetting("FreehandTool.brushShape", "Square");
    EXPECT_EQ(std::tuple(shapes->currentData().toString(), disc(), tool->brushCursor()->brush().style()),
              std::tuple(QString("Square"), static_cast<QGraphicsEllipseItem*>(nullptr), Qt::SolidPattern));
    // Ctrl+plus and Ctrl+minus (the view zooms on the press) widen and narrow either tool's brush on the
    // release.
    for (const ToolType type : {ToolType::Freehand, ToolType::Eraser}) {
        const QString setting =
            type == ToolType::Eraser ? "EraserTool.brushWidth" : "FreehandTool.brushWidth";
        project.setSetting(setting, 5);
        view->setTool(type);
        typeKey(Qt::Key_Plus, Qt::ControlModifier); // the press never reaches the tool: the view's event test
        EXPECT_EQ(project.setting(setting).toInt(), 6);
        typeKey(Qt::Key_Minus, Qt::ControlModifier);
        EXPECT_EQ(project.setting(setting).toInt(), 5);
    }
}

TEST_F(PixelToolTest, EraserRemovesShapesItTouchesWholeAsOneUndoStep) {
    QGraphicsRectItem* rect = addRect({50, 50, 40, 40}, other);
    QGraphicsRectItem* far = addRect({150, 150, 20, 20}, label);
    auto* tool = useTool<EraseTool>(ToolType::Eraser, 2);
    expectStep("erase", [&] {
        press({20, 48.7}); // along the rectangle's top edge, overlapping it by half a pixel
        EXPECT_TRUE(tool->erasing());
        for (double x = 30; x <= 110; x += 10)
            move({x, 48.7}, Qt::LeftButton);
        release({110, 48.7});
    });
    // Touched at its edge, removed whole; one command per brush square.
    EXPECT_EQ(std::tuple(tool->erasing(), rect->scene(), far->scene(), stack()->command(0)->childCount()),
              std::tuple(false, nullptr, scene(), 10));
    stack()->undo();   // the same item comes back: the scene's item command test
    press({60, 48.7}); // a tool switch in the middle of a stroke closes its undo step
    EXPECT_FALSE(stack()->canUndo()) << "the stroke's step is open";
    view->setTool(ToolType::Rectangle);
    EXPECT_TRUE(stack()->canUndo());
    EXPECT_EQ(stack()->text(stack()->index() - 1), "erase");
    stack()->undo();
    EXPECT_EQ(rect->scene(), scene());
}

TEST_F(PixelToolTest, EraserCutsRegionsAndUndoRestoresTheirFullPath) {
    useTool<FreehandTool>(ToolType::Freehand, 6);
    drag({100, 100}, {130, 100}, Qt::LeftButton, 6);
    ASSERT_EQ(regions().size(), 1);
    QGraphicsPathItem* region = regions().first();
    // Erasing every last pixel removes the region; undo brings the same region back whole (the step's
    // snapshot holds its outline).
    useTool<EraseTool>(ToolType::Eraser, 12);
    expectStep("erase", [&] { drag({96, 100}, {134, 100}, Qt::LeftButton, 8); });
    EXPECT_EQ(std::pair(regions().size(), region->scene()),
              std::pair(0, static_cast<QGraphicsScene*>(nullptr)));
    stack()->undo();
    EXPECT_EQ(regions(), QList<QGraphicsPathItem*>{region});
    // A click cuts a region moved elsewhere where it shows, in its own coordinates.
    region->setPos(0, 40);
    project.setSetting("EraserTool.brushWidth", 4);
    click({115, 140});
    const QPainterPath cut = region->path();
    EXPECT_EQ(std::tuple(cut.contains(QPointF(101, 100)), cut.contains(QPointF(115, 100)),
                         cut.contains(QPointF(129, 100))),
              std::tuple(true, false, true));
}

TEST_F(PixelToolTest, ReassignFloodsMaskRegionsRelabelsShapesAndPicksLabels) {
    setMask(QRect(10, 10, 20, 20), other->maskId());
    auto* tool = useTool<FastReassignTool>(ToolType::Reassign);
    project.setCurrentLabel(label);
    expectStep("Reassign label.", [&] { click({15, 15}); }); // the snapshot holds the mask
    EXPECT_EQ(std::pair(maskAt(29, 29), maskAt(9, 9)), std::pair(label->maskId(), 0))
        << "masks hold mask ids";
    // A pixel that already has the label's id, or neither label nor shape: nothing is pushed.
    click({20, 20});
    click({100, 100});
    EXPECT_EQ(stack()->count(), 1);
    QGraphicsRectItem* rect = addRect({120, 120, 30, 30}, other);
    // The hovered item and the rectangle's cursor; a labelled mask pixel shows the hand too.
    const auto hover = [&](const QPointF& p) {
        move(p);
        return std::pair(tool->hoveredItem(), rect->cursor().shape());
    };
    EXPECT_EQ(hover({135, 135}), std::pair(static_cast<QGraphicsItem*>(rect), Qt::PointingHandCursor));
    EXPECT_EQ(hover({100, 100}), std::pair(static_cast<QGraphicsItem*>(nullptr), Qt::ArrowCursor));
    EXPECT_EQ(hover({15, 15}).first, scene()->maskItem());
    expectStep("Reassign label.", [&] { click({135, 135}); });
    EXPECT_EQ(labelIdOf(rect), label->id());
    click({135, 135});
    EXPECT_EQ(stack()->count(), 2) << "already the current label";
    stack()->undo(); // the rectangle is the other label's again, in its style (the scene's style test)
    // A right click picks the label under the pointer, a digit the label at its place (0 the tenth).
    stack()->clear();
    Label* third = project.createLabel();
    QList<Label*> picked;
    for (const QPointF& p : {QPointF(135, 135), QPointF(15, 15), QPointF(100, 100)}) {
        click(p, Qt::RightButton);
        picked << project.currentLabel();
    }
    for (const int key : {Qt::Key_1, Qt::Key_2, Qt::Key_9, Qt::Key_0, Qt::Key_3}) {
        if (key == Qt::Key_0)
            for (int i = 0; i < 7; ++i)
                project.createLabel();
        typeKey(key);
        picked << project.currentLabel();
    }
    EXPECT_EQ(picked,
              (QList<Label*>{other, label, label, label, other, other, project.labels().at(9), third}));
    EXPECT_EQ(stack()->count(), 0);
}

} // namespace
