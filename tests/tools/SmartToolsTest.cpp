// SPDX-License-Identifier: MIT
#include "../segment/SegmentTestSupport.h"
#include "ToolTestSupport.h"
#include "scene/GraticuleItem.h"
#include "segment/Coverage.h"
#include "segment/LayerMat.h"
#include "segment/RegionShapes.h"
#include "tools/FreehandRegion.h"
#include "tools/smart/BoxTool.h"
#include "tools/smart/Conversions.h"
#include "tools/smart/MaskPreviewItem.h"
#include "tools/smart/ScissorsTool.h"
#include "tools/smart/SeedsTool.h"
#include "tools/smart/SliceFillPreview.h"
#include "tools/smart/WandTool.h"

#include <QSignalSpy>

using namespace pxmtest;

namespace {

/// A free-hand region of the label over the pixels.
void addRegion(pxm::Scene* scene, const cv::Mat& pixels, const pxm::Label* label) {
    auto* region = new pxm::FreehandRegion;
    region->addRects(pxm::segment::maskRects(pixels));
    scene->addLabelItem(region, label);
}

/// The wand on a 200 x 200 picture of two textured discs (160 and 100) on a noisy background of 40, where
/// the other smart tools and the conversions work too.
class WandToolTest : public ToolFixture {
public:
    void SetUp() override {
        ToolFixture::SetUp();
        bright = discs(200, 200, {60, 60}, 30);
        dim = discs(200, 200, {140, 140}, 25);
        const KYVO::CImage picture = texturedPicture(KYVO::IMAGE_GREY_8, bright | dim, 160, 40);
        std::memcpy(image->image()->data(), picture.data(), picture.byteCount());
        pxm::segment::layerMat(*image->image(), 0).setTo(100, dim);
        view->setTool(pxm::ToolType::Wand);
        wand()->setTolerance(30);
    }
    pxm::WandTool* wand() const { return tool<pxm::WandTool>(); }
    /// The pixels of the scene that the label's items cover.
    cv::Mat covered(const pxm::Label* l) const {
        cv::Mat all = cv::Mat::zeros(200, 200, CV_8UC1);
        for (QGraphicsItem* item : scene()->itemsOfLabel(l))
            all |= pxm::segment::itemCoverage(item, 200, 200);
        return all;
    }
    cv::Mat bright, dim;
};

} // namespace

TEST_F(WandToolTest, DraggingChangesTheToleranceLive) {
    // Dragged right the tolerance grows by 0.5 per pixel: at 45 the dim disc alone, at 70 everything.
    press({140, 140});
    auto* preview = static_cast<pxm::MaskPreviewItem*>(wand()->preview());
    ASSERT_NE(preview, nullptr);
    EXPECT_EQ(cv::countNonZero(preview->mask() != dim), 0);
    move({170, 140}, Qt::LeftButton);
    EXPECT_EQ(std::pair(wand()->tolerance(), cv::countNonZero(preview->mask() != dim)), std::pair(45.0, 0));
    move({220, 140}, Qt::LeftButton);
    EXPECT_EQ(std::pair(wand()->tolerance(), cv::countNonZero(preview->mask())), std::pair(70.0, 200 * 200));
    release({220, 140});
    EXPECT_EQ(cv::countNonZero(covered(label)), 200 * 200);
    // Dragging left lowers it, never below 0.
    press({140, 140});
    move({0, 140}, Qt::LeftButton);
    EXPECT_DOUBLE_EQ(wand()->tolerance(), 0);
}

