// SPDX-License-Identifier: MIT
#include "model/Label.h"

#include "platform/CValue.h"
#include "platform/CValueMap.h"

#include <algorithm>

namespace pxm {

namespace {
double clamp(double v, double lo, double hi) {
    return std::min(std::max(v, lo), hi);
}
} // namespace

Label::Label(QObject* parent) : QObject(parent) {}

void Label::setName(QString name) {
    name = name.trimmed();
    if (name == m_name)
        return;
    m_name = name;
    emit nameChanged(m_name);
}

void Label::setColor(QColor color) {
    if (color.alphaF() != m_opacity)
        setPrimaryOpacity(color.alphaF());
    // Compare in RGB so a colour from another colour space with the same value is no change.
    if (color.isValid())
        color = color.toRgb();
    color.setAlphaF(1.0);
    if (color == m_color)
        return;
    m_color = color;
    emit colorChanged(m_color);
}

void Label::setPrimaryOpacity(double opacity) {
    opacity = clamp(opacity, 0.0, 1.0);
    if (opacity == m_opacity)
        return;
    m_opacity = opacity;
    emit opacityChanged(m_opacity);
}

void Label::setSecondaryOpacity(double secondaryOpacity) {
    secondaryOpacity = clamp(secondaryOpacity, 0.0, 1.0);
    if (secondaryOpacity == m_secondaryOpacity)
        return;
    m_secondaryOpacity = secondaryOpacity;
    emit secondaryOpacityChanged(m_secondaryOpacity);
}

void Label::setPenWidth(double width) {
    width = clamp(width, 0.01, 1.0);
    if (width == m_penWidth)
        return;
    m_penWidth = width;
    emit penWidthChanged(m_penWidth);
}

void Label::setId(int id) {
    if (id == 0 || id == m_id)
        return;
    m_id = id;
    emit idChanged(m_id);
}

void Label::setMaskId(int maskId) {
    if (maskId == 0 || maskId == m_maskId)
        return;
    m_maskId = maskId;
    emit maskIdChanged(m_maskId);
}

KYVO::CValueMap* Label::toValueMap() const {
    auto* map = new KYVO::CValueMap;
    map->SetString("name", m_name.toLocal8Bit().toStdString());
    auto* color = new KYVO::CValueMap;
    color->SetLong("red", m_color.red());
    color->SetLong("green", m_color.green());
    color->SetLong("blue", m_color.blue());
    color->SetLong("alpha", m_color.alpha());
    map->Set("color", color);
    map->SetDouble("opacity", m_opacity);
    map->SetLong("id", m_id);
    map->SetLong("maskId", m_maskId);
    return map;
}

void Label::fromValueMap(const KYVO::CValueMap& map) {
    using Err = KYVO::CValue::EnErrType;
    Err err = KYVO::CValue::ERR_OK;
    const std::string name = map.GetString("name", std::string(), &err);
    if (err == KYVO::CValue::ERR_OK)
        setName(QString::fromLocal8Bit(name.c_str()));

    if (const KYVO::CValueMap* color = map.GetMap("color")) {
        Err r, g, b, a;
        const auto red = color->GetLong("red", 0, &r);
        const auto green = color->GetLong("green", 0, &g);
        const auto blue = color->GetLong("blue", 0, &b);
        const auto alpha = color->GetLong("alpha", 0, &a);
        if (r == KYVO::CValue::ERR_OK && g == KYVO::CValue::ERR_OK && b == KYVO::CValue::ERR_OK &&
            a == KYVO::CValue::ERR_OK)
            setColor(QColor(int(red), int(green), int(blue), int(alpha)));
    }

    // Inverted on purpose: only a value that could not be read is applied, with its default.
    const double opacity = map.GetDouble("opacity", 0.0, &err);
    if (err != KYVO::CValue::ERR_OK)
        setPrimaryOpacity(opacity);
    const auto id = map.GetLong("id", 0, &err);
    if (err != KYVO::CValue::ERR_OK)
        setId(int(id));
    const auto maskId = map.GetLong("maskId", 0, &err);
    if (err != KYVO::CValue::ERR_OK)
        setMaskId(int(maskId));
}

} // namespace pxm
