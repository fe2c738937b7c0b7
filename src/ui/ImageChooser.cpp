// SPDX-License-Identifier: MIT
#include "ui/ImageChooser.h"

#include "model/Label.h"
#include "model/commands/ImageCommands.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "ui/ImageFilterDialog.h"

#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QToolButton>
#include <QUndoStack>
#include <cstdlib>
#include <iostream>

namespace pxm {

namespace {

QToolButton* makeButton(QWidget* parent, const QString& name, const QString& icon, const QString& toolTip) {
    auto* button = new QToolButton(parent);
    button->setObjectName(name);
    button->setIcon(QIcon(icon));
    button->setIconSize(QSize(20, 20));
    button->setToolTip(toolTip);
    return button;
}

// The tint that marks a filtered image list; amber reads as "something is narrowed" without
// looking like an error.
const char* const FilteredFrameStyle =
    "QFrame#comboFrame { background: #FFF3CD; border: 1px solid #E0A800; border-radius: 3px; }";

} // namespace

ImageChooser::ImageChooser(QWidget* parent) : QWidget(parent) {
    m_open = makeButton(this, "openButton", ":/icons/new.svg", tr("Open images."));
    m_remove = makeButton(this, "removeButton", ":/icons/remove-image.svg", tr("Remove this image."));
    m_prev = makeButton(this, "prevButton", ":/icons/go-previous.svg", tr("Load the previous image."));
    m_next = makeButton(this, "nextButton", ":/icons/go-next.svg", tr("Load the next image."));

    m_frame = new QFrame(this);
    m_frame->setObjectName("comboFrame");
    m_combo = new QComboBox(m_frame);
    m_combo->setObjectName("comboBox");
    m_combo->setToolTip(tr("The image shown. Images the filter leaves out are greyed."));
    m_combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_combo->setMinimumContentsLength(16);
    m_combo->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_filterLabel = new QLabel(m_frame);
    m_filterLabel->setObjectName("filterLabel");
    m_filterLabel->setVisible(false);
    auto* frameLayout = new QHBoxLayout(m_frame);
    frameLayout->setContentsMargins(2, 2, 4, 2);
    frameLayout->addWidget(m_combo, 1);
    frameLayout->addWidget(m_filterLabel);

    m_position = new QLabel(tr("%1 of %2").arg(0).arg(0), this);
    m_position->setObjectName("positionLabel");
    m_position->setMinimumWidth(m_position->fontMetrics().horizontalAdvance("00000 of 00000"));
    m_position->setAlignment(Qt::AlignCenter);

    m_filterButton = makeButton(this, "filterButton", ":/icons/filter.svg",
                                tr("Filter the images: step only through images with chosen labels, "
                                   "names or sizes."));
    m_filterButton->setCheckable(true);
    m_clearFilter = makeButton(this, "clearFilterButton", ":/icons/filter-clear.svg",
                               tr("Clear the filter and step through all images."));
    m_clearFilter->setVisible(false);

    auto* zCaption = new QLabel(tr("Z-Layer"), this);
    m_zLayer = new QSpinBox(this);
    m_zLayer->setObjectName("zLayer");
    m_zLayer->setToolTip(tr("The z-layer of a 3D image that is shown."));
    m_zLayer->setMinimumWidth(64);
    zCaption->setBuddy(m_zLayer);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 2, 0, 2);
    layout->addWidget(m_open);
    layout->addWidget(m_remove);
    layout->addSpacing(8);
    layout->addWidget(m_prev);
    layout->addWidget(m_frame, 1);
    layout->addWidget(m_next);
    layout->addWidget(m_position);
    layout->addWidget(m_filterButton);
    layout->addWidget(m_clearFilter);
    layout->addSpacing(8);
    layout->addWidget(zCaption);
    layout->addWidget(m_zLayer);

    connect(m_open, &QToolButton::clicked, this, &ImageChooser::openImagesRequested);
    connect(m_remove, &QToolButton::clicked, this, &ImageChooser::removeCurrentImage);
    connect(m_prev, &QToolButton::clicked, this, &ImageChooser::showPrevImage);
    connect(m_next, &QToolButton::clicked, this, &ImageChooser::showNextImage);
    connect(m_filterButton, &QToolButton::clicked, this, &ImageChooser::showFilterDialog);
    connect(m_clearFilter, &QToolButton::clicked, this, &ImageChooser::clearFilter);
    connect(m_combo, qOverload<int>(&QComboBox::activated), this, &ImageChooser::on_comboBox_activated);
    connect(m_zLayer, qOverload<int>(&QSpinBox::valueChanged), this, &ImageChooser::on_zLayer_valueChanged);

    setProject(nullptr);
}

