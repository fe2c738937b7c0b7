// SPDX-License-Identifier: MIT
#include "segment/SliceFill.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace pxm::segment {

namespace {

/// Far outside every shape, for pixels a moved distance map does not cover.
constexpr float Outside = -1.0e6f;

struct Parts {
    cv::Mat labels; // CV_32S, 0 background
    int count = 0;  // parts, numbered 1..count
    std::vector<cv::Point2d> centroids;
    std::vector<double> radii; // of a disc of the part's area
};

Parts partsOf(const cv::Mat& region) {
    Parts parts;
    cv::Mat stats;
    cv::Mat centroids;
    parts.count = cv::connectedComponentsWithStats(region, parts.labels, stats, centroids, 8, CV_32S) - 1;
    for (int i = 1; i <= parts.count; ++i) {
        parts.centroids.emplace_back(centroids.at<double>(i, 0), centroids.at<double>(i, 1));
        parts.radii.push_back(std::sqrt(stats.at<int>(i, cv::CC_STAT_AREA) / CV_PI));
    }
    return parts;
}

/// Groups of matched parts: indices into a's parts (0-based) and b's.
struct Group {
    std::vector<int> a;
    std::vector<int> b;
};

std::vector<Group> match(const Parts& a, const Parts& b) {
    // Union-find over a's parts (0..na-1) then b's (na..na+nb-1).
    std::vector<int> parent(std::size_t(a.count + b.count));
    std::iota(parent.begin(), parent.end(), 0);
    auto find = [&](int i) {
        while (parent[std::size_t(i)] != i)
            i = parent[std::size_t(i)] = parent[std::size_t(parent[std::size_t(i)])];
        return i;
    };
    auto join = [&](int i, int j) { parent[std::size_t(find(i))] = find(j); };
    std::vector<bool> aMatched(std::size_t(a.count), false);
    std::vector<bool> bMatched(std::size_t(b.count), false);
    for (int y = 0; y < a.labels.rows; ++y) {
        const int* ra = a.labels.ptr<int>(y);
        const int* rb = b.labels.ptr<int>(y);
        for (int x = 0; x < a.labels.cols; ++x)
            if (ra[x] > 0 && rb[x] > 0) {
                join(ra[x] - 1, a.count + rb[x] - 1);
                aMatched[std::size_t(ra[x] - 1)] = bMatched[std::size_t(rb[x] - 1)] = true;
            }
    }
    // Parts that overlap nothing go with the closest unmatched part on the other side, if it
    // lies within twice the larger one's radius (a shape that moved more than its size between
    // key slices is a new shape).
    for (int i = 0; i < a.count; ++i) {
        if (aMatched[std::size_t(i)])
            continue;
        int best = -1;
        double bestDistance = 0;
        for (int j = 0; j < b.count; ++j) {
            if (bMatched[std::size_t(j)])
                continue;
            const double d = cv::norm(a.centroids[std::size_t(i)] - b.centroids[std::size_t(j)]);
            if (d <= 2 * std::max(a.radii[std::size_t(i)], b.radii[std::size_t(j)]) && (best < 0 || d < bestDistance)) {
                best = j;
                bestDistance = d;
            }
        }
        if (best >= 0) {
            join(i, a.count + best);
            aMatched[std::size_t(i)] = bMatched[std::size_t(best)] = true;
        }
    }
    std::vector<Group> groups;
    std::vector<int> groupOf(parent.size(), -1);
    for (int i = 0; i < a.count + b.count; ++i) {
        const int root = find(i);
        if (groupOf[std::size_t(root)] < 0) {
            groupOf[std::size_t(root)] = int(groups.size());
            groups.emplace_back();
        }
        Group& g = groups[std::size_t(groupOf[std::size_t(root)])];
        if (i < a.count)
            g.a.push_back(i);
        else
            g.b.push_back(i - a.count);
    }
    return groups;
}

cv::Mat partsMask(const Parts& parts, const std::vector<int>& chosen) {
    cv::Mat mask = cv::Mat::zeros(parts.labels.size(), CV_8UC1);
    for (int i : chosen)
        mask.setTo(255, parts.labels == i + 1);
    return mask;
}

cv::Point2d centroidOf(const cv::Mat& mask) {
    const cv::Moments m = cv::moments(mask, true);
    return m.m00 > 0 ? cv::Point2d(m.m10 / m.m00, m.m01 / m.m00) : cv::Point2d();
}

cv::Mat shifted(const cv::Mat& distance, const cv::Point2d& by) {
    if (by.x == 0 && by.y == 0)
        return distance;
    const cv::Mat move = (cv::Mat_<double>(2, 3) << 1, 0, by.x, 0, 1, by.y);
    cv::Mat result;
    cv::warpAffine(distance, result, move, distance.size(), cv::INTER_LINEAR, cv::BORDER_CONSTANT,
                   cv::Scalar(Outside));
    return result;
}

/// Fills the layers strictly between key slices `from` and `to`.
void fillRun(const cv::Mat& first, const cv::Mat& last, int from, int to, std::vector<cv::Mat>& out) {
    const Parts a = partsOf(first);
    const Parts b = partsOf(last);
    for (int z = from + 1; z < to; ++z)
        out[std::size_t(z)] = cv::Mat::zeros(first.size(), CV_8UC1);
    for (const Group& g : match(a, b)) {
        const cv::Mat wholeA = partsMask(a, g.a);
        const cv::Mat wholeB = partsMask(b, g.b);
        // The group's shapes stay within the box of both ends (a shape moves between them), so
        // the work is done there, with a margin for the blend's rounding.
        const cv::Rect box = cv::boundingRect(wholeA | wholeB);
        const cv::Rect roi = cv::Rect(box.x - 4, box.y - 4, box.width + 8, box.height + 8) &
                             cv::Rect(cv::Point(), first.size());
        const cv::Mat ma = wholeA(roi);
        const cv::Mat mb = wholeB(roi);
        const bool both = !g.a.empty() && !g.b.empty();
        const cv::Mat da = g.a.empty() ? cv::Mat() : signedDistance(ma);
        const cv::Mat db = g.b.empty() ? cv::Mat() : signedDistance(mb);
        double depthA = 0;
        double depthB = 0;
        if (!da.empty())
            cv::minMaxLoc(da, nullptr, &depthA);
        if (!db.empty())
            cv::minMaxLoc(db, nullptr, &depthB);
        const cv::Point2d ca = centroidOf(ma);
        const cv::Point2d cb = centroidOf(mb);
        for (int z = from + 1; z < to; ++z) {
            const double t = double(z - from) / (to - from);
            cv::Mat blend;
            if (both) {
                // Both ends moved to where the centroid is at this layer, then blended.
                const cv::Point2d travel = cb - ca;
                cv::addWeighted(shifted(da, travel * t), 1 - t, shifted(db, -travel * (1 - t)), t, 0, blend);
            } else if (!g.a.empty()) {
                // A part that ends: it shrinks away by the middle of the run.
                blend = da - float(2 * t * (depthA + 0.5));
            } else {
                blend = db - float(2 * (1 - t) * (depthB + 0.5));
            }
            out[std::size_t(z)](roi).setTo(255, blend > 0);
        }
    }
}

} // namespace

cv::Mat signedDistance(const cv::Mat& region) {
    cv::Mat inside;
    cv::Mat outside;
    cv::distanceTransform(region, inside, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    cv::distanceTransform(~region, outside, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    cv::Mat result = inside - 0.5f;
    cv::Mat negative = 0.5f - outside;
    negative.copyTo(result, region == 0);
    return result;
}

std::vector<cv::Mat> fillBetweenSlices(const std::vector<cv::Mat>& layers) {
    std::vector<cv::Mat> out(layers.size());
    int previous = -1;
    for (int z = 0; z < int(layers.size()); ++z) {
        const cv::Mat& layer = layers[std::size_t(z)];
        if (layer.empty() || !cv::countNonZero(layer))
            continue;
        if (previous >= 0 && z - previous > 1 && layers[std::size_t(previous)].size() == layer.size())
            fillRun(layers[std::size_t(previous)], layer, previous, z, out);
        previous = z;
    }
    return out;
}

} // namespace pxm::segment