TEST_F(WandToolTest, AClickMakesTheObjectARegionShiftAddsAltSubtractsAndOtherLabelsAreKept) {
    expectStep("Wand", [&] {
        press({60, 60});
        EXPECT_EQ(std::pair(!!wand()->preview(), wand()->state()),
                  std::pair(true, pxm::WandTool::State::Growing));
        release({60, 60});
    });
    ASSERT_EQ(std::pair(!!wand()->preview(), scene()->itemsOfLabel(label).size()), std::pair(false, 1));
    QGraphicsItem* region = scene()->itemsOfLabel(label).first();
    EXPECT_EQ(region->type(), int(QGraphicsPathItem::Type));
    EXPECT_GT(iou(covered(label), bright), 0.97);
    // Shift adds to the label's region: with a tolerance that takes everything, the region becomes all.
    wand()->setTolerance(130);
    expectStep("Wand", [&] { click({60, 60}, Qt::LeftButton, Qt::ShiftModifier); });
    EXPECT_EQ(std::pair(scene()->itemsOfLabel(label), cv::countNonZero(covered(label))),
              std::pair(QList<QGraphicsItem*>{region}, 200 * 200));
    // Alt takes the bright disc back out of it, in one step.
    wand()->setTolerance(30);
    expectStep("Wand", [&] { click({60, 60}, Qt::LeftButton, Qt::AltModifier); });
    ASSERT_EQ(scene()->itemsOfLabel(label).size(), 1);
    EXPECT_GT(iou(covered(label), ~bright), 0.97);
    // Alt where the label has no region does nothing, not even to another label's region there.
    stack()->setIndex(0);
    QPainterPath square;
    square.addRect(40, 40, 40, 40);
    auto* others = new QGraphicsPathItem(square);
    scene()->addLabelItem(others, other);
    project.setSetting("SmartTools.keepOtherLabels", false);
    click({60, 60}, Qt::LeftButton, Qt::AltModifier);
    EXPECT_EQ(std::tuple(stack()->index(), scene()->itemsOfLabel(label).size(), others->path()),
              std::tuple(0, 0, square));
    delete others;
    project.setSetting("SmartTools.keepOtherLabels", true);

    // "Keep other labels": the other label's rectangle over the disc's right half stays its own.
    addRect(QRectF(60, 20, 60, 80), other);
    const cv::Mat rect = covered(other);
    click({50, 60});
    EXPECT_EQ(cv::countNonZero(covered(label) & rect), 0);
    EXPECT_GT(iou(covered(label), bright & ~rect), 0.95);
    stack()->undo();
    // Without it the click takes the whole disc, with "Polygon" as a polygon.
    project.setSetting("SmartTools.keepOtherLabels", false);
    project.setSetting("SmartTools.polygon", true);
    click({50, 60});
    ASSERT_EQ(scene()->itemsOfLabel(label).size(), 1);
    EXPECT_EQ(scene()->itemsOfLabel(label).first()->type(), int(QGraphicsPolygonItem::Type));
    EXPECT_GT(iou(covered(label), bright), 0.95);
}

// A box finds both discs; an Alt-stroke takes the dim one out; Enter commits the bright one in one step.
TEST_F(WandToolTest, BoxSegmentsObjectsAndStrokesRefineIt) {
    view->setTool(pxm::ToolType::Box);
    auto* box = tool<pxm::BoxTool>();
    project.setSetting("BoxTool.keepAllParts", true);
    project.setSetting("BoxTool.brushWidth", 4);
    drag({20, 20}, {175, 175});
    ASSERT_NE(box->preview(), nullptr);
    EXPECT_EQ(box->state(), pxm::BoxTool::State::Shown);
    auto shown = [box] { return static_cast<pxm::MaskPreviewItem*>(box->preview())->mask(); };
    EXPECT_GT(iou(shown(), bright | dim), 0.9);
    drag({125, 140}, {155, 140}, Qt::LeftButton, 6, Qt::AltModifier);
    EXPECT_GT(iou(shown(), bright), 0.9);
    expectStep("Box", [&] { typeKey(Qt::Key_Return); });
    EXPECT_GT(iou(covered(label), bright), 0.9);
}

// Seeds of three labels grow into three regions, committed as one step.
TEST_F(WandToolTest, SeedsOfThreeLabelsGrowIntoTheirRegions) {
    view->setTool(pxm::ToolType::Seeds);
    pxm::Label* third = project.createLabel();
    project.setSetting("SeedsTool.brushWidth", 3);
    drag({50, 60}, {70, 60});
    project.setCurrentLabel(other);
    drag({130, 140}, {150, 140});
    project.setCurrentLabel(third);
    drag({100, 10}, {100, 30});
    EXPECT_EQ(tool<pxm::SeedsTool>()->seededLabels().size(), 3);
    expectStep("Seeds", [&] { typeKey(Qt::Key_Enter); });
    EXPECT_GT(iou(covered(label), bright), 0.85);
    EXPECT_GT(iou(covered(other), dim), 0.85);
    EXPECT_EQ(cv::countNonZero(covered(third) & (bright | dim)), 0);
}

