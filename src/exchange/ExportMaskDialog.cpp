// SPDX-License-Identifier: MIT
#include "exchange/ExportMaskDialog.h"

#include "exchange/ExportMaskSettings.h"
#include "exchange/ExportMaskWorker.h"
#include "model/Project.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QDir>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QUrl>

namespace pxm {

namespace {

// More lines would make the warning box taller than the screen.
constexpr int MaxListedFailures = 12;

QCheckBox* makeCheckBox(const QString& text, const char* name, QWidget* parent) {
    auto* box = new QCheckBox(text, parent);
    box->setObjectName(QLatin1String(name));
    return box;
}

} // namespace

ExportMaskDialog::ExportMaskDialog(Project* project, QWidget* parent) : QDialog(parent), m_project(project) {
    setWindowTitle(tr("Export Masks"));
    setModal(true);
    buildWidgets();
    loadSettings();
}

ExportMaskDialog::~ExportMaskDialog() = default;

void ExportMaskDialog::buildWidgets() {
    auto* grid = new QGridLayout(this);

    m_directoryEdit = new QLineEdit(this);
    m_directoryEdit->setObjectName(QStringLiteral("directoryEdit"));
    auto* directoryLabel = new QLabel(tr("Directory"), this);
    directoryLabel->setBuddy(m_directoryEdit);
    m_chooseButton = new QPushButton(QIcon::fromTheme(QStringLiteral("folder-open")), tr("Choose"), this);
    m_chooseButton->setObjectName(QStringLiteral("chooseButton"));
    grid->addWidget(directoryLabel, 0, 0);
    grid->addWidget(m_directoryEdit, 0, 1);
    grid->addWidget(m_chooseButton, 0, 2);

    m_filenameEdit = new QLineEdit(this);
    m_filenameEdit->setObjectName(QStringLiteral("filenameEdit"));
    grid->addWidget(new QLabel(tr("Filename"), this), 1, 0);
    grid->addWidget(m_filenameEdit, 1, 1, 1, 2);

    auto* help =
        new QLabel(tr("You can use <em>{label_id}</em>, <em>{label_name}</em>, <em>{z_layer}</em> and "
                      "<em>{image_name}</em> as placeholders. The file ending is chosen automatic."),
                   this);
    help->setWordWrap(true);
    grid->addWidget(help, 2, 1, 1, 2);

    m_skipUnlabeled = makeCheckBox(tr("Skip unlabeled images"), "skipUnlabeledCheckBox", this);
    grid->addWidget(m_skipUnlabeled, 3, 1, 1, 2);

    grid->addWidget(new QLabel(tr("Mask types"), this), 4, 0);
    m_fullMask = makeCheckBox(tr("Full mask"), "fullMaskCheckBox", this);
    m_boolMask = makeCheckBox(tr("Boolean masks"), "boolMaskCheckBox", this);
    m_snapshot = makeCheckBox(tr("Snapshot"), "snapshotCheckBox", this);
    m_karoMark = makeCheckBox(tr("KARO marks"), "karoMarkCheckBox", this);
    m_voc = makeCheckBox(tr("VOC"), "vocCheckBox", this);
    m_vggImageAnnotator = makeCheckBox(tr("VGG Image Annotator"), "vggImageAnnotatorCheckBox", this);
    m_labelMe = makeCheckBox(tr("LabelMe"), "labelMeCheckBox", this);
    m_labelMeComplete = makeCheckBox(tr("LabelMe (complete)"), "labelMeCompleteCheckBox", this);
    m_labelMeComplete->setToolTip(tr("LabelMe files with shape types, transformed points and RGBA colours, as "
                                     "other LabelMe readers expect."));
    int row = 4;
    for (QCheckBox* box : {m_fullMask, m_boolMask, m_snapshot, m_karoMark, m_voc, m_vggImageAnnotator, m_labelMe,
                           m_labelMeComplete})
        grid->addWidget(box, row++, 1, 1, 2);

    grid->addWidget(new QLabel(tr("Datasets"), this), row, 0);
    m_coco = makeCheckBox(tr("COCO (instances_default.json)"), "cocoCheckBox", this);
    m_yolo = makeCheckBox(tr("YOLO boxes (yolo/)"), "yoloCheckBox", this);
    m_yoloSegments = makeCheckBox(tr("YOLO outlines (yolo-seg/)"), "yoloSegmentsCheckBox", this);
    m_nnunet = makeCheckBox(tr("nnU-Net (Dataset500_<project>/)"), "nnunetCheckBox", this);
    m_copyImages = makeCheckBox(tr("Copy images into images/"), "copyImagesCheckBox", this);
    for (QCheckBox* box : {m_coco, m_yolo, m_yoloSegments, m_nnunet, m_copyImages})
        grid->addWidget(box, row++, 1, 1, 2);

    grid->addWidget(new QLabel(tr("Post Export"), this), row, 0);
    m_openFolder = makeCheckBox(tr("Open folder"), "openFolderCheckBox", this);
    grid->addWidget(m_openFolder, row++, 1, 1, 2);

    m_progressBar = new QProgressBar(this);
    m_progressBar->setObjectName(QStringLiteral("progressBar"));
    m_progressBar->hide();
    grid->addWidget(m_progressBar, row++, 0, 1, 3);

    m_buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    m_buttons->setObjectName(QStringLiteral("buttonBox"));
    grid->addWidget(m_buttons, row, 0, 1, 3);

    connect(m_buttons, &QDialogButtonBox::accepted, this, &ExportMaskDialog::startExport);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &ExportMaskDialog::reject);
    connect(m_chooseButton, &QPushButton::clicked, this, &ExportMaskDialog::chooseDirectory);
}

