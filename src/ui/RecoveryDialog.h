// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/RecoveryFolder.h"

#include <QDialog>
#include <QList>

class QPushButton;
class QTreeWidget;

namespace pxm {

/// Offers the recovery snapshots that programs which ended without saving left behind, one
/// row each with the project's path and the time of the snapshot.
///
/// "Recover" marks the chosen rows to be opened; "Discard" deletes their snapshots at once.
/// Either takes the rows off the list, and the dialog closes when none is left. Closing the
/// dialog otherwise keeps the remaining snapshots for the next start.
class RecoveryDialog : public QDialog {
    Q_OBJECT
public:
    RecoveryDialog(const QList<RecoveryFolder::Entry>& entries, QWidget* parent = nullptr);

    /// The snapshots the user chose to recover, in list order.
    const QList<RecoveryFolder::Entry>& chosen() const { return m_chosen; }
    /// Snapshots whose folder could not be deleted.
    const QStringList& failedDiscards() const { return m_failedDiscards; }

    QTreeWidget* list() const { return m_list; }
    QPushButton* recoverButton() const { return m_recover; }
    QPushButton* discardButton() const { return m_discard; }

    /// The text a row shows for a project path (a project never saved has none).
    static QString projectText(const QString& path);

public slots:
    void recoverSelected();
    void discardSelected();

private:
    QList<int> selectedRows() const;
    void takeRows(const QList<int>& rows);
    void updateButtons();

    QList<RecoveryFolder::Entry> m_entries;
    QList<RecoveryFolder::Entry> m_chosen;
    QStringList m_failedDiscards;
    QTreeWidget* m_list;
    QPushButton* m_recover;
    QPushButton* m_discard;
};

} // namespace pxm
