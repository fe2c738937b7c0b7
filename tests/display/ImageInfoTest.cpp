// SPDX-License-Identifier: MIT
#include "DisplayTestImages.h"
#include "display/CImageInfo.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

using namespace Pictor;

namespace {

struct Expected {
    double min, max, mean, m;
    uint64_t count;
    double sd;
};

void expectStats(const SliceStatistics& s, const Expected& e) {
    EXPECT_EQ(s.count, e.count);
    EXPECT_DOUBLE_EQ(s.min, e.min);
    EXPECT_DOUBLE_EQ(s.max, e.max);
    EXPECT_DOUBLE_EQ(s.mean, e.mean);
    EXPECT_NEAR(s.sumSquaredDeviations, e.m, 1e-9 * std::max(1.0, e.m));
    EXPECT_NEAR(sampleStandardDeviation(s.sumSquaredDeviations, s.count), e.sd, 1e-9 * std::max(1.0, e.sd));
}

struct Case {
    const char* name;
    KYVO::CImage image;
    Expected slices[3];
    Expected whole;
};

} // namespace

// Three 2×2 slices per type; the expected figures are worked out by hand in the comments.
TEST(ImageInfo, WholeAndPerSliceStatisticsMatchHandComputation) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const KYVO::CSize size(2, 2, 3);
    std::vector<Case> cases;
    // 8-bit: {1,2,3,4}: mean 2.5, m = 2.25+0.25+0.25+2.25 = 5; {10×4}: m = 0; {0,255,0,255}: mean 127.5,
    // m = 4·127.5² = 65025. Whole: Σx = 560, Σx² = 130480, m = 130480 − 560²/12 = 104346.67, sd = √(m/11).
    cases.push_back(
        {"grey8",
         pxmtest::makeImage<uint8_t>(KYVO::IMAGE_GREY_8, size, {1, 2, 3, 4, 10, 10, 10, 10, 0, 255, 0, 255}),
         {{1, 4, 2.5, 5, 4, std::sqrt(5.0 / 3)},
          {10, 10, 10, 0, 4, 0},
          {0, 255, 127.5, 65025, 4, std::sqrt(65025.0 / 3)}},
         {0, 255, 560.0 / 12, 130480 - 560.0 * 560 / 12, 12, std::sqrt((130480 - 560.0 * 560 / 12) / 11)}});
    // 16-bit: {1000…4000}: mean 2500, m = 2·(1500² + 500²) = 5e6; {65535×4}: m = 0; {0,65535,0,65535}:
    // m = 4·32767.5². Whole: Σx = 403210, Σx² = 3e7 + 6·65535² = 25799017350.
    const double sumSq16 = 3e7 + 6.0 * 65535 * 65535;
    const double m16 = sumSq16 - 403210.0 * 403210 / 12;
    cases.push_back({"grey16",
                     pxmtest::makeImage<uint16_t>(
                         KYVO::IMAGE_GREY_16, size,
                         {1000, 2000, 3000, 4000, 65535, 65535, 65535, 65535, 0, 65535, 0, 65535}),
                     {{1000, 4000, 2500, 5e6, 4, std::sqrt(5e6 / 3)},
                      {65535, 65535, 65535, 0, 4, 0},
                      {0, 65535, 32767.5, 4 * 32767.5 * 32767.5, 4, std::sqrt(4 * 32767.5 * 32767.5 / 3)}},
                     {0, 65535, 403210.0 / 12, m16, 12, std::sqrt(m16 / 11)}});
    // Float, NaN skipped: {0.5,−1.5,2.5}: mean 0.5, m = 0 + 4 + 4 = 8, sd = 2; {1e6+1…1e6+4}: a large
    // offset must not cost precision, m = 5; {NaN×4}: nothing counted. Whole over the 7 values:
    // Σx = 4000011.5, Σx² = 8.75 + 4e12 + 2e7 + 30, m = Σx² − (Σx)²/7.
    const double sumF = 4000011.5;
    const double mF = (8.75 + 4e12 + 2e7 + 30) - sumF * sumF / 7;
    cases.push_back({"float",
                     pxmtest::makeImage<float>(
                         KYVO::IMAGE_GREY_F, size,
                         {0.5f, -1.5f, 2.5f, nan, 1000001, 1000002, 1000003, 1000004, nan, nan, nan, nan}),
                     {{-1.5, 2.5, 0.5, 8, 3, 2},
                      {1000001, 1000004, 1000002.5, 5, 4, std::sqrt(5.0 / 3)},
                      {0, 0, 0, 0, 0, -1}},
                     {-1.5, 1000004, sumF / 7, mF, 7, std::sqrt(mF / 6)}});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const CImageInfo info = computeImageInfo(c.image);
        EXPECT_EQ(info.width, 2u);
        EXPECT_EQ(info.height, 2u);
        EXPECT_EQ(info.depth, 3u);
        EXPECT_EQ(info.typeName, QString::fromLatin1(KYVO::ImageTypeName(c.image.type())));
        ASSERT_EQ(info.slices.size(), 3u);
        for (int z = 0; z < 3; ++z) {
            SCOPED_TRACE(z);
            expectStats(info.slices[std::size_t(z)], c.slices[z]);
        }
        expectStats(info.whole(), c.whole);
    }
}

