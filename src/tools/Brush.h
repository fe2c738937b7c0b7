// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"

#include <QObject>
#include <QPointer>
#include <QPolygonF>
#include <QRect>
#include <QRectF>
#include <QToolBar>
#include <QVector>

class QComboBox;
class QKeyEvent;
class QSpinBox;

namespace pxm {

class GraticuleItem;
class Tool;

/// The brush of the pixel tools: its width and shape settings in the project, the settings
/// tool bar with the width spin box and the shape combo box, the plus and minus keys, the
/// brush cursor item kept centred on the pointer, and the pixels and area a stroke segment
/// covers.
///
/// The width is read as an int of at least 1, the shape as "Square" unless it is "Round".
/// Both are stored under the tool's prefix: "<prefix>.brushWidth" and "<prefix>.brushShape".
class Brush : public QObject {
    Q_OBJECT
public:
    enum class Shape {
        Square, ///< the width-wide square centred on the pointer
        Round   ///< the pixels whose centres lie within half the width of the pointer
    };
    /// Which pixels a square stamp covers; a round stamp always covers the pixels of its disc.
    enum class Cover {
        Nearest, ///< the square rounded to whole pixels (QRectF::toRect), as paint goes on
        Touched  ///< every pixel the closed square meets, as the mask's erase overlay counts
    };

    /// A brush of `tool`, its width stored under `settingsKey` ("<prefix>.brushWidth").
    Brush(Tool* tool, QString settingsKey, const QString& toolBarTitle);
    ~Brush() override;

    QString settingsKey() const { return m_key; }
    QString shapeKey() const;
    /// The width setting, at least 1 (1 without a project or value).
    int width() const;
    /// Stores the width, raised to at least 1, when it differs from the stored one.
    void setWidth(int width);
    /// The shape setting; Square without a project or with any value but "Round".
    Shape shape() const;
    void setShape(Shape shape);
    static QString shapeName(Shape shape);

    QToolBar* toolBar() const { return m_toolBar; }
    QSpinBox* spinBox() const { return m_spinBox; }
    QComboBox* shapeBox() const { return m_shapeBox; }
    /// The brush cursor, or null before the first move or after Escape. Its rectangle is the
    /// brush's extent; a round brush shows a disc in it.
    GraticuleItem* cursor() const;

    /// The brush square centred on a scene point: the extent of either shape.
    QRectF square(const QPointF& centre) const;
    /// The whole pixels the stamps along a segment cover, inside `clip`, as disjoint
    /// rectangles (few: equal column spans of neighbouring rows share one).
    QVector<QRect> pixels(const QPointF& from, const QPointF& to, const QRectF& clip, Cover cover) const;
    /// The area a stamp sweeps moving from one point to another, a convex polygon: exact for
    /// the square, the disc drawn as a polygon around the true circle.
    QPolygonF sweptArea(const QPointF& from, const QPointF& to) const;

    /// The pixels of stamps of `shape` and `width` at points at most a pixel apart along
    /// the segment, with an extra stamp wherever the pointer steps to a diagonal pixel, so
    /// that the pixels stay 4-connected however fast the pointer moves.
    static QVector<QRect> strokePixels(Shape shape, int width, const QPointF& from, const QPointF& to,
                                       const QRectF& clip, Cover cover);

    /// Centres the cursor on a scene point, adding it to the tool's scene first; nothing
    /// without a scene.
    void placeCursor(const QPointF& scenePos);
    void deleteCursor();
    /// Acts on plus and minus; true when the key was one of them.
    bool keyRelease(QKeyEvent* event);
    /// Follows the settings of the project the tool works in now.
    void watchProject();

public slots:
    void on_widthSpinBox_valueChanged(int value);

private slots:
    void on_shapeComboBox_currentIndexChanged(int index);
    void on_project_settingsChanged(const QString& key);

private:
    QPolygonF outline(const QPointF& centre) const;
    void fitCursor(GraticuleItem* cursor, const QPointF& centre) const;
    void showSettings();

    Tool* m_tool;
    QString m_key;
    QPointer<QToolBar> m_toolBar;
    QSpinBox* m_spinBox = nullptr;
    QComboBox* m_shapeBox = nullptr;
    // Watched: a scene that dies takes the cursor along.
    ItemWatch m_cursor;
    QMetaObject::Connection m_settingsConnection;
};

} // namespace pxm