// Anchors around the disc, one taken back with Backspace; a click on the first closes.
TEST_F(WandToolTest, ScissorsFollowTheEdgeBetweenAnchors) {
    view->setTool(pxm::ToolType::Scissors);
    auto* scissors = tool<pxm::ScissorsTool>();
    for (const QPointF& p : {QPointF(60, 30.5), QPointF(90, 60), QPointF(60, 90), QPointF(150, 20)})
        click(p);
    ASSERT_EQ(scissors->anchors().size(), 4u);
    typeKey(Qt::Key_Backspace);
    EXPECT_EQ(scissors->anchors().size(), 3u);
    click({30.5, 60});
    // The live path from the last anchor hugs the disc's edge rather than cutting across.
    for (const cv::Point& p : scissors->livePathTo({60, 30}))
        EXPECT_NEAR(std::hypot(p.x - 60, p.y - 60), 30, 3);
    expectStep("Scissors", [&] { click({60.2, 30.7}); });
    EXPECT_EQ(scene()->itemsOfLabel(label).first()->type(), int(QGraphicsPolygonItem::Type));
    EXPECT_GT(iou(covered(label), bright), 0.9);
}

// Every tool, on the discs: with no scene (an image that failed to load, then no project) nothing happens;
// the right button does nothing where only the left draws; no label, no drawing (the shape tools say why); a
// stroke under way shows but is no annotation, and Escape or a tool switch takes it away; the smart tools
// need the image's pixels.
TEST_F(WandToolTest, NoToolDrawsWithoutASceneALabelOrPixelsNorKeepsAnAbortedStroke) {
    using T = pxm::ToolType;
    const QList<T> leftOnly = {T::Freehand, T::Eraser, T::Wand, T::Box, T::Seeds, T::Scissors};
    const QList<T> shapes = {T::Rectangle, T::Ellipse, T::Polygon, T::Line, T::Freehand};
    const QList<T> strokes = shapes + QList<T>{T::Wand, T::Box, T::Seeds, T::Scissors};
    // Whether the status line says, in front of the pointer readout, why nothing is drawn.
    QSignalSpy status(view, &pxm::View::statusTipChanged);
    const auto hinted = [&] { return status.last().at(0).toString().startsWith(pxm::View::noLabelHint()); };
    // The scene's items but the brush cursor, which stays with the pointer, and its parts.
    const auto shown = [this] {
        int n = 0;
        for (QGraphicsItem* item : scene()->items())
            n += dynamic_cast<pxm::GraticuleItem*>(item->topLevelItem()) ? 0 : 1;
        return n;
    };
    const auto nothing = std::pair(Made({}, 0), shown());
    for (const char* key : {"RectTool.oneClick", "EllipseTool.oneClick"})
        project.setSetting(key, false);
    auto* broken = new pxm::LabeledImage(&project);
    broken->setImagePath("/nonexistent/pixmarker/missing.pgm");
    project.addImage(broken);
    for (const T type : strokes + QList<T>{T::Eraser, T::Reassign, T::Transformation, T::Ruler}) {
        SCOPED_TRACE(int(type));
        view->setTool(type);
        project.setCurrentImageIndex(1);
        QApplication::processEvents();
        // Driven by hand: the View itself is disabled without a scene.
        for (int round = 0; round < 2; ++round) {
            pxm::Tool* tool = view->tool();
            for (const Qt::MouseButton b : {Qt::LeftButton, Qt::RightButton}) {
                QMouseEvent press(QEvent::MouseButtonPress, QPointF(10, 10), b, b, Qt::NoModifier);
                QMouseEvent moved(QEvent::MouseMove, QPointF(20, 20), Qt::NoButton, b, Qt::NoModifier);
                QMouseEvent release(QEvent::MouseButtonRelease, QPointF(20, 20), b, Qt::NoButton,
                                    Qt::NoModifier);
                tool->mousePressEvent(&press);
                tool->mouseMoveEvent(&moved);
                tool->mouseReleaseEvent(&release);
            }
            for (const int k : {Qt::Key_Plus, Qt::Key_Minus, Qt::Key_Escape, Qt::Key_1, Qt::Key_Return}) {
                QKeyEvent event(QEvent::KeyRelease, k, Qt::NoModifier);
                tool->keyReleaseEvent(&event);
            }
            tool->cleanUp();
            view->setProject(nullptr); // second round: no project, no scene
        }
        view->setProject(&project);
        project.setCurrentImageIndex(0);
        QApplication::processEvents();
        if (leftOnly.contains(type))
            drag({20, 20}, {60, 60}, Qt::RightButton);
        project.setCurrentLabel(nullptr);
        if (type != T::Eraser) // which needs none
            drag({20, 20}, {60, 60});
        typeKey(Qt::Key_Return);
        EXPECT_EQ(hinted(), shapes.contains(type));
        project.setCurrentLabel(label);
        if (type == T::Ruler) // which measures on, but draws no annotation
            continue;
        EXPECT_EQ(std::pair(made(), shown()), nothing);
        if (!strokes.contains(type))
            continue;
        press({50, 50});
        move({65, 70}, Qt::LeftButton);
        EXPECT_EQ(std::tuple(snapshot(), shown() > nothing.second, hinted()),
                  std::tuple(QStringList(), true, false));
        typeKey(Qt::Key_Escape);
        release({65, 70});
        typeKey(Qt::Key_Return);
        EXPECT_EQ(std::pair(made(), shown()), nothing);
        press({50, 50});
        move({65, 70}, Qt::LeftButton);
        view->setTool(T::None); // which takes the cursor away too
        EXPECT_EQ(std::pair(made(), scene()->items().size()), nothing);
    }
    image->setImage(nullptr, false);
    for (const T type : leftOnly.mid(2)) {
        view->setTool(type);
        drag({50, 50}, {65, 70});
        typeKey(Qt::Key_Return);
        EXPECT_EQ(stack()->count(), 0) << int(type);
    }
}

