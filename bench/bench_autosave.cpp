// SPDX-License-Identifier: MIT
// What a recovery snapshot costs the GUI thread: a project of 1,000 images with 100 shapes
// each and a changed 2048 x 2048 x 64 mask (with its erase overlay). Each iteration changes a
// region of one layer, as a reassignment does, and takes a snapshot; the time is the pause on
// the GUI thread, not the writing, which another thread does. Two further cases show the
// copies made while the user works: the longest turn of the event loop spent bringing a
// first-changed mask's copy up to date, and a snapshot taken before that copy exists at all.
#include "model/Project.h"
#include "model/commands/LabelCommands.h"
#include "persistence/RecoverySnapshot.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/BenchShapes.h"
#include "ui/Autosave.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUndoStack>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstring>
#include <memory>

namespace {

constexpr int kImages = 1000;
constexpr int kShapesPerImage = 100;
constexpr std::size_t kSide = 2048;
constexpr std::size_t kLayers = 64;

/// The project in a window (not shown, so nothing else is painted or loaded meanwhile), with
/// one unsaved edit.
struct Study {
    std::unique_ptr<pxm::Project> project = std::make_unique<pxm::Project>();
    std::unique_ptr<pxm::MainWindow> window;
    pxm::LabeledImage* volume = nullptr;
    pxm::Autosave* autosave = nullptr;

    Study() {
        // Snapshots go to a private folder, never the user's.
        QStandardPaths::setTestModeEnabled(true);
        project->createLabel();
        project->createLabel();
        QRandomGenerator random(5);
        for (int i = 0; i < kImages; ++i) {
            auto* image = new pxm::LabeledImage(project.get());
            const bool big = i == 0;
            image->setWidth(big ? kSide : 1024);
            image->setHeight(big ? kSide : 1024);
            image->setDepth(big ? kLayers : 1);
            image->setColorChannels(1);
            image->setImagePath(QString("/data/image%1.png").arg(i));
            image->createScenes();
            for (int s = 0; s < kShapesPerImage; ++s) {
                QGraphicsItem* item =
                    pxmbench::makeShape(random, s, random.bounded(900), random.bounded(900), 40);
                item->setData(pxm::LabelIdDataKey, project->labels()[s % 2]->id());
                image->scene(0)->addLabelItem(item);
            }
            project->addImage(image);
            if (big)
                volume = image;
        }
        // A mask handed in without a file stays in memory whatever is shown.
        auto* mask = new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(kSide, kSide, kLayers));
        std::memset(mask->data(), 1, mask->byteCount() / 2);
        volume->setMask(mask, true, false);
        window = std::make_unique<pxm::MainWindow>(nullptr, false);
        window->setProject(project.get());
        autosave = pxm::Autosave::of(window.get());
        project->undoStack()->push(new pxm::commands::SetLabelName(project->labels()[0], "edited"));
    }
    ~Study() {
        autosave->waitForWriter();
        // The bench leaves nothing behind in the recovery folder.
        autosave->discard();
        window.reset();
    }

    /// A reassigned region in layer z, announced as the mask item announces it.
    void changeLayer(std::size_t z, uint8_t value) {
        uint8_t* layer = volume->mask()->layer(z);
        for (std::size_t y = 100; y < 400; ++y)
            std::memset(layer + y * kSide + 100, value, 300);
        volume->scene(int(z))->update(QRectF(100, 100, 300, 300));
    }

    /// Runs the event loop until the copies are up to date; returns the longest turn in ms.
    double settle() {
        double longest = 0;
        for (int turn = 0; turn < 10000; ++turn) {
            QElapsedTimer clock;
            clock.start();
            QApplication::processEvents();
            longest = std::max(longest, double(clock.nsecsElapsed()) / 1e6);
            if (turn > 200 && !autosave->isWriting())
                break;
        }
        return longest;
    }
};

void BM_SnapshotPause(benchmark::State& state) {
    Study study;
    // The first snapshot after the user's first change, once the event loop has had its turns.
    study.changeLayer(0, 2);
    study.settle();
    study.autosave->snapshotNow();
    state.counters["first_ms"] = study.autosave->lastPause();
    study.autosave->waitForWriter();
    std::size_t z = 1;
    for (auto _ : state) {
        study.changeLayer(z, uint8_t(z));
        z = (z + 7) % kLayers;
        if (!study.autosave->snapshotNow()) {
            state.SkipWithError("no snapshot taken");
            break;
        }
        state.SetIterationTime(study.autosave->lastPause() / 1e3);
        study.autosave->waitForWriter();
        if (!study.autosave->lastError().isEmpty()) {
            state.SkipWithError(study.autosave->lastError().toStdString().c_str());
            break;
        }
    }
}
BENCHMARK(BM_SnapshotPause)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(8);

void BM_CaptureProjectOnly(benchmark::State& state) {
    Study study;
    pxm::RecoverySnapshot snapshot;
    for (auto _ : state)
        snapshot.capture(*study.project);
    state.counters["items"] = double(snapshot.itemCount());
}
BENCHMARK(BM_CaptureProjectOnly)->Unit(benchmark::kMillisecond)->Iterations(8);

void BM_LongestTurnWhileCopyingAFirstChangedMask(benchmark::State& state) {
    Study study;
    for (auto _ : state) {
        study.changeLayer(3, 4);
        QElapsedTimer clock;
        clock.start();
        const double longest = study.settle();
        state.SetIterationTime(longest / 1e3);
        state.counters["all_turns_ms"] = double(clock.nsecsElapsed()) / 1e6;
        state.PauseTiming();
        // The next iteration starts from a mask whose copy is gone again.
        study.volume->setMask(new KYVO::CImage(*study.volume->mask()), true, false);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_LongestTurnWhileCopyingAFirstChangedMask)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

// The interval ends in the very turn of the first change: the snapshot waits for the copies.
void BM_TimerRightAfterTheFirstChange(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto study = std::make_unique<Study>();
        study->changeLayer(5, 6);
        QMetaObject::invokeMethod(study->autosave, "on_timer_timeout");
        while (study->autosave->folder().isEmpty() || study->autosave->isWriting())
            QApplication::processEvents(QEventLoop::AllEvents, 5);
        state.ResumeTiming();
        state.SetIterationTime(study->autosave->lastPause() / 1e3);
        state.PauseTiming();
        study.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_TimerRightAfterTheFirstChange)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_SnapshotBeforeTheFirstCopy(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto study = std::make_unique<Study>();
        study->changeLayer(5, 6);
        state.ResumeTiming();
        study->autosave->snapshotNow();
        state.SetIterationTime(study->autosave->lastPause() / 1e3);
        state.PauseTiming();
        study.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_SnapshotBeforeTheFirstCopy)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
