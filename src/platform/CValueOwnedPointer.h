// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CException.h"
#include "platform/CValue.h"

#include <memory>
#include <string>
#include <string_view>

namespace KYVO {

namespace detail {

/// "CImage", "QWidget": the name of T as the compiler spells it. Works for incomplete types too,
/// which typeid would not.
template <class T> const std::string& TypeNameOf() {
    // The signature reads "... [with T = QWidget; ...]" (GCC) or "... [T = QWidget]" (Clang).
    static const std::string name = [](std::string_view signature) {
        const std::size_t start = signature.find("T = ");
        if (start == std::string_view::npos)
            return std::string("?");
        const std::string_view rest = signature.substr(start + 4);
        return std::string(rest.substr(0, rest.find_first_of(";]")));
    }(__PRETTY_FUNCTION__);
    return name;
}

} // namespace detail

/// A value that owns one T (in practice a CImage), or nothing. Clone() copies the T, which
/// therefore must be copy-constructible.
template <class T> class CValueOwnedPointer : public CValue {
public:
    explicit CValueOwnedPointer(T* owned = nullptr) : m_object(owned) {}
    CValueOwnedPointer(const CValueOwnedPointer& other)
        : CValue(other), m_object(other.m_object ? new T(*other.m_object) : nullptr) {}
    CValueOwnedPointer& operator=(const CValueOwnedPointer& other) {
        if (this != &other)
            m_object.reset(other.m_object ? new T(*other.m_object) : nullptr);
        return *this;
    }

    CValue* Clone() const override { return new CValueOwnedPointer(*this); }
    /// "CValueOwnedPointer<CImage>" and so on.
    const char* TypeName() const override {
        static const std::string name = "CValueOwnedPointer<" + detail::TypeNameOf<T>() + ">";
        return name.c_str();
    }
    /// The same object, or both empty (the objects themselves are not compared).
    bool Equals(const CValue& other) const override {
        const auto* o = dynamic_cast<const CValueOwnedPointer*>(&other);
        return o && o->m_object == m_object;
    }

    T* Get() const { return m_object.get(); }
    /// Hands the object over to the caller; the value is empty afterwards.
    T* Release() { return m_object.release(); }
    /// Deletes the held object and takes `owned` instead.
    void Reset(T* owned = nullptr) {
        if (owned != m_object.get())
            m_object.reset(owned);
    }

private:
    std::unique_ptr<T> m_object;
};

/// A value that refers to a T it does not own, such as the host's QWidget*. Clone() copies
/// the pointer.
template <class T> class CValuePointer : public CValue {
public:
    explicit CValuePointer(T* p = nullptr) : m_pointer(p) {}

    CValue* Clone() const override { return new CValuePointer(*this); }
    /// "CValuePointer<QWidget>" and so on.
    const char* TypeName() const override {
        static const std::string name = "CValuePointer<" + detail::TypeNameOf<T>() + ">";
        return name.c_str();
    }
    bool Equals(const CValue& other) const override {
        const auto* o = dynamic_cast<const CValuePointer*>(&other);
        return o && o->m_pointer == m_pointer;
    }

    T* Get() const { return m_pointer; }
    void Set(T* p) { m_pointer = p; }

private:
    T* m_pointer;
};

/// The T* carried by `value`, a CValuePointer<T> (or a CValueOwnedPointer<T>, whose object
/// stays owned by it). Throws a CException naming the expected and the actual type when `value`
/// is null or holds anything else.
template <class T> T* UnwrapPointer(const CValue* value) {
    if (const auto* pointer = dynamic_cast<const CValuePointer<T>*>(value))
        return pointer->Get();
    if (const auto* owned = dynamic_cast<const CValueOwnedPointer<T>*>(value))
        return owned->Get();
    KYVO_THROW("Type error: expected a CValuePointer<" + detail::TypeNameOf<T>() + "> but got " +
               (value ? std::string("a ") + value->TypeName() : std::string("no value")));
}

} // namespace KYVO
