// SPDX-License-Identifier: MIT
#pragma once

#include "ui/MainWindowActions.h"

#include <QGroupBox>
#include <QKeySequence>
#include <QList>
#include <QVector>

class QKeySequenceEdit;
class QLabel;
class QTableWidget;

namespace pxm {

class SettingsDialog;

/// The "Shortcuts" page of the settings dialog: every action of the main window with its
/// shortcut, which the user can record anew, clear, or reset with the others.
///
/// A shortcut that clashes with another action's (the same keys, or one starting with the
/// other) is refused and the other action named. Changes are kept on the page until commit(),
/// which stores them for the user and gives them to every open window.
class ShortcutsPage : public QGroupBox {
    Q_OBJECT
public:
    explicit ShortcutsPage(QWidget* parent = nullptr);

    /// Adds a page to `dialog` that commits when the dialog is accepted.
    static ShortcutsPage* addTo(SettingsDialog& dialog);

    /// The shortcuts the page holds for `id`.
    QList<QKeySequence> shortcuts(MainAction id) const { return m_keys.value(int(id)); }
    /// The editor of `id`'s shortcut.
    QKeySequenceEdit* editor(MainAction id) const { return m_editors.value(int(id)); }
    QTableWidget* table() const { return m_table; }
    /// Why the last change was refused; empty after one that was taken.
    QString message() const;

public slots:
    /// Gives `id` the single shortcut `keys` (empty: none); false when another action's
    /// shortcut clashes with it, which leaves `id`'s as it was.
    bool setShortcut(pxm::MainAction id, const QKeySequence& keys);
    /// Gives every action its default shortcuts again.
    void resetAll();
    /// Stores the shortcuts for the user and applies them to every main window.
    void commit();

private:
    void showRow(int row);

    QTableWidget* m_table = nullptr;
    QLabel* m_message = nullptr;
    QVector<QString> m_names;
    QVector<QList<QKeySequence>> m_keys;
    QVector<QKeySequenceEdit*> m_editors;
};

} // namespace pxm
