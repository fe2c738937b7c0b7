// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QObject>
#include <QString>

namespace KYVO {
class CValueMap;
}

namespace pxm {

/// One annotation class of a project: name, colour, border (primary) and fill
/// (secondary) opacity, relative pen width, a stable id used by files and scene items,
/// and the mask id written into label masks. Several labels may share a mask id.
///
/// Setters clamp or ignore invalid values and emit their signal only on a real change.
/// The colour is always stored opaque; its alpha lives in the primary opacity.
class Label : public QObject {
    Q_OBJECT
public:
    explicit Label(QObject* parent = nullptr);

    QString name() const { return m_name; }
    QColor color() const { return m_color; }
    double opacity() const { return m_opacity; }
    double secondaryOpacity() const { return m_secondaryOpacity; }
    double penWidth() const { return m_penWidth; }
    int id() const { return m_id; }
    int maskId() const { return m_maskId; }

    /// A new map (caller owns) with "name", "color" (red, green, blue, alpha), "opacity", "id", "maskId".
    KYVO::CValueMap* toValueMap() const;
    /// Reads a map written by toValueMap. "opacity", "id" and "maskId" are applied only when
    /// they could NOT be read (with their defaults 0.0, 0 and 0): maps from the host framework
    /// rely on this, so a label from such a map keeps its opacity, id and mask id.
    void fromValueMap(const KYVO::CValueMap& map);

signals:
    void nameChanged(QString name);
    void colorChanged(QColor color);
    void opacityChanged(double opacity);
    void secondaryOpacityChanged(double secondaryOpacity);
    void penWidthChanged(double penWidth);
    void idChanged(int id);
    void maskIdChanged(int maskId);

public slots:
    void setName(QString name);
    /// Moves the colour's alpha into the primary opacity first, then stores the colour opaque.
    void setColor(QColor color);
    void setPrimaryOpacity(double opacity);
    void setSecondaryOpacity(double secondaryOpacity);
    void setPenWidth(double width);
    void setId(int id);
    void setMaskId(int maskId);

private:
    QString m_name;
    QColor m_color = Qt::black;
    double m_opacity = 1.0;
    double m_secondaryOpacity = 1.0;
    double m_penWidth = 1.0;
    int m_id = 0;
    int m_maskId = 0;
};

} // namespace pxm
