// SPDX-License-Identifier: MIT
#include "platform/io/TiffOverviews.h"

#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/io/TiffHandle.h"
#include "platform/io/TiffPyramid.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <tiffio.h>

namespace KYVO {
namespace io {

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kTile = 256;

struct Size {
    uint32_t width;
    uint32_t height;
};

/// The sizes of the overview levels below a level of width x height.
std::vector<Size> overviewSizes(uint32_t width, uint32_t height) {
    std::vector<Size> sizes;
    while (std::max(width, height) > TiffOverviews::kCoarsest) {
        width = (width + 1) / 2;
        height = (height + 1) / 2;
        sizes.push_back({width, height});
    }
    return sizes;
}

/// "<stem>-<hash of path, size and time>-<level>.tif" in `folder`.
std::string levelPath(const std::string& source, const std::string& folder, std::size_t level) {
    std::error_code error;
    const fs::path path = fs::absolute(source, error);
    const auto bytes = fs::file_size(source, error);
    const auto time = fs::last_write_time(source, error).time_since_epoch().count();
    const std::string key = path.string() + "|" + std::to_string(bytes) + "|" + std::to_string(time);
    uint64_t hash = 1469598103934665603ull; // FNV-1a
    for (const char c : key)
        hash = (hash ^ uint8_t(c)) * 1099511628211ull;
    char hex[17];
    std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(hash));
    return (fs::path(folder) / (path.stem().string() + "-" + hex + "-" + std::to_string(level) + ".tif")).string();
}

template <typename T> void halveSamples(const CImage& in, CImage& out, int channels) {
    const std::size_t inWidth = in.size().x;
    const std::size_t lastRow = in.size().y - 1;
    for (std::size_t y = 0; y < out.size().y; ++y) {
        const T* row0 = reinterpret_cast<const T*>(in.voxel(0, 2 * y, 0));
        const T* row1 = reinterpret_cast<const T*>(in.voxel(0, std::min(2 * y + 1, lastRow), 0));
        T* to = reinterpret_cast<T*>(out.voxel(0, y, 0));
        for (std::size_t x = 0; x < out.size().x; ++x) {
            const std::size_t x0 = 2 * x * std::size_t(channels);
            const std::size_t x1 = std::min(2 * x + 1, inWidth - 1) * std::size_t(channels);
            for (int c = 0; c < channels; ++c)
                *to++ = T((unsigned(row0[x0 + c]) + row0[x1 + c] + row1[x0 + c] + row1[x1 + c] + 2) / 4);
        }
    }
}

/// Half of `in` (two input rows per output row) by 2 x 2 averages; an odd last column or row
/// is averaged with itself.
void halve(const CImage& in, CImage& out) {
    if (in.type() == IMAGE_GREY_16)
        halveSamples<uint16_t>(in, out, 1);
    else
        halveSamples<uint8_t>(in, out, in.channels());
}

/// Writes one overview level, band by band, from `input`'s level `from`.
bool writeLevel(const TiffPyramid& input, int from, const std::string& path, Size size,
                const std::function<bool(double)>& step) {
    TiffHandle handle(path, "w8");
    handle.detach();
    TIFF* tif = handle.get();
    const EnImageType type = input.type();
    const int channels = ImageTypeChannels(type);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, size.width);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, size.height);
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, kTile);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, kTile);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, type == IMAGE_GREY_16 ? 16 : 8);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, channels);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, channels == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(tif, TIFFTAG_ZIPQUALITY, 1);
    const auto& source = input.level(from);
    const std::size_t voxel = std::size_t(ImageTypeBytesPerVoxel(type));
    std::vector<uint8_t> tile(std::size_t(kTile) * kTile * voxel);
    for (uint32_t top = 0; top < size.height; top += kTile) {
        const uint32_t rows = std::min(kTile, size.height - top);
        const auto band = input.read(from, 0, 2 * top, source.width, std::min(2 * rows, source.height - 2 * top));
        CImage half(type, CSize(size.width, rows, 1));
        halve(*band, half);
        for (uint32_t left = 0; left < size.width; left += kTile) {
            const uint32_t columns = std::min(kTile, size.width - left);
            std::fill(tile.begin(), tile.end(), uint8_t(0));
            for (uint32_t r = 0; r < rows; ++r)
                std::memcpy(&tile[std::size_t(r) * kTile * voxel], half.voxel(left, r, 0), columns * voxel);
            if (TIFFWriteEncodedTile(tif, TIFFComputeTile(tif, left, top, 0, 0), tile.data(), tmsize_t(tile.size())) < 0)
                handle.fail("cannot write an overview tile to " + path);
        }
        if (!step(double(rows) / double(size.height)))
            return false;
    }
    if (!TIFFWriteDirectory(tif))
        handle.fail("cannot finish the overview " + path);
    return true;
}

} // namespace

bool TiffOverviews::needed(const TiffPyramid& pyramid) {
    const auto& coarsest = pyramid.level(pyramid.levelCount() - 1);
    return std::max(coarsest.width, coarsest.height) > kCoarsest;
}

std::vector<std::string> TiffOverviews::find(const std::string& source, const std::string& folder) {
    const TiffPyramid pyramid(source);
    const auto& coarsest = pyramid.level(pyramid.levelCount() - 1);
    std::vector<std::string> files;
    const std::size_t count = overviewSizes(coarsest.width, coarsest.height).size();
    for (std::size_t k = 1; k <= count; ++k) {
        files.push_back(levelPath(source, folder, k));
        if (!fs::exists(files.back()))
            return {};
    }
    return files;
}

std::vector<std::string> TiffOverviews::build(const std::string& source, const std::string& folder,
                                              const std::function<bool(double)>& progress) {
    std::error_code error;
    fs::create_directories(folder, error);
    const TiffPyramid pyramid(source);
    const int from = pyramid.levelCount() - 1;
    const auto& coarsest = pyramid.level(from);
    const std::vector<Size> sizes = overviewSizes(coarsest.width, coarsest.height);
    // Each level costs about a quarter of the one before it.
    double total = 0.0;
    for (std::size_t k = 0; k < sizes.size(); ++k)
        total += 1.0 / double(uint64_t(1) << (2 * k));
    double done = 0.0;
    std::vector<std::string> temporary;
    std::vector<std::string> files;
    auto discard = [&temporary] {
        std::error_code ignored;
        for (const std::string& file : temporary)
            fs::remove(file, ignored);
        return std::vector<std::string>();
    };
    try {
        for (std::size_t k = 0; k < sizes.size(); ++k) {
            files.push_back(levelPath(source, folder, k + 1));
            temporary.push_back(files.back() + ".part");
            const double weight = 1.0 / double(uint64_t(1) << (2 * k)) / total;
            auto step = [&](double fraction) {
                done += fraction * weight;
                return progress(std::min(done, 1.0));
            };
            // Each level from the one before: the finest is read once, the others are small.
            const bool finished =
                k == 0 ? writeLevel(pyramid, from, temporary.back(), sizes[k], step)
                       : writeLevel(TiffPyramid(temporary[k - 1]), 0, temporary.back(), sizes[k], step);
            if (!finished)
                return discard();
        }
    } catch (...) {
        discard();
        throw;
    }
    for (std::size_t k = 0; k < files.size(); ++k) {
        fs::rename(temporary[k], files[k], error);
        if (error) {
            discard();
            KYVO_THROW("cannot keep the overview " + files[k] + ": " + error.message());
        }
    }
    return files;
}

} // namespace io
} // namespace KYVO
