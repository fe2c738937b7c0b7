// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CValue.h"

#include <cstddef>
#include <memory>
#include <type_traits>

namespace KYVO {

class CImage;

/// A holder for any one value passed between pipeline nodes: either an image or another
/// CValue (a vector, a map, ...), or nothing. It owns what it holds; Clone() copies it deeply.
class CValueSmart : public CValue {
public:
    /// Holds nothing.
    CValueSmart();
    /// Holds nothing (a plain null would be ambiguous between the two owning constructors).
    explicit CValueSmart(std::nullptr_t) : CValueSmart() {}
    /// Holds `owned` (nothing when null).
    explicit CValueSmart(CValue* owned);
    /// Holds the image `owned` (nothing when null).
    explicit CValueSmart(CImage* owned);
    CValueSmart(const CValueSmart& other);
    CValueSmart& operator=(const CValueSmart& other);
    CValueSmart(CValueSmart&&) noexcept;
    CValueSmart& operator=(CValueSmart&&) noexcept;
    ~CValueSmart() override;

    CValue* Clone() const override;
    const char* TypeName() const override { return "CValueSmart"; }
    /// Both hold nothing, equal values, or images of the same type, size and voxels.
    bool Equals(const CValue& other) const override;

    bool IsImage() const { return m_image != nullptr; }
    bool IsEmpty() const { return !m_image && !m_value; }
    /// The held image, or null.
    CImage* Image() { return m_image.get(); }
    const CImage* Image() const { return m_image.get(); }
    /// The held value, or null (also when an image is held).
    CValue* Value() { return m_value.get(); }
    const CValue* Value() const { return m_value.get(); }

    /// The held value as a T, or null. As<CImage>() answers the held image.
    template <class T> T* As() {
        if constexpr (std::is_same_v<std::remove_cv_t<T>, CImage>)
            return m_image.get();
        else
            return dynamic_cast<T*>(m_value.get());
    }
    template <class T> const T* As() const { return const_cast<CValueSmart*>(this)->As<T>(); }

    /// Replaces the content by `owned` (nothing when null); what was held is deleted.
    void SetValue(CValue* owned);
    void SetImage(CImage* owned);
    /// Deletes what is held.
    void Reset();
    /// Hands the held value over to the caller; the holder is empty afterwards if it held one.
    CValue* TakeValue();
    CImage* TakeImage();

private:
    std::unique_ptr<CValue> m_value;
    std::unique_ptr<CImage> m_image;
};

} // namespace KYVO
