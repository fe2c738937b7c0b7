// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CValue.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KYVO {

class CValueVector;

/// A map from string keys to owned values, kept in insertion order.
///
/// Every function that takes a `path` accepts "a/b/c": each part but the last names a nested
/// CValueMap. Set() creates missing intermediate maps; the getters answer "not found" when a part
/// is missing or is not a map. Replacing a key keeps its position and its attributes.
///
/// Each stored value may carry attributes: a small map of named values ("desc", "label",
/// "optional") that describe it without being part of the content.
///
/// Every `owned` argument is taken over, also when the call throws. Null values, empty paths
/// (or empty parts such as "a//b") and paths that lead through a value that is not a map raise
/// a CException.
class CValueMap : public CValue {
public:
    CValueMap();
    CValueMap(const CValueMap& other);
    CValueMap& operator=(const CValueMap& other);
    CValueMap(CValueMap&& other) noexcept;
    CValueMap& operator=(CValueMap&& other) noexcept;
    ~CValueMap() override;

    CValue* Clone() const override;
    const char* TypeName() const override { return "CValueMap"; }
    /// Same keys with equal values and equal attributes; the order of the keys is not compared.
    bool Equals(const CValue& other) const override;

    /// Stores a value at `path`, replacing (and deleting) what was there.
    void Set(const std::string& path, CValue* owned);
    /// The value at `path`, or null.
    CValue* Get(const std::string& path);
    const CValue* Get(const std::string& path) const;
    bool Has(const std::string& path) const { return findPath(path) != nullptr; }
    /// Deletes the value at `path` with its attributes; false when there was none.
    bool Remove(const std::string& path);
    /// Takes the value at `path` out of the map (its attributes are dropped); null when there was none.
    CValue* Take(const std::string& path);

    /// The top-level keys in insertion order.
    std::vector<std::string> Keys() const;
    std::size_t size() const { return m_entries.size(); }
    bool empty() const { return m_entries.empty(); }
    void Clear();
    void Swap(CValueMap& other) noexcept;
    /// Copies every top-level entry of `other` (with its attributes) into this map, replacing
    /// entries of the same key in place and appending the others.
    void Merge(const CValueMap& other);

    // Typed getters: the value at `path`, or `def` when it is missing or of another type.
    // `err`, when given, receives ERR_OK, ERR_NOT_FOUND or ERR_WRONG_TYPE.
    std::string GetString(const std::string& path, const std::string& def = {},
                          EnErrType* err = nullptr) const;
    int64_t GetLong(const std::string& path, int64_t def = 0, EnErrType* err = nullptr) const;
    /// Reads a CValueDouble, or a CValueLong converted to double.
    double GetDouble(const std::string& path, double def = 0, EnErrType* err = nullptr) const;
    bool GetBool(const std::string& path, bool def = false, EnErrType* err = nullptr) const;
    /// Reads a CValueVector whose elements are all CValueString.
    std::vector<std::string> GetStringVector(const std::string& path,
                                             const std::vector<std::string>& def = {},
                                             EnErrType* err = nullptr) const;
    /// The nested map at `path`, or null.
    const CValueMap* GetMap(const std::string& path, EnErrType* err = nullptr) const;
    CValueMap* GetMap(const std::string& path, EnErrType* err = nullptr);
    /// The vector at `path`, or null.
    const CValueVector* GetVector(const std::string& path, EnErrType* err = nullptr) const;
    CValueVector* GetVector(const std::string& path, EnErrType* err = nullptr);

    void SetString(const std::string& path, const std::string& value);
    void SetLong(const std::string& path, int64_t value);
    void SetDouble(const std::string& path, double value);
    void SetBool(const std::string& path, bool value);
    /// Stores a CValueVector of CValueString.
    void SetStringVector(const std::string& path, const std::vector<std::string>& value);

    /// Attaches attribute `name` to the value at `path`, replacing an attribute of that name.
    /// False (and `owned` deleted) when nothing is stored at `path`.
    bool SetAttribute(const std::string& path, const std::string& name, CValue* owned);
    /// Attribute `name` of the value at `path`; null when the path or the attribute is missing.
    const CValue* GetAttribute(const std::string& path, const std::string& name) const;
    /// All attributes of the value at `path`; null when it has none or the path is missing.
    const CValueMap* Attributes(const std::string& path) const;

private:
    struct Entry {
        std::string key;
        std::unique_ptr<CValue> value;
        std::unique_ptr<CValueMap> attributes;
    };
    using EntryList = std::list<Entry>;

    const Entry* findKey(std::string_view key) const;
    Entry* findKey(std::string_view key);
    const Entry* findPath(std::string_view path) const;
    Entry* findPath(std::string_view path);
    /// The map that holds the last part of `path` (created on the way when `create` is set),
    /// and that last part; null when a part is missing.
    CValueMap* parentOf(std::string_view path, std::string_view* leaf, bool create);
    /// Stores `value` under a single key, replacing in place.
    void setKey(std::string_view key, std::unique_ptr<CValue> value);
    void eraseKey(std::string_view key);
    void copyFrom(const CValueMap& other);

    // The list keeps insertion order and stable nodes; the index points into it so lookups stay
    // constant-time in large maps. Index keys view the strings held by the list nodes.
    EntryList m_entries;
    std::unordered_map<std::string_view, EntryList::iterator> m_index;
};

} // namespace KYVO
