// SPDX-License-Identifier: MIT
#pragma once

#include <QVariant>
#include <QVector>

namespace pxm {

/// How a setting is stored in the per-user registry.
enum class SettingType { String, Integer, Double, Bool };

/// One project setting and its per-user counterpart in the registry.
struct SettingKey {
    const char* projectKey;  ///< key in the project's settings map, e.g. "View.cameraMode"
    const char* registryKey; ///< key in the registry, e.g. "main/Settings/View/CameraMode"
    SettingType type;
    QVariant defaultValue; ///< the value used where the project has none
};

/// Every project setting backed by the registry, in the order the registry is copied in.
const QVector<SettingKey>& settingKeys();

/// The built-in status line format (before translation).
extern const char* const kDefaultStatusFormat;
/// The built-in script command (before translation).
extern const char* const kDefaultScriptPath;

} // namespace pxm
