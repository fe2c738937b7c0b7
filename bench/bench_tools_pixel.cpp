// SPDX-License-Identifier: MIT
// The pixel tools driven through a shown View: freehand strokes with their repaints, and
// eraser strokes across a painted region and other shapes.
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/BenchShapes.h"
#include "tools/FreehandRegion.h"
#include "tools/View.h"

#include <QApplication>
#include <QGraphicsItem>
#include <QMainWindow>
#include <QMouseEvent>
#include <QRandomGenerator>
#include <QUndoStack>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <memory>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

double median(std::vector<double> v) {
    if (v.empty())
        return 0;
    std::nth_element(v.begin(), v.begin() + std::ptrdiff_t(v.size() / 2), v.end());
    return v[v.size() / 2];
}

/// A 4096 × 4096 grey image with a gradient, shown at zoom 1 in a 1600 × 1000 View.
struct ShownView {
    QMainWindow window;
    pxm::Project project;
    pxm::LabeledImage* image = nullptr;
    pxm::Label* label = nullptr;
    pxm::View* view = nullptr;

    ShownView() {
        image = new pxm::LabeledImage(&project);
        auto* pixels = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(4096, 4096, 1));
        for (std::size_t y = 0; y < 4096; ++y)
            for (std::size_t x = 0; x < 4096; ++x)
                pixels->data()[x + 4096 * y] = uint8_t((x + 3 * y) / 32);
        image->setImage(pixels, true);
        project.addImage(image);
        label = project.createLabel();
        project.setCurrentLabel(label);
        view = new pxm::View(&window);
        window.setCentralWidget(view);
        view->setProject(&project);
        window.resize(1700, 1100);
        window.show();
        view->setFixedSize(1600, 1000);
        QApplication::processEvents();
        view->resetTransform();
        view->centerOn(800, 500);
        QApplication::processEvents();
    }

    pxm::Scene* scene() const { return project.currentScene(); }

    void send(QEvent::Type type, const QPointF& scenePoint, Qt::MouseButton button,
              Qt::MouseButtons buttons) {
        const QPoint p = view->mapFromScene(scenePoint);
        QMouseEvent event(type, p, view->viewport()->mapToGlobal(p), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(view->viewport(), &event);
    }

    /// Takes every label item and command away, so the next round starts from the same scene.
    void reset() {
        project.undoStack()->clear();
        for (QGraphicsItem* item : scene()->items())
            if (item->data(1001).isValid()) {
                scene()->removeItem(item);
                delete item;
            }
    }
};

/// A stroke of `count` points three pixels apart, running back and forth within the view.
std::vector<QPointF> strokePoints(int count) {
    std::vector<QPointF> points;
    double x = 100, y = 100, step = 3;
    for (int i = 0; i < count; ++i) {
        points.emplace_back(x, y);
        x += step;
        if (x > 1500 || x < 100) {
            step = -step;
            x += step;
            y += 12;
        }
    }
    return points;
}

/// Each stamp of a 2,000-stamp freehand stroke (width 8), with the synchronous repaint of
/// the 1600 × 1000 view it causes, then the commit on the release. Counters: the median and
/// the worst stamp of the first and of the last 100, and the commit.
void BM_FreehandStroke(benchmark::State& state) {
    ShownView shown;
    shown.project.setSetting("FreehandTool.brushWidth", 8);
    shown.view->setTool(pxm::ToolType::Freehand);
    const std::vector<QPointF> points = strokePoints(2000);
    std::vector<double> stamps(points.size());
    double commit = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        for (std::size_t i = 0; i < points.size(); ++i) {
            const auto t0 = Clock::now();
            if (i == 0)
                shown.send(QEvent::MouseButtonPress, points[i], Qt::LeftButton, Qt::LeftButton);
            else
                shown.send(QEvent::MouseMove, points[i], Qt::NoButton, Qt::LeftButton);
            shown.view->viewport()->repaint();
            stamps[i] = msSince(t0);
        }
        const auto t0 = Clock::now();
        shown.send(QEvent::MouseButtonRelease, points.back(), Qt::LeftButton, Qt::NoButton);
        commit = msSince(t0);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        state.PauseTiming();
        shown.reset();
        state.ResumeTiming();
    }
    const std::vector<double> first(stamps.begin(), stamps.begin() + 100),
        last(stamps.end() - 100, stamps.end());
    state.counters["first100_median_ms"] = median(first);
    state.counters["first100_max_ms"] = *std::max_element(first.begin(), first.end());
    state.counters["last100_median_ms"] = median(last);
    state.counters["last100_max_ms"] = *std::max_element(last.begin(), last.end());
    state.counters["all_max_ms"] = *std::max_element(stamps.begin(), stamps.end());
    state.counters["commit_ms"] = commit;
}
BENCHMARK(BM_FreehandStroke)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

/// An eraser stroke of 200 stamps (width 8) across a painted region of 2,000 squares and 50
/// other shapes lying on its way; each stamp is the tool's apply and push. Counters: the
/// median and worst stamp.
void BM_EraserStroke(benchmark::State& state) {
    ShownView shown;
    shown.project.setSetting("EraserTool.brushWidth", 8);
    shown.view->setTool(pxm::ToolType::Eraser);
    // The eraser runs along the region's first pass, so that every stamp cuts it.
    std::vector<QPointF> eraser;
    for (int i = 0; i < 200; ++i)
        eraser.emplace_back(100 + 3 * i, 99 + 2 * (i % 2));
    std::vector<double> stamps(eraser.size());
    for (auto _ : state) {
        state.PauseTiming();
        auto* region = new pxm::FreehandRegion;
        for (const QPointF& p : strokePoints(2000))
            region->addSquare(QRectF(p.x() - 4, p.y() - 4, 8, 8).toRect());
        shown.scene()->addLabelItem(region, shown.label);
        QRandomGenerator random(5);
        for (int i = 0; i < 50; ++i) {
            QGraphicsItem* shape = pxmbench::makeShape(random, i % 3 == 2 ? 2 : i % 2, 100 + 12 * i, 93, 10);
            shown.scene()->addLabelItem(shape, shown.label);
        }
        state.ResumeTiming();
        const auto start = Clock::now();
        for (std::size_t i = 0; i < eraser.size(); ++i) {
            const auto t0 = Clock::now();
            if (i == 0)
                shown.send(QEvent::MouseButtonPress, eraser[i], Qt::LeftButton, Qt::LeftButton);
            else
                shown.send(QEvent::MouseMove, eraser[i], Qt::NoButton, Qt::LeftButton);
            stamps[i] = msSince(t0);
        }
        shown.send(QEvent::MouseButtonRelease, eraser.back(), Qt::LeftButton, Qt::NoButton);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        state.PauseTiming();
        state.counters["items_left"] = double(shown.scene()->items().size());
        state.counters["steps"] = double(shown.project.undoStack()->count());
        state.counters["erase_commands"] = shown.project.undoStack()->count()
                                               ? double(shown.project.undoStack()->command(0)->childCount())
                                               : 0;
        state.counters["region_elements"] = double(region->path().elementCount());
        shown.reset();
        state.ResumeTiming();
    }
    state.counters["stamp_median_ms"] = median(stamps);
    state.counters["stamp_max_ms"] = *std::max_element(stamps.begin(), stamps.end());
}
BENCHMARK(BM_EraserStroke)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

} // namespace
