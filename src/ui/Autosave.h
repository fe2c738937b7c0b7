// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/RecoveryFolder.h"
#include "persistence/RecoverySnapshot.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <memory>
#include <thread>
#include <vector>

namespace pxm {

class LabeledImage;
class MainWindow;
class Project;
class Scene;
class VolumeShadow;

/// Keeps a recovery snapshot of a window's unsaved work in the per-user recovery folder.
///
/// While the project has unsaved changes, every "Autosave.interval" seconds (a project
/// setting; 0 turns it off) the project and every mask and erase overlay changed since the
/// last save are copied on the GUI thread and written by a thread of their own, so the
/// window never waits for the disk. Masks are copied layer by layer as they change, into
/// copies kept between snapshots, so a snapshot copies only what changed since the last one.
///
/// A snapshot never counts as saving: the window's unsaved mark stays. A failed snapshot is
/// told once in the status bar and tried again at the next interval. Saving the project or
/// closing the window without saving deletes the window's snapshot.
class Autosave : public QObject {
    Q_OBJECT
public:
    /// The project setting holding the interval in seconds.
    static const char* const kIntervalKey;
    /// Its value where the project has none.
    static constexpr int kDefaultInterval = 60;

    explicit Autosave(MainWindow* window);
    /// Waits for a snapshot being written; the snapshot stays on disk.
    ~Autosave() override;

    /// The autosave of a window, or null.
    static Autosave* of(const MainWindow* window);

    /// The interval in seconds (0: off).
    int interval() const;
    /// Whether there is work a snapshot should keep: the project's undo stack is not clean,
    /// or the last save failed.
    bool hasUnsavedWork() const;
    /// The window's snapshot folder; empty while it has none.
    QString folder() const { return m_folder.path(); }
    bool isWriting() const { return m_thread.joinable(); }
    /// Milliseconds the GUI thread spent on the last snapshot.
    double lastPause() const { return m_lastPause; }
    /// The reason the last snapshot failed; empty after a success.
    QString lastError() const { return m_lastError; }

    /// Takes a snapshot now when there is unsaved work and none is being written.
    bool snapshotNow();
    /// Blocks until the snapshot being written is done and its result handled.
    void waitForWriter();

    /// Continues the snapshot a recovered project came from: the folder becomes this
    /// window's and the images whose recovered data only the snapshot holds are kept in memory.
    void adopt(const QString& folder, const QList<int>& restoredImages);

public slots:
    /// The project was written successfully: nothing is unsaved and the snapshot goes.
    void projectSaved();
    /// Writing the project failed: its changes count as unsaved, whatever the window shows.
    void saveFailed();
    /// The user closed the window without saving: the snapshot goes.
    void discard();

signals:
    void snapshotWritten(const QString& folder);
    void snapshotFailed(const QString& reason);

private slots:
    void on_window_projectChanged(pxm::Project* project);
    void on_window_closed();
    void on_scene_changed();
    void on_image_maskChanged();
    void on_project_imageAdded(pxm::LabeledImage* image);
    void on_project_settingsChanged(const QString& key);
    void on_undoStack_indexChanged();
    void prime();
    void on_timer_timeout();

private:
    struct Tracked;
    void watchImage(LabeledImage* image);
    void watchScenes(LabeledImage* image);
    void forgetScenes();
    void forgetItemsOnLabelIdChange();
    Tracked* track(LabeledImage* image);
    void markLayer(LabeledImage* image, std::size_t z);
    std::size_t refresh(Tracked& tracked, bool overlay, std::size_t maxLayers);
    void updateTimer();
    void finishWrite(bool ok, const QString& error);
    void releasePins();
    void removeFolder();

    MainWindow* m_window;
    QPointer<Project> m_project;
    QList<QMetaObject::Connection> m_connections;
    QTimer m_timer;
    QTimer m_primer;
    QTimer m_retry;
    QElapsedTimer m_deferral;
    std::unique_ptr<RecoverySnapshot> m_snapshot;
    QHash<const LabeledImage*, std::shared_ptr<Tracked>> m_tracked;
    // The scenes whose changes reach us, with their items as last captured (null: changed since).
    QHash<const QObject*, RecoverySnapshot::SceneItems> m_sceneItems;
    std::vector<int> m_labelIds;
    // Shadows handed to the writer, to be told how it went.
    std::vector<std::pair<std::shared_ptr<Tracked>, bool>> m_writing;
    RecoveryFolder m_folder;
    std::thread m_thread;
    int m_generation = 0;
    bool m_saveFailed = false;
    bool m_removeAfterWrite = false;
    bool m_failureShown = false;
    double m_lastPause = 0;
    QString m_lastError;
    // Images holding recovered data their files lack.
    QList<QPointer<LabeledImage>> m_pins;
};

} // namespace pxm
