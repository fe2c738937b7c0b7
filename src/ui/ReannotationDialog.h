// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <QList>
#include <QPointer>

class QComboBox;
class QGraphicsItem;
class QLabel;
class QPushButton;

namespace pxm {

class Label;
class LabeledImage;
class Project;
class View;

/// The "Reannotation Dialog": steps through the shapes of one label across the project's
/// images and z-layers, centres the View on each and moves it to another label with a
/// reannotation key or the "Move" button, one undo step per shape. A moved shape leaves the
/// list, so the next one comes up at once. The window stays open beside the View.
class ReannotationDialog : public QDialog {
    Q_OBJECT
public:
    ReannotationDialog(View* view, Project* project, QWidget* parent = nullptr);

    /// True when the current scene has a label mask, which this window needs.
    static bool hasMask(const Project* project);
    /// Opens the window (not modal, deleted when closed), or refuses with the box
    /// "No Mask found on the Canvas." and returns null.
    static ReannotationDialog* open(QWidget* parent, View* view, Project* project);

    QComboBox* labelBox() const { return m_labelBox; }
    QComboBox* targetBox() const { return m_targetBox; }
    QLabel* positionLabel() const { return m_position; }
    QLabel* rulesLabel() const { return m_rules; }
    QPushButton* previousButton() const { return m_previous; }
    QPushButton* nextButton() const { return m_next; }
    QPushButton* moveButton() const { return m_move; }

    /// The label whose shapes are shown, or null.
    Label* chosenLabel() const;
    int count() const { return m_entries.size(); }
    /// Index of the shown shape, -1 when there is none.
    int position() const { return m_index; }
    QGraphicsItem* currentItem() const;

    /// Moves the shown shape to `target` (one undo step) and shows the next; false when
    /// there is nothing to move.
    bool moveCurrentTo(const Label* target);
    /// Applies the reannotation rule bound to the key (portable text) to the shown shape.
    bool applyKey(const QString& key);

public slots:
    void showNext();
    void showPrevious();
    /// Lists the chosen label's shapes again, keeping the shown one where it still belongs.
    void refresh();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Entry {
        LabeledImage* image;
        int z;
        QGraphicsItem* item;
    };
    void fillLabelBoxes();
    void showCurrent();
    void updateTexts();

    QPointer<View> m_view;
    QPointer<Project> m_project;
    QList<Entry> m_entries;
    int m_index = -1;
    QComboBox* m_labelBox;
    QComboBox* m_targetBox;
    QLabel* m_position;
    QLabel* m_rules;
    QPushButton* m_previous;
    QPushButton* m_next;
    QPushButton* m_move;
};

} // namespace pxm
