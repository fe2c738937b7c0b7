// SPDX-License-Identifier: MIT
#include "display/CImageInfo.h"

#include "platform/CException.h"
#include "platform/CImage.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>
#include <type_traits>

namespace Pictor {

double sampleStandardDeviation(double sumSquaredDeviations, uint64_t count) {
    if (count < 2)
        return -1.0;
    return std::sqrt(sumSquaredDeviations / double(count - 1));
}

namespace {

// Sums of squares of a whole 16-bit slice can pass 2^64; 128 bits hold any realistic volume exactly.
__extension__ typedef unsigned __int128 Wide;

/// Exact running sums of integer values.
struct IntegerSums {
    uint64_t count = 0;
    Wide sum = 0;
    Wide sumSquares = 0;
    uint32_t min = std::numeric_limits<uint32_t>::max();
    uint32_t max = 0;

    void add(const IntegerSums& o) {
        count += o.count;
        sum += o.sum;
        sumSquares += o.sumSquares;
        min = std::min(min, o.min);
        max = std::max(max, o.max);
    }

    SliceStatistics finish() const {
        SliceStatistics s;
        if (count == 0)
            return s;
        s.count = count;
        s.min = min;
        s.max = max;
        s.mean = double(static_cast<long double>(sum) / static_cast<long double>(count));
        // n·Σx² − (Σx)² is exact and never negative; one division rounds it once.
        const Wide numerator = Wide(count) * sumSquares - sum * sum;
        s.sumSquaredDeviations =
            double(static_cast<long double>(numerator) / static_cast<long double>(count));
        return s;
    }
};

/// Count, mean and squared deviations of float values, combinable with Chan's formula.
struct FloatMoments {
    uint64_t count = 0;
    double mean = 0.0;
    double m2 = 0.0;
    double min = std::numeric_limits<double>::infinity();
    double max = -std::numeric_limits<double>::infinity();

    void add(const FloatMoments& o) {
        if (o.count == 0)
            return;
        min = std::min(min, o.min);
        max = std::max(max, o.max);
        if (count == 0) {
            count = o.count;
            mean = o.mean;
            m2 = o.m2;
            return;
        }
        const double n = double(count + o.count);
        const double delta = o.mean - mean;
        mean += delta * (double(o.count) / n);
        m2 += o.m2 + delta * delta * (double(count) * double(o.count) / n);
        count += o.count;
    }

