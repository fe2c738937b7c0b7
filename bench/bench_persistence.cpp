// SPDX-License-Identifier: MIT
// Writing and reading a large project file, plain and gzip-compressed: 1,000 images with 100
// shapes each. Nothing is loaded from disk; the images carry only their sizes and paths.
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "platform/Vandu.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/BenchShapes.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cmath>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <string>

namespace {

constexpr int kImages = 1000;
constexpr int kShapesPerImage = 100;

/// Rectangles, ellipses, 20-vertex polygons, lines and 12-point paths, some rotated.
std::unique_ptr<pxm::Project> makeProject() {
    auto project = std::make_unique<pxm::Project>();
    for (int i = 0; i < 20; ++i)
        project->createLabel();
    QRandomGenerator random(7);
    for (int n = 0; n < kImages; ++n) {
        auto* image = new pxm::LabeledImage(project.get());
        image->setWidth(2048);
        image->setHeight(1536);
        image->setDepth(1);
        image->setColorChannels(3);
        image->setImagePath(QString("/data/survey/tile_%1.tif").arg(n, 4, 10, QChar('0')));
        image->createScenes();
        project->addImage(image);
        pxm::Scene* scene = image->scene(0);
        for (int i = 0; i < kShapesPerImage; ++i) {
            const pxm::Label* label = project->labels()[int(random.bounded(20))];
            const double x = random.bounded(2000.0), y = random.bounded(1500.0);
            const double size = 10 + random.bounded(120.0);
            QGraphicsItem* item = pxmbench::makeShape(random, i, x, y, size);
            if (i % 7 == 0)
                item->setTransform(QTransform().rotate(random.bounded(90.0)));
            scene->addLabelItem(item, label);
        }
    }
    return project;
}

pxm::Project& sharedProject() {
    static std::unique_ptr<pxm::Project> project = makeProject();
    return *project;
}

QTemporaryDir& sharedDir() {
    static QTemporaryDir dir;
    return dir;
}

/// A line of /proc/self/status in MiB ("VmRSS", "VmHWM").
double statusMiB(const std::string& key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, key.size() + 1, key + ":") == 0)
            return std::stod(line.substr(key.size() + 1)) / 1024.0;
    return 0;
}

/// Starts a fresh peak: the kernel's high-water mark restarts at the current size.
void resetPeak() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
}

void reportMemory(benchmark::State& state, double before) {
    state.counters["rss_before_MiB"] = before;
    state.counters["peak_above_MiB"] = statusMiB("VmHWM") - before;
}

void BM_WriteProject(benchmark::State& state, const char* name) {
    pxm::Project& project = sharedProject();
    const QString path = sharedDir().filePath(name);
    resetPeak();
    const double before = statusMiB("VmRSS");
    for (auto _ : state)
        pxm::ProjectSerializer::write(&project, path, false);
    reportMemory(state, before);
    const qint64 bytes = QFileInfo(path).size();
    state.counters["file_MB"] = double(bytes) / 1e6;
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
    state.SetItemsProcessed(int64_t(state.iterations()) * kImages * kShapesPerImage);
}

void BM_ReadProject(benchmark::State& state, const char* name) {
    const QString path = sharedDir().filePath(name);
    if (!QFileInfo::exists(path))
        pxm::ProjectSerializer::write(&sharedProject(), path, false);
    resetPeak();
    const double before = statusMiB("VmRSS");
    for (auto _ : state) {
        auto project = std::make_unique<pxm::Project>();
        pxm::ProjectReader::read(path, project.get());
        benchmark::DoNotOptimize(project->images().size());
        state.PauseTiming();
        if (project->images().size() != kImages)
            state.SkipWithError("incomplete read");
        project.reset();
        state.ResumeTiming();
    }
    reportMemory(state, before);
    const qint64 bytes = QFileInfo(path).size();
    state.counters["file_MB"] = double(bytes) / 1e6;
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
    state.SetItemsProcessed(int64_t(state.iterations()) * kImages * kShapesPerImage);
}

BENCHMARK_CAPTURE(BM_WriteProject, json, "p.json")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK_CAPTURE(BM_WriteProject, json_gz, "p.json.gz")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK_CAPTURE(BM_ReadProject, json, "p.json")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK_CAPTURE(BM_ReadProject, json_gz, "p.json.gz")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

} // namespace
