// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QStringList>

class QCheckBox;
class QDialogButtonBox;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace pxm {

class ExportMaskWorker;
class Project;

/// The modal dialog that exports a project's masks and annotation files. It shows the
/// target directory, the file-name pattern and one check box per target, keeps the choices
/// in the project's settings ("ExportMaskDialog.*"), runs an ExportMaskWorker on its thread
/// while a progress bar follows it, and closes itself when the export ends.
class ExportMaskDialog : public QDialog {
    Q_OBJECT
public:
    ExportMaskDialog(Project* project, QWidget* parent = nullptr);
    ~ExportMaskDialog() override;

    /// The worker of a started export; null before the first start and after it finished.
    ExportMaskWorker* worker() const { return m_worker; }
    /// What went wrong in the last export, one line per file.
    const QStringList& failures() const { return m_failures; }

public slots:
    /// Copies the choices into a (new) worker, stores them in the project's settings,
    /// locks the dialog and starts the export thread.
    void startExport();
    /// Opens the folder if asked, tells the user about files that could not be written,
    /// lets the worker go and closes the dialog.
    void on_exportFinished();
    /// Lets the user pick the target directory.
    void chooseDirectory();
    /// Ignored while an export runs: the model must stay unchanged until it ends.
    void reject() override;

private slots:
    void on_worker_writeFailed(const QString& path, const QString& reason);

private:
    void buildWidgets();
    void loadSettings();
    void storeSettings();
    void configureWorker();
    void setInputsEnabled(bool enabled);
    bool exportRunning() const;

    Project* m_project = nullptr;
    ExportMaskWorker* m_worker = nullptr;
    QStringList m_failures;

    QLineEdit* m_directoryEdit = nullptr;
    QPushButton* m_chooseButton = nullptr;
    QLineEdit* m_filenameEdit = nullptr;
    QCheckBox* m_skipUnlabeled = nullptr;
    QCheckBox* m_fullMask = nullptr;
    QCheckBox* m_boolMask = nullptr;
    QCheckBox* m_snapshot = nullptr;
    QCheckBox* m_karoMark = nullptr;
    QCheckBox* m_voc = nullptr;
    QCheckBox* m_vggImageAnnotator = nullptr;
    QCheckBox* m_labelMeComplete = nullptr;
    QCheckBox* m_coco = nullptr;
    QCheckBox* m_yolo = nullptr;
    QCheckBox* m_yoloSegments = nullptr;
    QCheckBox* m_nnunet = nullptr;
    QCheckBox* m_copyImages = nullptr;
    QCheckBox* m_labelMe = nullptr;
    QCheckBox* m_openFolder = nullptr;
    QProgressBar* m_progressBar = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
};

} // namespace pxm
