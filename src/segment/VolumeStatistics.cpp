// SPDX-License-Identifier: MIT
#include "segment/VolumeStatistics.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <numeric>

namespace pxm::segment {

VolumeStatistics volumeStatistics(const std::vector<cv::Mat>& layers) {
    VolumeStatistics s;
    // Each layer's parts get global numbers; parts of neighbouring layers that share a pixel are
    // joined in a union-find.
    std::vector<int> parent;
    auto find = [&](int i) {
        while (parent[std::size_t(i)] != i)
            i = parent[std::size_t(i)] = parent[std::size_t(parent[std::size_t(i)])];
        return i;
    };
    cv::Mat previous; // global part numbers of the last non-empty layer, or empty
    int previousZ = -2;
    for (int z = 0; z < int(layers.size()); ++z) {
        const cv::Mat& layer = layers[std::size_t(z)];
        const int count = layer.empty() ? 0 : cv::countNonZero(layer);
        if (count == 0)
            continue;
        s.voxels += count;
        s.layers.push_back(z);
        const cv::Rect box = cv::boundingRect(layer);
        if (s.z0 < 0) {
            s.x0 = box.x;
            s.y0 = box.y;
            s.x1 = box.x + box.width - 1;
            s.y1 = box.y + box.height - 1;
            s.z0 = z;
        } else {
            s.x0 = std::min(s.x0, box.x);
            s.y0 = std::min(s.y0, box.y);
            s.x1 = std::max(s.x1, box.x + box.width - 1);
            s.y1 = std::max(s.y1, box.y + box.height - 1);
        }
        s.z1 = z;
        cv::Mat parts;
        const int found = cv::connectedComponents(layer, parts, 8, CV_32S) - 1;
        const int base = int(parent.size());
        parent.resize(parent.size() + std::size_t(found));
        std::iota(parent.begin() + base, parent.end(), base);
        // Local numbers 1..found become base..base+found-1; background stays -1.
        parts.forEach<int>([base](int& v, const int*) { v = v > 0 ? base + v - 1 : -1; });
        if (previousZ == z - 1 && previous.size() == parts.size()) {
            for (int y = 0; y < parts.rows; ++y) {
                const int* now = parts.ptr<int>(y);
                const int* before = previous.ptr<int>(y);
                for (int x = 0; x < parts.cols; ++x)
                    if (now[x] >= 0 && before[x] >= 0)
                        parent[std::size_t(find(now[x]))] = find(before[x]);
            }
        }
        previous = parts;
        previousZ = z;
    }
    for (int i = 0; i < int(parent.size()); ++i)
        s.components += find(i) == i;
    return s;
}

} // namespace pxm::segment
