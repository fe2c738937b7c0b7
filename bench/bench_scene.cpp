// SPDX-License-Identifier: MIT
// Rasterising label masks, flood fills, painting the mask item, and swapping volumes.
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/Vandu.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/MaskFlood.h"
#include "scene/MaskItem.h"
#include "scene/MaskPalette.h"
#include "scene/Scene.h"
#include "support/BenchShapes.h"

#include <QApplication>
#include <QGraphicsItem>
#include <QPainter>
#include <QRandomGenerator>
#include <QStyleOptionGraphicsItem>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>

namespace {

using KYVO::CImage;
using KYVO::CSize;

/// A project with one W×H image and N shapes of 20 labels: rectangles, ellipses,
/// 20-vertex polygons, lines and free-hand paths.
struct ShapeProject {
    pxm::Project project;
    pxm::LabeledImage* image = nullptr;

    ShapeProject(int w, int h, int shapes) {
        for (int i = 0; i < 20; ++i)
            project.createLabel();
        image = new pxm::LabeledImage(&project);
        image->setImage(new CImage(KYVO::IMAGE_GREY_8, CSize(std::size_t(w), std::size_t(h), 1)), true);
        project.addImage(image);
        QRandomGenerator random(42);
        pxm::Scene* scene = image->scene(0);
        for (int i = 0; i < shapes; ++i) {
            const pxm::Label* label = project.labels()[int(random.bounded(20))];
            const double x = random.bounded(double(w)), y = random.bounded(double(h));
            const double size = 10 + random.bounded(120.0);
            QGraphicsItem* item = pxmbench::makeShape(random, i, x, y, size);
            scene->addLabelItem(item, label);
        }
    }
};

void BM_CreateLabelMask(benchmark::State& state) {
    // With a loaded mask the shapes go through a layer of their own and are merged into the
    // volume; without one they are painted straight into it.
    ShapeProject p(8192, 8192, int(state.range(0)));
    if (state.range(1))
        p.image->setMask(new CImage(KYVO::IMAGE_GREY_8, CSize(8192, 8192, 1)), true, false);
    for (auto _ : state) {
        std::unique_ptr<CImage> mask(p.image->createLabelMask());
        benchmark::DoNotOptimize(mask->data());
    }
    state.SetBytesProcessed(state.iterations() * 8192 * 8192);
}
BENCHMARK(BM_CreateLabelMask)
    ->Args({10000, 0})
    ->Args({10000, 1})
    ->Args({1, 1})
    ->ArgNames({"shapes", "mask"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The merge of painted shapes under a loaded mask, on memory already touched.
void BM_FillZeroVoxels(benchmark::State& state) {
    const std::size_t n = std::size_t(8192) * 8192;
    std::vector<uint8_t> dst(n), src(n);
    for (std::size_t i = 0; i < n; ++i) {
        dst[i] = uint8_t(i % 7 == 0 ? 5 : 0);
        src[i] = uint8_t(i % 3);
    }
    for (auto _ : state) {
        pxm::fillZeroVoxels(dst.data(), src.data(), n);
        benchmark::DoNotOptimize(dst.data());
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(n));
}
BENCHMARK(BM_FillZeroVoxels)->Unit(benchmark::kMillisecond);

// What QPainter alone costs for the same shapes, for comparison.
void BM_QPainterAlone(benchmark::State& state) {
    ShapeProject p(8192, 8192, 10000);
    const QList<QGraphicsItem*> items = p.image->scene(0)->items();
    for (auto _ : state) {
        QImage layer(8192, 8192, QImage::Format_Grayscale8);
        layer.fill(0);
        QPainter painter(&layer);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::white);
        for (QGraphicsItem* item : items) {
            painter.setTransform(item->sceneTransform());
            if (auto* polygon = dynamic_cast<QGraphicsPolygonItem*>(item))
                painter.drawPolygon(polygon->polygon());
            else if (auto* rect = dynamic_cast<QGraphicsRectItem*>(item))
                painter.drawRect(rect->rect());
        }
        benchmark::DoNotOptimize(layer.bits());
    }
}
BENCHMARK(BM_QPainterAlone)->Unit(benchmark::kMillisecond)->UseRealTime();

/// The flood-fill layers that bench/peer_floodfill.py builds too: value 1 everywhere except,
/// unless solid, discs of radius 24 on a 64-pixel lattice holding 0 and 2 in a chequer. The
/// region of 1 is one piece touching every border.
void floodLayer(std::vector<uint8_t>& mask, int w, int h, bool solid) {
    mask.assign(std::size_t(w) * std::size_t(h), 1);
    if (solid)
        return;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int dx = x % 64 - 32, dy = y % 64 - 32;
            uint8_t v = 1;
            if (dx * dx + dy * dy < 24 * 24)
                v = (x / 64 + y / 64) % 2 ? 0 : 2;
            mask[std::size_t(x) + std::size_t(w) * std::size_t(y)] = v;
        }
}

/// Args: width, height, solid layer or discs, and whether the filled runs are kept, as the
/// undo command keeps them.
void BM_FloodFill(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const bool keepRuns = state.range(3) != 0;
    std::vector<uint8_t> pristine, mask;
    std::vector<pxm::maskflood::Run> runs;
    floodLayer(pristine, w, h, state.range(2) != 0);
    for (auto _ : state) {
        state.PauseTiming();
        mask = pristine;
        runs.clear();
        state.ResumeTiming();
        const pxm::maskflood::Layer layer{mask.data(), nullptr, w, h};
        pxm::maskflood::flood(layer, 0, h / 2, 5, keepRuns ? &runs : nullptr);
        benchmark::DoNotOptimize(mask.data());
    }
    state.counters["filled"] = double(std::count(mask.begin(), mask.end(), uint8_t(5)));
    state.counters["runs"] = double(runs.size());
}
BENCHMARK(BM_FloodFill)
    ->Args({4096, 4096, 0, 0})
    ->Args({4096, 4096, 0, 1})
    ->Args({4096, 4096, 1, 1})
    ->Args({4096, 3072, 0, 1})
    ->Args({4096, 3072, 1, 1})
    ->ArgNames({"w", "h", "solid", "runs"})
    ->Unit(benchmark::kMillisecond);

/// A fully labelled 4096×4096 mask under 20 labels.
struct MaskProject {
    pxm::Project project;
    pxm::LabeledImage* image = nullptr;
    MaskProject() {
        for (int i = 0; i < 20; ++i)
            project.createLabel();
        image = new pxm::LabeledImage(&project);
        image->setImage(new CImage(KYVO::IMAGE_GREY_8, CSize(4096, 4096, 1)), true);
        auto* mask = new CImage(KYVO::IMAGE_GREY_8, CSize(4096, 4096, 1));
        for (std::size_t i = 0; i < mask->byteCount(); ++i)
            mask->data()[i] = uint8_t(1 + (i / 4096 / 64 + i % 4096 / 64) % 21); // 21: one value unused
        image->setMask(mask, true, false);
        project.addImage(image);
    }
};

void BM_MaskItemPaint(benchmark::State& state) {
    MaskProject p;
    pxm::MaskItem item(p.image, 0);
    QImage target(1920, 1080, QImage::Format_ARGB32_Premultiplied);
    QStyleOptionGraphicsItem option;
    option.exposedRect = QRectF(1000, 1000, 1920, 1080);
    for (auto _ : state) {
        QPainter painter(&target);
        painter.translate(-1000, -1000);
        item.paint(&painter, &option, nullptr);
    }
}
BENCHMARK(BM_MaskItemPaint)->Unit(benchmark::kMillisecond);

// The naive way, one fillRect per voxel, for the ratio.
void BM_MaskPaintPerPixel(benchmark::State& state) {
    MaskProject p;
    QImage target(1920, 1080, QImage::Format_ARGB32_Premultiplied);
    const uint8_t* mask = p.image->mask()->data();
    for (auto _ : state) {
        QPainter painter(&target);
        painter.translate(-1000, -1000);
        painter.setPen(Qt::NoPen);
        for (int y = 1000; y < 2080; ++y)
            for (int x = 1000; x < 2920; ++x) {
                const uint8_t v = mask[std::size_t(x) + 4096 * std::size_t(y)];
                const QList<pxm::Label*> labels = p.project.labelsByMaskId(v);
                painter.setOpacity(labels.isEmpty() ? 0.5 : labels[0]->opacity());
                painter.fillRect(QRectF(x, y, 1, 1),
                                 labels.isEmpty() ? QColor(Qt::gray) : labels[0]->color());
            }
    }
}
BENCHMARK(BM_MaskPaintPerPixel)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_SwapAndPin(benchmark::State& state) {
    // Image and mask live in files, so a pin after a swap reloads all three volumes.
    pxm::Project project;
    project.createLabel();
    const QDir dir = project.temporaryDirectory();
    const std::string imagePath = dir.filePath("image.okav").toStdString();
    const std::string maskPath = dir.filePath("mask.okav").toStdString();
    KYVO::CImageIo2::Save(imagePath, CImage(KYVO::IMAGE_GREY_8, CSize(512, 512, 256)));
    KYVO::CImageIo2::Save(maskPath, CImage(KYVO::IMAGE_GREY_8, CSize(512, 512, 256)));
    auto* image = new pxm::LabeledImage(&project);
    image->setImagePath(QString::fromStdString(imagePath));
    image->setMaskPath(QString::fromStdString(maskPath));
    project.addImage(image);
    image->incUsage();
    image->eraseOverlay()->data()[12345] = 1;
    for (auto _ : state) {
        image->swap();
        image->incUsage();
        image->decUsage();
        benchmark::DoNotOptimize(image->eraseOverlay());
    }
    image->decUsage();
}
BENCHMARK(BM_SwapAndPin)->Unit(benchmark::kMillisecond);

} // namespace
