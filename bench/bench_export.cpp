// SPDX-License-Identifier: MIT
// Throughput and memory of the mask export: many mid-sized images with a few hundred shapes
// each, and one large image with many shapes.
#include "exchange/ExportMaskWorker.h"
#include "exchange/dataset/DatasetExport.h"
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/Vandu.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QGraphicsEllipseItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cmath>
#include <fstream>
#include <memory>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int LabelCount = 20;

/// Resident memory of the process in MiB, from /proc.
double residentMiB() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return double(resident) * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

/// The process's highest resident memory so far in MiB.
double peakResidentMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

/// Random rectangles, ellipses and 20-corner polygons over the labels, sized up to a twelfth
/// of the image, as a user's dense annotation might be.
void addShapes(pxm::Scene* scene, const QList<pxm::Label*>& labels, int w, int h, int count,
               std::mt19937& rnd) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const double largest = std::max(16.0, std::min(w, h) / 12.0);
    for (int k = 0; k < count; ++k) {
        const pxm::Label* label = labels[int(rnd() % labels.size())];
        const int kind = int(rnd() % 3);
        const double cx = unit(rnd) * w;
        const double cy = unit(rnd) * h;
        const double s = 8.0 + unit(rnd) * (largest - 8.0);
        QGraphicsItem* item = nullptr;
        if (kind == 2) {
            QPolygonF polygon;
            for (int j = 0; j < 20; ++j) {
                const double a = 2.0 * M_PI * j / 20.0;
                const double r = s * (0.5 + 0.5 * unit(rnd));
                polygon << QPointF(cx + r * std::cos(a), cy + r * std::sin(a));
            }
            item = new QGraphicsPolygonItem(polygon);
        } else {
            const QRectF rect(cx - s, cy - 0.7 * s, 2.0 * s, 1.4 * s);
            item = kind == 0 ? static_cast<QGraphicsItem*>(new QGraphicsRectItem(rect))
                             : static_cast<QGraphicsItem*>(new QGraphicsEllipseItem(rect));
        }
        scene->addLabelItem(item, label);
    }
}

/// A project of `images` images of w × h pixels with `shapes` shapes each. The images are
/// links to one grey file, so that they load from disk and are swapped out again like
/// images read from a project file, without filling the disk.
struct ExportFixture {
    ExportFixture(int images, int w, int h, int shapes) {
        const QString source = dir.filePath("source.pgm");
        KYVO::CImageIo2::Save(source.toStdString(), KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, 1)));
        QList<pxm::Label*> labels;
        for (int i = 0; i < LabelCount; ++i) {
            pxm::Label* label = project.createLabel();
            label->setId(1000 + i);
            label->setMaskId(i + 1);
            labels << label;
        }
        std::mt19937 rnd(1);
        for (int i = 0; i < images; ++i) {
            const QString path = dir.filePath(QStringLiteral("image%1.pgm").arg(i));
            QFile::link(source, path);
            auto* image = new pxm::LabeledImage(&project);
            image->setImagePath(path);
            image->setWidth(uint32_t(w));
            image->setHeight(uint32_t(h));
            image->setDepth(1);
            image->setColorChannels(1);
            image->createScenes();
            project.addImage(image);
            addShapes(image->scene(0), labels, w, h, shapes, rnd);
        }
        QDir(dir.path()).mkdir("out");
    }

    QTemporaryDir dir;
    pxm::Project project;
};

void exportFullMasks(benchmark::State& state, int w, int h, int shapes) {
    const int images = int(state.range(0));
    ExportFixture fixture(images, w, h, shapes);
    pxm::ExportMaskWorker worker(&fixture.project);
    worker.setDirectory(fixture.dir.filePath("out"));
    worker.setFilename("{image_name}");
    worker.setFullMask(true);
    // Resident memory between two images: it grows only if something is kept per image.
    double between = 0.0;
    QObject::connect(&worker, &pxm::ExportMaskWorker::progressChanged,
                     [&between](int) { between = std::max(between, residentMiB()); });
    const double before = residentMiB();
    for (auto _ : state)
        worker.exportProject();
    state.counters["images_per_s"] =
        benchmark::Counter(double(images), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["rss_before_MiB"] = before;
    state.counters["rss_between_MiB"] = between;
    state.counters["rss_peak_MiB"] = peakResidentMiB();
    state.counters["failures"] = worker.failureCount();
}

// 2048 × 2048 images with 200 shapes each; the peak should not grow with the image count.
void BM_ExportFullMasks2048(benchmark::State& state) {
    exportFullMasks(state, 2048, 2048, 200);
}
BENCHMARK(BM_ExportFullMasks2048)->Arg(20)->Arg(200)->Unit(benchmark::kMillisecond)->UseRealTime();

// One 8192 × 8192 image with 10,000 shapes.
void BM_ExportFullMask8192(benchmark::State& state) {
    exportFullMasks(state, 8192, 8192, 10000);
}
BENCHMARK(BM_ExportFullMask8192)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Datasets against today's VOC export of the same project: 1,000 images of 512 x 512 with 100
// shapes each (argument 0: VOC, 1: COCO, 2: YOLO boxes, 3: YOLO outlines), in one run.
void BM_DatasetExport1000x100(benchmark::State& state) {
    static ExportFixture fixture(1000, 512, 512, 100);
    const QString out = fixture.dir.filePath(QStringLiteral("out%1").arg(state.range(0)));
    QDir().mkpath(out);
    for (auto _ : state) {
        if (state.range(0) == 0) {
            pxm::ExportMaskWorker worker(&fixture.project);
            worker.setDirectory(out);
            worker.setFilename("{image_name}");
            worker.setVoc(true);
            worker.exportProject();
            continue;
        }
        pxm::DatasetOptions options;
        options.coco = state.range(0) == 1;
        options.yolo = state.range(0) == 2;
        options.yoloSegments = state.range(0) == 3;
        pxm::DatasetExport exporter(&fixture.project, out, options);
        benchmark::DoNotOptimize(exporter.run());
    }
}
BENCHMARK(BM_DatasetExport1000x100)->DenseRange(0, 3)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

// nnU-Net against the full-mask export: 100 images of 2048 x 2048 with 200 shapes (argument 0:
// full masks, 1: nnU-Net).
void BM_NnunetExport100(benchmark::State& state) {
    static ExportFixture fixture(100, 2048, 2048, 200);
    const QString out = fixture.dir.filePath(QStringLiteral("nn%1").arg(state.range(0)));
    QDir().mkpath(out);
    for (auto _ : state) {
        if (state.range(0) == 0) {
            pxm::ExportMaskWorker worker(&fixture.project);
            worker.setDirectory(out);
            worker.setFilename("{image_name}");
            worker.setFullMask(true);
            worker.exportProject();
            continue;
        }
        pxm::DatasetOptions options;
        options.nnunet = "Bench";
        pxm::DatasetExport exporter(&fixture.project, out, options);
        benchmark::DoNotOptimize(exporter.run());
    }
}
BENCHMARK(BM_NnunetExport100)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

} // namespace
