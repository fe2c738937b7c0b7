// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QPointer>

#include <vector>

class QTableWidget;

namespace pxm {

class Project;

/// The volume statistics of every label of the current image (voxels, physical volume where the
/// file gives a voxel size, box, connected parts and the layers it is on), worked out again on Refresh. "Go to" steps to the next layer where the
/// selected label is present.
class LabelStatisticsDialog : public QDialog {
    Q_OBJECT
public:
    LabelStatisticsDialog(Project* project, QWidget* parent);

    QTableWidget* table() const { return m_table; }

public slots:
    void refresh();
    void goToNextLayer();

private:
    QPointer<Project> m_project;
    QTableWidget* m_table;
    std::vector<std::vector<int>> m_layers; // per row
};

} // namespace pxm
