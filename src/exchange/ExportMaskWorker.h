// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/dataset/DatasetExport.h"

#include <QString>
#include <QThread>
#include <atomic>

namespace KYVO {
class CImage;
}

namespace pxm {

class Label;
class LabeledImage;
class Project;
class Scene;

/// Writes the masks, snapshots and annotation files of every image of a project: a full
/// label mask, one boolean mask per label, a rendered snapshot, a KARO mark and a Pascal VOC
/// file per z-layer, a LabelMe file per 2D image, and one VGG Image Annotator file for the
/// whole project.
///
/// The export runs on the worker's own thread (start()) or on the calling thread
/// (exportProject()). It reads the project without locks: whoever starts it keeps the model
/// unchanged until it ends. Images are pinned one at a time, so memory does not grow with
/// the number of images. A file that cannot be written is reported (writeFailed for masks,
/// snapshots and the VGG file; a log warning for mark, VOC and LabelMe files) and counted,
/// and the export goes on with the next step.
class ExportMaskWorker : public QThread {
    Q_OBJECT
public:
    explicit ExportMaskWorker(Project* project, QObject* parent = nullptr);
    /// Asks a running export to stop and waits for it.
    ~ExportMaskWorker() override;

    Project* project() const { return m_project; }

    // Settings. Change them only while the export is not running.
    QString directory() const { return m_directory; }
    void setDirectory(const QString& directory) { m_directory = directory; }
    QString filename() const { return m_filename; }
    void setFilename(const QString& pattern) { m_filename = pattern; }
    bool fullMask() const { return m_fullMask; }
    void setFullMask(bool on) { m_fullMask = on; }
    bool snapshot() const { return m_snapshot; }
    void setSnapshot(bool on) { m_snapshot = on; }
    bool boolMask() const { return m_boolMask; }
    void setBoolMask(bool on) { m_boolMask = on; }
    bool karoMark() const { return m_karoMark; }
    void setKaroMark(bool on) { m_karoMark = on; }
    bool voc() const { return m_voc; }
    void setVoc(bool on) { m_voc = on; }
    bool vggImageAnnotator() const { return m_vggImageAnnotator; }
    void setVggImageAnnotator(bool on) { m_vggImageAnnotator = on; }
    bool labelMe() const { return m_labelMe; }
    void setLabelMe(bool on) { m_labelMe = on; }
    /// The training datasets written after the masks and files (one step).
    const DatasetOptions& datasets() const { return m_datasets; }
    void setDatasets(const DatasetOptions& options) { m_datasets = options; }
    /// LabelMe files that other LabelMe readers open (shape types, transformed points, RGBA
    /// colours); named .json, or _complete.json beside the plain LabelMe file.
    bool labelMeComplete() const { return m_labelMeComplete; }
    void setLabelMeComplete(bool on) { m_labelMeComplete = on; }
    bool skipUnlabeled() const { return m_skipUnlabeled; }
    void setSkipUnlabeled(bool on) { m_skipUnlabeled = on; }

    /// Steps done by the current or last export.
    int progress() const { return m_progress.load(); }
    /// The image being exported; null before the first.
    LabeledImage* currentImage() const { return m_currentImage.load(); }
    bool stopRequested() const { return m_stopRequested.load(); }
    /// Makes a running export return at its next check (between two steps).
    void requestStop() { m_stopRequested.store(true); }
    /// Files the current or last export could not write, of every kind.
    int failureCount() const { return m_failures.load(); }
    /// Images of the last run whose file was missing or could not be read; what could be
    /// written without their pixels still was.
    int unreadableCount() const { return m_unreadable.load(); }

    /// The number of steps an export with the current settings counts, without the VGG step
    /// (so with VGG chosen the last progress value is one more than this).
    int progressTotal() const;

    /// The file name for one target: the directory, the separator, the pattern with its
    /// placeholders {label_id}, {label_name}, {image_name} and {z_layer} replaced (each by
    /// the empty string when its argument is null), and the suffix.
    QString makeFilename(const LabeledImage* image, const Scene* scene, const Label* label,
                         const QString& suffix) const;

    /// True when any scene of the image holds an item carrying a label id.
    static bool isLabeled(const LabeledImage* image);

    /// Runs the whole export on the calling thread; run() calls it on the worker's thread.
    void exportProject();

    /// Writes layer 0's full mask of `image` as a PGM in strips of `rowsPerStrip` rows, painted in
    /// blocks of `blockWidth` columns: what the full-mask export does for images too large to hold a
    /// mask. Failures are reported as others are.
    void exportFullMaskInStrips(const LabeledImage& image, const QString& path, uint32_t rowsPerStrip = 1024,
                                uint32_t blockWidth = 16384);

signals:
    /// Emitted after every step with the steps done so far.
    void progressChanged(int progress);
    /// A mask, snapshot or VGG Image Annotator file could not be written; `reason` says why.
    void writeFailed(const QString& path, const QString& reason);
    /// An image's file is missing or could not be read (`reason` says which).
    void imageUnreadable(const QString& path, const QString& reason);

protected:
    /// The export loop on the worker's thread.
    void run() override;

private:
    // Each returns false when a stop was requested and the export must return.
    bool exportImage(LabeledImage* image);
    bool exportScene(Scene* scene);
    void countSkippedImage(const LabeledImage* image);

    void exportFullMask(LabeledImage* image);
    void exportSnapshot(LabeledImage* image);
    void exportBoolMask(LabeledImage* image, const Label* label);
    void exportKAROMark(Scene* scene);
    void exportVOC(Scene* scene);
    void exportLabelMe(LabeledImage* image, bool complete);
    void exportVGGImageAnnotator();
    void exportDatasets();

    /// Saves a volume built by `build`, reporting instead of throwing when it fails.
    template <typename Build> void saveVolume(const QString& path, Build build);
    void reportFailure(const QString& path, const QString& reason);
    /// Counts a failed file and tells the window, without a log line of its own.
    void noteFailure(const QString& path, const QString& reason);
    void step(int count = 1);

    Project* m_project = nullptr;
    QString m_directory;
    QString m_filename;
    bool m_fullMask = false;
    bool m_snapshot = false;
    bool m_boolMask = false;
    bool m_karoMark = false;
    bool m_voc = false;
    bool m_vggImageAnnotator = false;
    bool m_labelMe = false;
    bool m_labelMeComplete = false;
    bool m_skipUnlabeled = false;
    DatasetOptions m_datasets;

    // Written by the export's thread, read by anyone.
    std::atomic<int> m_progress{0};
    std::atomic<LabeledImage*> m_currentImage{nullptr};
    std::atomic<bool> m_stopRequested{false};
    std::atomic<int> m_failures{0};
    std::atomic<int> m_unreadable{0};
};

} // namespace pxm
