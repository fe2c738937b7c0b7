// SPDX-License-Identifier: MIT
// Display library timings: image statistics of a typical CT-sized volume and painting a full-HD
// window of a very large layer, and the automatic contrast window of a large 16-bit layer.
#include "display/CImageInfo.h"
#include "display/ImageItem.h"
#include "display/LayerHistogram.h"
#include "platform/CImage.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <benchmark/benchmark.h>
#include <memory>

namespace {

template <typename T> void fillNoise(KYVO::CImage& image, uint32_t modulus) {
    auto* v = reinterpret_cast<T*>(image.data());
    uint32_t state = 2463534242u;
    const std::size_t n = image.size().Elements() * std::size_t(image.channels());
    for (std::size_t i = 0; i < n; ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        v[i] = T(state % modulus);
    }
}

void reportVoxels(benchmark::State& state, const KYVO::CImage& image) {
    state.counters["voxels"] =
        benchmark::Counter(double(image.size().Elements()), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_ImageInfo_Grey16_512x512x256(benchmark::State& state) {
    KYVO::CImage image(KYVO::IMAGE_GREY_16, KYVO::CSize(512, 512, 256), KYVO::CImage::Uninitialised);
    fillNoise<uint16_t>(image, 4096);
    for (auto _ : state)
        benchmark::DoNotOptimize(Pictor::computeImageInfo(image));
    reportVoxels(state, image);
}
BENCHMARK(BM_ImageInfo_Grey16_512x512x256)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ImageInfo_Grey8_512x512x256(benchmark::State& state) {
    KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(512, 512, 256), KYVO::CImage::Uninitialised);
    fillNoise<uint8_t>(image, 256);
    for (auto _ : state)
        benchmark::DoNotOptimize(Pictor::computeImageInfo(image));
    reportVoxels(state, image);
}
BENCHMARK(BM_ImageInfo_Grey8_512x512x256)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ImageInfo_Float_512x512x256(benchmark::State& state) {
    KYVO::CImage image(KYVO::IMAGE_GREY_F, KYVO::CSize(512, 512, 256), KYVO::CImage::Uninitialised);
    auto* v = reinterpret_cast<float*>(image.data());
    for (std::size_t i = 0; i < image.size().Elements(); ++i)
        v[i] = float(i % 1000) * 0.25f;
    for (auto _ : state)
        benchmark::DoNotOptimize(Pictor::computeImageInfo(image));
    reportVoxels(state, image);
}
BENCHMARK(BM_ImageInfo_Float_512x512x256)->Unit(benchmark::kMillisecond)->UseRealTime();

/// A 16384 × 16384 8-bit layer (256 MiB), made once.
const KYVO::CImage& hugeLayer() {
    static const auto image = [] {
        auto im = std::make_unique<KYVO::CImage>(KYVO::IMAGE_GREY_8, KYVO::CSize(16384, 16384, 1),
                                                 KYVO::CImage::Uninitialised);
        fillNoise<uint8_t>(*im, 256);
        return im;
    }();
    return *image;
}

/// Paints what a 1920 × 1080 window shows at `scale`, the window's top left at item point `origin`.
void paintWindow(Pictor::ImageItem& item, QImage& device, const QPointF& origin, double scale) {
    QPainter painter(&device);
    QTransform t;
    t.scale(scale, scale);
    t.translate(-origin.x(), -origin.y());
    painter.setWorldTransform(t);
    QStyleOptionGraphicsItem option;
    option.exposedRect = t.inverted().mapRect(QRectF(device.rect()));
    item.paint(&painter, &option);
}

// Cold: a fresh item each time, so every tile under the window is converted.
void BM_Paint_1920x1080_of_16384sq_Grey8_Cold(benchmark::State& state) {
    const KYVO::CImage& image = hugeLayer();
    QImage device(1920, 1080, QImage::Format_RGB32);
    uint64_t tiles = 0;
    for (auto _ : state) {
        Pictor::ImageItem item(&image, 0);
        paintWindow(item, device, QPointF(5000.5, 7000.25), 1.0);
        tiles = item.convertedTileCount();
    }
    state.counters["tiles"] = double(tiles);
}
BENCHMARK(BM_Paint_1920x1080_of_16384sq_Grey8_Cold)->Unit(benchmark::kMillisecond)->UseRealTime();

// Warm: the same item again; the tiles come from the cache.
void BM_Paint_1920x1080_of_16384sq_Grey8_Warm(benchmark::State& state) {
    const KYVO::CImage& image = hugeLayer();
    QImage device(1920, 1080, QImage::Format_RGB32);
    Pictor::ImageItem item(&image, 0);
    paintWindow(item, device, QPointF(5000.5, 7000.25), 1.0);
    const uint64_t before = item.convertedTileCount();
    for (auto _ : state)
        paintWindow(item, device, QPointF(5000.5, 7000.25), 1.0);
    state.counters["converted"] = double(item.convertedTileCount() - before);
}
BENCHMARK(BM_Paint_1920x1080_of_16384sq_Grey8_Warm)->Unit(benchmark::kMillisecond)->UseRealTime();

// The whole layer fitted into the window (scale ≈ 1/15): coarse pyramid tiles keep this cheap.
void BM_Paint_WholeLayerFitted_Grey8_Cold(benchmark::State& state) {
    const KYVO::CImage& image = hugeLayer();
    QImage device(1920, 1080, QImage::Format_RGB32);
    uint64_t tiles = 0;
    for (auto _ : state) {
        Pictor::ImageItem item(&image, 0);
        paintWindow(item, device, QPointF(0, 0), 1080.0 / 16384);
        tiles = item.convertedTileCount();
    }
    state.counters["tiles"] = double(tiles);
}
BENCHMARK(BM_Paint_WholeLayerFitted_Grey8_Cold)->Unit(benchmark::kMillisecond)->UseRealTime();

// "Auto" on one 4096 × 4096 16-bit layer: the histogram of the layer and its 0.1 % window.
void BM_AutoContrast_4096sq_Grey16(benchmark::State& state) {
    KYVO::CImage image(KYVO::IMAGE_GREY_16, KYVO::CSize(4096, 4096, 1), KYVO::CImage::Uninitialised);
    fillNoise<uint16_t>(image, 4096);
    Pictor::HistogramOptions options;
    options.ignoreZerosAndNonFinite = state.range(0) != 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(Pictor::computeLayerHistogram(image, 0, options).clipped(0.001));
    reportVoxels(state, image);
}
BENCHMARK(BM_AutoContrast_4096sq_Grey16)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// The same for a float layer, which takes a second pass for the value range.
void BM_AutoContrast_4096sq_Float(benchmark::State& state) {
    KYVO::CImage image(KYVO::IMAGE_GREY_F, KYVO::CSize(4096, 4096, 1), KYVO::CImage::Uninitialised);
    auto* v = reinterpret_cast<float*>(image.data());
    for (std::size_t i = 0; i < image.size().Elements(); ++i)
        v[i] = float(i % 4099) * 0.37f;
    for (auto _ : state)
        benchmark::DoNotOptimize(Pictor::computeLayerHistogram(image, 0).clipped(0.001));
    reportVoxels(state, image);
}
BENCHMARK(BM_AutoContrast_4096sq_Float)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
