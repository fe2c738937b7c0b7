// SPDX-License-Identifier: MIT
#include "scene/MaskItem.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/MaskFlood.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "scene/commands/MaskItemFlood.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QStyleOptionGraphicsItem>
#include <QUndoStack>
#include <deque>
#include <gtest/gtest.h>
#include <set>

using namespace pxm;
using KYVO::CImage;
using KYVO::CSize;

namespace {

/// What the mask item must show: one 1×1 rectangle per visible voxel, label colours at
/// primary opacity, grey hatching at half opacity for values no label uses.
void paintReference(QPainter& painter, const LabeledImage& image, const Project& project, uint32_t z) {
    QBrush brushes[256];
    double opacity[256];
    for (int v = 0; v < 256; ++v) {
        brushes[v] = QBrush(Qt::gray, Qt::Dense3Pattern);
        brushes[v].setTransform(painter.worldTransform().inverted());
        opacity[v] = 0.5;
    }
    for (const Label* label : project.labels()) {
        brushes[label->maskId()] = QBrush(label->color());
        opacity[label->maskId()] = label->opacity();
    }
    painter.setPen(Qt::NoPen);
    const std::size_t w = image.width(), h = image.height();
    for (std::size_t y = 0; y < h; ++y)
        for (std::size_t x = 0; x < w; ++x) {
            const std::size_t i = x + w * (y + h * z);
            const uint8_t v = image.mask()->data()[i];
            if (v == 0 || image.eraseOverlay()->data()[i] != 0)
                continue;
            painter.setBrush(brushes[v]);
            painter.setOpacity(opacity[v]);
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

int maxChannelDifference(const QImage& a, const QImage& b) {
    int worst = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            worst = std::max({worst, std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                              std::abs(qBlue(p) - qBlue(q))});
        }
    return worst;
}

} // namespace

TEST(MaskItem, PaintsWhatOneRectanglePerVoxelWouldPaint) {
    Project project;
    Label* red = project.createLabel();
    red->setColor(QColor(200, 30, 30));
    red->setPrimaryOpacity(0.6);
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
    EXPECT_EQ(part.pixel(0, 0), QColor(Qt::white).rgb());
    EXPECT_EQ(part.pixel(39, 29), QColor(Qt::white).rgb());
}

TEST(MaskItem, EraseCountsPassesAndUneraseIsItsInverse) {
    Project project;
    project.createLabel();
    LabeledImage* image = pxmtest::addImage(project, 6, 5, 2);
    image->setMask(pxmtest::volume(6, 5, 2, {}), true, false);
    std::fill(image->mask()->data(), image->mask()->data() + image->mask()->byteCount(), 1);
    MaskItem item(image, 1);
    const QRectF r(1.7, 1.2, 1.1, 0.5); // whole pixels x 1..2, y 1..1
    item.erase(r);
    item.erase(r);
    item.unerase(r);
    const CImage& overlay = *image->eraseOverlay();
    EXPECT_EQ(*overlay.voxel(1, 1, 1), 1) << "still hidden after two erases and one unerase";
    EXPECT_EQ(*overlay.voxel(2, 1, 1), 1);
    EXPECT_EQ(*overlay.voxel(3, 1, 1), 0);
    EXPECT_EQ(*overlay.voxel(1, 2, 1), 0);
    EXPECT_EQ(*overlay.voxel(1, 1, 0), 0) << "only the item's layer";
    item.unerase(r);
    EXPECT_EQ(*overlay.voxel(1, 1, 1), 0);
    // A rectangle beyond the image is clamped, never written outside.
    item.erase(QRectF(-10, -10, 100, 100));
    EXPECT_EQ(std::count(overlay.layer(1), overlay.layer(1) + 30, 1), 30);
}

TEST(MaskItem, FloodUndoOutlivesTheMaskItemAndEmptyStartsFillNothing) {
    Project project;
    project.createLabel();
    LabeledImage* image = pxmtest::addImage(project, 4, 4);
    image->setMask(pxmtest::volume(4, 4, 1,
                                   {2, 2, 0, 0, //
                                    0, 2, 0, 2, //
                                    0, 0, 0, 2, //
                                    0, 0, 0, 0}),
                   true, false);
    Scene* scene = image->scene(0);
    scene->incUsage();
    ASSERT_NE(scene->maskItem(), nullptr);
    QUndoStack stack;
    stack.push(new commands::MaskItemFlood(scene->maskItem(), QPoint(0, 0), 6));
    const uint8_t* m = image->mask()->data();
    EXPECT_EQ(std::vector<uint8_t>(m, m + 12), std::vector<uint8_t>({6, 6, 0, 0, 0, 6, 0, 2, 0, 0, 0, 2}));
    EXPECT_EQ(m[15], 0);
    // Unpinning deletes the mask item; the mask stays with the labeled image.
    scene->decUsage();
    ASSERT_EQ(scene->maskItem(), nullptr);
    stack.undo();
    EXPECT_EQ(std::vector<uint8_t>(m, m + 12), std::vector<uint8_t>({2, 2, 0, 0, 0, 2, 0, 2, 0, 0, 0, 2}));
    scene->incUsage(); // a new mask item
    stack.redo();
    EXPECT_EQ(m[5], 6);

    // Starts that fill nothing: unlabelled, outside, the same value, erased.
    image->eraseOverlay()->voxel(3, 1, 0)[0] = 1;
    const std::vector<uint8_t> before(m, m + 16);
    for (const auto& [start, value] : {std::pair{QPoint(2, 0), 7}, {QPoint(9, 9), 7}, {QPoint(0, 0), 6},
                                       {QPoint(3, 1), 7}})
        scene->maskItem()->flood(start, value);
    EXPECT_EQ(std::vector<uint8_t>(m, m + 16), before);
    scene->decUsage();
}

namespace {

/// The fill exactly as stated: a first-in-first-out queue of points with no memory of what
/// was queued; a point is filled when the read at x + height·y (0 outside [0, width] ×
/// [0, height], past the data or where erased) gives the old value, written at x + width·y.
/// With unequal strides a point whose read byte is never written passes again and again
/// and the literal loop never ends; there `once` skips points already processed, which
/// leaves the same mask: bytes only ever change to the new value, so a point that failed
/// fails again and a point that passed only repeats its write and re-queues neighbours
/// whose first occurrence came earlier.
void literalFlood(std::vector<uint8_t>& mask, const std::vector<uint8_t>& overlay, int w, int h, int x0,
                  int y0, uint8_t newValue, bool once) {
    if (x0 < 0 || y0 < 0 || x0 >= w || y0 >= h)
        return;
    const uint8_t old = mask[std::size_t(x0 + w * y0)];
    if (old == 0)
        return;
    auto read = [&](int x, int y) -> uint8_t {
        if (x < 0 || y < 0 || x > w || y > h)
            return 0;
        const std::size_t i = std::size_t(x) + std::size_t(h) * std::size_t(y);
        if (i >= mask.size() || overlay[i] != 0)
            return 0;
        return mask[i];
    };
    std::deque<QPoint> queue{QPoint(x0, y0)};
    std::set<std::pair<int, int>> processed;
    while (!queue.empty()) {
        const QPoint p = queue.front();
        queue.pop_front();
        if (once && !processed.insert({p.x(), p.y()}).second)
            continue;
        const uint8_t v = read(p.x(), p.y());
        if (v != old || v == newValue)
            continue;
        const std::size_t write = std::size_t(p.x()) + std::size_t(w) * std::size_t(p.y());
        if (write < mask.size())
            mask[write] = newValue;
        for (const QPoint d : {QPoint(-1, -1), QPoint(-1, 0), QPoint(-1, 1), QPoint(0, -1), QPoint(0, 1),
                               QPoint(1, -1), QPoint(1, 0), QPoint(1, 1)})
            queue.push_back(p + d);
    }
}

} // namespace

TEST(MaskItem, FillMatchesTheLiteralBreadthFirstFill) {
    // Random masks, square and not, 2D and 3D, dense enough for regions to reach the last
    // row and column (where reads run into the next row or layer), with erased voxels.
    QRandomGenerator random(11);
    int squareFast = 0, squareRefused = 0, touchedLast = 0;
    for (int round = 0; round < 600; ++round) {
        const int w = 3 + random.bounded(round < 300 ? 10 : 30);
        const bool square = round % 3 != 0;
        const int h = square ? w : 2 + random.bounded(30);
        const int d = 1 + random.bounded(3);
        const std::size_t bytes = std::size_t(w) * std::size_t(h) * std::size_t(d);
        const int density = 5 + random.bounded(5); // in tenths
        std::vector<uint8_t> mask(bytes), overlay(bytes, 0);
        for (auto& v : mask)
            v = uint8_t(random.bounded(10) < density ? 1 : random.bounded(3));
        if (round % 4 != 0)
            for (auto& v : overlay)
                v = uint8_t(random.bounded(25) == 0 ? 1 + random.bounded(2) : 0);
        const int x = random.bounded(w), y = random.bounded(h);
        const uint8_t old = mask[std::size_t(x + w * y)];
        const uint8_t newValue = uint8_t(round % 5 == 0 ? 2 : 9);
        std::vector<uint8_t> expected = mask, ours = mask;
        literalFlood(expected, overlay, w, h, x, y, newValue, !square);
        const maskflood::MaskData data{ours.data(), round % 4 ? overlay.data() : nullptr, bytes, w, h};
        if (old != 0)
            maskflood::flood(data, x, y, old, newValue);
        ASSERT_EQ(ours, expected) << "round " << round << " size " << w << "x" << h << "x" << d << " start "
                                  << x << "," << y;
        std::vector<uint8_t> viaExact = mask;
        if (old != 0)
            maskflood::floodExact({viaExact.data(), data.overlay, bytes, w, h}, x, y, old, newValue);
        ASSERT_EQ(viaExact, expected) << "round " << round;
        if (square && old != 0 && old != newValue) {
            // The scanline form either gives the literal result or refuses, leaving the mask.
            std::vector<uint8_t> fast = mask;
            const bool taken =
                maskflood::floodSquare({fast.data(), data.overlay, bytes, w, h}, x, y, old, newValue);
            ASSERT_EQ(fast, taken ? expected : mask) << "round " << round;
            squareFast += taken;
            squareRefused += !taken;
        }
        for (int i = 0; i < h; ++i)
            if (ours[std::size_t(w - 1 + w * i)] != mask[std::size_t(w - 1 + w * i)])
                ++touchedLast;
    }
    EXPECT_GT(squareFast, 5 * squareRefused) << "the scanline form must take most square fills";
    EXPECT_GT(squareRefused, 0) << "some fills must depend on which point of a shared byte comes first";
    EXPECT_GT(touchedLast, 100) << "regions must reach the last column";
    std::vector<uint8_t> wide(12, 1);
    EXPECT_FALSE(maskflood::floodSquare({wide.data(), nullptr, 12, 4, 3}, 0, 0, 1, 8));
    EXPECT_EQ(wide, std::vector<uint8_t>(12, 1)) << "a refused fill writes nothing";
}

TEST(MaskItem, SquareFillFollowsRowEndsIntoTheNextRowAndLayer) {
    // 4×4 layers of a 2-layer volume: the last pixel of row 0 and the first of row 1 are
    // neighbours through the read at x = width; the last row reaches the next layer's first
    // row through the read at y = height; row 0 does not wrap back to its own end.
    struct Case {
        std::vector<int> ones; // offsets holding 1
        int start;
        std::vector<int> filled;
    };
    const Case cases[] = {
        {{3, 4}, 3, {3, 4}},              // (3,0) ~ (0,1)
        {{3, 8}, 3, {3, 8}},              // (3,0) ~ (0,2)
        {{0, 3}, 0, {0}},                 // (0,0) and (3,0) are not neighbours
        {{13, 17}, 13, {13, 17}},         // (1,3) ~ (1,4), the next layer's (1,0)
        {{13, 17, 20}, 13, {13, 17}},     // (1,4) and (4,4) are not neighbours
        {{15, 16, 20}, 15, {15, 16, 20}}, // (3,3) ~ (4,3)=(0,4) ~ (4,4)
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> mask(32, 0);
        for (int i : c.ones)
            mask[std::size_t(i)] = 1;
        std::vector<uint8_t> expected = mask;
        for (int i : c.filled)
            expected[std::size_t(i)] = 7;
        std::vector<uint8_t> fast = mask, literal = mask;
        ASSERT_TRUE(maskflood::floodSquare({fast.data(), nullptr, 32, 4, 4}, c.start % 4, c.start / 4, 1, 7));
        literalFlood(literal, std::vector<uint8_t>(32, 0), 4, 4, c.start % 4, c.start / 4, 7, false);
        EXPECT_EQ(literal, expected) << "start " << c.start;
        EXPECT_EQ(fast, expected) << "start " << c.start;
    }
}
