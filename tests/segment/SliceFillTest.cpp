// SPDX-License-Identifier: MIT
#include "segment/SliceFill.h"

#include "SegmentTestSupport.h"
#include "segment/VolumeStatistics.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

namespace {

using Inside = std::function<bool(double x, double y, double z)>;

struct Volume {
    const char* name;
    Inside inside;
};

constexpr int Side = 96;
constexpr int Depth = 41;

std::vector<cv::Mat> render(const Inside& inside) {
    std::vector<cv::Mat> layers;
    for (int z = 0; z < Depth; ++z) {
        cv::Mat layer = cv::Mat::zeros(Side, Side, CV_8UC1);
        for (int y = 0; y < Side; ++y)
            for (int x = 0; x < Side; ++x)
                if (inside(x + 0.5, y + 0.5, z))
                    layer.at<uint8_t>(y, x) = 255;
        layers.push_back(layer);
    }
    return layers;
}

double sq(double v) {
    return v * v;
}

const Volume Volumes[] = {
    {"sphere", [](double x, double y, double z) { return sq(x - 48) + sq(y - 48) + sq(z - 20) <= sq(18); }},
    {"tiltedEllipsoid",
     [](double x, double y, double z) {
         const double c = std::cos(0.5), s = std::sin(0.5);
         const double u = c * (x - 48) + s * (z - 20), w = -s * (x - 48) + c * (z - 20);
         return sq(u / 30) + sq((y - 48) / 14) + sq(w / 16) <= 1;
     }},
    {"torus",
     [](double x, double y, double z) { return sq(std::hypot(x - 48, z - 20) - 22) + sq(y - 48) <= sq(9); }},
    {"movingCylinder",
     [](double x, double y, double z) {
         return z >= 2 && z <= 38 && sq(x - 18 - 1.5 * z) + sq(y - 48) <= sq(11);
     }},
    {"splitting",
     [](double x, double y, double z) {
         if (z < 3 || z > 38)
             return false;
         const double spread = z < 18 ? 0 : (z - 18) * 1.3;
         return sq(x - 48 - spread) + sq(y - 48) <= sq(12) || sq(x - 48 + spread) + sq(y - 48) <= sq(12);
     }},
};

class SliceFillVolumes : public ::testing::TestWithParam<std::tuple<int, int>> {};

} // namespace

// Every k-th layer of a volume given, the rest filled like the truth; key slices and the outside stay empty.
TEST_P(SliceFillVolumes, FilledLayersMatchTheTruth) {
    const Volume& volume = Volumes[std::get<0>(GetParam())];
    const int k = std::get<1>(GetParam());
    const std::vector<cv::Mat> truth = render(volume.inside);
    int first = -1, last = -1;
    for (int z = 0; z < Depth; ++z)
        if (cv::countNonZero(truth[std::size_t(z)])) {
            first = first < 0 ? z : first;
            last = z;
        }
    std::vector<cv::Mat> keys(Depth);
    std::vector<bool> isKey(Depth, false);
    for (int z = first; z <= last; ++z)
        if ((z - first) % k == 0 || z == last) {
            keys[std::size_t(z)] = truth[std::size_t(z)];
            isKey[std::size_t(z)] = true;
        }
    const std::vector<cv::Mat> filled = pxm::segment::fillBetweenSlices(keys);
    ASSERT_EQ(filled.size(), std::size_t(Depth));
    double common = 0, sizes = 0;
    for (int z = 0; z < Depth; ++z) {
        const cv::Mat& got = filled[std::size_t(z)];
        const bool given = isKey[std::size_t(z)] || z < first || z > last;
        ASSERT_EQ(got.empty(), given) << "layer " << z;
        common += given ? 0 : cv::countNonZero(got & truth[std::size_t(z)]);
        sizes += given ? 0 : cv::countNonZero(got) + cv::countNonZero(truth[std::size_t(z)]);
    }
    EXPECT_GE(sizes > 0 ? 2 * common / sizes : 1, k <= 5 ? 0.95 : 0.88) << volume.name;
}

INSTANTIATE_TEST_SUITE_P(Volumes, SliceFillVolumes,
                         ::testing::Combine(::testing::Range(0, int(std::size(Volumes))),
                                            ::testing::Values(2, 5, 10)),
                         [](const auto& info) {
                             return std::string(Volumes[std::get<0>(info.param)].name) + "_every" +
                                    std::to_string(std::get<1>(info.param));
                         });

TEST(SliceFill, NothingToFillWithoutTwoKeySlices) {
    std::vector<cv::Mat> layers(5);
    EXPECT_TRUE(pxm::segment::fillBetweenSlices(layers)[2].empty());
    layers[1] = cv::Mat::zeros(8, 8, CV_8UC1);
    layers[1].at<uint8_t>(3, 3) = 255;
    for (const cv::Mat& m : pxm::segment::fillBetweenSlices(layers))
        EXPECT_TRUE(m.empty());
    // Neighbouring key slices leave no gap to fill.
    layers[2] = layers[1].clone();
    for (const cv::Mat& m : pxm::segment::fillBetweenSlices(layers))
        EXPECT_TRUE(m.empty());
}

// Parts joined across layers count once; layers, box and voxels follow the parts.
TEST(VolumeStatistics, PartsJoinAcrossLayers) {
    std::vector<cv::Mat> layers(8);
    for (int z = 0; z < 4; ++z)
        layers[std::size_t(z)] = pxmtest::discs(50, 40, {10, 10}, 4, {30, 10}, 4);
    cv::rectangle(layers[3], cv::Rect(10, 8, 20, 4), cv::Scalar(255), cv::FILLED); // joins the two
    layers[6] = pxmtest::discs(50, 40, {40, 30}, 3);
    const pxm::segment::VolumeStatistics s = pxm::segment::volumeStatistics(layers);
    EXPECT_EQ(std::pair(s.components, s.layers), std::pair(2, std::vector<int>{0, 1, 2, 3, 6}));
    int64_t voxels = 0;
    for (const cv::Mat& m : layers)
        voxels += m.empty() ? 0 : cv::countNonZero(m);
    EXPECT_EQ(s.voxels, voxels);
    EXPECT_EQ(std::vector<int>({s.x0, s.y0, s.z0, s.x1, s.y1, s.z1}), std::vector<int>({6, 6, 0, 43, 33, 6}));
    EXPECT_EQ(pxm::segment::volumeStatistics(std::vector<cv::Mat>(3)).components, 0);
}
