// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CValue.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KYVO {

/// Text form of value trees: JSON that keeps the value types exactly.
///
/// CValueMap becomes an object (keys in insertion order), CValueVector an array, CValueString a
/// string, CValueBool true/false, CValueLong an integer literal ("42") and CValueDouble a number
/// that always has a fraction or an exponent ("42.0", "1e+300"), so a long and a double of the
/// same value stay apart. Longs round-trip exactly over the whole 64-bit range; doubles are
/// written in the shortest form that reads back to the same number. Non-finite doubles are
/// written as NaN, Infinity and -Infinity, as many JSON libraries accept.
///
/// Attributes are not part of the text form.
class CValueJson {
public:
    /// Deepest nesting of arrays and objects Read() accepts.
    static constexpr int MaxDepth = 200;

    /// The indented JSON text of `value`. Values that have no text form (images, pointers,
    /// CValueSmart) are left out; the path of each ("main/list/2") is added to `skipped` when given.
    static std::string Write(const CValue& value, std::vector<std::string>* skipped = nullptr);

    /// Parses JSON text into a value tree; the caller owns the result. Null on malformed input,
    /// with a message giving line and column in `error` when given. JSON null, empty keys and
    /// keys containing "/" are refused, since a CValueMap cannot hold them.
    static std::unique_ptr<CValue> Read(std::string_view text, std::string* error = nullptr);
};

} // namespace KYVO
