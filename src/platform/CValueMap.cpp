// SPDX-License-Identifier: MIT
#include "platform/CValueMap.h"

#include "platform/CException.h"
#include "platform/CValueVector.h"

namespace KYVO {

namespace {

// Reads the value at `path` as type T, reporting the outcome through `err`.
template <class T> const T* lookup(const CValue* value, CValue::EnErrType* err) {
    const T* typed = dynamic_cast<const T*>(value);
    if (err)
        *err = typed ? CValue::ERR_OK : value ? CValue::ERR_WRONG_TYPE : CValue::ERR_NOT_FOUND;
    return typed;
}

void checkPath(std::string_view path) {
    if (path.empty())
        KYVO_THROW("CValueMap: empty path");
    for (std::size_t start = 0;;) {
        const std::size_t slash = path.find('/', start);
        if (slash == start || start == path.size())
            KYVO_THROW("CValueMap: empty part in path \"" + std::string(path) + "\"");
        if (slash == std::string_view::npos)
            return;
        start = slash + 1;
    }
}

} // namespace

CValueMap::CValueMap() = default;

CValueMap::CValueMap(const CValueMap& other) : CValue(other) {
    copyFrom(other);
}

CValueMap& CValueMap::operator=(const CValueMap& other) {
    if (this != &other) {
        CValueMap copy(other);
        Swap(copy);
    }
    return *this;
}

CValueMap::CValueMap(CValueMap&& other) noexcept {
    Swap(other);
}

CValueMap& CValueMap::operator=(CValueMap&& other) noexcept {
    if (this != &other) {
        Clear();
        Swap(other);
    }
    return *this;
}

CValueMap::~CValueMap() = default;

void CValueMap::copyFrom(const CValueMap& other) {
    for (const Entry& e : other.m_entries) {
        m_entries.push_back(Entry{e.key, std::unique_ptr<CValue>(e.value->Clone()),
                                  e.attributes ? std::make_unique<CValueMap>(*e.attributes) : nullptr});
        const auto last = std::prev(m_entries.end());
        m_index.emplace(std::string_view(last->key), last);
    }
}

CValue* CValueMap::Clone() const {
    return new CValueMap(*this);
}

bool CValueMap::Equals(const CValue& other) const {
    const auto* o = dynamic_cast<const CValueMap*>(&other);
    if (!o || o->m_entries.size() != m_entries.size())
        return false;
    for (const Entry& e : m_entries) {
        const Entry* oe = o->findKey(e.key);
        if (!oe || !e.value->Equals(*oe->value))
            return false;
        const bool hasAttributes = e.attributes && !e.attributes->empty();
        const bool otherHasAttributes = oe->attributes && !oe->attributes->empty();
        if (hasAttributes != otherHasAttributes || (hasAttributes && !e.attributes->Equals(*oe->attributes)))
            return false;
    }
    return true;
}

const CValueMap::Entry* CValueMap::findKey(std::string_view key) const {
    const auto it = m_index.find(key);
    return it == m_index.end() ? nullptr : &*it->second;
}

CValueMap::Entry* CValueMap::findKey(std::string_view key) {
    const auto it = m_index.find(key);
    return it == m_index.end() ? nullptr : &*it->second;
}

const CValueMap::Entry* CValueMap::findPath(std::string_view path) const {
    const CValueMap* map = this;
    for (;;) {
        const std::size_t slash = path.find('/');
        const Entry* entry = map->findKey(path.substr(0, slash));
        if (!entry || slash == std::string_view::npos)
            return entry;
        map = dynamic_cast<const CValueMap*>(entry->value.get());
        if (!map)
            return nullptr;
        path.remove_prefix(slash + 1);
    }
}

CValueMap::Entry* CValueMap::findPath(std::string_view path) {
    return const_cast<Entry*>(static_cast<const CValueMap*>(this)->findPath(path));
}

CValueMap* CValueMap::parentOf(std::string_view path, std::string_view* leaf, bool create) {
    CValueMap* map = this;
    for (;;) {
        const std::size_t slash = path.find('/');
        if (slash == std::string_view::npos) {
            *leaf = path;
            return map;
        }
        const std::string_view part = path.substr(0, slash);
        Entry* entry = map->findKey(part);
        if (!entry) {
            if (!create)
                return nullptr;
            map->setKey(part, std::make_unique<CValueMap>());
            entry = map->findKey(part);
        }
        auto* next = dynamic_cast<CValueMap*>(entry->value.get());
        if (!next) {
            if (!create)
                return nullptr;
            KYVO_THROW("CValueMap: \"" + std::string(part) + "\" holds a " + entry->value->TypeName() +
                       ", not a map, so the path cannot lead through it");
        }
        map = next;
        path.remove_prefix(slash + 1);
    }
}

void CValueMap::setKey(std::string_view key, std::unique_ptr<CValue> value) {
    if (Entry* entry = findKey(key)) {
        entry->value = std::move(value);
        return;
    }
    m_entries.push_back(Entry{std::string(key), std::move(value), nullptr});
    const auto last = std::prev(m_entries.end());
    m_index.emplace(std::string_view(last->key), last);
}

void CValueMap::eraseKey(std::string_view key) {
    const auto it = m_index.find(key);
    if (it == m_index.end())
        return;
    const EntryList::iterator node = it->second;
    // The index key views the node's string, so it goes first.
    m_index.erase(it);
    m_entries.erase(node);
}

void CValueMap::Set(const std::string& path, CValue* owned) {
    if (!owned)
        KYVO_THROW("CValueMap: a null value cannot be stored at \"" + path + "\"");
    // Storing the value that is already there must not delete it.
    if (const Entry* existing = findPath(path); existing && existing->value.get() == owned)
        return;
    std::unique_ptr<CValue> value(owned);
    checkPath(path);
    std::string_view leaf;
    CValueMap* parent = parentOf(path, &leaf, true);
    parent->setKey(leaf, std::move(value));
}

CValue* CValueMap::Get(const std::string& path) {
    Entry* entry = findPath(path);
    return entry ? entry->value.get() : nullptr;
}

const CValue* CValueMap::Get(const std::string& path) const {
    const Entry* entry = findPath(path);
    return entry ? entry->value.get() : nullptr;
}

bool CValueMap::Remove(const std::string& path) {
    std::string_view leaf;
    CValueMap* parent = parentOf(path, &leaf, false);
    if (!parent || !parent->findKey(leaf))
        return false;
    parent->eraseKey(leaf);
    return true;
}

CValue* CValueMap::Take(const std::string& path) {
    std::string_view leaf;
    CValueMap* parent = parentOf(path, &leaf, false);
    Entry* entry = parent ? parent->findKey(leaf) : nullptr;
    if (!entry)
        return nullptr;
    CValue* value = entry->value.release();
    parent->eraseKey(leaf);
    return value;
}

std::vector<std::string> CValueMap::Keys() const {
    std::vector<std::string> keys;
    keys.reserve(m_entries.size());
    for (const Entry& e : m_entries)
        keys.push_back(e.key);
    return keys;
}

void CValueMap::Clear() {
    m_index.clear();
    m_entries.clear();
}

void CValueMap::Swap(CValueMap& other) noexcept {
    // Both containers keep their nodes when swapped, so the index stays valid.
    m_entries.swap(other.m_entries);
    m_index.swap(other.m_index);
}

void CValueMap::Merge(const CValueMap& other) {
    if (&other == this)
        return;
    for (const Entry& e : other.m_entries) {
        setKey(e.key, std::unique_ptr<CValue>(e.value->Clone()));
        if (e.attributes)
            findKey(e.key)->attributes = std::make_unique<CValueMap>(*e.attributes);
    }
}

std::string CValueMap::GetString(const std::string& path, const std::string& def, EnErrType* err) const {
    const auto* v = lookup<CValueString>(Get(path), err);
    return v ? v->Get() : def;
}

int64_t CValueMap::GetLong(const std::string& path, int64_t def, EnErrType* err) const {
    const auto* v = lookup<CValueLong>(Get(path), err);
    return v ? v->Get() : def;
}

double CValueMap::GetDouble(const std::string& path, double def, EnErrType* err) const {
    const CValue* value = Get(path);
    if (const auto* l = dynamic_cast<const CValueLong*>(value)) {
        if (err)
            *err = ERR_OK;
        return double(l->Get());
    }
    const auto* v = lookup<CValueDouble>(value, err);
    return v ? v->Get() : def;
}

bool CValueMap::GetBool(const std::string& path, bool def, EnErrType* err) const {
    const auto* v = lookup<CValueBool>(Get(path), err);
    return v ? v->Get() : def;
}

std::vector<std::string> CValueMap::GetStringVector(const std::string& path,
                                                    const std::vector<std::string>& def,
                                                    EnErrType* err) const {
    const auto* vector = lookup<CValueVector>(Get(path), err);
    if (!vector)
        return def;
    std::vector<std::string> result;
    result.reserve(vector->size());
    for (std::size_t i = 0; i < vector->size(); ++i) {
        const auto* s = dynamic_cast<const CValueString*>(vector->at(i));
        if (!s) {
            if (err)
                *err = ERR_WRONG_TYPE;
            return def;
        }
        result.push_back(s->Get());
    }
    return result;
}

const CValueMap* CValueMap::GetMap(const std::string& path, EnErrType* err) const {
    return lookup<CValueMap>(Get(path), err);
}

CValueMap* CValueMap::GetMap(const std::string& path, EnErrType* err) {
    return const_cast<CValueMap*>(static_cast<const CValueMap*>(this)->GetMap(path, err));
}

const CValueVector* CValueMap::GetVector(const std::string& path, EnErrType* err) const {
    return lookup<CValueVector>(Get(path), err);
}

CValueVector* CValueMap::GetVector(const std::string& path, EnErrType* err) {
    return const_cast<CValueVector*>(static_cast<const CValueMap*>(this)->GetVector(path, err));
}

void CValueMap::SetString(const std::string& path, const std::string& value) {
    Set(path, new CValueString(value));
}

void CValueMap::SetLong(const std::string& path, int64_t value) {
    Set(path, new CValueLong(value));
}

void CValueMap::SetDouble(const std::string& path, double value) {
    Set(path, new CValueDouble(value));
}

void CValueMap::SetBool(const std::string& path, bool value) {
    Set(path, new CValueBool(value));
}

void CValueMap::SetStringVector(const std::string& path, const std::vector<std::string>& value) {
    auto vector = std::make_unique<CValueVector>();
    for (const std::string& s : value)
        vector->Append(new CValueString(s));
    Set(path, vector.release());
}

bool CValueMap::SetAttribute(const std::string& path, const std::string& name, CValue* owned) {
    std::unique_ptr<CValue> value(owned);
    if (!value)
        KYVO_THROW("CValueMap: a null value cannot be stored as attribute \"" + name + "\"");
    if (name.empty())
        KYVO_THROW("CValueMap: an attribute needs a name");
    Entry* entry = findPath(path);
    if (!entry)
        return false;
    if (!entry->attributes)
        entry->attributes = std::make_unique<CValueMap>();
    entry->attributes->setKey(name, std::move(value));
    return true;
}

const CValue* CValueMap::GetAttribute(const std::string& path, const std::string& name) const {
    const Entry* entry = findPath(path);
    if (!entry || !entry->attributes)
        return nullptr;
    const Entry* attribute = entry->attributes->findKey(name);
    return attribute ? attribute->value.get() : nullptr;
}

const CValueMap* CValueMap::Attributes(const std::string& path) const {
    const Entry* entry = findPath(path);
    return entry ? entry->attributes.get() : nullptr;
}

} // namespace KYVO