void ImageChooser::setProject(Project* project) {
    for (const QMetaObject::Connection& c : m_projectConnections)
        disconnect(c);
    m_projectConnections.clear();
    m_project = project;
    if (project) {
        m_projectConnections
            << connect(project, &QObject::destroyed, this, &ImageChooser::on_project_destroyed)
            << connect(project, &Project::imageAdded, this, &ImageChooser::on_project_imageAdded)
            << connect(project, &Project::imageRemoved, this, &ImageChooser::on_project_imageRemoved)
            << connect(project, &Project::currentImageChanged, this,
                       &ImageChooser::on_project_currentImageChanged)
            << connect(project, &Project::currentSceneChanged, this,
                       &ImageChooser::on_project_currentSceneChanged)
            << connect(project, &Project::settingsChanged, this, &ImageChooser::on_project_settingsChanged)
            << connect(project, &Project::labelAdded, this, &ImageChooser::on_project_labelsChanged)
            << connect(project, &Project::labelRemoved, this, &ImageChooser::on_project_labelsChanged)
            << connect(project, &Project::cleared, this, &ImageChooser::rebuild);
    }
    m_filter = ImageFilter::load(project);
    rebuild();
    emit filterChanged();
}

void ImageChooser::on_project_destroyed() {
    setProject(nullptr);
}

bool ImageChooser::isSelectable(const LabeledImage* image) const {
    return !m_filter.isActive() || m_filter.matches(image);
}

QString ImageChooser::itemText(const LabeledImage* image, int index) const {
    const QString path = image->imagePath();
    if (path.isEmpty())
        return tr("Image %1").arg(index + 1);
    return path.mid(path.lastIndexOf('/') + 1);
}

void ImageChooser::rebuild() {
    for (const QPointer<LabeledImage>& image : qAsConst(m_images))
        if (image)
            disconnect(image, nullptr, this, nullptr);
    m_images.clear();
    m_passes.clear();
    {
        const QSignalBlocker blocker(m_combo);
        m_combo->clear();
    }
    // One refresh at the end, not one per image: a project can hold thousands.
    m_rebuilding = true;
    if (m_project)
        for (LabeledImage* image : m_project->images())
            on_project_imageAdded(image);
    m_rebuilding = false;
    m_lastCurrent = m_project ? m_project->currentImage() : nullptr;
    refresh();
}

void ImageChooser::on_project_imageAdded(LabeledImage* image) {
    if (!image || m_images.contains(image))
        return;
    m_images.append(image);
    m_passes.append(true);
    {
        const QSignalBlocker blocker(m_combo);
        m_combo->addItem(itemText(image, m_images.size() - 1));
        m_combo->setItemData(m_combo->count() - 1, image->imagePath(), Qt::ToolTipRole);
    }
    connect(image, &LabeledImage::imagePathChanged, this, &ImageChooser::on_image_imagePathChanged);
    evaluate(m_images.size() - 1);
    if (!m_rebuilding)
        refresh();
}

void ImageChooser::on_project_imageRemoved(LabeledImage* image) {
    const int row = m_images.indexOf(image);
    if (row < 0)
        return;
    m_images.removeAt(row);
    m_passes.removeAt(row);
    disconnect(image, nullptr, this, nullptr);
    {
        const QSignalBlocker blocker(m_combo);
        m_combo->removeItem(row);
    }
    refresh();
}

void ImageChooser::on_image_imagePathChanged() {
    auto* image = qobject_cast<LabeledImage*>(sender());
    const int row = m_images.indexOf(image);
    if (row < 0)
        return;
    m_combo->setItemText(row, itemText(image, row));
    m_combo->setItemData(row, image->imagePath(), Qt::ToolTipRole);
    evaluate(row);
    refresh();
}

void ImageChooser::on_project_currentImageChanged() {
    // The user edits only the image on screen, so only the one left behind and the one
    // arriving can have changed their standing with the filter.
    if (m_filter.isActive()) {
        evaluate(m_images.indexOf(m_lastCurrent.data()));
        evaluate(m_project ? m_project->currentImageIndex() : -1);
    }
    m_lastCurrent = m_project ? m_project->currentImage() : nullptr;
    refresh();
}

void ImageChooser::on_project_currentSceneChanged() {
    refreshZLayer();
}

void ImageChooser::on_project_settingsChanged(const QString& key) {
    if (key != ImageFilter::SettingsKey || m_storingFilter)
        return;
    m_filter = ImageFilter::load(m_project);
    evaluateAll();
    refresh();
    emit filterChanged();
}

void ImageChooser::on_project_labelsChanged() {
    if (!m_filter.isActive())
        return;
    // Chosen labels are found by id; their mask ids are looked up again.
    m_filter.prepare(m_project);
    evaluateAll();
    refresh();
}

void ImageChooser::evaluate(int row) {
    if (row < 0 || row >= m_images.size())
        return;
    const bool passes = isSelectable(m_images.at(row));
    m_passes[row] = passes;
    auto* model = qobject_cast<QStandardItemModel*>(m_combo->model());
    if (QStandardItem* item = model ? model->item(row) : nullptr) {
        const QVariant grey = passes ? QVariant() : QVariant(QColor(Qt::gray));
        if (item->data(Qt::ForegroundRole) != grey)
            item->setData(grey, Qt::ForegroundRole);
    }
}

