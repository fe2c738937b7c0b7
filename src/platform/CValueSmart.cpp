// SPDX-License-Identifier: MIT
#include "platform/CValueSmart.h"

#include "platform/CImage.h"

#include <cstring>

namespace KYVO {

CValueSmart::CValueSmart() = default;

CValueSmart::CValueSmart(CValue* owned) : m_value(owned) {}

CValueSmart::CValueSmart(CImage* owned) : m_image(owned) {}

CValueSmart::CValueSmart(const CValueSmart& other)
    : CValue(other), m_value(other.m_value ? other.m_value->Clone() : nullptr),
      m_image(other.m_image ? std::make_unique<CImage>(*other.m_image) : nullptr) {}

CValueSmart& CValueSmart::operator=(const CValueSmart& other) {
    if (this != &other) {
        CValueSmart copy(other);
        *this = std::move(copy);
    }
    return *this;
}

CValueSmart::CValueSmart(CValueSmart&&) noexcept = default;
CValueSmart& CValueSmart::operator=(CValueSmart&&) noexcept = default;
CValueSmart::~CValueSmart() = default;

CValue* CValueSmart::Clone() const {
    return new CValueSmart(*this);
}

bool CValueSmart::Equals(const CValue& other) const {
    const auto* o = dynamic_cast<const CValueSmart*>(&other);
    if (!o)
        return false;
    if (m_value || o->m_value)
        return m_value && o->m_value && m_value->Equals(*o->m_value);
    if (m_image || o->m_image) {
        if (!m_image || !o->m_image)
            return false;
        const CImage& a = *m_image;
        const CImage& b = *o->m_image;
        return a.type() == b.type() && a.size() == b.size() &&
               (a.byteCount() == 0 || std::memcmp(a.data(), b.data(), a.byteCount()) == 0);
    }
    return true;
}

void CValueSmart::SetValue(CValue* owned) {
    if (owned == m_value.get())
        return;
    m_value.reset(owned);
    m_image.reset();
}

void CValueSmart::SetImage(CImage* owned) {
    if (owned == m_image.get())
        return;
    m_image.reset(owned);
    m_value.reset();
}

void CValueSmart::Reset() {
    m_value.reset();
    m_image.reset();
}

CValue* CValueSmart::TakeValue() {
    return m_value.release();
}

CImage* CValueSmart::TakeImage() {
    return m_image.release();
}

} // namespace KYVO
