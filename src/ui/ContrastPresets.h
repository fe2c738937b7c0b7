// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

namespace pxm {

/// A named display window the user keeps for reuse.
struct ContrastPreset {
    QString name;
    double min = 0.0;
    double max = 0.0;
    bool operator==(const ContrastPreset& o) const { return name == o.name && min == o.min && max == o.max; }
};

/// The user's contrast presets, kept in the per-user registry as JSON text under `registryKey`,
/// so they serve every project. Until the user changes them there are three: the 8-, 12- and
/// 16-bit value ranges.
class ContrastPresets {
public:
    static const char* const registryKey;

    static QList<ContrastPreset> load();
    static void save(const QList<ContrastPreset>& presets);
    /// Adds a preset, or replaces the one of the same name. Windows with max ≤ min are refused.
    static bool put(const ContrastPreset& preset);
    static void remove(const QString& name);
};

} // namespace pxm