void ImageChooser::evaluateAll() {
    for (int row = 0; row < m_images.size(); ++row)
        evaluate(row);
}

void ImageChooser::refresh() {
    const int count = m_images.size();
    const int current = m_project ? m_project->currentImageIndex() : -1;
    {
        const QSignalBlocker blocker(m_combo);
        m_combo->setCurrentIndex(current < count ? current : -1);
    }
    m_position->setText(tr("%1 of %2").arg(current + 1).arg(count));
    m_remove->setEnabled(current >= 0);
    m_prev->setEnabled(step(current, -1) >= 0);
    m_next->setEnabled(step(current, +1) >= 0);
    m_open->setEnabled(m_project);
    m_filterButton->setEnabled(m_project);
    refreshFilterLook();
    refreshZLayer();
}

void ImageChooser::refreshFilterLook() {
    const bool active = m_filter.isActive();
    m_filterButton->setChecked(active);
    m_clearFilter->setVisible(active);
    m_filterLabel->setVisible(active);
    m_filterLabel->setText(tr("%1 of %2 match").arg(m_passes.count(true)).arg(m_images.size()));
    m_filterLabel->setToolTip(tr("Previous and next step only through the images the filter lets through."));
    const QString style = active ? FilteredFrameStyle : QString();
    if (m_frame->styleSheet() != style)
        m_frame->setStyleSheet(style);
}

void ImageChooser::refreshZLayer() {
    LabeledImage* image = m_project ? m_project->currentImage() : nullptr;
    const int layers = image ? int(qMax<qsizetype>(image->scenes().size(), qsizetype(image->depth()))) : 0;
    const QSignalBlocker blocker(m_zLayer);
    m_zLayer->setRange(0, qMax(0, layers - 1));
    m_zLayer->setValue(m_project ? qMax(0, m_project->currentZLayer()) : 0);
    m_zLayer->setEnabled(layers > 1);
}

int ImageChooser::step(int from, int direction) const {
    if (!m_project)
        return -1;
    for (int i = from + direction; i >= 0 && i < m_passes.size(); i += direction)
        if (m_passes.at(i))
            return i;
    return -1;
}

void ImageChooser::showPrevImage() {
    if (!m_project)
        return;
    const int target = step(m_project->currentImageIndex(), -1);
    if (target >= 0)
        m_project->setCurrentImageIndex(target);
}

void ImageChooser::showNextImage() {
    if (!m_project)
        return;
    const int target = step(m_project->currentImageIndex(), +1);
    if (target >= 0)
        m_project->setCurrentImageIndex(target);
}

void ImageChooser::showPrevImageSlice() {
    if (m_project && m_project->currentImage() && m_project->currentZLayer() > 0)
        m_project->setCurrentZLayer(m_project->currentZLayer() - 1);
}

void ImageChooser::showNextImageSlice() {
    LabeledImage* image = m_project ? m_project->currentImage() : nullptr;
    if (image && m_project->currentZLayer() + 1 < image->scenes().size())
        m_project->setCurrentZLayer(m_project->currentZLayer() + 1);
}

void ImageChooser::on_comboBox_activated(int index) {
    if (m_project && index >= 0 && index < m_project->images().size())
        m_project->setCurrentImageIndex(index);
}

void ImageChooser::on_zLayer_valueChanged(int z) {
    LabeledImage* image = m_project ? m_project->currentImage() : nullptr;
    if (image && z >= 0 && z < image->scenes().size())
        m_project->setCurrentZLayer(z);
}

void ImageChooser::removeCurrentImage() {
    if (LabeledImage* image = m_project ? m_project->currentImage() : nullptr)
        m_project->undoStack()->push(new commands::RemoveImage(m_project, image));
}

void ImageChooser::runScript() {
    LabeledImage* image = m_project ? m_project->currentImage() : nullptr;
    if (!image)
        return;
    QString command = m_project->setting("Script.path", tr("KAROcmd %1 Otsu.ndp")).toString();
    command.replace("%1", image->imagePath());
    std::cout << "This command will be run:\n" << command.toLocal8Bit().constData() << std::endl;
    if (std::system(command.toLocal8Bit().constData()) != 0)
        std::cerr << "Running the script was not successful!" << std::endl;
}

void ImageChooser::showFilterDialog() {
    // The button's checked look shows whether a filter is on, not whether it was clicked.
    m_filterButton->setChecked(m_filter.isActive());
    if (!m_project)
        return;
    ImageFilterDialog dialog(m_project, m_filter, this);
    if (dialog.exec() == QDialog::Accepted && m_project)
        setFilter(dialog.filter());
}

void ImageChooser::setFilter(const ImageFilter& filter) {
    m_filter = filter;
    m_filter.prepare(m_project);
    evaluateAll();
    if (m_project) {
        m_storingFilter = true;
        m_filter.store(m_project);
        m_storingFilter = false;
    }
    refresh();
    emit filterChanged();
}

void ImageChooser::clearFilter() {
    setFilter(ImageFilter());
}

} // namespace pxm
