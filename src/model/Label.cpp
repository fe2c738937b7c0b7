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

/// Stores the value and tells whether it changed anything, so setters signal only real changes.
template <class T>
bool assign(T& member, const T& value) {
    if (member == value)
        return false;
    member = value;
    return true;
}
} // namespace

Label::Label(QObject* parent) : QObject(parent) {}

void Label::setName(QString name) {
    if (assign(m_name, name.trimmed()))
        emit nameChanged(m_name);
}

void Label::setColor(QColor color) {
    if (color.alphaF() != m_opacity)
        setPrimaryOpacity(color.alphaF());
    // Compare in RGB so a colour from another colour space with the same value is no change.
    if (color.isValid())
        color = color.toRgb();
    color.setAlphaF(1.0);
    if (assign(m_color, color))
        emit colorChanged(m_color);
}

void Label::setPrimaryOpacity(double opacity) {
    if (assign(m_opacity, clamp(opacity, 0.0, 1.0)))
        emit opacityChanged(m_opacity);
}

void Label::setSecondaryOpacity(double secondaryOpacity) {
    if (assign(m_secondaryOpacity, clamp(secondaryOpacity, 0.0, 1.0)))
        emit secondaryOpacityChanged(m_secondaryOpacity);
}

void Label::setPenWidth(double width) {
    if (assign(m_penWidth, clamp(width, 0.01, 1.0)))
        emit penWidthChanged(m_penWidth);
}

void Label::setId(int id) {
    // 0 means "not assigned" and is never stored.
    if (id != 0 && assign(m_id, id))
        emit idChanged(m_id);
}

void Label::setMaskId(int maskId) {
    // 0 means "not assigned" and is never stored.
    if (maskId != 0 && assign(m_maskId, maskId))
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
