// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace KYVO {

/// Base of the platform's value containers: a polymorphic, deep-copyable value.
///
/// Containers (CValueMap, CValueVector, CValueSmart) own the values put into them and
/// delete each exactly once; Clone() gives an independent deep copy owned by the caller.
class CValue {
public:
    /// Status reported by the typed getters of CValueMap.
    enum EnErrType {
        ERR_OK = 0,         ///< the value was read
        ERR_NOT_FOUND = 1,  ///< nothing is stored at the path
        ERR_WRONG_TYPE = 2, ///< something of another type is stored at the path
    };

    virtual ~CValue();

    /// A deep copy of this value; the caller owns it.
    virtual CValue* Clone() const = 0;
    /// The class name, such as "CValueString" or "CValueMap".
    virtual const char* TypeName() const = 0;
    /// True when `other` holds the same content: scalars by value, containers element by
    /// element. The base compares identity.
    virtual bool Equals(const CValue& other) const { return this == &other; }

protected:
    CValue() = default;
    CValue(const CValue&) = default;
    CValue& operator=(const CValue&) = default;
};

/// A byte string (the host keeps text in its local 8-bit encoding).
class CValueString : public CValue {
public:
    CValueString(std::string value = {}) : m_value(std::move(value)) {}
    CValue* Clone() const override;
    const char* TypeName() const override { return "CValueString"; }
    bool Equals(const CValue& other) const override;

    const std::string& Get() const { return m_value; }
    void Set(std::string value) { m_value = std::move(value); }

private:
    std::string m_value;
};

/// A signed 64-bit integer.
class CValueLong : public CValue {
public:
    CValueLong(int64_t value = 0) : m_value(value) {}
    CValue* Clone() const override;
    const char* TypeName() const override { return "CValueLong"; }
    bool Equals(const CValue& other) const override;

    int64_t Get() const { return m_value; }
    void Set(int64_t value) { m_value = value; }

private:
    int64_t m_value;
};

/// A double-precision number.
class CValueDouble : public CValue {
public:
    CValueDouble(double value = 0) : m_value(value) {}
    CValue* Clone() const override;
    const char* TypeName() const override { return "CValueDouble"; }
    /// Equal numbers of the same sign (0.0 differs from -0.0); any two NaNs count as equal.
    bool Equals(const CValue& other) const override;

    double Get() const { return m_value; }
    void Set(double value) { m_value = value; }

private:
    double m_value;
};

/// A truth value.
class CValueBool : public CValue {
public:
    CValueBool(bool value = false) : m_value(value) {}
    CValue* Clone() const override;
    const char* TypeName() const override { return "CValueBool"; }
    bool Equals(const CValue& other) const override;

    bool Get() const { return m_value; }
    void Set(bool value) { m_value = value; }

private:
    bool m_value;
};

} // namespace KYVO
