// SPDX-License-Identifier: MIT
#pragma once

// Window wiring: construct with the window as parent and call setProject() whenever the
// shown project changes (null allowed). The panel talks to the project itself; the
// window needs no further connections.

#include "model/Project.h"

#include <QHash>
#include <QList>
#include <QMetaObject>
#include <QPointer>
#include <QWidget>

class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace pxm {

/// The list of a project's labels: picks the current label, creates and deletes labels
/// through the undo stack, narrows the list by filter words, and hides or shows a
/// label's drawing with its check box.
///
/// Hiding is a way of looking at the work, not an edit of it, so it bypasses the undo
/// stack: a hidden label remembers its opacities (properties "primary_opacity" and
/// "secondary_opacity" on the label) and gets them back when shown again.
class LabelListWidget : public QWidget {
    Q_OBJECT
public:
    explicit LabelListWidget(QWidget* parent = nullptr);

    Project* project() const { return m_project.data(); }
    QListWidget* listWidget() const { return m_listWidget; }
    QLineEdit* filterLineEdit() const { return m_filterLineEdit; }
    QPushButton* newButton() const { return m_newButton; }
    QPushButton* deleteButton() const { return m_deleteButton; }
    /// The row showing the label, or null.
    QListWidgetItem* itemOf(const Label* label) const;

public slots:
    void setProject(pxm::Project* project);
    void on_project_destroyed();
    void on_project_labelAdded(pxm::Label* label);
    void on_project_labelRemoved(pxm::Label* label);
    void on_project_currentLabelChanged(pxm::Label* label);
    void on_label_destroyed(QObject* label);
    void on_label_nameChanged();
    void on_label_opacityChanged();
    /// Repaints the row's colour swatch.
    void on_label_colorChanged();
    void on_listWidget_currentRowChanged(int row);
    void on_newButton_clicked();
    void on_deleteButton_clicked();
    void on_filterLineEdit_textEdited(const QString& text);
    void on_label_checked(QListWidgetItem* item);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refreshItem(QListWidgetItem* item, const Label* label);
    void applyFilter(QListWidgetItem* item);
    void removeRow(int row);
    Label* labelOf(const QListWidgetItem* item) const;

    QPointer<Project> m_project;
    QList<QMetaObject::Connection> m_projectConnections;
    QListWidget* m_listWidget = nullptr;
    QLineEdit* m_filterLineEdit = nullptr;
    QPushButton* m_newButton = nullptr;
    QPushButton* m_deleteButton = nullptr;
    // Rows are in project order; the map finds a label's row without a scan of the list.
    QHash<const QObject*, QListWidgetItem*> m_items;
    QStringList m_filterWords;
    // Set while the panel itself changes a row, so itemChanged does not read it as a click.
    bool m_updating = false;
};

} // namespace pxm
