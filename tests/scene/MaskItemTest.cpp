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

TEST(MaskItem, FloodUndoIsExactOutlivesTheMaskItemAndEmptyStartsFillNothing) {
    Project project;
    project.createLabel();
    LabeledImage* image = pxmtest::addImage(project, 5, 4, 2);
    // Layer 1 holds a region of 2 (joined at a corner) touching pixels that already have the
    // new value 6, and another region of 2 that touches it nowhere.
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
    stack.push(new commands::MaskItemFlood(scene->maskItem(), QPoint(0, 0), 6));
    EXPECT_EQ(layer(1), std::vector<uint8_t>({6, 6, 6, 0, 0, //
                                              0, 6, 6, 0, 2, //
                                              6, 0, 6, 2, 0, //
                                              6, 6, 0, 0, 2}))
        << "the region at the start only";
    EXPECT_EQ(layer(0), std::vector<uint8_t>(20, 2)) << "other layers are never touched";
    // Unpinning deletes the mask item; the mask stays with the labeled image.
    scene->decUsage();
    ASSERT_EQ(scene->maskItem(), nullptr);
    stack.undo();
    EXPECT_EQ(layer(1), layer1) << "undo gives back exactly the changed pixels, not the touching 6s";
    scene->incUsage(); // a new mask item
    stack.redo();
    EXPECT_EQ(m[20 + 1], 6);
    EXPECT_EQ(m[20 + 9], 2);
    stack.undo();
    EXPECT_EQ(layer(1), layer1);

    // Starts that fill nothing: unlabelled, outside (on and past each edge), the same value,
    // erased.
    image->ensureEraseOverlay();
    image->eraseOverlay()->voxel(1, 1, 1)[0] = 1;
    const std::vector<uint8_t> before(m, m + 40);
    for (const auto& [start, value] : {std::pair{QPoint(3, 0), 7}, {QPoint(5, 0), 7}, {QPoint(0, 4), 7},
                                       {QPoint(-1, 0), 7}, {QPoint(2, 0), 6}, {QPoint(1, 1), 7}})
        scene->maskItem()->flood(start, value);
    EXPECT_EQ(std::vector<uint8_t>(m, m + 40), before);
    EXPECT_EQ(scene->maskItem()->value(QPoint(4, 3)), 2);
    EXPECT_EQ(scene->maskItem()->value(QPoint(5, 3)), 0) << "x = width is outside";
    EXPECT_EQ(scene->maskItem()->value(QPoint(1, 1)), 0) << "erased";
    scene->decUsage();
}

TEST(MaskItem, FloodMatchesAPlainBreadthFirstFill) {
    // Random layers of every shape, with erased pixels, against the textbook fill; the runs
    // it reports are exactly the changed pixels.
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
            std::deque<QPoint> queue{QPoint(x, y)};
            expected[std::size_t(x + w * y)] = newValue;
            while (!queue.empty()) {
                const QPoint p = queue.front();
                queue.pop_front();
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
        ASSERT_EQ(ours, expected) << "round " << round << " size " << w << "x" << h << " start " << x << "," << y;
        std::vector<uint8_t> back = ours;
        maskflood::fillRuns({back.data(), nullptr, w, h}, runs, old);
        ASSERT_EQ(back, mask) << "round " << round;
        for (int i = 0; i < h; ++i)
            reachedEdges += ours[std::size_t(w - 1 + w * i)] != mask[std::size_t(w - 1 + w * i)];
    }
    EXPECT_GT(reachedEdges, 100) << "regions must reach the last column";
}