// Shapes merge into a region, regions trace into polygons (holed parts stay), a mask becomes items: a step
// each.
TEST_F(WandToolTest, ConversionsBetweenShapesRegionsAndMasks) {
    addRect(QRectF(10, 10, 40, 30), label);
    addShape<QGraphicsEllipseItem>(label, QRectF(30, 20, 50, 50));
    auto* line = addShape<QGraphicsLineItem>(label, QLineF(0, 150, 100, 150));
    addRect(QRectF(120, 120, 20, 20), other);
    const cv::Mat shapes = covered(label);
    expectStep("Shapes to region", [&] {
        stack()->push(
            pxm::conversions::shapesToRegion(scene(), project, pxm::conversions::targets(*scene(), label)));
    });
    // The region and the line, which has no area to merge.
    const QList<QGraphicsItem*> mine = scene()->itemsOfLabel(label);
    EXPECT_EQ(std::pair(mine.size(), mine.contains(line)), std::pair(2, true));
    EXPECT_EQ(std::pair(cv::countNonZero(covered(label) != shapes), scene()->itemsOfLabel(other).size()),
              std::pair(0, 1));

    // The region, with a hole punched in a second one, traced into polygons.
    addRegion(scene(), discs(200, 200, {150, 50}, 30) & ~discs(200, 200, {150, 50}, 10), label);
    const cv::Mat regions = covered(label);
    expectStep("Region to polygons", [&] {
        stack()->push(pxm::conversions::regionToPolygons(scene(), project,
                                                         pxm::conversions::targets(*scene(), label), 0.7));
    });
    QList<int> types;
    for (QGraphicsItem* item : scene()->itemsOfLabel(label))
        types << item->type();
    std::sort(types.begin(), types.end());
    EXPECT_EQ(types,
              (QList<int>{QGraphicsPathItem::Type, QGraphicsPolygonItem::Type, QGraphicsLineItem::Type}));
    EXPECT_GT(iou(covered(label), regions), 0.98);
    // Nothing of the kind: no command.
    EXPECT_EQ(pxm::conversions::regionToPolygons(scene(), project, {line}, 0.7), nullptr);

    // Mask values 1 and 3 become items of the labels with those mask ids; 7 has no label.
    auto* mask = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(200, 200, 1));
    cv::Mat values = pxm::segment::layerMat(*mask, 0);
    values(cv::Rect(0, 100, 50, 50)).setTo(label->maskId());
    values(cv::Rect(100, 150, 30, 20)).setTo(other->maskId());
    values(cv::Rect(160, 160, 10, 10)).setTo(7);
    image->setMask(mask, true, false);
    stack()->setIndex(0);
    stack()->push(pxm::conversions::maskToShapes(scene(), project, pxm::SmartResult::Shape{}));
    EXPECT_EQ(cv::countNonZero((values == label->maskId()) & ~covered(label)), 0);
    EXPECT_EQ(cv::countNonZero((values == other->maskId()) & ~covered(other)), 0);
    EXPECT_EQ(cv::countNonZero(covered(other)), 20 * 20 + 30 * 20);
}

