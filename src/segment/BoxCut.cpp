// SPDX-License-Identifier: MIT
#include "segment/BoxCut.h"

#include "segment/Colour8.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace pxm::segment {

namespace {

/// The box widened by a margin that gives GrabCut background to learn from, within the layer.
cv::Rect widened(const cv::Rect& box, const cv::Size& size, double share) {
    const int dx = std::max(8, int(box.width * share));
    const int dy = std::max(8, int(box.height * share));
    return cv::Rect(box.x - dx, box.y - dy, box.width + 2 * dx, box.height + 2 * dy) & cv::Rect(cv::Point(), size);
}

cv::Mat largestPart(const cv::Mat& pixels) {
    cv::Mat labels;
    cv::Mat stats;
    cv::Mat centroids;
    const int count = cv::connectedComponentsWithStats(pixels, labels, stats, centroids, 8, CV_32S);
    int best = 0;
    for (int i = 1; i < count; ++i)
        if (best == 0 || stats.at<int>(i, cv::CC_STAT_AREA) > stats.at<int>(best, cv::CC_STAT_AREA))
            best = i;
    cv::Mat part = cv::Mat::zeros(pixels.size(), CV_8UC1);
    if (best > 0)
        part.setTo(255, labels == best);
    return part;
}

} // namespace

BoxCut::BoxCut(const cv::Mat& layer, const cv::Rect& box) : m_layerSize(layer.size()) {
    const cv::Rect inside = box & cv::Rect(cv::Point(), m_layerSize);
    if (layer.empty() || inside.width < 2 || inside.height < 2)
        return;
    m_crop = widened(inside, m_layerSize, 0.15);
    const cv::Mat colour = colour8(layer(m_crop));
    if (colour.empty())
        return;
    const double area = double(m_crop.width) * m_crop.height;
    m_scale = area > MaxPixels ? std::sqrt(MaxPixels / area) : 1.0;
    if (m_scale < 1)
        cv::resize(colour, m_image, cv::Size(), m_scale, m_scale, cv::INTER_AREA);
    else
        m_image = colour;
    const cv::Rect inCrop = inside - m_crop.tl();
    m_box = cv::Rect(int(inCrop.x * m_scale), int(inCrop.y * m_scale), std::max(1, int(inCrop.width * m_scale)),
                     std::max(1, int(inCrop.height * m_scale))) &
            cv::Rect(cv::Point(), m_image.size());
    m_models = cv::Mat::zeros(2, 65, CV_64FC1);
    run(cv::GC_INIT_WITH_RECT);
}

void BoxCut::run(int mode) {
    cv::Mat background = m_models.row(0);
    cv::Mat foreground = m_models.row(1);
    cv::Mat bgd = background.clone();
    cv::Mat fgd = foreground.clone();
    cv::grabCut(m_image, m_labels, m_box, bgd, fgd, Iterations, mode);
    bgd.copyTo(background);
    fgd.copyTo(foreground);
}

void BoxCut::refine(const cv::Mat& pixels, bool foreground) {
    if (!valid() || pixels.size() != m_layerSize)
        return;
    cv::Mat marked = pixels(m_crop);
    if (m_scale < 1)
        cv::resize(marked, marked, m_image.size(), 0, 0, cv::INTER_NEAREST);
    m_labels.setTo(foreground ? cv::GC_FGD : cv::GC_BGD, marked);
    run(cv::GC_INIT_WITH_MASK);
}

cv::Mat BoxCut::foreground(bool allParts) const {
    cv::Mat result = cv::Mat::zeros(m_layerSize, CV_8UC1);
    if (!valid())
        return result;
    cv::Mat object = (m_labels == cv::GC_FGD) | (m_labels == cv::GC_PR_FGD);
    if (m_scale < 1)
        cv::resize(object, object, m_crop.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat(object > 127).copyTo(result(m_crop));
    return allParts ? result : largestPart(result);
}

std::vector<cv::Mat> growSeeds(const cv::Mat& colour, const cv::Mat& seeds, int count) {
    std::vector<cv::Mat> regions;
    if (colour.type() != CV_8UC3 || seeds.type() != CV_32SC1 || seeds.size() != colour.size() || count < 1)
        return regions;
    for (int i = 0; i < count; ++i)
        regions.push_back(cv::Mat::zeros(colour.size(), CV_8UC1));
    const cv::Rect seeded = cv::boundingRect(seeds > 0);
    if (seeded.empty())
        return regions;
    const cv::Rect area = widened(seeded, colour.size(), 0.25);
    cv::Mat markers = seeds(area).clone();
    cv::watershed(colour(area), markers);
    for (int i = 0; i < count; ++i)
        regions[std::size_t(i)](area).setTo(255, markers == i + 1);
    // Watershed lines (-1) between regions go to the neighbour on their left or above, so that
    // touching regions leave no gap.
    for (int y = 0; y < markers.rows; ++y)
        for (int x = 0; x < markers.cols; ++x)
            if (markers.at<int>(y, x) == -1) {
                const int left = x > 0 ? markers.at<int>(y, x - 1) : -1;
                const int up = y > 0 ? markers.at<int>(y - 1, x) : -1;
                const int owner = left > 0 ? left : up;
                if (owner > 0 && owner <= count) {
                    markers.at<int>(y, x) = owner;
                    regions[std::size_t(owner - 1)].at<uint8_t>(area.y + y, area.x + x) = 255;
                }
            }
    return regions;
}

} // namespace pxm::segment
