// SPDX-License-Identifier: MIT
#include "platform/CValue.h"

#include <cmath>

namespace KYVO {

CValue::~CValue() = default;

CValue* CValueString::Clone() const {
    return new CValueString(*this);
}

bool CValueString::Equals(const CValue& other) const {
    const auto* o = dynamic_cast<const CValueString*>(&other);
    return o && o->m_value == m_value;
}

CValue* CValueLong::Clone() const {
    return new CValueLong(*this);
}

bool CValueLong::Equals(const CValue& other) const {
    const auto* o = dynamic_cast<const CValueLong*>(&other);
    return o && o->m_value == m_value;
}

CValue* CValueDouble::Clone() const {
    return new CValueDouble(*this);
}

bool CValueDouble::Equals(const CValue& other) const {
    const auto* o = dynamic_cast<const CValueDouble*>(&other);
    if (!o)
        return false;
    if (std::isnan(m_value) || std::isnan(o->m_value))
        return std::isnan(m_value) && std::isnan(o->m_value);
    // 0.0 and -0.0 differ on purpose: a stored value should come back with its sign.
    return o->m_value == m_value && std::signbit(o->m_value) == std::signbit(m_value);
}

CValue* CValueBool::Clone() const {
    return new CValueBool(*this);
}

bool CValueBool::Equals(const CValue& other) const {
    const auto* o = dynamic_cast<const CValueBool*>(&other);
    return o && o->m_value == m_value;
}

} // namespace KYVO
