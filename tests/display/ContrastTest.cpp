// SPDX-License-Identifier: MIT
#include "display/DisplayContrast.h"
#include "display/ImageItem.h"
#include "display/LayerHistogram.h"
#include "display/TileRenderer.h"
#include "platform/CImage.h"

#include <QImage>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

using namespace Pictor;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

/// A one-layer image of `type` and width × height holding `values` voxel after voxel.
KYVO::CImage imageOf(KYVO::EnImageType type, const std::vector<double>& values, std::size_t width = 0) {
    const std::size_t channels = std::size_t(KYVO::ImageTypeChannels(type));
    const std::size_t w = width ? width : values.size() / channels;
    KYVO::CImage image(type, KYVO::CSize(w, values.size() / channels / w, 1));
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (type == KYVO::IMAGE_GREY_16)
            reinterpret_cast<uint16_t*>(image.data())[i] = uint16_t(values[i]);
        else if (type == KYVO::IMAGE_GREY_F)
            reinterpret_cast<float*>(image.data())[i] = float(values[i]);
        else
            image.data()[i] = uint8_t(values[i]);
    }
    return image;
}

} // namespace

// Each value is shown as round(255 · t^gamma) of its place t in the window, clamped; NaN black.
TEST(Contrast, ValuesMapThroughTheWindowAndGamma) {
    const struct {
        const char* name;
        KYVO::EnImageType type;
        double min, max, gamma;
        std::vector<double> values;
        std::vector<int> greys;
    } cases[] = {
        {"8-bit", KYVO::IMAGE_GREY_8, 50, 150, 1.0, {0, 50, 100, 149, 150, 255}, {0, 0, 128, 252, 255, 255}},
        {"8-bit gamma 2", KYVO::IMAGE_GREY_8, 0, 200, 2.0, {0, 50, 100, 200, 201}, {0, 16, 64, 255, 255}},
        {"16-bit",
         KYVO::IMAGE_GREY_16,
         1000,
         5000,
         1.0,
         {0, 1000, 3000, 4000, 5000, 65535},
         {0, 0, 128, 191, 255, 255}},
        {"16-bit gamma 0.5", KYVO::IMAGE_GREY_16, 0, 40000, 0.5, {10000, 40000, 60000}, {128, 255, 255}},
        {"float",
         KYVO::IMAGE_GREY_F,
         -1,
         1,
         1.0,
         {-5, -1, 0, 0.5, 1, 7, kNaN, kInf, -kInf},
         {0, 0, 128, 191, 255, 255, 0, 255, 0}},
        {"float gamma 2", KYVO::IMAGE_GREY_F, 0, 2, 2.0, {0.5, 1, 3, -1, kNaN}, {16, 64, 255, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const DisplayContrast contrast = DisplayContrast::of(c.min, c.max, c.gamma);
        const KYVO::CImage image = imageOf(c.type, c.values);
        // Normalisation gives way to the user's window.
        const QImage shown =
            TileRenderer(&image, 0, true, nullptr, contrast).render(QRect(0, 0, int(image.size().x), 1), 0);
        for (std::size_t i = 0; i < c.values.size(); ++i) {
            EXPECT_EQ(shown.pixel(int(i), 0), qRgb(c.greys[i], c.greys[i], c.greys[i]))
                << "value " << c.values[i];
            if (c.type != KYVO::IMAGE_BOOL) {
                EXPECT_EQ(contrast.map(c.values[i]), c.greys[i]) << "value " << c.values[i];
            }
        }
    }
    // Colour: one window per channel, or the first for all.
    DisplayContrast colour = DisplayContrast::of(0, 200);
    colour.channels[1] = {100, 200};
    colour.channels[2] = {0, 100};
    const KYVO::CImage rgb = imageOf(KYVO::IMAGE_RGB_8I, {100, 100, 100});
    EXPECT_EQ(TileRenderer(&rgb, 0, false, nullptr, colour).render(QRect(0, 0, 1, 1), 0).pixel(0, 0),
              qRgb(128, 128, 128));
    colour.perChannel = true;
    EXPECT_EQ(TileRenderer(&rgb, 0, false, nullptr, colour).render(QRect(0, 0, 1, 1), 0).pixel(0, 0),
              qRgb(128, 0, 255));
    // What the project file keeps reads back the same; an unusable window reads as unset.
    colour.gamma = 0.7;
    EXPECT_EQ(DisplayContrast::fromVariant(colour.toVariant()), colour);
    EXPECT_EQ(DisplayContrast::fromVariant(DisplayContrast::of(0, 1, 3).toVariant()).gamma, 3.0);
    EXPECT_FALSE(DisplayContrast::fromVariant(DisplayContrast::of(5, 5).toVariant()).isSet());
    EXPECT_FALSE(DisplayContrast::fromVariant(
                     QVariantMap{{"min", QVariantList{1, 2, 3}}, {"max", QVariantList{4, 5, 3}}})
                     .isSet());
}

// 1000 values 1..1000 in the first ten rows, zeros in the last five; floats also hold NaN and
// infinities. Auto clips 0.1 %, 0.35 %, 1 %, 2 % at each end, then starts over.
TEST(Contrast, AutoWindowClipsMoreOnEachPress) {
    std::vector<double> values(1500, 0.0);
    for (int i = 0; i < 1000; ++i)
        values[std::size_t(i)] = i + 1;
    std::vector<double> floats = values;
    floats[1000] = kNaN;
    floats[1001] = floats[1002] = kInf;
    const ChannelWindow ignoring[] = {{2, 999}, {4, 997}, {11, 990}, {21, 980}, {2, 999}};
    for (const auto& [type, data] :
         {std::pair{KYVO::IMAGE_GREY_16, values}, std::pair{KYVO::IMAGE_GREY_F, floats}}) {
        SCOPED_TRACE(KYVO::ImageTypeName(type));
        const KYVO::CImage image = imageOf(type, data, 100);
        HistogramOptions options;
        options.ignoreZerosAndNonFinite = true;
        const LayerHistogram h = computeLayerHistogram(image, 0, options);
        EXPECT_EQ(h.count, 1000u);
        // Float bins are 999 / 65536 wide; the window edges are those of the bins.
        const double tolerance = h.integral ? 0.0 : h.binWidth();
        for (int press = 0; press < 5; ++press) {
            const ChannelWindow w = h.clipped(autoClipFraction(press));
            EXPECT_NEAR(w.min, ignoring[press].min, tolerance) << "press " << press;
            EXPECT_NEAR(w.max, ignoring[press].max, tolerance) << "press " << press;
        }
        // Counting the zeros (and infinities, at the ends) moves the lower edge down to 0.
        const ChannelWindow all = computeLayerHistogram(image, 0).clipped(0.001);
        EXPECT_EQ(all.min, 0.0);
        EXPECT_NEAR(all.max, h.integral ? 999.0 : 1000.0, tolerance);
        // A region counts only its pixels: the first five rows hold 1..500.
        options.region = QRect(0, 0, 100, 5);
        const ChannelWindow region = computeLayerHistogram(image, 0, options).clipped(0.001);
        EXPECT_NEAR(region.min, 1.0, tolerance);
        EXPECT_NEAR(region.max, 500.0, tolerance);
    }
    // A constant layer still gets a window of some width.
    const ChannelWindow flat = computeLayerHistogram(imageOf(KYVO::IMAGE_GREY_8, {7, 7, 7}), 0).clipped(0.02);
    EXPECT_EQ(flat.min, 7.0);
    EXPECT_EQ(flat.max, 8.0);
}

// An item given a new contrast paints with it at once: no tile of the old mapping survives.
TEST(Contrast, ItemRepaintsWithANewContrast) {
    const KYVO::CImage image = imageOf(KYVO::IMAGE_GREY_16, {0, 1000, 2000, 3000});
    ImageItem item(&image, 0);
    auto row = [&item] {
        QImage device(4, 1, QImage::Format_RGB32);
        QPainter painter(&device);
        QStyleOptionGraphicsItem option;
        option.exposedRect = QRectF(0, 0, 4, 1);
        item.paint(&painter, &option);
        painter.end();
        std::vector<int> greys;
        for (int x = 0; x < 4; ++x)
            greys.push_back(qGray(device.pixel(x, 0)));
        return greys;
    };
    EXPECT_EQ(row(), (std::vector<int>{0, 85, 170, 255}));
    item.setContrast(DisplayContrast::of(0, 2000));
    EXPECT_EQ(row(), (std::vector<int>{0, 128, 255, 255}));
    item.setContrast(DisplayContrast());
    EXPECT_EQ(row(), (std::vector<int>{0, 85, 170, 255}));
}
