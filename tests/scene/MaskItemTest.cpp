// SPDX-License-Identifier: MIT
#include "scene/MaskItem.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/MaskFlood.h"
#include "scene/SceneTestSupport.h"
#include "scene/commands/MaskItemFlood.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QStyleOptionGraphicsItem>
#include <QUndoStack>
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

TEST(MaskItem, FloodFillsEightConnectedRegionsWithUndo) {
    Project project;
    project.createLabel();
    LabeledImage* image = pxmtest::addImage(project, 5, 5);
    // Two regions of 3 touching only at a corner, and an erased voxel of value 3.
    image->setMask(pxmtest::volume(5, 5, 1, {3, 3, 0, 0, 0, //
                                             3, 3, 0, 0, 0, //
                                             0, 0, 3, 3, 0, //
                                             0, 0, 0, 0, 0, //
                                             3, 3, 0, 0, 0}),
                   true, false);
    image->eraseOverlay()->voxel(3, 2, 0)[0] = 1;
    MaskItem item(image, 0);
    QUndoStack stack;
    stack.push(new commands::MaskItemFlood(&item, QPoint(0, 0), 5));
    const uint8_t* m = image->mask()->data();
    const std::vector<uint8_t> filled(m, m + 25);
    EXPECT_EQ(filled, std::vector<uint8_t>(
                          {5, 5, 0, 0, 0, 5, 5, 0, 0, 0, 0, 0, 5, 3, 0, 0, 0, 0, 0, 0, 3, 3, 0, 0, 0}));
    stack.undo();
    EXPECT_EQ(std::vector<uint8_t>(m, m + 25), std::vector<uint8_t>({3, 3, 0, 0, 0, 3, 3, 0, 0, 0, 0, 0, 3,
                                                                     3, 0, 0, 0, 0, 0, 0, 3, 3, 0, 0, 0}));

    const std::vector<uint8_t> before(m, m + 25);
    item.flood(QPoint(2, 0), 7); // unlabelled start
    item.flood(QPoint(9, 9), 7); // outside
    item.flood(QPoint(0, 0), 3); // same value
    item.flood(QPoint(3, 2), 7); // erased start
    EXPECT_EQ(std::vector<uint8_t>(m, m + 25), before);
}

TEST(MaskItem, ScanlineAndBreadthFirstFillsAgree) {
    // Random masks, square and not, 2D and 3D, with erasures; the dispatcher must give the
    // result of the breadth-first form everywhere, also where it reads across row ends.
    QRandomGenerator random(11);
    for (int round = 0; round < 120; ++round) {
        const int w = 3 + random.bounded(14);
        const int h = round % 2 ? w : 3 + random.bounded(14);
        const int d = 1 + random.bounded(3);
        const std::size_t bytes = std::size_t(w) * std::size_t(h) * std::size_t(d);
        std::vector<uint8_t> mask(bytes), overlay(bytes);
        for (auto& v : mask)
            v = uint8_t(random.bounded(10) < 7 ? 1 : random.bounded(3));
        for (auto& v : overlay)
            v = uint8_t(random.bounded(20) == 0);
        const int x = random.bounded(w), y = random.bounded(h);
        const uint8_t old = mask[std::size_t(x + w * y)];
        if (old == 0)
            continue;
        std::vector<uint8_t> exact = mask, dispatched = mask;
        maskflood::floodExact({exact.data(), overlay.data(), bytes, w, h}, x, y, old, 9);
        maskflood::flood({dispatched.data(), overlay.data(), bytes, w, h}, x, y, old, 9);
        ASSERT_EQ(dispatched, exact) << "round " << round << " size " << w << "x" << h << "x" << d;
    }
    // The scanline path is taken for a square region away from the last row and column.
    std::vector<uint8_t> square(100, 0);
    for (int y = 2; y < 6; ++y)
        for (int x = 1; x < 5; ++x)
            square[std::size_t(x + 10 * y)] = 4;
    EXPECT_TRUE(maskflood::floodScanline({square.data(), nullptr, 100, 10, 10}, 2, 3, 4, 8));
    EXPECT_EQ(std::count(square.begin(), square.end(), 8), 16);
    square[99] = 4;
    EXPECT_FALSE(maskflood::floodScanline({square.data(), nullptr, 100, 10, 10}, 9, 9, 4, 8));
    EXPECT_EQ(square[99], 4) << "a refused scanline fill writes nothing";
}
