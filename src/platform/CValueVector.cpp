// SPDX-License-Identifier: MIT
#include "platform/CValueVector.h"

#include "platform/CException.h"

#include <string>

namespace KYVO {

namespace {

std::unique_ptr<CValue> adopt(CValue* owned) {
    if (!owned)
        KYVO_THROW("CValueVector: a null value cannot be stored");
    return std::unique_ptr<CValue>(owned);
}

[[noreturn]] void outOfRange(std::size_t i, std::size_t size) {
    KYVO_THROW("CValueVector: index " + std::to_string(i) + " is out of range (size " + std::to_string(size) +
               ")");
}

} // namespace

CValueVector::CValueVector(const CValueVector& other) : CValue(other) {
    m_items.reserve(other.m_items.size());
    for (const auto& item : other.m_items)
        m_items.emplace_back(item->Clone());
}

CValueVector& CValueVector::operator=(const CValueVector& other) {
    if (this != &other) {
        CValueVector copy(other);
        Swap(copy);
    }
    return *this;
}

CValueVector::~CValueVector() = default;

CValue* CValueVector::Clone() const {
    return new CValueVector(*this);
}

bool CValueVector::Equals(const CValue& other) const {
    const auto* o = dynamic_cast<const CValueVector*>(&other);
    if (!o || o->m_items.size() != m_items.size())
        return false;
    for (std::size_t i = 0; i < m_items.size(); ++i)
        if (!m_items[i]->Equals(*o->m_items[i]))
            return false;
    return true;
}

void CValueVector::Append(CValue* owned) {
    m_items.push_back(adopt(owned));
}

void CValueVector::Set(std::size_t i, CValue* owned) {
    // Storing the element that is already there must not delete it.
    if (i < m_items.size() && m_items[i].get() == owned)
        return;
    std::unique_ptr<CValue> value = adopt(owned);
    if (i < m_items.size())
        m_items[i] = std::move(value);
    else if (i == m_items.size())
        m_items.push_back(std::move(value));
    else
        outOfRange(i, m_items.size());
}

void CValueVector::Insert(std::size_t i, CValue* owned) {
    std::unique_ptr<CValue> value = adopt(owned);
    if (i > m_items.size())
        outOfRange(i, m_items.size());
    m_items.insert(m_items.begin() + std::ptrdiff_t(i), std::move(value));
}

void CValueVector::Remove(std::size_t i) {
    if (i >= m_items.size())
        outOfRange(i, m_items.size());
    m_items.erase(m_items.begin() + std::ptrdiff_t(i));
}

CValue* CValueVector::Take(std::size_t i) {
    if (i >= m_items.size())
        outOfRange(i, m_items.size());
    CValue* value = m_items[i].release();
    m_items.erase(m_items.begin() + std::ptrdiff_t(i));
    return value;
}

} // namespace KYVO
