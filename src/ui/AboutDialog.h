// SPDX-License-Identifier: MIT
#pragma once

// Window wiring: `AboutDialog dialog(this); dialog.exec();` from the window's about slot.

#include <QDialog>

class QLabel;
class QPushButton;

namespace pxm {

/// Shows the program's icon, its version and who made it, with a button that closes it.
class AboutDialog : public QDialog {
    Q_OBJECT
public:
    explicit AboutDialog(QWidget* parent = nullptr);

    /// "Version: 1-alpha": the application version with the pre-release suffix.
    static QString versionText();

    QLabel* iconLabel() const { return m_icon; }
    QLabel* versionLabel() const { return m_version; }
    QLabel* organisationLabel() const { return m_organisation; }
    QPushButton* closeButton() const { return m_close; }

private:
    QLabel* m_icon = nullptr;
    QLabel* m_version = nullptr;
    QLabel* m_organisation = nullptr;
    QPushButton* m_close = nullptr;
};

} // namespace pxm
