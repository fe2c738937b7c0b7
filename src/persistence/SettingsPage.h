// SPDX-License-Identifier: MIT
#pragma once

#include "model/Project.h"

#include <QGroupBox>
#include <QPointer>
#include <QVariant>

namespace pxm {

/// One group of the settings dialog: a group box whose widgets edit some of the project's
/// settings.
///
/// projectToUi() fills the widgets from the project; uiToProject() writes them back. Widgets
/// registered with writeBackOn() write back as soon as the user changes them, but never while
/// projectToUi() is filling them.
///
/// A value the user changes here also becomes the user's default: uiToProject() writes every
/// key whose value differs from the project's current one into the per-user registry as well,
/// typed as the settings table says. The registry reaches the disk when a main window closes.
class SettingsPage : public QGroupBox {
    Q_OBJECT
public:
    SettingsPage(const QString& title, Project* project, QWidget* parent = nullptr);

    Project* project() const { return m_project.data(); }
    /// True while projectToUi() is filling the widgets.
    bool isUpdatingUi() const { return m_updatingUi; }

    /// The project's value of `projectKey`, or the settings table's default when it has none.
    static QVariant settingOrDefault(const Project* project, const QString& projectKey);

public slots:
    /// Shows the project's values in the widgets without writing anything back.
    void projectToUi();
    /// Writes every widget's value to the project (and changed ones to the user's registry).
    void uiToProject();

protected:
    /// Reads the project into the widgets; called with the write-back guard held.
    virtual void readProject() = 0;
    /// Stores each widget's value with store().
    virtual void writeProject() = 0;

    /// The project's value of `projectKey`, or its default.
    QVariant value(const QString& projectKey) const;
    /// Sets `projectKey` on the project; when the effective value changes, the matching
    /// registry key is written too.
    void store(const QString& projectKey, const QVariant& newValue);

    /// Calls uiToProject() whenever `sender` emits `signal`, except during projectToUi().
    template <typename Sender, typename Signal> void writeBackOn(Sender* sender, Signal signal) {
        connect(sender, signal, this, [this] {
            if (!m_updatingUi)
                uiToProject();
        });
    }

private:
    QPointer<Project> m_project;
    bool m_updatingUi = false;
};

/// Lets the spin boxes, sliders and combo boxes under `root` take the mouse wheel only while
/// they have the focus (and no longer take the focus from it), so that scrolling through the
/// settings changes no value on the way; the wheel then scrolls what holds them.
void takeWheelOnlyWhenFocused(QWidget* root);

/// Writes `value` under the registry key that belongs to `projectKey`, converted to the type
/// the settings table gives it. Keys outside the table are ignored; returns whether it wrote.
bool writeSettingToRegistry(const QString& projectKey, const QVariant& value);

} // namespace pxm
