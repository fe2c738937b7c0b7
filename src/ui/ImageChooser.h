// SPDX-License-Identifier: MIT
#pragma once

// Window wiring: construct with the window as parent and call setProject() whenever the
// shown project changes (null allowed). Connect openImagesRequested() to the slot that
// adds images, and the image actions to showPrevImage, showNextImage, showPrevImageSlice,
// showNextImageSlice and runScript. Removing an image goes through the undo stack here.

#include "model/Project.h"
#include "ui/ImageFilter.h"

#include <QList>
#include <QMetaObject>
#include <QPointer>
#include <QWidget>

class QComboBox;
class QFrame;
class QLabel;
class QSpinBox;
class QToolButton;

namespace pxm {

class LabeledImage;

/// The strip below the view: picks the project's current image (combo box, previous and
/// next) and z-layer, removes and opens images, runs the user's script on the image, and
/// holds the image filter that previous and next step through.
///
/// With a filter on, previous and next skip the images it does not let through, those
/// images are greyed in the combo box (which can still pick them), and the box is framed
/// in a tint with the number of images that match beside it. The filter lives in the
/// project's settings, so it is saved with the project.
class ImageChooser : public QWidget {
    Q_OBJECT
public:
    explicit ImageChooser(QWidget* parent = nullptr);

    Project* project() const { return m_project.data(); }
    const ImageFilter& filter() const { return m_filter; }
    /// Whether previous/next would let this image through.
    bool isSelectable(const LabeledImage* image) const;

    QComboBox* comboBox() const { return m_combo; }
    QLabel* positionLabel() const { return m_position; }
    QLabel* filterLabel() const { return m_filterLabel; }
    QFrame* comboFrame() const { return m_frame; }
    QToolButton* prevButton() const { return m_prev; }
    QToolButton* nextButton() const { return m_next; }
    QSpinBox* zLayerSpinBox() const { return m_zLayer; }
    QToolButton* removeButton() const { return m_remove; }
    QToolButton* openButton() const { return m_open; }
    QToolButton* filterButton() const { return m_filterButton; }
    QToolButton* clearFilterButton() const { return m_clearFilter; }

signals:
    /// The user asked to add images to the project.
    void openImagesRequested();
    /// The filter was set, changed or cleared.
    void filterChanged();

public slots:
    void setProject(pxm::Project* project);
    void showPrevImage();
    void showNextImage();
    void showPrevImageSlice();
    void showNextImageSlice();
    /// Runs the "Script.path" command with "%1" replaced by the current image's path.
    void runScript();
    /// Lets the user edit the filter in a dialog.
    void showFilterDialog();
    void setFilter(const pxm::ImageFilter& filter);
    void clearFilter();
    /// Takes the current image out of the project (undoable).
    void removeCurrentImage();

private slots:
    void on_project_destroyed();
    void on_project_imageAdded(pxm::LabeledImage* image);
    void on_project_imageRemoved(pxm::LabeledImage* image);
    void on_project_currentImageChanged();
    void on_project_currentSceneChanged();
    void on_project_settingsChanged(const QString& key);
    void on_project_labelsChanged();
    void on_image_imagePathChanged();
    void on_comboBox_activated(int index);
    void on_zLayer_valueChanged(int z);

private:
    void rebuild();
    void refresh();
    /// Asks the filter about one row again (cached, since asking walks the image's shapes).
    void evaluate(int row);
    void evaluateAll();
    void refreshZLayer();
    void refreshFilterLook();
    QString itemText(const LabeledImage* image, int index) const;
    int step(int from, int direction) const;

    QPointer<Project> m_project;
    QList<QMetaObject::Connection> m_projectConnections;
    // The images in combo-box order, so a removed image's row can be found. Guarded, since
    // clearing a project deletes its images without announcing each one.
    QList<QPointer<LabeledImage>> m_images;
    // Per row, whether the filter lets the image through.
    QList<bool> m_passes;
    QPointer<LabeledImage> m_lastCurrent;
    bool m_rebuilding = false;
    ImageFilter m_filter;
    bool m_storingFilter = false;

    QToolButton* m_open = nullptr;
    QToolButton* m_remove = nullptr;
    QToolButton* m_prev = nullptr;
    QFrame* m_frame = nullptr;
    QComboBox* m_combo = nullptr;
    QLabel* m_filterLabel = nullptr;
    QToolButton* m_next = nullptr;
    QLabel* m_position = nullptr;
    QToolButton* m_filterButton = nullptr;
    QToolButton* m_clearFilter = nullptr;
    QSpinBox* m_zLayer = nullptr;
};

} // namespace pxm
