// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/LabelImport.h"

#include <QDialog>

class QDialogButtonBox;
class QLabel;
class QTreeWidget;

namespace pxm {

class Project;

/// Shows what a label import will do before it does it: the new labels, the labels whose
/// properties change, and the conflicts, with "Import" and "Cancel". Accepting applies the
/// plan as one undo step; cancelling changes nothing.
class LabelImportDialog : public QDialog {
    Q_OBJECT
public:
    LabelImportDialog(Project* project, LabelImport::Plan plan, QWidget* parent = nullptr);

    const LabelImport::Plan& plan() const { return m_plan; }
    QTreeWidget* changesView() const { return m_changes; }
    QLabel* summaryLabel() const { return m_summary; }

    /// Title of the file chooser: "Import labels".
    static QString chooserTitle();
    /// The chooser's filters, joined with ";;".
    static QString fileFilters();

    /// Reads the label file at `path` and imports it: a malformed file is refused with a box
    /// naming the line, conflicts are shown in this dialog for confirmation, and a file
    /// without conflicts is imported at once. Returns true when the project changed.
    static bool importLabels(QWidget* parent, Project* project, const QString& path);

public slots:
    void accept() override;

private:
    Project* m_project;
    LabelImport::Plan m_plan;
    QLabel* m_summary;
    QTreeWidget* m_changes;
};

/// Shorthand for LabelImportDialog::importLabels.
inline bool importLabels(QWidget* parent, Project* project, const QString& path) {
    return LabelImportDialog::importLabels(parent, project, path);
}

} // namespace pxm
