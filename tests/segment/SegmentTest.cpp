// SPDX-License-Identifier: MIT
#include "SegmentTestSupport.h"
#include "segment/LayerMat.h"
#include "segment/RegionShapes.h"
#include "segment/Wand.h"

#include <gtest/gtest.h>

using namespace pxmtest;
using pxm::segment::WandSession;
using pxm::segment::WandSettings;

namespace {

struct WandCase {
    const char* name;
    KYVO::EnImageType type;
    double scale;
    double tolerance; // in the image's units
};

class WandTypes : public ::testing::TestWithParam<WandCase> {};

} // namespace

// A click in a textured disc finds it in every pixel type; a brighter disc touching it stays out.
TEST_P(WandTypes, GrowsTheClickedObjectOnly) {
    const WandCase& c = GetParam();
    const cv::Mat first = discs(120, 100, {45, 50}, 30);
    const cv::Mat both = discs(120, 100, {45, 50}, 30, {95, 50}, 20);
    KYVO::CImage picture = texturedPicture(c.type, first, 160, 40, c.scale);
    // The second object, 60 brighter, touches the first along its right edge.
    KYVO::CImage withSecond = texturedPicture(c.type, both, 160, 40, c.scale);
    pxm::segment::layerMat(withSecond, 0).setTo(cv::Scalar(230, 250, 255) * c.scale, both & ~first);
    for (const KYVO::CImage* p : {&picture, &withSecond}) {
        WandSession session(*p, 0, 45, 50, WandSettings{});
        ASSERT_TRUE(session.valid());
        const std::vector<cv::Mat> region = session.grow(c.tolerance);
        ASSERT_EQ(region.size(), 1u);
        EXPECT_GT(iou(region[0], first), 0.97) << c.name;
        // A tolerance of 0 keeps the clicked pixel at least; a huge one takes everything.
        EXPECT_GE(cv::countNonZero(session.grow(0)[0]), 1);
        EXPECT_EQ(cv::countNonZero(session.grow(1e9)[0]), 120 * 100);
    }
}

INSTANTIATE_TEST_SUITE_P(Depths, WandTypes,
                         ::testing::Values(WandCase{"grey8", KYVO::IMAGE_GREY_8, 1, 35},
                                           WandCase{"grey16", KYVO::IMAGE_GREY_16, 200, 35 * 200},
                                           WandCase{"float", KYVO::IMAGE_GREY_F, 1.0 / 255, 35.0 / 255},
                                           WandCase{"rgb", KYVO::IMAGE_RGB_8I, 1, 35}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Wand, ConnectivitySmoothingAndBadClicks) {
    // Two squares touching only at a corner: 8 neighbours join them, 4 do not.
    KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(10, 10, 1));
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x)
            *image.voxel(std::size_t(x), std::size_t(y), 0) = ((x < 5) == (y < 5)) ? 200 : 0;
    WandSettings four, smooth;
    four.connectivity = 4;
    smooth.sigma = 1.5; // blurs the corner: the seed value is no longer 200 and the region shrinks
    const auto grown = [&](const WandSettings& settings) {
        return cv::countNonZero(WandSession(image, 0, 1, 1, settings).grow(10)[0]);
    };
    EXPECT_EQ(std::pair(grown(WandSettings{}), grown(four)), std::pair(50, 25));
    EXPECT_LT(grown(smooth), 50);
    for (const auto& [x, y, z] : {std::tuple{-1, 0, 0}, {10, 0, 0}, {0, 10, 0}, {0, 0, 1}})
        EXPECT_FALSE(WandSession(image, std::size_t(z), x, y, WandSettings{}).valid());
    // A NaN clicked in a float image matches nothing.
    KYVO::CImage nan(KYVO::IMAGE_GREY_F, KYVO::CSize(4, 4, 1));
    *reinterpret_cast<float*>(nan.voxel(2, 2, 0)) = std::nanf("");
    EXPECT_EQ(cv::countNonZero(WandSession(nan, 0, 2, 2, WandSettings{}).grow(1e9)[0]), 0);
}