// A disc moving through 9 layers, drawn on 0, 4 and 8: filled between around another label, then copied.
TEST(VolumeEditing, FillAndCopy) {
    pxm::Project project;
    pxm::LabeledImage* image = addImage(project, 64, 64, 9);
    pxm::Label* moving = project.createLabel();
    pxm::Label* other = project.createLabel();
    pxm::Label* once = project.createLabel();
    for (int z : {0, 4, 8})
        addRegion(image->scene(z), discs(64, 64, {14 + 4 * z, 30}, 8), moving);
    cv::Mat box = cv::Mat::zeros(64, 64, CV_8UC1);
    box(cv::Rect(20, 26, 6, 8)).setTo(255);
    addRegion(image->scene(2), box, other);
    addRegion(image->scene(5), box, once);
    auto counts = [&] {
        std::vector<int> n;
        for (int z = 0; z < 9; ++z)
            n.push_back(image->scene(z)->itemsOfLabel(moving).size());
        return n;
    };
    const std::vector<int> before = counts();

    pxm::SliceFillPreview preview(image, {moving, once}, pxm::SmartResult::Shape{});
    ASSERT_EQ(std::pair(preview.filledLayers(), preview.notes().size()), std::pair(6, 1));
    EXPECT_TRUE(preview.notes().first().contains("one layer only") && preview.fill(0)[4].empty());
    for (int z : {1, 2, 3, 5, 6, 7})
        EXPECT_GT(iou(preview.fill(0)[std::size_t(z)] | (z == 2 ? box : cv::Mat::zeros(64, 64, CV_8UC1)),
                      discs(64, 64, {14 + 4 * z, 30}, 8)),
                  0.9)
            << z;
    EXPECT_EQ(cv::countNonZero(preview.fill(0)[2] & box), 0);
    project.undoStack()->push(preview.apply());
    EXPECT_EQ(std::pair(counts(), project.undoStack()->text(0)),
              std::pair(std::vector<int>(9, 1), QString("Fill between slices")));
    project.undoStack()->undo();
    EXPECT_EQ(counts(), before);
    project.undoStack()->redo();

    // The label's shapes of layer 7 are copied to layer 8; there is no layer after the last.
    QUndoCommand* copy =
        pxm::conversions::copyToLayer(image->scene(7), image->scene(8), project,
                                      image->scene(7)->itemsOfLabel(moving), "Copy to next layer");
    ASSERT_NE(copy, nullptr);
    project.undoStack()->push(copy);
    EXPECT_EQ(image->scene(8)->itemsOfLabel(moving).size(), 2);
    EXPECT_EQ(pxm::conversions::copyToLayer(image->scene(8), image->scene(9), project,
                                            image->scene(8)->itemsOfLabel(moving), "Copy to next layer"),
              nullptr);
}
