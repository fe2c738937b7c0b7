// SPDX-License-Identifier: MIT
// What a start and a first open cost for the files most users have: a project of one image and
// a settings registry of a few keys. Large-file throughput is bench_persistence's business.
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/JsonFileReader.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CRegistry.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QGraphicsRectItem>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <memory>

namespace {

QTemporaryDir& workDir() {
    static QTemporaryDir dir;
    return dir;
}

/// One label, one 2D image with one rectangle: a few hundred bytes on disk.
QString tinyProject(bool compressed) {
    const QString path = workDir().filePath(compressed ? "tiny.json.gz" : "tiny.json");
    pxm::Project project;
    pxm::Label* label = project.createLabel();
    auto* image = new pxm::LabeledImage(&project);
    image->setWidth(64);
    image->setHeight(48);
    image->setDepth(1);
    image->setColorChannels(1);
    image->setImagePath("cells.png");
    image->createScenes();
    project.addImage(image);
    image->scene(0)->addLabelItem(new QGraphicsRectItem(4, 4, 10, 8), label);
    pxm::ProjectSerializer::write(&project, path, false);
    return path;
}

void BM_ReadTinyProjectText(benchmark::State& state) {
    const QString path = tinyProject(state.range(0) != 0);
    for (auto _ : state)
        benchmark::DoNotOptimize(pxm::JsonFileReader::readAll(path, state.range(0) != 0));
}
BENCHMARK(BM_ReadTinyProjectText)->ArgName("gzip")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_ReadTinyProject(benchmark::State& state) {
    const QString path = tinyProject(state.range(0) != 0);
    for (auto _ : state) {
        pxm::Project project;
        pxm::ProjectReader::read(path, &project);
        benchmark::DoNotOptimize(project.images().size());
    }
}
BENCHMARK(BM_ReadTinyProject)->ArgName("gzip")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_LoadTinyRegistry(benchmark::State& state) {
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    KYVO::CRegistry::SetStorageDirectory(workDir().filePath("config"));
    registry.Clear();
    registry.SetString("main/Settings/View/CameraMode", "perImage");
    registry.SetLong("main/Settings/View/ViewRadius", 250);
    registry.SetDouble("main/Settings/View/ViewZoom", 2.5);
    registry.SetBool("main/Settings/RectTool/OneClick", false);
    registry.ToStorage("Bench");
    for (auto _ : state)
        benchmark::DoNotOptimize(registry.FromStorage("Bench"));
    registry.Clear();
    KYVO::CRegistry::SetStorageDirectory(QString());
}
BENCHMARK(BM_LoadTinyRegistry)->Unit(benchmark::kMicrosecond);

} // namespace