    SliceStatistics finish() const {
        SliceStatistics s;
        if (count == 0)
            return s;
        s.count = count;
        s.min = min;
        s.max = max;
        s.mean = mean;
        s.sumSquaredDeviations = m2;
        return s;
    }
};

// Block length for the integer loops: the 32-bit partial sum of a block of 16-bit values cannot overflow.
constexpr std::size_t kIntegerBlock = 16384;
// Block length for float values: small enough to stay in L1 for the second (deviation) sweep.
constexpr std::size_t kFloatBlock = 2048;

template <typename T> IntegerSums reduceIntegers(const T* values, std::size_t n) {
    static_assert(std::is_unsigned<T>::value && sizeof(T) <= 2, "8- or 16-bit unsigned values only");
    // Squares of bytes fit 32 bits even summed over a block; 16-bit squares need 64.
    using SquareSum = typename std::conditional<sizeof(T) == 1, uint32_t, uint64_t>::type;
    IntegerSums total;
    for (std::size_t start = 0; start < n; start += kIntegerBlock) {
        const std::size_t len = std::min(kIntegerBlock, n - start);
        const T* p = values + start;
        uint32_t sum = 0;
        SquareSum squares = 0;
        T lo = std::numeric_limits<T>::max();
        T hi = 0;
        for (std::size_t i = 0; i < len; ++i) {
            const T v = p[i];
            const uint32_t w = v;
            sum += w;
            squares += SquareSum(w * w);
            lo = v < lo ? v : lo;
            hi = v > hi ? v : hi;
        }
        total.count += len;
        total.sum += sum;
        total.sumSquares += squares;
        total.min = std::min<uint32_t>(total.min, lo);
        total.max = std::max<uint32_t>(total.max, hi);
    }
    return total;
}

FloatMoments reduceFloats(const float* values, std::size_t n) {
    FloatMoments total;
    for (std::size_t start = 0; start < n; start += kFloatBlock) {
        const std::size_t len = std::min(kFloatBlock, n - start);
        const float* p = values + start;
        float lo = std::numeric_limits<float>::infinity();
        float hi = -std::numeric_limits<float>::infinity();
        // Four partial sums break the dependency chain of the additions.
        double s[4] = {0, 0, 0, 0};
        uint32_t c[4] = {0, 0, 0, 0};
        std::size_t i = 0;
        for (; i + 4 <= len; i += 4) {
            for (int k = 0; k < 4; ++k) {
                const float v = p[i + k];
                const bool ok = v == v; // false for NaN only
                lo = v < lo ? v : lo;
                hi = v > hi ? v : hi;
                s[k] += ok ? double(v) : 0.0;
                c[k] += ok;
            }
        }
        for (; i < len; ++i) {
            const float v = p[i];
            const bool ok = v == v;
            lo = v < lo ? v : lo;
            hi = v > hi ? v : hi;
            s[0] += ok ? double(v) : 0.0;
            c[0] += ok;
        }
        const uint32_t count = c[0] + c[1] + c[2] + c[3];
        if (count == 0)
            continue;
        FloatMoments block;
        block.count = count;
        block.mean = (s[0] + s[1] + s[2] + s[3]) / double(count);
        block.min = lo;
        block.max = hi;
        double d[4] = {0, 0, 0, 0};
        i = 0;
        for (; i + 4 <= len; i += 4) {
            for (int k = 0; k < 4; ++k) {
                const float v = p[i + k];
                const double dev = double(v) - block.mean;
                d[k] += v == v ? dev * dev : 0.0;
            }
        }
        for (; i < len; ++i) {
            const float v = p[i];
            const double dev = double(v) - block.mean;
            d[0] += v == v ? dev * dev : 0.0;
        }
        block.m2 = d[0] + d[1] + d[2] + d[3];
        total.add(block);
    }
    return total;
}

/// Reduces every slice with `reduceSlice(z)` (on a few threads for big volumes), then combines the
/// slice results in slice order, so the result does not depend on the thread count.
template <typename Acc, typename ReduceSlice>
void reduceVolume(const KYVO::CImage& image, ReduceSlice reduceSlice, CImageInfo& info) {
    const std::size_t depth = image.size().z;
    std::vector<Acc> perSlice(depth);
    const std::size_t values = image.size().Elements() * std::size_t(image.channels());
    constexpr std::size_t kMinValuesPerThread = std::size_t(1) << 22;
    std::size_t threads = std::min<std::size_t>(
        {std::max(1u, std::thread::hardware_concurrency()), 4, depth, values / kMinValuesPerThread});
    threads = std::max<std::size_t>(threads, 1);
    auto work = [&](std::size_t first, std::size_t last) {
        for (std::size_t z = first; z < last; ++z)
            perSlice[z] = reduceSlice(z);
    };
    if (threads == 1) {
        work(0, depth);
    } else {
        std::vector<std::thread> pool;
        for (std::size_t t = 1; t < threads; ++t)
            pool.emplace_back(work, depth * t / threads, depth * (t + 1) / threads);
        work(0, depth / threads);
        for (auto& th : pool)
            th.join();
    }
    Acc whole;
    info.slices.reserve(depth);
    for (const Acc& acc : perSlice) {
        whole.add(acc);
        info.slices.push_back(acc.finish());
    }
    const SliceStatistics w = whole.finish();
    info.min = w.min;
    info.max = w.max;
    info.mean = w.mean;
    info.sumSquaredDeviations = w.sumSquaredDeviations;
    info.count = w.count;
}

} // namespace

CImageInfo computeImageInfo(const KYVO::CImage& image) {
    CImageInfo info;
    info.width = image.size().x;
    info.height = image.size().y;
    info.depth = image.size().z;
    info.typeName = QString::fromLatin1(KYVO::ImageTypeName(image.type()));
    const std::size_t perSlice = image.size().x * image.size().y * std::size_t(image.channels());
    switch (image.type()) {
    case KYVO::IMAGE_GREY_8:
    case KYVO::IMAGE_BOOL:
    case KYVO::IMAGE_RGB_8I:
        reduceVolume<IntegerSums>(
            image, [&](std::size_t z) { return reduceIntegers(image.layer(z), perSlice); }, info);
        break;
    case KYVO::IMAGE_GREY_16:
        reduceVolume<IntegerSums>(
            image,
            [&](std::size_t z) {
                return reduceIntegers(reinterpret_cast<const uint16_t*>(image.layer(z)), perSlice);
            },
            info);
        break;
    case KYVO::IMAGE_GREY_F:
        reduceVolume<FloatMoments>(
            image,
            [&](std::size_t z) {
                return reduceFloats(reinterpret_cast<const float*>(image.layer(z)), perSlice);
            },
            info);
        break;
    default:
        KYVO_THROW("image statistics: unknown pixel type " + std::to_string(int(image.type())));
    }
    return info;
}

} // namespace Pictor
