// SPDX-License-Identifier: MIT
// The View at work on a big annotated image: full repaints against a plain QGraphicsView
// painting the same shapes, a pointer move with its read-out, and a vertex drag of a large
// polygon.
#include "support/BenchShapes.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "tools/EditPolygonTool.h"
#include "tools/Polygon.h"
#include "tools/View.h"

#include <QApplication>
#include <QGraphicsPolygonItem>
#include <QGraphicsView>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPixmap>
#include <QRandomGenerator>
#include <QUndoStack>
#include <benchmark/benchmark.h>
#include <cstring>
#include <memory>

namespace {

constexpr int kSide = 8192;
constexpr int kShapes = 10000;
constexpr int kLabels = 20;

// A project with one big image and its shapes over 20 labels: rectangles, ellipses, 20-vertex
// polygons and lines, spread over the image.
struct Workload {
    Workload() {
        auto* image = new pxm::LabeledImage(&project);
        auto* pixels = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(kSide, kSide, 1));
        for (std::size_t i = 0; i < pixels->byteCount(); i += 4096)
            std::memset(pixels->data() + i, int((i / 4096) % 251), 4096);
        image->setImage(pixels, true);
        project.addImage(image);
        for (int l = 0; l < kLabels; ++l)
            project.createLabel();
        QRandomGenerator random(7);
        pxm::Scene* scene = project.currentScene();
        for (int i = 0; i < kShapes; ++i) {
            const double x = random.bounded(double(kSide - 300)), y = random.bounded(double(kSide - 300));
            QGraphicsItem* item = pxmbench::makeShape(random, i % 4, x, y, 20 + random.bounded(180.0));
            scene->addLabelItem(item, project.labels()[i % kLabels]);
        }
        window.resize(1700, 1100);
        view = new pxm::View(&window);
        window.setCentralWidget(view);
        view->setProject(&project);
        view->setFixedSize(1600, 1000);
        window.show();
        QApplication::processEvents();
    }

    // The same shapes with the same pens and brushes as plain items of a plain scene.
    std::unique_ptr<QGraphicsScene> plainCopy() const {
        auto copy = std::make_unique<QGraphicsScene>(0, 0, kSide, kSide);
        for (QGraphicsItem* item : project.currentScene()->items()) {
            QGraphicsItem* clone = nullptr;
            if (auto* r = qgraphicsitem_cast<QGraphicsRectItem*>(item))
                clone = copy->addRect(r->rect(), r->pen(), r->brush());
            else if (auto* e = qgraphicsitem_cast<QGraphicsEllipseItem*>(item))
                clone = copy->addEllipse(e->rect(), e->pen(), e->brush());
            else if (auto* p = qgraphicsitem_cast<QGraphicsPolygonItem*>(item))
                clone = copy->addPolygon(p->polygon(), p->pen(), p->brush());
            else if (auto* l = qgraphicsitem_cast<QGraphicsLineItem*>(item))
                clone = copy->addLine(l->line(), l->pen());
            if (clone)
                clone->setZValue(item->zValue());
        }
        return copy;
    }

    pxm::Project project;
    QMainWindow window;
    pxm::View* view = nullptr;
};

Workload& workload() {
    static Workload w;
    return w;
}

void setCamera(QGraphicsView* view, bool fit) {
    view->resetTransform();
    if (fit)
        view->fitInView(QRectF(0, 0, kSide, kSide), Qt::KeepAspectRatio);
    else
        view->centerOn(kSide / 2.0, kSide / 2.0);
}

void repaint(benchmark::State& state, QGraphicsView* view) {
    for (auto _ : state) {
        // grab() paints the whole viewport through its paint event, as an update does.
        QPixmap pixels = view->viewport()->grab();
        benchmark::DoNotOptimize(pixels);
    }
}

void BM_ViewRepaint(benchmark::State& state) {
    Workload& w = workload();
    setCamera(w.view, state.range(0) != 0);
    repaint(state, w.view);
    state.SetLabel(state.range(0) ? "fit" : "1:1");
}
BENCHMARK(BM_ViewRepaint)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

void BM_PlainQGraphicsViewRepaint(benchmark::State& state) {
    Workload& w = workload();
    std::unique_ptr<QGraphicsScene> scene = w.plainCopy();
    QGraphicsView plain(scene.get());
    plain.setFixedSize(w.view->size());
    plain.show();
    QApplication::processEvents();
    setCamera(&plain, state.range(0) != 0);
    repaint(state, &plain);
    state.SetLabel(state.range(0) ? "fit" : "1:1");
}
BENCHMARK(BM_PlainQGraphicsViewRepaint)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

void moveTo(QWidget* viewport, const QPoint& p, Qt::MouseButtons buttons) {
    QMouseEvent event(QEvent::MouseMove, p, Qt::NoButton, buttons, Qt::NoModifier);
    QApplication::sendEvent(viewport, &event);
}

// A pointer move at 1:1 with the rectangle tool: pixel read-out, labels under the pointer,
// the tool's hover check. The repaint it may cause comes later and is measured above.
void BM_PointerMove(benchmark::State& state) {
    Workload& w = workload();
    w.view->setTool(pxm::ToolType::Rectangle);
    setCamera(w.view, false);
    QRandomGenerator random(3);
    QString last;
    const QMetaObject::Connection c =
        QObject::connect(w.view, &pxm::View::statusTipChanged, w.view, [&last](const QString& s) { last = s; });
    for (auto _ : state)
        moveTo(w.view->viewport(), QPoint(random.bounded(1600), random.bounded(1000)), Qt::NoButton);
    QObject::disconnect(c);
    w.view->setTool(pxm::ToolType::None);
    state.SetLabel(last.toStdString());
}
BENCHMARK(BM_PointerMove)->Unit(benchmark::kMicrosecond);

// Dragging one vertex of a 1,000-vertex polygon with the polygon tool.
void BM_PolygonVertexDrag(benchmark::State& state) {
    Workload& w = workload();
    pxm::Scene* scene = w.project.currentScene();
    QPolygonF polygon;
    for (int k = 0; k < 1000; ++k) {
        const double a = 2 * M_PI * k / 1000;
        polygon << QPointF(4096 + 300 * std::cos(a), 4096 + 300 * std::sin(a));
    }
    auto* item = new QGraphicsPolygonItem(polygon);
    scene->addLabelItem(item, w.project.labels().first());
    w.view->setTool(pxm::ToolType::Polygon);
    setCamera(w.view, false);
    auto* tool = static_cast<pxm::Polygon*>(w.view->tool());
    tool->editPolygonTool()->setActive(true);
    tool->editPolygonTool()->startEditing(item);
    const QPoint grip = w.view->mapFromScene(polygon[0]);
    QMouseEvent press(QEvent::MouseButtonPress, grip, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(w.view->viewport(), &press);
    int step = 0;
    for (auto _ : state) {
        moveTo(w.view->viewport(), grip + QPoint(step % 40, (step / 40) % 40), Qt::LeftButton);
        ++step;
    }
    QMouseEvent release(QEvent::MouseButtonRelease, grip, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(w.view->viewport(), &release);
    w.view->setTool(pxm::ToolType::None);
    w.project.undoStack()->undo();
}
BENCHMARK(BM_PolygonVertexDrag)->Unit(benchmark::kMicrosecond);

} // namespace