// The 3D wand follows a sphere through the layers and a lobe joined to it only above the click.
TEST(Wand, GrowsThroughLayersOfAVolume) {
    const int size = 40, depth = 12;
    KYVO::CImage volume(KYVO::IMAGE_GREY_16, KYVO::CSize(size, size, depth));
    std::vector<cv::Mat> truth(depth);
    for (int z = 0; z < depth; ++z) {
        truth[z] = cv::Mat::zeros(size, size, CV_8UC1);
        const double r2 = 64 - (z - 5.0) * (z - 5.0);
        if (r2 > 0)
            cv::circle(truth[z], {14, 20}, int(std::sqrt(r2)), cv::Scalar(255), cv::FILLED);
        // A lobe on layers 7 to 10 at the right, joined to the sphere only on layer 8.
        if (z >= 7 && z <= 10)
            cv::rectangle(truth[z], cv::Rect(28, 16, 6, 8), cv::Scalar(255), cv::FILLED);
        if (z == 8)
            cv::rectangle(truth[z], cv::Rect(14, 18, 16, 4), cv::Scalar(255), cv::FILLED);
        cv::Mat layer = pxm::segment::layerMat(volume, std::size_t(z));
        layer.setTo(1000);
        layer.setTo(3000, truth[z]);
    }
    WandSettings settings;
    settings.volume = true;
    const std::vector<cv::Mat> region = WandSession(volume, 5, 14, 20, settings).grow(500);
    ASSERT_EQ(region.size(), std::size_t(depth));
    for (int z = 0; z < depth; ++z)
        EXPECT_TRUE(cv::countNonZero(truth[z]) ? cv::countNonZero(region[z] != truth[z]) == 0
                                               : region[z].empty())
            << z;
    // Without "3D" only the clicked layer.
    const std::vector<cv::Mat> flat = WandSession(volume, 5, 14, 20, WandSettings{}).grow(500);
    EXPECT_TRUE(cv::countNonZero(flat[5] != truth[5]) == 0 && flat[4].empty());
}

// Regions become exact rectangles, and outlines that lose or add pixels only on the boundary.
TEST(RegionShapes, RectsAndOutlinesRoundTrip) {
    cv::Mat region = discs(90, 70, {30, 35}, 22, {75, 20}, 9);
    cv::rectangle(region, cv::Rect(22, 28, 10, 8), cv::Scalar(0), cv::FILLED); // a hole
    region.at<uint8_t>(60, 80) = 255;                                          // a lone pixel
    cv::Mat painted = cv::Mat::zeros(region.size(), CV_8UC1);
    for (const QRect& r : pxm::segment::maskRects(region))
        cv::rectangle(painted, cv::Rect(r.x(), r.y(), r.width(), r.height()), cv::Scalar(255), cv::FILLED);
    EXPECT_EQ(cv::countNonZero(painted != region), 0);
    cv::Mat box = cv::Mat::zeros(30, 30, CV_8UC1);
    box(cv::Rect(3, 4, 20, 10)).setTo(255);
    EXPECT_EQ(pxm::segment::maskRects(box), QVector<QRect>{QRect(3, 4, 20, 10)}); // rows merged
    EXPECT_TRUE(pxm::segment::maskRects(cv::Mat::zeros(5, 5, CV_8UC1)).isEmpty());

    const QVector<pxm::segment::TracedPart> parts = pxm::segment::traceParts(region, 0.7);
    ASSERT_EQ(parts.size(), 3);
    int withHoles = 0;
    cv::Mat back = cv::Mat::zeros(region.size(), CV_8UC1);
    for (const auto& part : parts) {
        EXPECT_GE(part.outline.size(), 3);
        if (!part.pixelsWithHoles.empty()) {
            ++withHoles;
            back |= part.pixelsWithHoles;
        } else {
            back |= pxm::segment::polygonMask(part.outline, region.cols, region.rows);
        }
    }
    EXPECT_EQ(withHoles, 1);
    // Every differing pixel lies next to the region's boundary.
    cv::Mat grown, shrunk;
    cv::dilate(region, grown, cv::Mat());
    cv::erode(region, shrunk, cv::Mat());
    EXPECT_EQ(cv::countNonZero((back != region) & ~(grown & ~shrunk)), 0);
    EXPECT_GT(iou(back, region), 0.97);
    // A polygon that follows a plain disc is simplified to far fewer points than its contour.
    const auto disc = pxm::segment::traceParts(discs(100, 100, {50, 50}, 40), 0.7);
    ASSERT_EQ(disc.size(), 1);
    EXPECT_LT(disc[0].outline.size(), 80);
    EXPECT_GT(iou(pxm::segment::polygonMask(disc[0].outline, 100, 100), discs(100, 100, {50, 50}, 40)), 0.98);
}
