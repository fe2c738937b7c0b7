// SPDX-License-Identifier: MIT
#include "ui/RecentProjects.h"

#include "platform/CRegistry.h"
#include "platform/CValueVector.h"

#include <memory>

namespace pxm {

const char* const RecentProjects::registryKey = "main/RecentProjects";

QStringList RecentProjects::paths() {
    QStringList result;
    const KYVO::CValueVector* stored = KYVO::CRegistry::Obj().GetVector(registryKey);
    if (!stored)
        return result;
    for (std::size_t i = 0; i < stored->size(); ++i) {
        if (const auto* entry = dynamic_cast<const KYVO::CValueString*>(stored->at(i)))
            result << QString::fromStdString(entry->Get());
    }
    return result;
}

void RecentProjects::add(const QString& path) {
    if (path.isEmpty())
        return;
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    if (!registry.GetVector(registryKey))
        registry.Set(registryKey, new KYVO::CValueVector);
    const KYVO::CValueVector* old = registry.GetVector(registryKey);
    const std::string added = path.toStdString();
    auto updated = std::make_unique<KYVO::CValueVector>();
    updated->Append(new KYVO::CValueString(added));
    // Positions 0..19 of the old list are looked at, whether or not one of them is the new path.
    for (std::size_t i = 0; i < old->size() && i < std::size_t(olderEntriesKept); ++i) {
        const KYVO::CValue* entry = old->at(i);
        const auto* text = dynamic_cast<const KYVO::CValueString*>(entry);
        if (text && text->Get() == added)
            continue;
        updated->Append(entry->Clone());
    }
    registry.Set(registryKey, updated.release());
}

} // namespace pxm
