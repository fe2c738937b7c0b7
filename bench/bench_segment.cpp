// SPDX-License-Identifier: MIT
// The smart region tools' image analysis on large images: the magic wand's set-up for a click
// and its regrowth for each tolerance the drag gives.
#include "platform/CImage.h"
#include "segment/BoxCut.h"
#include "segment/Colour8.h"
#include "segment/LabelStatistics.h"
#include "segment/LayerMat.h"
#include "segment/SliceFill.h"
#include "segment/RegionShapes.h"
#include "segment/Scissors.h"
#include "segment/Wand.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabeledImage.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <map>

namespace {

/// A 16-bit picture of the given side: a large textured disc on a noisy background.
const KYVO::CImage& picture16(int side) {
    static std::map<int, KYVO::CImage> made;
    auto it = made.find(side);
    if (it != made.end())
        return it->second;
    KYVO::CImage image(KYVO::IMAGE_GREY_16, KYVO::CSize(std::size_t(side), std::size_t(side), 1));
    cv::Mat layer = pxm::segment::layerMat(image, 0);
    cv::randu(layer, 9000, 11000);
    cv::Mat disc = cv::Mat::zeros(side, side, CV_8UC1);
    cv::circle(disc, {side / 2, side / 2}, side * 3 / 10, cv::Scalar(255), cv::FILLED);
    // Camera noise is correlated between neighbours: uniform noise, blurred.
    cv::Mat texture(side, side, CV_16UC1);
    cv::randu(texture, 29000, 33000);
    cv::GaussianBlur(texture, texture, cv::Size(), 1.5);
    cv::GaussianBlur(layer, layer, cv::Size(), 1.5);
    texture.copyTo(layer, disc);
    return made.emplace(side, std::move(image)).first->second;
}

// A click: the layer converted for the fill.
void BM_WandSetUp(benchmark::State& state) {
    const KYVO::CImage& image = picture16(int(state.range(0)));
    const int centre = int(state.range(0)) / 2;
    for (auto _ : state) {
        pxm::segment::WandSession session(image, 0, centre, centre, pxm::segment::WandSettings{});
        benchmark::DoNotOptimize(session.valid());
    }
}
BENCHMARK(BM_WandSetUp)->Arg(4096)->Unit(benchmark::kMillisecond);

// One step of the drag: the region grown again at another tolerance, as the preview shows it.
void BM_WandToleranceChange(benchmark::State& state) {
    const KYVO::CImage& image = picture16(int(state.range(0)));
    const int centre = int(state.range(0)) / 2;
    pxm::segment::WandSession session(image, 0, centre, centre, pxm::segment::WandSettings{});
    double tolerance = 2000;
    for (auto _ : state) {
        tolerance = tolerance == 2000 ? 2100 : 2000;
        std::vector<cv::Mat> region = session.grow(tolerance);
        benchmark::DoNotOptimize(region[0].data);
    }
    state.counters["pixels"] = cv::countNonZero(session.grow(tolerance)[0]);
}
BENCHMARK(BM_WandToleranceChange)->Arg(4096)->Unit(benchmark::kMillisecond)->UseRealTime();

// The release: the region's pixels as the rectangles of a painted region.
void BM_WandCommitRects(benchmark::State& state) {
    const KYVO::CImage& image = picture16(int(state.range(0)));
    const int centre = int(state.range(0)) / 2;
    const cv::Mat region = pxm::segment::WandSession(image, 0, centre, centre, {}).grow(2000)[0];
    for (auto _ : state)
        benchmark::DoNotOptimize(pxm::segment::maskRects(region).size());
}
BENCHMARK(BM_WandCommitRects)->Arg(4096)->Unit(benchmark::kMillisecond);

/// An RGB picture of the given side: textured blobs on a noisy background.
cv::Mat pictureRgb(int side) {
    cv::Mat image(side, side, CV_8UC3);
    cv::randu(image, cv::Scalar::all(30), cv::Scalar::all(60));
    for (int i = 0; i < 40; ++i) {
        const cv::Point centre((i * 7919) % side, (i * 104729) % side);
        cv::circle(image, centre, side / 20 + (i % 5) * side / 100, cv::Scalar(150 + i, 120, 200 - i), cv::FILLED);
    }
    return image;
}

// Box segmentation of a 512 x 512 box around an object in a 4096 x 4096 layer (the 8-bit copy of
// a 16-bit layer included).
void BM_BoxInLargeImage(benchmark::State& state) {
    const KYVO::CImage& image = picture16(4096);
    const int side = 4096 * 3 / 5;
    const cv::Rect box((4096 - side) / 2 + side / 2 - 256, (4096 - side) / 2 - 40, 512, 512);
    for (auto _ : state) {
        pxm::segment::BoxCut cut(pxm::segment::layerMat(image, 0), box);
        benchmark::DoNotOptimize(cv::countNonZero(cut.foreground(false)));
    }
}
BENCHMARK(BM_BoxInLargeImage)->Unit(benchmark::kMillisecond)->UseRealTime();

// Scissors on a 2048 x 2048 RGB layer: the set-up (edge costs and the first anchor's map) and
// one live path to the pointer.
void BM_ScissorsSetUp(benchmark::State& state) {
    const cv::Mat image = pictureRgb(2048);
    for (auto _ : state) {
        pxm::segment::Scissors scissors(image);
        scissors.setAnchor({1024, 1024});
        benchmark::DoNotOptimize(scissors.hasAnchor());
    }
}
BENCHMARK(BM_ScissorsSetUp)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ScissorsLivePath(benchmark::State& state) {
    const cv::Mat image = pictureRgb(2048);
    pxm::segment::Scissors scissors(image);
    scissors.setAnchor({1024, 1024});
    int step = 0;
    for (auto _ : state) {
        step = (step + 37) % 400;
        benchmark::DoNotOptimize(scissors.pathTo({1024 + 200 + step, 1024 - 150 + step / 2}).size());
    }
}
BENCHMARK(BM_ScissorsLivePath)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

// Effort per object: on a generated set of 40 objects (discs, ellipses, rounded boxes and lobed
// blobs, at four contrasts, on correlated noise), the gestures a user needs to reach IoU >= 0.90
// with the wand, the box and the polygon tool. Gestures are simulated, not timed: the wand's user
// presses at the object's innermost point and drags to the best tolerance (one gesture), then
// Shift-clicks the largest missed part; the box's user drags the object's box with a margin of
// 5 pixels, then strokes over the largest missed part (Shift) or false part (Alt); the polygon's
// user clicks the fewest vertices that reach the IoU. Reported as medians (counters).
namespace effort {

struct Object {
    KYVO::CImage image{KYVO::IMAGE_GREY_8, KYVO::CSize(256, 256, 1)};
    cv::Mat truth;
};

std::vector<Object> objects() {
    std::vector<Object> set;
    cv::RNG random(12345);
    for (int i = 0; i < 40; ++i) {
        Object o;
        o.truth = cv::Mat::zeros(256, 256, CV_8UC1);
        const cv::Point centre(128 + random.uniform(-30, 30), 128 + random.uniform(-30, 30));
        const int size = random.uniform(30, 80);
        switch (i % 4) {
        case 0:
            cv::circle(o.truth, centre, size, cv::Scalar(255), cv::FILLED);
            break;
        case 1:
            cv::ellipse(o.truth, centre, cv::Size(size, size / 2), random.uniform(0, 180), 0, 360, cv::Scalar(255),
                        cv::FILLED);
            break;
        case 2: {
            cv::rectangle(o.truth, cv::Rect(centre.x - size, centre.y - size / 2, 2 * size, size), cv::Scalar(255),
                          cv::FILLED);
            cv::erode(o.truth, o.truth, cv::getStructuringElement(cv::MORPH_ELLIPSE, {15, 15}));
            cv::dilate(o.truth, o.truth, cv::getStructuringElement(cv::MORPH_ELLIPSE, {15, 15}));
            break;
        }
        default: {
            std::vector<cv::Point> lobes;
            const int count = 3 + i % 5;
            for (int k = 0; k < 72; ++k) {
                const double a = k * CV_PI / 36;
                const double r = size * (0.75 + 0.25 * std::sin(count * a));
                lobes.emplace_back(centre.x + int(r * std::cos(a)), centre.y + int(r * std::sin(a)));
            }
            cv::fillPoly(o.truth, std::vector<std::vector<cv::Point>>{lobes}, cv::Scalar(255));
        }
        }
        const double contrast = 20.0 * (1 << (i / 4 % 4)); // 20, 40, 80, 160
        cv::Mat layer = pxm::segment::layerMat(o.image, 0);
        cv::Mat noise(256, 256, CV_32F);
        random.fill(noise, cv::RNG::NORMAL, 0, 12);
        cv::GaussianBlur(noise, noise, cv::Size(), 1.2);
        cv::Mat values(256, 256, CV_32F, cv::Scalar(60));
        values.setTo(60 + contrast, o.truth);
        values += noise;
        values.convertTo(layer, CV_8U);
        set.push_back(std::move(o));
    }
    return set;
}

double iou(const cv::Mat& a, const cv::Mat& b) {
    const double either = cv::countNonZero(a | b);
    return either > 0 ? cv::countNonZero(a & b) / either : 1;
}

/// The centre of the largest part of a binary matrix (its innermost pixel), or (-1, -1).
cv::Point innermost(const cv::Mat& pixels) {
    if (!cv::countNonZero(pixels))
        return {-1, -1};
    cv::Mat distance;
    cv::distanceTransform(pixels, distance, cv::DIST_L2, 3);
    cv::Point best;
    cv::minMaxLoc(distance, nullptr, nullptr, nullptr, &best);
    return best;
}

constexpr int GiveUp = 6;

int wandGestures(const Object& o) {
    pxm::segment::WandSettings settings;
    settings.sigma = 1.5;
    cv::Mat got = cv::Mat::zeros(o.truth.size(), CV_8UC1);
    for (int gesture = 1; gesture <= GiveUp; ++gesture) {
        const cv::Point at = innermost(o.truth & ~got);
        if (at.x < 0)
            return GiveUp + 1;
        pxm::segment::WandSession session(o.image, 0, at.x, at.y, settings);
        cv::Mat best = got;
        for (double tolerance = 2; tolerance <= 120; tolerance += 2) {
            const cv::Mat candidate = got | session.grow(tolerance)[0];
            if (iou(candidate, o.truth) > iou(best, o.truth))
                best = candidate;
        }
        got = best;
        if (iou(got, o.truth) >= 0.9)
            return gesture;
    }
    return GiveUp + 1;
}

int boxGestures(const Object& o) {
    const cv::Rect box = cv::boundingRect(o.truth);
    const cv::Rect framed(box.x - 5, box.y - 5, box.width + 10, box.height + 10);
    pxm::segment::BoxCut cut(pxm::segment::layerMat(o.image, 0), framed);
    for (int gesture = 1; gesture <= GiveUp; ++gesture) {
        const cv::Mat got = cut.foreground(false);
        if (iou(got, o.truth) >= 0.9)
            return gesture;
        const cv::Mat missed = o.truth & ~got;
        const cv::Mat extra = got & ~o.truth;
        const bool add = cv::countNonZero(missed) >= cv::countNonZero(extra);
        const cv::Point at = innermost(add ? missed : extra);
        cv::Mat stroke = cv::Mat::zeros(o.truth.size(), CV_8UC1);
        cv::circle(stroke, at, 3, cv::Scalar(255), cv::FILLED);
        cut.refine(stroke, add);
    }
    return GiveUp + 1;
}

int polygonGestures(const Object& o) {
    const auto parts = pxm::segment::traceParts(o.truth, 0.5);
    int best = 1000;
    for (double tolerance = 0.5; tolerance <= 30; tolerance += 0.5) {
        const auto traced = pxm::segment::traceParts(o.truth, tolerance);
        if (traced.size() != 1)
            break;
        if (iou(pxm::segment::polygonMask(traced[0].outline, 256, 256), o.truth) < 0.9)
            break;
        best = traced[0].outline.size();
    }
    return parts.size() == 1 ? best : 1000;
}

double median(std::vector<int> values) {
    std::sort(values.begin(), values.end());
    return values.size() % 2 ? values[values.size() / 2]
                             : (values[values.size() / 2 - 1] + values[values.size() / 2]) / 2.0;
}

} // namespace effort

void BM_EffortPerObject(benchmark::State& state) {
    const std::vector<effort::Object> set = effort::objects();
    std::vector<int> wand;
    std::vector<int> box;
    std::vector<int> polygon;
    for (auto _ : state) {
        wand.clear();
        box.clear();
        polygon.clear();
        for (const effort::Object& o : set) {
            wand.push_back(effort::wandGestures(o));
            box.push_back(effort::boxGestures(o));
            polygon.push_back(effort::polygonGestures(o));
        }
    }
    state.counters["objects"] = double(set.size());
    state.counters["wand_median"] = effort::median(wand);
    state.counters["box_median"] = effort::median(box);
    state.counters["polygon_median"] = effort::median(polygon);
    state.counters["wand_failed"] = double(std::count(wand.begin(), wand.end(), effort::GiveUp + 1));
    state.counters["box_failed"] = double(std::count(box.begin(), box.end(), effort::GiveUp + 1));
    std::vector<int> bestSmart;
    for (std::size_t i = 0; i < set.size(); ++i)
        bestSmart.push_back(std::min(wand[i], box[i]));
    state.counters["smart_best_median"] = effort::median(bestSmart);
}
BENCHMARK(BM_EffortPerObject)->Iterations(1)->Unit(benchmark::kSecond);

// Fill between slices: 5 labels (moving, growing discs) on a 512 x 512 x 100 volume, key slices
// every 10 layers, every run of empty layers filled.
void BM_FillBetweenSlices(benchmark::State& state) {
    std::vector<std::vector<cv::Mat>> labels(5, std::vector<cv::Mat>(100));
    for (int l = 0; l < 5; ++l)
        for (int z = 0; z < 100; z += 10) {
            cv::Mat& layer = labels[std::size_t(l)][std::size_t(z)];
            layer = cv::Mat::zeros(512, 512, CV_8UC1);
            cv::circle(layer, {60 + 90 * l + z / 4, 100 + 3 * z}, 20 + z / 5 + 5 * l, cv::Scalar(255), cv::FILLED);
        }
    for (auto _ : state)
        for (const auto& keys : labels)
            benchmark::DoNotOptimize(pxm::segment::fillBetweenSlices(keys).size());
}
BENCHMARK(BM_FillBetweenSlices)->Unit(benchmark::kMillisecond)->UseRealTime();

// Statistics of 10 labels on a 1024 x 1024 x 200 volume, held as a loaded mask (ellipsoids of
// mask ids 1 to 10).
void BM_LabelStatistics(benchmark::State& state) {
    pxm::Project project;
    auto* image = new pxm::LabeledImage(&project);
    image->setImage(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(1024, 1024, 200)), true);
    project.addImage(image);
    auto* mask = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(1024, 1024, 200));
    QList<const pxm::Label*> labels;
    for (int l = 1; l <= 10; ++l) {
        pxm::Label* label = project.createLabel();
        label->setMaskId(l);
        labels.append(label);
        const cv::Point centre(100 + 80 * l, 150 + 60 * l);
        for (int z = 10 * l; z < 10 * l + 60 && z < 200; ++z) {
            cv::Mat layer = pxm::segment::layerMat(*mask, std::size_t(z));
            const int r = int(std::sqrt(std::max(0, 900 - (z - 10 * l - 30) * (z - 10 * l - 30))) * (1 + l % 3));
            cv::circle(layer, centre, r, cv::Scalar(l), cv::FILLED);
        }
    }
    image->setMask(mask, true, false);
    for (auto _ : state)
        benchmark::DoNotOptimize(pxm::segment::labelStatistics(*image, labels).size());
}
BENCHMARK(BM_LabelStatistics)->Unit(benchmark::kMillisecond)->UseRealTime();
