// SPDX-License-Identifier: MIT
#pragma once

#include <QMessageBox>

class QAbstractButton;

namespace pxm {

/// Tells the user that an image or a mask of the project cannot be read from its file and
/// offers what can be done about it: remove it, choose where the file is now, or try again
/// (after plugging in a drive, say). Cancel leaves things as they are for now.
class MissingFileDialog : public QMessageBox {
    Q_OBJECT
public:
    enum class Kind { Image, Mask };
    enum class Choice { Cancel, Remove, SelectNewPath, TryAgain };

    /// With a `reason`, the file is there but could not be decoded, and the dialog says why.
    MissingFileDialog(Kind kind, const QString& path, QWidget* parent = nullptr, const QString& reason = QString());

    /// What the user picked; Cancel until a button was clicked.
    Choice choice() const;
    QAbstractButton* button(Choice choice) const;

private:
    QAbstractButton* m_remove = nullptr;
    QAbstractButton* m_selectNewPath = nullptr;
    QAbstractButton* m_tryAgain = nullptr;
};

} // namespace pxm
