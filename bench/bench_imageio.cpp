// SPDX-License-Identifier: MIT
// Image reading and writing against the plain costs below them: a read() loop over the same
// TIFF file, QImageReader alone on the same PNG, and zlib inflating the same volume in memory.
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/io/OkavCodec.h"

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QImageReader>
#include <benchmark/benchmark.h>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <random>
#include <unistd.h>
#include <vector>
#include <zlib.h>

using namespace KYVO;

namespace {

struct Files {
    std::string dir, tiff, png, okavGz;
    std::int64_t tiffBytes = 0;
    std::vector<std::uint8_t> volume; // the .okav.gz voxels, for zlib's own round trip
    std::vector<std::uint8_t> deflated;
};
Files g_files;

/// A smooth gradient with a little noise, as microscope volumes look: partly compressible.
void fillRealistic(CImage& img, unsigned seed) {
    std::minstd_rand noise(seed);
    const CSize s = img.size();
    for (std::size_t z = 0; z < s.z; ++z)
        for (std::size_t y = 0; y < s.y; ++y)
            for (std::size_t x = 0; x < s.x; ++x) {
                const unsigned base = unsigned(x / 4 + y / 3 + z) + unsigned(noise() % 8);
                if (img.type() == IMAGE_GREY_16) {
                    const std::uint16_t v = std::uint16_t(base * 64);
                    std::memcpy(img.voxel(x, y, z), &v, 2);
                } else {
                    *img.voxel(x, y, z) = std::uint8_t(base);
                }
            }
}

std::int64_t fileSize(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    const off_t size = ::lseek(fd, 0, SEEK_END);
    ::close(fd);
    return std::int64_t(size);
}

void prepare() {
    g_files.dir = QDir::tempPath().toStdString() + "/pxm-bench-imageio-" +
                  std::to_string(QCoreApplication::applicationPid());
    QDir().mkpath(QString::fromStdString(g_files.dir));
    g_files.tiff = g_files.dir + "/stack.tif";
    g_files.png = g_files.dir + "/slide.png";
    g_files.okavGz = g_files.dir + "/volume.okav.gz";

    CImage stack(IMAGE_GREY_16, CSize(512, 512, 256), CImage::Uninitialised);
    fillRealistic(stack, 1);
    CImageIo2::Save(g_files.tiff, stack);
    g_files.tiffBytes = fileSize(g_files.tiff);

    CImage slide(IMAGE_GREY_8, CSize(8192, 8192, 1), CImage::Uninitialised);
    fillRealistic(slide, 2);
    CImageIo2::Save(g_files.png, slide);

    CImage volume(IMAGE_GREY_8, CSize(512, 512, 256), CImage::Uninitialised);
    fillRealistic(volume, 3);
    g_files.volume.assign(volume.data(), volume.data() + volume.byteCount());
    uLongf packed = compressBound(uLong(volume.byteCount()));
    g_files.deflated.resize(packed);
    compress2(g_files.deflated.data(), &packed, volume.data(), uLong(volume.byteCount()),
              io::OkavCodec::DefaultLevel);
    g_files.deflated.resize(packed);
}

void BM_TiffStack_CImageIo2Load(benchmark::State& state) {
    for (auto _ : state) {
        std::unique_ptr<CImage> img(CImageIo2::Load(g_files.tiff));
        benchmark::DoNotOptimize(img->data());
    }
    state.SetBytesProcessed(state.iterations() * g_files.tiffBytes);
}

void BM_TiffStack_PlainReadLoop(benchmark::State& state) {
    for (auto _ : state) {
        // A fresh buffer each time, as a load allocates its volume.
        std::unique_ptr<char[]> buffer(new char[std::size_t(g_files.tiffBytes)]);
        const int fd = ::open(g_files.tiff.c_str(), O_RDONLY);
        std::int64_t done = 0;
        for (ssize_t n; done < g_files.tiffBytes; done += n)
            if ((n = ::read(fd, buffer.get() + done, std::size_t(g_files.tiffBytes - done))) <= 0)
                break;
        ::close(fd);
        benchmark::DoNotOptimize(buffer.get());
    }
    state.SetBytesProcessed(state.iterations() * g_files.tiffBytes);
}

void BM_Png8192_CImageIo2Load(benchmark::State& state) {
    for (auto _ : state) {
        std::unique_ptr<CImage> img(CImageIo2::Load(g_files.png));
        benchmark::DoNotOptimize(img->data());
    }
}

void BM_Png8192_QImageReaderAlone(benchmark::State& state) {
    for (auto _ : state) {
        QImageReader reader(QString::fromStdString(g_files.png));
        QImage img = reader.read();
        benchmark::DoNotOptimize(img.constBits());
    }
}

void BM_OkavGz_Write(benchmark::State& state) {
    CImage volume(IMAGE_GREY_8, CSize(512, 512, 256), CImage::Uninitialised);
    std::memcpy(volume.data(), g_files.volume.data(), volume.byteCount());
    for (auto _ : state)
        CImageIo2::Save(g_files.okavGz, volume);
    state.SetBytesProcessed(state.iterations() * std::int64_t(volume.byteCount()));
    state.counters["ratio"] = double(volume.byteCount()) / double(fileSize(g_files.okavGz));
}

void BM_OkavGz_Read(benchmark::State& state) {
    for (auto _ : state) {
        std::unique_ptr<CImage> img(CImageIo2::Load(g_files.okavGz));
        benchmark::DoNotOptimize(img->data());
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(g_files.volume.size()));
}

/// Argument: the zlib level, to weigh the default level against the usual 6.
void BM_Zlib_CompressInMemory(benchmark::State& state) {
    std::vector<std::uint8_t> out(compressBound(uLong(g_files.volume.size())));
    uLongf n = 0;
    for (auto _ : state) {
        n = uLongf(out.size());
        compress2(out.data(), &n, g_files.volume.data(), uLong(g_files.volume.size()), int(state.range(0)));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(g_files.volume.size()));
    state.counters["ratio"] = double(g_files.volume.size()) / double(n);
}

void BM_Zlib_UncompressInMemory(benchmark::State& state) {
    std::vector<std::uint8_t> out(g_files.volume.size());
    for (auto _ : state) {
        uLongf n = uLongf(out.size());
        uncompress(out.data(), &n, g_files.deflated.data(), uLong(g_files.deflated.size()));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(g_files.volume.size()));
}

} // namespace

BENCHMARK(BM_TiffStack_CImageIo2Load)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TiffStack_PlainReadLoop)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Png8192_CImageIo2Load)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(4);
BENCHMARK(BM_Png8192_QImageReaderAlone)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(4);
BENCHMARK(BM_OkavGz_Write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OkavGz_Read)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Zlib_CompressInMemory)
    ->Arg(io::OkavCodec::DefaultLevel)
    ->Arg(6)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_Zlib_UncompressInMemory)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    prepare();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    QDir(QString::fromStdString(g_files.dir)).removeRecursively();
    return 0;
}
