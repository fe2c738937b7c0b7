// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QList>

namespace pxm {

class Project;
class SettingsPage;

/// The settings dialog: every settings page of the project, one below the other, and an OK
/// button. Changes take effect as they are made, so there is nothing to apply or cancel.
class SettingsDialog : public QDialog {
    Q_OBJECT
public:
    explicit SettingsDialog(Project* project, QWidget* parent = nullptr);

    /// The pages in their order on screen.
    const QList<SettingsPage*>& pages() const { return m_pages; }

public slots:
    /// Shows the project's current values on every page.
    void projectToUi();

private:
    QList<SettingsPage*> m_pages;
};

} // namespace pxm
