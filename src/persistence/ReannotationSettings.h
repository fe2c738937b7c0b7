// SPDX-License-Identifier: MIT
#pragma once

#include "model/ReannotationRules.h"
#include "persistence/SettingsPage.h"

class QComboBox;
class QKeySequenceEdit;
class QPushButton;
class QTableWidget;

namespace pxm {

/// The reannotation rules: one row per rule with its key, the label whose shapes move (or
/// any label) and the label they move to. The label boxes offer the project's labels but
/// take any name, since the rules also serve other projects through the user's settings.
class ReannotationSettings : public SettingsPage {
    Q_OBJECT
public:
    explicit ReannotationSettings(Project* project, QWidget* parent = nullptr);

    QTableWidget* table() const { return m_table; }
    QPushButton* addButton() const { return m_add; }
    QPushButton* removeButton() const { return m_remove; }
    /// The rules as the rows show them; rows without key or target are left out.
    ReannotationRules rulesFromUi() const;
    /// Appends a row showing `rule` (an empty row for a default rule).
    void addRow(const ReannotationRule& rule = {});
    /// The text the "from" box shows for a rule of any label.
    static QString anyLabelText();

protected:
    void readProject() override;
    void writeProject() override;

private:
    QComboBox* labelBox(bool allowAny);

    QTableWidget* m_table;
    QPushButton* m_add;
    QPushButton* m_remove;
};

} // namespace pxm
