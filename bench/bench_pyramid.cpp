// SPDX-License-Identifier: MIT
// A 100,000 x 100,000 RGB pyramid BigTIFF: the first view, pan steps with and without cached
// tiles at fit zoom and at 1:1, and the full-mask export of 1,000 shapes, with peak memory.
#include "display/PyramidItem.h"
#include "display/TileCache.h"
#include "exchange/ExportMaskWorker.h"
#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/PyramidTiff.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGraphicsRectItem>
#include <QGraphicsView>
#include <QImage>
#include <QPainter>
#include <QScrollBar>
#include <QTemporaryDir>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>
#include <sys/resource.h>
#include <vector>

namespace {

constexpr uint32_t Side = 100000;

double peakResidentMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

/// The file, written once: 9 levels of 256-pixel tiles in a checkerboard of 4 x 4 tiles.
struct HugeFile {
    HugeFile() {
        QElapsedTimer timer;
        timer.start();
        pxmtest::PyramidTiff tiff;
        tiff.width = Side;
        tiff.height = Side;
        tiff.levels = 9;
        tiff.rgb = true;
        tiff.tileValue = [](int level, uint32_t column, uint32_t row) {
            return uint8_t(40 + level * 16 + ((column / 4 + row / 4) % 2) * 60 + (column * 5 + row * 3) % 8);
        };
        pxmtest::writePyramidTiff(path().toStdString(), tiff);
        writeSeconds = double(timer.elapsed()) / 1000.0;
    }
    QString path() const { return dir.filePath("huge.tif"); }
    QTemporaryDir dir;
    double writeSeconds = 0.0;
};

HugeFile& hugeFile() {
    static HugeFile file;
    return file;
}

/// The image as a project read from a file knows it: path and size, nothing loaded.
struct Opened {
    Opened() {
        image = new pxm::LabeledImage(&project);
        image->setImagePath(hugeFile().path());
        image->setWidth(Side);
        image->setHeight(Side);
        image->setDepth(1);
        image->setColorChannels(3);
        image->createScenes();
        project.addImage(image);
    }
    /// Shows the image in a 1600 x 1000 view at `zoom` (0: fit) and paints it once.
    void show(double zoom) {
        image->scene(0)->incUsage();
        view = std::make_unique<QGraphicsView>(image->scene(0));
        view->resize(1600, 1000);
        view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        // Laid out as a shown window is, so that the viewport has its size.
        view->setAttribute(Qt::WA_DontShowOnScreen);
        view->show();
        if (zoom > 0.0)
            view->setTransform(QTransform::fromScale(zoom, zoom));
        else
            view->fitInView(image->scene(0)->sceneRect(), Qt::KeepAspectRatio);
        paint();
    }
    void paint() {
        screen.fill(Qt::black);
        QPainter painter(&screen);
        view->render(&painter, QRectF(), view->viewport()->rect());
    }
    ~Opened() {
        view.reset();
        image->scene(0)->decUsage();
    }
    pxm::Project project;
    pxm::LabeledImage* image = nullptr;
    std::unique_ptr<QGraphicsView> view;
    QImage screen = QImage(1600, 1000, QImage::Format_RGB32);
};

void BM_PyramidFirstView(benchmark::State& state) {
    hugeFile();
    const double before = peakResidentMiB();
    for (auto _ : state) {
        Opened opened;
        opened.show(0.0);
    }
    {
        // What the first view shows, for a look, and proof that tiles were read.
        Opened opened;
        opened.show(0.0);
        opened.screen.save(QDir::temp().filePath("pyramid-first-view.png"));
        const auto* item = dynamic_cast<const Pictor::PyramidItem*>(opened.image->scene(0)->imageItem());
        state.counters["tiles_read"] = item ? double(item->convertedTileCount()) : -1.0;
    }
    state.counters["file_written_s"] = hugeFile().writeSeconds;
    state.counters["rss_peak_before_MiB"] = before;
    state.counters["rss_peak_MiB"] = peakResidentMiB();
}
BENCHMARK(BM_PyramidFirstView)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

/// Pan steps of a tenth of the view's width. Argument 0: fit zoom or 1:1; argument 1: whether the
/// tiles are cached (the same steps again) or not (each step starts from an empty cache).
void BM_PyramidPanStep(benchmark::State& state) {
    const bool fit = state.range(0) == 0;
    const bool cached = state.range(1) == 1;
    Opened opened;
    opened.show(fit ? 0.0 : 1.0);
    QScrollBar* bar = opened.view->horizontalScrollBar();
    opened.view->centerOn(Side / 2, Side / 2);
    const int start = bar->value();
    Pictor::TileCache& cache = Pictor::TileCache::shared();
    const std::size_t capacity = cache.capacity();
    std::vector<double> steps;
    int step = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (!cached) {
            cache.setCapacity(0);
            cache.setCapacity(capacity);
        }
        // Cached: back and forth over two positions; uncached: onwards.
        bar->setValue(start + (cached ? (step % 2) * 160 : step * 160));
        state.ResumeTiming();
        QElapsedTimer timer;
        timer.start();
        opened.paint();
        steps.push_back(double(timer.nsecsElapsed()) / 1e6);
        ++step;
    }
    std::sort(steps.begin(), steps.end());
    state.counters["median_ms"] = steps[steps.size() / 2];
    state.counters["max_ms"] = steps.back();
}
BENCHMARK(BM_PyramidPanStep)
    ->ArgsProduct({{0, 1}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(25);

void BM_PyramidFullMaskExport(benchmark::State& state) {
    Opened opened;
    std::mt19937 rnd(3);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    QList<pxm::Label*> labels;
    for (int i = 0; i < 10; ++i) {
        labels << opened.project.createLabel();
        labels.back()->setMaskId(i + 1);
    }
    for (int k = 0; k < 1000; ++k) {
        const double s = 50 + unit(rnd) * 3000;
        opened.image->scene(0)->addLabelItem(
            new QGraphicsRectItem(unit(rnd) * Side, unit(rnd) * Side, s, 0.7 * s), labels[k % 10]);
    }
    QTemporaryDir out;
    const double before = peakResidentMiB();
    pxm::ExportMaskWorker worker(&opened.project);
    worker.setDirectory(out.path());
    worker.setFilename("{image_name}");
    worker.setFullMask(true);
    for (auto _ : state)
        worker.exportProject();
    state.counters["failures"] = worker.failureCount();
    state.counters["file_GB"] =
        double(QFileInfo(out.filePath("huge_fullmask.pgm")).size()) / 1e9;
    state.counters["rss_peak_before_MiB"] = before;
    state.counters["rss_peak_MiB"] = peakResidentMiB();
}
BENCHMARK(BM_PyramidFullMaskExport)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

} // namespace
