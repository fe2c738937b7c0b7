// SPDX-License-Identifier: MIT
// Project bookkeeping at scale: adding many images and labels, and label look-ups.
#include "model/Label.h"
#include "model/Project.h"
#include "platform/Vandu.h"
#include "scene/LabeledImage.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

namespace {

void BM_AddImages(benchmark::State& state) {
    const int count = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto project = std::make_unique<pxm::Project>();
        std::vector<pxm::LabeledImage*> images;
        images.reserve(count);
        for (int i = 0; i < count; ++i) {
            auto* image = new pxm::LabeledImage(project.get());
            image->setImagePath(QString("/data/set/image_%1.png").arg(i));
            images.push_back(image);
        }
        state.ResumeTiming();
        for (pxm::LabeledImage* image : images)
            benchmark::DoNotOptimize(project->addImage(image));
        state.PauseTiming();
        project.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.SetComplexityN(count);
}
BENCHMARK(BM_AddImages)->Arg(1000)->Arg(10000)->Arg(40000)->Unit(benchmark::kMillisecond)->Complexity();

void BM_CreateLabels(benchmark::State& state) {
    for (auto _ : state) {
        pxm::Project project;
        for (int i = 0; i < 1000; ++i)
            benchmark::DoNotOptimize(project.createLabel());
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_CreateLabels)->Unit(benchmark::kMillisecond);

void BM_LabelLookups(benchmark::State& state) {
    pxm::Project project;
    for (int i = 0; i < 1000; ++i)
        project.createLabel();
    std::vector<int> ids;
    for (pxm::Label* label : project.labels())
        ids.push_back(label->id());
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(project.labelById(ids[i % ids.size()]));
        benchmark::DoNotOptimize(project.labelsByMaskId(int(i % 1000) + 1));
        ++i;
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_LabelLookups);

} // namespace
