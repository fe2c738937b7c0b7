// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CValue.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace KYVO {

/// An ordered list of owned values.
///
/// Every `owned` argument is taken over, also when the call throws. Null values are refused
/// with a CException; indices past the end raise one too, except in at(), which answers null.
class CValueVector : public CValue {
public:
    CValueVector() = default;
    CValueVector(const CValueVector& other);
    CValueVector& operator=(const CValueVector& other);
    CValueVector(CValueVector&&) noexcept = default;
    CValueVector& operator=(CValueVector&&) noexcept = default;
    ~CValueVector() override;

    CValue* Clone() const override;
    const char* TypeName() const override { return "CValueVector"; }
    bool Equals(const CValue& other) const override;

    std::size_t size() const { return m_items.size(); }
    bool empty() const { return m_items.empty(); }
    /// The element at i, or null when i is out of range.
    CValue* at(std::size_t i) { return i < m_items.size() ? m_items[i].get() : nullptr; }
    const CValue* at(std::size_t i) const { return i < m_items.size() ? m_items[i].get() : nullptr; }

    /// Adds a value at the end.
    void Append(CValue* owned);
    /// Replaces the element at i (deleting the old one); i == size() appends.
    void Set(std::size_t i, CValue* owned);
    /// Inserts a value before position i; i == size() appends.
    void Insert(std::size_t i, CValue* owned);
    /// Deletes the element at i; the later ones move up.
    void Remove(std::size_t i);
    /// Takes the element at i out of the vector; the caller owns it.
    CValue* Take(std::size_t i);
    void Clear() { m_items.clear(); }
    void Swap(CValueVector& other) noexcept { m_items.swap(other.m_items); }

private:
    std::vector<std::unique_ptr<CValue>> m_items;
};

} // namespace KYVO
