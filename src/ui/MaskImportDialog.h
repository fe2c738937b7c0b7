// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QString>
#include <QStringList>
#include <QVector>

class QWidget;

namespace pxm {

class Project;

/// The user's side of importing label masks: the file filters to choose masks with, the
/// boxes that refuse a wrong number of masks or a mask that does not fit, and the question
/// whether mask values no label uses should get labels. The import itself is MaskImport's.
class MaskImportDialog {
    Q_DECLARE_TR_FUNCTIONS(pxm::MaskImportDialog)

public:
    /// Title of the file chooser: "Import masks".
    static QString chooserTitle();
    /// The chooser's filters, joined with ";;".
    static QString fileFilters();

    /// Imports the masks at `paths` (already chosen) into the project, asking and warning
    /// with boxes parented to `parent`. Returns true when the masks were imported (as one
    /// undo step); on any refusal or cancel the project is unchanged.
    static bool importMasks(QWidget* parent, Project* project, const QStringList& paths);

    /// The question about unknown mask values. Returns 1 to create labels, 0 to import
    /// without them, -1 to cancel.
    static int askAboutUnknownValues(QWidget* parent, const QVector<int>& values);
};

/// Shorthand for MaskImportDialog::importMasks.
inline bool importMasks(QWidget* parent, Project* project, const QStringList& paths) {
    return MaskImportDialog::importMasks(parent, project, paths);
}

} // namespace pxm
