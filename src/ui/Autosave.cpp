// SPDX-License-Identifier: MIT
#include "ui/Autosave.h"

#include "model/Label.h"
#include "model/Project.h"
#include "persistence/RecoverySnapshot.h"
#include "persistence/VolumeShadow.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "ui/MainWindow.h"

#include <QCoreApplication>
#include <QEvent>
#include <QStatusBar>
#include <QUndoStack>
#include <algorithm>

namespace pxm {

const char* const Autosave::kIntervalKey = "Autosave.interval";

namespace {
// Copies made while the user works are kept short: about this much per turn of the event loop.
constexpr std::size_t kPrimeBytesPerTurn = std::size_t(8) << 20;
// and the items of this many scenes.
constexpr int kPrimeScenesPerTurn = 32;
// A snapshot waits this long at most for those copies to be made.
constexpr qint64 kMaxDeferral = 2000;
} // namespace

/// The copies of one image's mask and overlay.
struct Autosave::Tracked {
    QPointer<LabeledImage> image;
    VolumeShadow mask;
    VolumeShadow overlay;
};

Autosave::Autosave(MainWindow* window)
    : QObject(window), m_window(window), m_snapshot(std::make_unique<RecoverySnapshot>()) {
    setObjectName("autosave");
    m_timer.setSingleShot(false);
    connect(&m_timer, &QTimer::timeout, this, &Autosave::on_timer_timeout);
    m_retry.setSingleShot(true);
    m_retry.setInterval(20);
    connect(&m_retry, &QTimer::timeout, this, &Autosave::on_timer_timeout);
    m_primer.setSingleShot(true);
    m_primer.setInterval(0);
    connect(&m_primer, &QTimer::timeout, this, &Autosave::prime);
    connect(window, &MainWindow::projectChanged, this, &Autosave::on_window_projectChanged);
    connect(window, &MainWindow::closed, this, &Autosave::on_window_closed);
    if (window->project())
        on_window_projectChanged(window->project());
}

Autosave::~Autosave() {
    if (m_thread.joinable())
        m_thread.join();
    releasePins();
}

Autosave* Autosave::of(const MainWindow* window) {
    return window ? window->findChild<Autosave*>("autosave", Qt::FindDirectChildrenOnly) : nullptr;
}

int Autosave::interval() const {
    if (!m_project)
        return 0;
    return std::max(0, m_project->setting(kIntervalKey, kDefaultInterval).toInt());
}

bool Autosave::hasUnsavedWork() const {
    return m_project && (m_saveFailed || !m_project->undoStack()->isClean());
}

void Autosave::on_window_projectChanged(Project* project) {
    if (project == m_project)
        return;
    for (const QMetaObject::Connection& connection : m_connections)
        disconnect(connection);
    m_connections.clear();
    waitForWriter();
    // Another project's snapshot is not this one's.
    removeFolder();
    releasePins();
    m_tracked.clear();
    forgetScenes();
    m_saveFailed = false;
    m_project = project;
    if (project) {
        QUndoStack* stack = project->undoStack();
        m_connections << connect(stack, &QUndoStack::cleanChanged, this, &Autosave::updateTimer)
                      << connect(stack, &QUndoStack::indexChanged, this, &Autosave::on_undoStack_indexChanged)
                      << connect(project, &Project::imageAdded, this, &Autosave::on_project_imageAdded)
                      << connect(project, &Project::settingsChanged, this,
                                 &Autosave::on_project_settingsChanged);
        for (LabeledImage* image : project->images())
            watchImage(image);
    }
    updateTimer();
}

void Autosave::on_window_closed() {
    // The window stays open when the user cancels; closed() comes only for a close that
    // happened. Work whose save failed keeps its snapshot.
    if (!m_saveFailed)
        discard();
    m_timer.stop();
    m_retry.stop();
}

void Autosave::watchImage(LabeledImage* image) {
    // Scenes come with the image's size, which a lazily loaded image learns late.
    connect(image, &LabeledImage::maskChanged, this, &Autosave::on_image_maskChanged, Qt::UniqueConnection);
    connect(image, &LabeledImage::imageChanged, this, &Autosave::on_image_maskChanged, Qt::UniqueConnection);
    watchScenes(image);
}

void Autosave::watchScenes(LabeledImage* image) {
    for (Scene* scene : image->scenes()) {
        if (m_sceneItems.contains(scene))
            continue;
        connect(scene, &QGraphicsScene::changed, this, &Autosave::on_scene_changed);
        connect(scene, &QObject::destroyed, this, [this](QObject* gone) { m_sceneItems.remove(gone); });
        m_sceneItems.insert(scene, nullptr);
    }
}

void Autosave::forgetScenes() {
    for (auto it = m_sceneItems.cbegin(); it != m_sceneItems.cend(); ++it)
        disconnect(it.key(), nullptr, this, nullptr);
    m_sceneItems.clear();
    m_labelIds.clear();
}

void Autosave::on_project_imageAdded(LabeledImage* image) {
    watchImage(image);
}

void Autosave::on_project_settingsChanged(const QString& key) {
    if (key == QLatin1String(kIntervalKey))
        updateTimer();
}

Autosave::Tracked* Autosave::track(LabeledImage* image) {
    std::shared_ptr<Tracked>& tracked = m_tracked[image];
    // An entry whose image is gone may share the address of a new one.
    if (!tracked || !tracked->image) {
        tracked = std::make_shared<Tracked>();
        tracked->image = image;
    }
    return tracked.get();
}

void Autosave::markLayer(LabeledImage* image, std::size_t z) {
    if (!image || (!image->mask() && !m_tracked.contains(image)))
        return;
    Tracked* tracked = track(image);
    // A flood fill writes to the first layer whichever layer it was started in.
    for (const std::size_t layer : {z, std::size_t(0)}) {
        tracked->mask.markLayer(layer);
        tracked->overlay.markLayer(layer);
    }
    m_primer.start();
}

void Autosave::on_scene_changed() {
    if (const auto* scene = qobject_cast<Scene*>(sender())) {
        // Its items are captured again at the next snapshot.
        const auto cached = m_sceneItems.find(static_cast<const QObject*>(scene));
        if (cached != m_sceneItems.end())
            cached->reset();
        markLayer(scene->image(), scene->zLayer());
    }
}

void Autosave::on_image_maskChanged() {
    auto* image = qobject_cast<LabeledImage*>(sender());
    if (!image)
        return;
    watchScenes(image);
    if (!image->mask() && !m_tracked.contains(image))
        return;
    Tracked* tracked = track(image);
    tracked->mask.markAll();
    tracked->overlay.markAll();
    m_primer.start();
}

void Autosave::on_undoStack_indexChanged() {
    // Edits reach the shown layer; this does not wait for the scene to report its repaint.
    if (m_project && m_project->currentImage()) {
        const auto cached = m_sceneItems.find(static_cast<const QObject*>(m_project->currentScene()));
        if (cached != m_sceneItems.end())
            cached->reset();
        markLayer(m_project->currentImage(), std::size_t(std::max(0, m_project->currentZLayer())));
    }
    updateTimer();
}

void Autosave::forgetItemsOnLabelIdChange() {
    // Items carry label ids, which change without a repaint.
    std::vector<int> labelIds;
    for (const Label* label : m_project->labels())
        labelIds.push_back(label->id());
    if (labelIds != m_labelIds) {
        for (auto& items : m_sceneItems)
            items.reset();
        m_labelIds = std::move(labelIds);
    }
}

void Autosave::prime() {
    // Copies a writer still holds are refreshed after it is done.
    bool more = false;
    for (auto it = m_tracked.begin(); it != m_tracked.end();) {
        Tracked& tracked = **it;
        if (!tracked.image) {
            it = m_tracked.erase(it);
            continue;
        }
        for (const bool overlay : {false, true}) {
            const KYVO::CImage* live = overlay ? tracked.image->eraseOverlay() : tracked.image->mask();
            const std::size_t bytes = live ? std::max<std::size_t>(1, live->layerBytes()) : 1;
            more |= !isWriting() &&
                    refresh(tracked, overlay, std::max<std::size_t>(1, kPrimeBytesPerTurn / bytes)) > 0;
        }
        ++it;
    }
    // Items of unchanged scenes are taken from these copies at the next snapshot.
    if (hasUnsavedWork()) {
        forgetItemsOnLabelIdChange();
        int scenes = kPrimeScenesPerTurn;
        for (auto it = m_sceneItems.begin(); it != m_sceneItems.end(); ++it) {
            if (*it)
                continue;
            if (scenes-- == 0) {
                more = true;
                break;
            }
            *it = RecoverySnapshot::captureScene(*static_cast<const Scene*>(it.key()));
        }
    }
    if (more)
        m_primer.start();
}

std::size_t Autosave::refresh(Tracked& tracked, bool overlay, std::size_t maxLayers) {
    LabeledImage* image = tracked.image;
    if (!overlay)
        // A mask out of memory comes back from its file: that is what the project holds.
        return tracked.mask.refresh(image->mask(), maxLayers);
    // An overlay out of memory waits in the project's temporary folder, which a crash takes
    // along: the copy has to stand for it.
    return tracked.overlay.refresh(image->eraseOverlay(), maxLayers, !image->eraseOverlayPath().isEmpty());
}

void Autosave::updateTimer() {
    const int seconds = interval();
    const bool run = seconds > 0 && hasUnsavedWork() && m_project && !m_project->plugin();
    if (!run) {
        m_timer.stop();
        m_retry.stop();
        return;
    }
    if (!m_timer.isActive() || m_timer.interval() != seconds * 1000) {
        m_timer.start(seconds * 1000);
        m_primer.start();
    }
}

void Autosave::on_timer_timeout() {
    // Copies still under way would otherwise be finished now, all at once, while the user waits.
    if (m_primer.isActive()) {
        if (!m_deferral.isValid())
            m_deferral.start();
        if (m_deferral.elapsed() < kMaxDeferral) {
            m_retry.start();
            return;
        }
    }
    m_deferral.invalidate();
    snapshotNow();
}

bool Autosave::snapshotNow() {
    if (isWriting() || !hasUnsavedWork() || m_project->plugin())
        return false;
    QElapsedTimer clock;
    clock.start();
    // Repaints the scenes have yet to report stand for changes of their items and masks.
    for (auto it = m_sceneItems.cbegin(); it != m_sceneItems.cend(); ++it)
        QCoreApplication::sendPostedEvents(const_cast<QObject*>(it.key()), QEvent::MetaCall);
    forgetItemsOnLabelIdChange();

    QString error;
    if (!m_folder.isOpen() && !m_folder.create(&error)) {
        finishWrite(false, error);
        return false;
    }
    ++m_generation;
    m_snapshot->capture(*m_project, [this](const Scene& scene) {
        const auto cached = m_sceneItems.find(static_cast<const QObject*>(&scene));
        if (cached == m_sceneItems.end())
            return RecoverySnapshot::captureScene(scene);
        if (!*cached)
            *cached = RecoverySnapshot::captureScene(scene);
        return *cached;
    });
    const QList<LabeledImage*> images = m_project->images();
    m_writing.clear();
    for (auto it = m_tracked.begin(); it != m_tracked.end();) {
        const std::shared_ptr<Tracked> tracked = *it;
        const int index = tracked->image ? images.indexOf(tracked->image.data()) : -1;
        if (index < 0) {
            it = m_tracked.erase(it);
            continue;
        }
        ++it;
        for (const bool overlay : {false, true}) {
            VolumeShadow& shadow = overlay ? tracked->overlay : tracked->mask;
            refresh(*tracked, overlay, std::size_t(-1));
            if (!shadow.changedSinceSave() || !shadow.copy())
                continue;
            RecoverySnapshot::Volume volume;
            volume.image = index;
            volume.overlay = overlay;
            volume.data = shadow.copy();
            volume.reuse = !shadow.changedSinceWrite() && !shadow.file().isEmpty();
            volume.file = volume.reuse ? shadow.file()
                                       : QStringLiteral("%1-%2-%3.okav.gz")
                                             .arg(overlay ? "overlay" : "mask")
                                             .arg(index)
                                             .arg(m_generation);
            if (!volume.reuse) {
                shadow.beginWrite(volume.file);
                m_writing.emplace_back(tracked, overlay);
            }
            m_snapshot->addVolume(std::move(volume));
        }
    }
    const QString folder = m_folder.path();
    const int generation = m_generation;
    RecoverySnapshot* snapshot = m_snapshot.get();
    m_thread = std::thread([this, snapshot, folder, generation] {
        QString failure;
        try {
            snapshot->writeTo(folder, generation);
        } catch (const KYVO::CException& e) {
            failure = QString::fromStdString(e.what());
        } catch (const std::exception& e) {
            failure = QString::fromLocal8Bit(e.what());
        }
        QMetaObject::invokeMethod(
            this, [this, failure] { finishWrite(failure.isEmpty(), failure); }, Qt::QueuedConnection);
    });
    m_lastPause = double(clock.nsecsElapsed()) / 1e6;
    return true;
}

void Autosave::waitForWriter() {
    if (!m_thread.joinable())
        return;
    m_thread.join();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void Autosave::finishWrite(bool ok, const QString& error) {
    if (m_thread.joinable())
        m_thread.join();
    for (const auto& written : m_writing)
        (written.second ? written.first->overlay : written.first->mask).endWrite(ok && !m_removeAfterWrite);
    m_writing.clear();
    // The copies are free to follow the live volumes again.
    m_snapshot->releaseVolumes();
    if (m_removeAfterWrite) {
        m_removeAfterWrite = false;
        removeFolder();
    } else if (ok) {
        m_lastError.clear();
        m_failureShown = false;
        emit snapshotWritten(m_folder.path());
    } else {
        m_lastError = error;
        // Told once; the timer tries again quietly until a snapshot succeeds.
        if (!m_failureShown)
            m_window->statusBar()->showMessage(tr("Autosave failed: %1").arg(error));
        m_failureShown = true;
        emit snapshotFailed(error);
    }
    m_primer.start();
}

void Autosave::removeFolder() {
    if (isWriting()) {
        m_removeAfterWrite = true;
        return;
    }
    m_folder.remove();
    for (const auto& tracked : m_tracked) {
        tracked->mask.forgetFile();
        tracked->overlay.forgetFile();
    }
}

void Autosave::projectSaved() {
    m_saveFailed = false;
    for (const auto& tracked : m_tracked) {
        tracked->mask.markSaved();
        tracked->overlay.markSaved();
    }
    // What only the snapshot held is in the project's files now.
    releasePins();
    removeFolder();
    updateTimer();
}

void Autosave::saveFailed() {
    m_saveFailed = true;
    updateTimer();
}

void Autosave::discard() {
    m_saveFailed = false;
    removeFolder();
    releasePins();
    updateTimer();
}

void Autosave::adopt(const QString& folder, const QList<int>& restoredImages) {
    if (!m_project || !m_folder.adopt(folder))
        return;
    for (const int index : restoredImages) {
        LabeledImage* image = m_project->images().value(index);
        if (!image)
            continue;
        image->incUsage();
        m_pins << image;
        // Their masks differ from the files: the next snapshot must hold them.
        Tracked* tracked = track(image);
        tracked->mask.markAll();
        tracked->overlay.markAll();
    }
    m_primer.start();
    updateTimer();
}

void Autosave::releasePins() {
    for (const QPointer<LabeledImage>& image : m_pins)
        if (image)
            image->decUsage();
    m_pins.clear();
}

} // namespace pxm