TEST(ImageInfo, RgbBoolAndEmptyImages) {
    // RGB counts every channel value: {10,20,30, 40,50,60} → mean 35, m = 2·(25²+15²+5²) = 1750.
    const auto rgb =
        pxmtest::makeImage<uint8_t>(KYVO::IMAGE_RGB_8I, KYVO::CSize(2, 1, 1), {10, 20, 30, 40, 50, 60});
    CImageInfo info = computeImageInfo(rgb);
    EXPECT_EQ(info.typeName, QStringLiteral("IMAGE_RGB_8I"));
    expectStats(info.whole(), {10, 60, 35, 1750, 6, std::sqrt(1750.0 / 5)});

    const auto mask = pxmtest::makeImage<uint8_t>(KYVO::IMAGE_BOOL, KYVO::CSize(4, 1, 1), {0, 1, 1, 1});
    expectStats(computeImageInfo(mask).whole(), {0, 1, 0.75, 0.75, 4, 0.5});

    // A single value has no sample deviation.
    EXPECT_EQ(sampleStandardDeviation(0.0, 1), -1.0);
    info = computeImageInfo(KYVO::CImage(KYVO::IMAGE_GREY_16, KYVO::CSize(0, 5, 2)));
    EXPECT_EQ(info.count, 0u);
    EXPECT_EQ(info.slices.size(), 2u);
    EXPECT_EQ(info.mean, 0.0);
}

// A volume big enough to be split over threads must give the same figures as a plain two-pass sum.
TEST(ImageInfo, LargeVolumeMatchesTwoPassReference) {
    const KYVO::CSize size(256, 256, 70);
    KYVO::CImage image(KYVO::IMAGE_GREY_16, size);
    auto* v = reinterpret_cast<uint16_t*>(image.data());
    uint32_t state = 12345;
    for (std::size_t i = 0; i < size.Elements(); ++i) {
        state = state * 1664525u + 1013904223u;
        v[i] = uint16_t((state >> 16) % (1000 + 900 * (i / (size.x * size.y))));
    }
    const CImageInfo info = computeImageInfo(image);
    ASSERT_EQ(info.slices.size(), size.z);
    const std::size_t perSlice = size.x * size.y;
    double total = 0;
    for (std::size_t i = 0; i < size.Elements(); ++i)
        total += v[i];
    const double mean = total / double(size.Elements());
    double m = 0;
    for (std::size_t i = 0; i < size.Elements(); ++i)
        m += (v[i] - mean) * (v[i] - mean);
    EXPECT_EQ(info.count, size.Elements());
    EXPECT_NEAR(info.mean, mean, 1e-9 * mean);
    EXPECT_NEAR(info.sumSquaredDeviations, m, 1e-9 * m);
    for (std::size_t z : {std::size_t(0), std::size_t(33), size.z - 1}) {
        SCOPED_TRACE(z);
        double s = 0, lo = 65535, hi = 0;
        for (std::size_t i = z * perSlice; i < (z + 1) * perSlice; ++i) {
            s += v[i];
            lo = std::min<double>(lo, v[i]);
            hi = std::max<double>(hi, v[i]);
        }
        EXPECT_EQ(info.slices[z].count, perSlice);
        EXPECT_DOUBLE_EQ(info.slices[z].mean, s / double(perSlice));
        EXPECT_EQ(info.slices[z].min, lo);
        EXPECT_EQ(info.slices[z].max, hi);
    }
}