void ExportMaskDialog::loadSettings() {
    const ExportMaskSettings s = ExportMaskSettings::fromProject(m_project);
    m_directoryEdit->setText(s.directory);
    m_filenameEdit->setText(s.filename);
    m_fullMask->setChecked(s.fullMask);
    m_boolMask->setChecked(s.boolMask);
    m_snapshot->setChecked(s.snapshot);
    m_karoMark->setChecked(s.karoMark);
    m_voc->setChecked(s.voc);
    m_vggImageAnnotator->setChecked(s.vggImageAnnotator);
    m_labelMe->setChecked(s.labelMe);
    m_labelMeComplete->setChecked(s.labelMeComplete);
    m_coco->setChecked(s.datasets.coco);
    m_yolo->setChecked(s.datasets.yolo);
    m_yoloSegments->setChecked(s.datasets.yoloSegments);
    m_nnunet->setChecked(!s.datasets.nnunet.isEmpty());
    m_copyImages->setChecked(s.datasets.copyImages);
    m_skipUnlabeled->setChecked(s.skipUnlabeled);
    m_openFolder->setChecked(s.openFolder);
}

void ExportMaskDialog::storeSettings() {
    ExportMaskSettings s;
    s.directory = m_directoryEdit->text();
    s.filename = m_filenameEdit->text();
    s.fullMask = m_fullMask->isChecked();
    s.boolMask = m_boolMask->isChecked();
    s.snapshot = m_snapshot->isChecked();
    s.karoMark = m_karoMark->isChecked();
    s.voc = m_voc->isChecked();
    s.vggImageAnnotator = m_vggImageAnnotator->isChecked();
    s.labelMe = m_labelMe->isChecked();
    s.labelMeComplete = m_labelMeComplete->isChecked();
    s.datasets.coco = m_coco->isChecked();
    s.datasets.yolo = m_yolo->isChecked();
    s.datasets.yoloSegments = m_yoloSegments->isChecked();
    s.datasets.copyImages = m_copyImages->isChecked();
    if (m_nnunet->isChecked()) {
        // nnU-Net names datasets with letters, digits and underscores.
        QString name = m_project ? QFileInfo(m_project->path()).completeBaseName() : QString();
        name.replace(QRegularExpression("[^A-Za-z0-9_]"), "_");
        s.datasets.nnunet = name.isEmpty() ? QStringLiteral("Pixmarker") : name;
    }
    s.skipUnlabeled = m_skipUnlabeled->isChecked();
    s.openFolder = m_openFolder->isChecked();
    if (m_project)
        s.storeIn(m_project);
    if (m_worker && !m_worker->isRunning())
        s.applyTo(m_worker);
}

