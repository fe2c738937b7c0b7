// SPDX-License-Identifier: MIT
// The smart region tools' image analysis on large images: the magic wand's set-up for a click
// and its regrowth for each tolerance the drag gives.
#include "platform/CImage.h"
#include "segment/BoxCut.h"
#include "segment/Colour8.h"
#include "segment/LayerMat.h"
#include "segment/RegionShapes.h"
#include "segment/Scissors.h"
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
    // Camera noise is correlated between neighbours: uniform noise, blurred.
    cv::Mat texture(side, side, CV_16UC1);
    cv::randu(texture, 29000, 33000);
    cv::GaussianBlur(texture, texture, cv::Size(), 1.5);
    cv::GaussianBlur(layer, layer, cv::Size(), 1.5);
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

/// An RGB picture of the given side: textured blobs on a noisy background.
cv::Mat pictureRgb(int side) {
    cv::Mat image(side, side, CV_8UC3);
    cv::randu(image, cv::Scalar::all(30), cv::Scalar::all(60));
    for (int i = 0; i < 40; ++i) {
        const cv::Point centre((i * 7919) % side, (i * 104729) % side);
        cv::circle(image, centre, side / 20 + (i % 5) * side / 100, cv::Scalar(150 + i, 120, 200 - i), cv::FILLED);
    }
    return image;
}

// Box segmentation of a 512 x 512 box around an object in a 4096 x 4096 layer (the 8-bit copy of
// a 16-bit layer included).
void BM_BoxInLargeImage(benchmark::State& state) {
    const KYVO::CImage& image = picture16(4096);
    const int side = 4096 * 3 / 5;
    const cv::Rect box((4096 - side) / 2 + side / 2 - 256, (4096 - side) / 2 - 40, 512, 512);
    for (auto _ : state) {
        pxm::segment::BoxCut cut(pxm::segment::layerMat(image, 0), box);
        benchmark::DoNotOptimize(cv::countNonZero(cut.foreground(false)));
    }
}
BENCHMARK(BM_BoxInLargeImage)->Unit(benchmark::kMillisecond)->UseRealTime();

// Scissors on a 2048 x 2048 RGB layer: the set-up (edge costs and the first anchor's map) and
// one live path to the pointer.
void BM_ScissorsSetUp(benchmark::State& state) {
    const cv::Mat image = pictureRgb(2048);
    for (auto _ : state) {
        pxm::segment::Scissors scissors(image);
        scissors.setAnchor({1024, 1024});
        benchmark::DoNotOptimize(scissors.hasAnchor());
    }
}
BENCHMARK(BM_ScissorsSetUp)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ScissorsLivePath(benchmark::State& state) {
    const cv::Mat image = pictureRgb(2048);
    pxm::segment::Scissors scissors(image);
    scissors.setAnchor({1024, 1024});
    int step = 0;
    for (auto _ : state) {
        step = (step + 37) % 400;
        benchmark::DoNotOptimize(scissors.pathTo({1024 + 200 + step, 1024 - 150 + step / 2}).size());
    }
}
BENCHMARK(BM_ScissorsLivePath)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
