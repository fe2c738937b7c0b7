// SPDX-License-Identifier: MIT
#include "ui/FileDialogs.h"

#include <QFileDialog>

namespace pxm {

FileDialogs FileDialogs::system() {
    FileDialogs dialogs;
    dialogs.openFileName = [](QWidget* parent, const QString& title, const QString& dir, const QString& filter) {
        return QFileDialog::getOpenFileName(parent, title, dir, filter);
    };
    dialogs.openFileNames = [](QWidget* parent, const QString& title, const QString& dir, const QString& filter) {
        return QFileDialog::getOpenFileNames(parent, title, dir, filter);
    };
    dialogs.saveFileName = [](QWidget* parent, const QString& title, const QString& dir, const QString& filter) {
        return QFileDialog::getSaveFileName(parent, title, dir, filter);
    };
    return dialogs;
}

} // namespace pxm
