// SPDX-License-Identifier: MIT
#include "ui/LabelStatisticsDialog.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabeledImage.h"
#include "segment/LabelStatistics.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace pxm {

namespace {

/// Layer numbers as runs: "0-4, 7, 9-12".
QString layerRuns(const std::vector<int>& layers) {
    QStringList runs;
    for (std::size_t i = 0; i < layers.size();) {
        std::size_t j = i;
        while (j + 1 < layers.size() && layers[j + 1] == layers[j] + 1)
            ++j;
        runs << (i == j ? QString::number(layers[i]) : QStringLiteral("%1-%2").arg(layers[i]).arg(layers[j]));
        i = j + 1;
    }
    return runs.join(", ");
}

} // namespace

LabelStatisticsDialog::LabelStatisticsDialog(Project* project, QWidget* parent)
    : QDialog(parent), m_project(project), m_table(new QTableWidget(this)) {
    setObjectName("LabelStatisticsDialog");
    setWindowTitle(tr("Label statistics"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_table->setColumnCount(6);
    m_table->setHorizontalHeaderLabels(
        {tr("Label"), tr("Voxels"), tr("Volume"), tr("Box (x, y, z)"), tr("3D parts"), tr("Layers")});
    m_table->horizontalHeaderItem(2)->setToolTip(tr(
        "In cubic micrometres when the image file gives a voxel size (TIFF resolution), otherwise empty."));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->horizontalHeader()->setStretchLastSection(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    QPushButton* refreshButton = buttons->addButton(tr("Refresh"), QDialogButtonBox::ActionRole);
    QPushButton* goTo = buttons->addButton(tr("Go to"), QDialogButtonBox::ActionRole);
    goTo->setToolTip(tr("Step to the next layer where the selected label is present."));
    connect(refreshButton, &QPushButton::clicked, this, &LabelStatisticsDialog::refresh);
    connect(goTo, &QPushButton::clicked, this, &LabelStatisticsDialog::goToNextLayer);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_table, &QTableWidget::cellDoubleClicked, this, &LabelStatisticsDialog::goToNextLayer);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_table);
    layout->addWidget(buttons);
    resize(720, 360);
    refresh();
}

void LabelStatisticsDialog::refresh() {
    m_table->setRowCount(0);
    m_layers.clear();
    LabeledImage* image = m_project ? m_project->currentImage() : nullptr;
    if (!image)
        return;
    QList<const Label*> labels;
    for (const Label* label : m_project->labels())
        labels.append(label);
    const std::vector<segment::VolumeStatistics> all = segment::labelStatistics(*image, labels);
    // The voxel size, where the file states one.
    double voxel[3] = {0, 0, 0};
    if (!image->voxelSize(voxel))
        voxel[0] = 0;
    const double voxelVolume = voxel[0] * voxel[1] * voxel[2];
    m_table->setRowCount(labels.size());
    for (int row = 0; row < labels.size(); ++row) {
        const segment::VolumeStatistics& s = all[std::size_t(row)];
        const QStringList cells = {
            labels[row]->name(),
            QString::number(s.voxels),
            voxelVolume > 0 ? tr("%1 µm³").arg(double(s.voxels) * voxelVolume, 0, 'g', 4) : QString(),
            s.voxels ? QStringLiteral("%1-%2, %3-%4, %5-%6")
                           .arg(s.x0)
                           .arg(s.x1)
                           .arg(s.y0)
                           .arg(s.y1)
                           .arg(s.z0)
                           .arg(s.z1)
                     : QString(),
            QString::number(s.components),
            layerRuns(s.layers),
        };
        for (int column = 0; column < cells.size(); ++column)
            m_table->setItem(row, column, new QTableWidgetItem(cells[column]));
        m_layers.push_back(s.layers);
    }
    m_table->resizeColumnsToContents();
}

void LabelStatisticsDialog::goToNextLayer() {
    const int row = m_table->currentRow();
    if (!m_project || row < 0 || std::size_t(row) >= m_layers.size() || m_layers[std::size_t(row)].empty())
        return;
    const std::vector<int>& layers = m_layers[std::size_t(row)];
    const int current = m_project->currentZLayer();
    int next = layers.front();
    for (int z : layers)
        if (z > current) {
            next = z;
            break;
        }
    m_project->setCurrentZLayer(next);
}

} // namespace pxm
