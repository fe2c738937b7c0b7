// SPDX-License-Identifier: MIT
// The main window under the loads users notice: opening a large project (1,000 images with
// 100 shapes each) until its window shows the first image, stepping to the next 2048 x 2048
// image with the previous one swapped out, and one keystroke in the filter of a label list
// with 1,000 labels.
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/BenchShapes.h"
#include "tools/View.h"
#include "ui/LabelListWidget.h"
#include "ui/MainWindow.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QUndoStack>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr int kImages = 1000;
constexpr int kShapesPerImage = 100;

QTemporaryDir& sharedDir() {
    static QTemporaryDir dir;
    return dir;
}

/// A grey image file: a gradient under sensor-like noise, so it compresses (and decodes) like a
/// photograph rather than like a drawing.
QString writeImage(const QString& name, int size) {
    const QString path = sharedDir().filePath(name);
    if (QFileInfo::exists(path))
        return path;
    KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(size, size, 1));
    std::minstd_rand random(11);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            image.data()[std::size_t(y) * size + x] = uint8_t((x + y) / 16 + random() % 32);
    KYVO::CImageIo2::Save(path.toStdString(), image);
    return path;
}

/// The reference project file: the first image exists on disk, the others only by name.
QString largeProjectFile() {
    const QString path = sharedDir().filePath("large.json");
    if (QFileInfo::exists(path))
        return path;
    const QString first = writeImage("first.png", 2048);
    pxm::Project project;
    for (int i = 0; i < 20; ++i)
        project.createLabel();
    QRandomGenerator random(7);
    for (int n = 0; n < kImages; ++n) {
        auto* image = new pxm::LabeledImage(&project);
        image->setWidth(2048);
        image->setHeight(2048);
        image->setDepth(1);
        image->setColorChannels(1);
        image->setImagePath(n == 0 ? first : QString("/data/survey/tile_%1.png").arg(n, 4, 10, QChar('0')));
        image->createScenes();
        project.addImage(image);
        for (int i = 0; i < kShapesPerImage; ++i) {
            const pxm::Label* label = project.labels()[int(random.bounded(20))];
            QGraphicsItem* item = pxmbench::makeShape(random, i, random.bounded(2000.0), random.bounded(2000.0),
                                                      10 + random.bounded(120.0));
            image->scene(0)->addLabelItem(item, label);
        }
    }
    pxm::ProjectSerializer::write(&project, path, false);
    return path;
}

double median(std::vector<double> samples) {
    if (samples.empty())
        return 0;
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

void settle(pxm::MainWindow& window) {
    QApplication::processEvents();
    // What the user sees: the view painted with the image.
    window.view()->viewport()->repaint();
}

// Each iteration reads the file alone once and opens it in a shown window once; the ratio of
// the two is the figure of merit.
void BM_OpenLargeProject(benchmark::State& state) {
    const QString path = largeProjectFile();
    double readTotal = 0, openTotal = 0;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        {
            auto project = std::make_unique<pxm::Project>();
            pxm::ProjectReader::read(path, project.get());
            readTotal += timer.nsecsElapsed() * 1e-9;
            state.PauseTiming(); // freeing the project is no part of reading it
        }
        auto window = std::make_unique<pxm::MainWindow>(nullptr, false);
        window->show();
        QApplication::processEvents();
        state.ResumeTiming();

        timer.restart();
        window->openProjectFile(path);
        settle(*window);
        const double seconds = timer.nsecsElapsed() * 1e-9;
        openTotal += seconds;
        state.SetIterationTime(seconds);
        if (!window->project() || !window->shownScene() || !window->project()->images()[0]->image())
            state.SkipWithError("the first image is not shown");
        state.PauseTiming();
        window->project()->undoStack()->setClean();
        window.reset();
        state.ResumeTiming();
    }
    state.counters["read_s"] = readTotal / double(state.iterations());
    state.counters["open_s"] = openTotal / double(state.iterations());
    state.counters["open_over_read"] = openTotal / readTotal;
}
BENCHMARK(BM_OpenLargeProject)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

// Space from one 2048 x 2048 image to the next, painted; the image left is swapped out.
void BM_NextImage(benchmark::State& state) {
    pxm::Project project;
    project.createLabel();
    constexpr int kRing = 6;
    for (int i = 0; i < kRing; ++i) {
        auto* image = new pxm::LabeledImage(&project);
        image->setImagePath(writeImage(QString("step_%1.png").arg(i), 2048));
        project.addImage(image);
    }
    pxm::MainWindow window(nullptr, false);
    window.setProject(&project);
    window.show();
    settle(window);
    QAction* next = window.action(pxm::MainAction::NextImage);
    std::vector<double> samples;
    for (auto _ : state) {
        if (project.currentImageIndex() == kRing - 1) {
            state.PauseTiming();
            project.setCurrentImageIndex(0);
            settle(window);
            state.ResumeTiming();
        }
        pxm::LabeledImage* left = project.currentImage();
        QElapsedTimer timer;
        timer.start();
        next->trigger();
        settle(window);
        const double seconds = timer.nsecsElapsed() * 1e-9;
        samples.push_back(seconds);
        state.SetIterationTime(seconds);
        if (left->image() || !project.currentImage()->image())
            state.SkipWithError("the previous image stayed or the next one is missing");
    }
    state.counters["median_ms"] = median(samples) * 1e3;
}
BENCHMARK(BM_NextImage)->UseManualTime()->Iterations(30)->Unit(benchmark::kMillisecond);

void sendKey(QWidget* widget, int key, const QString& text) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QApplication::sendEvent(widget, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, text);
    QApplication::sendEvent(widget, &release);
}

// One keystroke in the label filter with 1,000 labels: typing "7" then erasing it again.
void BM_LabelFilterKeystroke(benchmark::State& state) {
    pxm::Project project;
    for (int i = 0; i < 1000; ++i)
        project.createLabel();
    pxm::MainWindow window(nullptr, false);
    window.setProject(&project);
    window.show();
    QApplication::processEvents();
    QLineEdit* filter = window.labelListWidget()->filterLineEdit();
    filter->setFocus();
    std::vector<double> samples;
    bool typed = false;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        if (typed)
            sendKey(filter, Qt::Key_Backspace, QString());
        else
            sendKey(filter, Qt::Key_7, "7");
        window.labelListWidget()->listWidget()->viewport()->repaint();
        const double seconds = timer.nsecsElapsed() * 1e-9;
        typed = !typed;
        samples.push_back(seconds);
        state.SetIterationTime(seconds);
    }
    if (filter->text() != "" && filter->text() != "7")
        state.SkipWithError("the keys did not reach the filter");
    state.counters["median_ms"] = median(samples) * 1e3;
}
BENCHMARK(BM_LabelFilterKeystroke)->UseManualTime()->Iterations(200)->Unit(benchmark::kMillisecond);

} // namespace
