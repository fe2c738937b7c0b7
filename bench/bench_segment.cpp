// SPDX-License-Identifier: MIT
// The smart region tools' image analysis on large images: the magic wand's set-up for a click
// and its regrowth for each tolerance the drag gives.
#include "platform/CImage.h"
#include "segment/LayerMat.h"
#include "segment/RegionShapes.h"
#include "segment/Wand.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <map>

namespace {

/// A 16-bit picture of the given side: a large textured disc on a noisy background.
const KYVO::CImage& picture16(int side) {
    static std::map<int, KYVO::CImage> made;
    auto it = made.find(side);
    if (it != made.end())
        return it->second;
    KYVO::CImage image(KYVO::IMAGE_GREY_16, KYVO::CSize(std::size_t(side), std::size_t(side), 1));
    cv::Mat layer = pxm::segment::layerMat(image, 0);
    cv::randu(layer, 9000, 11000);
    cv::Mat disc = cv::Mat::zeros(side, side, CV_8UC1);
    cv::circle(disc, {side / 2, side / 2}, side * 3 / 10, cv::Scalar(255), cv::FILLED);
    cv::Mat texture(side, side, CV_16UC1);
    cv::randu(texture, 30000, 32000);
    texture.copyTo(layer, disc);
    return made.emplace(side, std::move(image)).first->second;
}

// A click: the layer converted for the fill.
void BM_WandSetUp(benchmark::State& state) {
    const KYVO::CImage& image = picture16(int(state.range(0)));
    const int centre = int(state.range(0)) / 2;
    for (auto _ : state) {
        pxm::segment::WandSession session(image, 0, centre, centre, pxm::segment::WandSettings{});
        benchmark::DoNotOptimize(session.valid());
    }
}
BENCHMARK(BM_WandSetUp)->Arg(4096)->Unit(benchmark::kMillisecond);

// One step of the drag: the region grown again at another tolerance, as the preview shows it.
void BM_WandToleranceChange(benchmark::State& state) {
    const KYVO::CImage& image = picture16(int(state.range(0)));
    const int centre = int(state.range(0)) / 2;
    pxm::segment::WandSession session(image, 0, centre, centre, pxm::segment::WandSettings{});
    double tolerance = 2000;
    for (auto _ : state) {
        tolerance = tolerance == 2000 ? 2100 : 2000;
        std::vector<cv::Mat> region = session.grow(tolerance);
        benchmark::DoNotOptimize(region[0].data);
    }
    state.counters["pixels"] = cv::countNonZero(session.grow(tolerance)[0]);
}
BENCHMARK(BM_WandToleranceChange)->Arg(4096)->Unit(benchmark::kMillisecond)->UseRealTime();

// The release: the region's pixels as the rectangles of a painted region.
void BM_WandCommitRects(benchmark::State& state) {
    const KYVO::CImage& image = picture16(int(state.range(0)));
    const int centre = int(state.range(0)) / 2;
    const cv::Mat region = pxm::segment::WandSession(image, 0, centre, centre, {}).grow(2000)[0];
    for (auto _ : state)
        benchmark::DoNotOptimize(pxm::segment::maskRects(region).size());
}
BENCHMARK(BM_WandCommitRects)->Arg(4096)->Unit(benchmark::kMillisecond);

} // namespace
