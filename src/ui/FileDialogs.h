// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <functional>

class QWidget;

namespace pxm {

/// The file choosers the main window asks, as replaceable functions: the program uses Qt's
/// dialogs, while tests install functions that answer at once so no real chooser ever opens.
/// Every function gets the parent, the dialog title, the start directory and the filters
/// (joined with ";;"); an empty answer means the user cancelled.
struct FileDialogs {
    using SingleFile = std::function<QString(QWidget*, const QString&, const QString&, const QString&)>;
    using ManyFiles = std::function<QStringList(QWidget*, const QString&, const QString&, const QString&)>;

    SingleFile openFileName;
    ManyFiles openFileNames;
    SingleFile saveFileName;

    /// Qt's own file dialogs.
    static FileDialogs system();
};

} // namespace pxm