void ExportMaskDialog::setInputsEnabled(bool enabled) {
    for (QWidget* w : std::initializer_list<QWidget*>{
             m_directoryEdit, m_chooseButton, m_filenameEdit, m_skipUnlabeled, m_fullMask, m_boolMask,
             m_snapshot, m_karoMark, m_voc, m_vggImageAnnotator, m_labelMe, m_labelMeComplete, m_coco, m_yolo, m_yoloSegments,
             m_nnunet, m_copyImages, m_openFolder, m_buttons})
        w->setEnabled(enabled);
}

bool ExportMaskDialog::exportRunning() const {
    return m_worker && m_worker->isRunning();
}

void ExportMaskDialog::startExport() {
    if (exportRunning())
        return;
    // A folder typed in that does not exist yet is made, as the command line does; without
    // it every file of the export would fail to open.
    const QString directory = m_directoryEdit->text();
    if (!directory.isEmpty() && !QFileInfo(directory).isDir() && !QDir().mkpath(directory)) {
        QMessageBox::warning(this, tr("Export Masks"), tr("Could not create the folder '%1'.").arg(directory));
        return;
    }
    if (!m_worker) {
        m_worker = new ExportMaskWorker(m_project, this);
        connect(m_worker, &ExportMaskWorker::writeFailed, this, &ExportMaskDialog::on_worker_writeFailed,
                Qt::QueuedConnection);
    }
    m_failures.clear();
    setInputsEnabled(false);
    storeSettings();

    m_progressBar->setRange(0, m_worker->progressTotal());
    m_progressBar->setValue(0);
    m_progressBar->show();
    // The worker emits from its own thread; the bar must only be touched on ours.
    connect(m_worker, &ExportMaskWorker::progressChanged, m_progressBar, &QProgressBar::setValue,
            Qt::QueuedConnection);
    connect(m_worker, &QThread::finished, this, &ExportMaskDialog::on_exportFinished, Qt::QueuedConnection);
    m_worker->start(QThread::InheritPriority);
}

void ExportMaskDialog::on_exportFinished() {
    if (!m_failures.isEmpty()) {
        QStringList lines = m_failures.mid(0, MaxListedFailures);
        if (m_failures.size() > MaxListedFailures)
            lines << tr("... and %1 more.").arg(m_failures.size() - MaxListedFailures);
        QMessageBox::warning(this, tr("Export Masks"),
                             tr("Some files could not be written:") + QStringLiteral("\n\n") +
                                 lines.join(QLatin1Char('\n')));
    }
    if (m_openFolder->isChecked())
        QDesktopServices::openUrl(QUrl(m_directoryEdit->text(), QUrl::TolerantMode));
    if (m_worker) {
        m_worker->deleteLater();
        m_worker = nullptr;
    }
    close();
}

void ExportMaskDialog::on_worker_writeFailed(const QString& path, const QString& reason) {
    m_failures << tr("Could not write '%1': %2").arg(path, reason);
}

void ExportMaskDialog::chooseDirectory() {
    const QString directory = QFileDialog::getExistingDirectory(
        this, tr("Choose export directory"), m_directoryEdit->text(), QFileDialog::ShowDirsOnly);
    if (!directory.isNull())
        m_directoryEdit->setText(directory);
}

void ExportMaskDialog::reject() {
    if (exportRunning())
        return;
    QDialog::reject();
}

} // namespace pxm
