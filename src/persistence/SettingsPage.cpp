// SPDX-License-Identifier: MIT
#include "persistence/SettingsPage.h"

#include "model/Project.h"
#include "model/SettingsKeys.h"
#include "platform/CRegistry.h"

#include <QScopedValueRollback>

namespace pxm {

namespace {

const SettingKey* findKey(const QString& projectKey) {
    for (const SettingKey& key : settingKeys())
        if (projectKey == QLatin1String(key.projectKey))
            return &key;
    return nullptr;
}

} // namespace

bool writeSettingToRegistry(const QString& projectKey, const QVariant& value) {
    const SettingKey* key = findKey(projectKey);
    if (!key)
        return false;
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    switch (key->type) {
    case SettingType::String:
        registry.SetString(key->registryKey, value.toString().toStdString());
        break;
    case SettingType::Integer:
        registry.SetLong(key->registryKey, value.toLongLong());
        break;
    case SettingType::Double:
        registry.SetDouble(key->registryKey, value.toDouble());
        break;
    case SettingType::Bool:
        registry.SetBool(key->registryKey, value.toBool());
        break;
    }
    return true;
}

SettingsPage::SettingsPage(const QString& title, Project* project, QWidget* parent)
    : QGroupBox(title, parent), m_project(project) {}

QVariant SettingsPage::settingOrDefault(const Project* project, const QString& projectKey) {
    const SettingKey* key = findKey(projectKey);
    const QVariant fallback = key ? key->defaultValue : QVariant();
    return project ? project->setting(projectKey, fallback) : fallback;
}

QVariant SettingsPage::value(const QString& projectKey) const {
    return settingOrDefault(m_project.data(), projectKey);
}

void SettingsPage::store(const QString& projectKey, const QVariant& newValue) {
    if (!m_project)
        return;
    // Only a real change becomes the user's default; values this page merely shows, such as
    // those a project file brought along, stay with the project.
    const bool changed = value(projectKey) != newValue;
    m_project->setSetting(projectKey, newValue);
    if (changed)
        writeSettingToRegistry(projectKey, newValue);
}

void SettingsPage::projectToUi() {
    const QScopedValueRollback<bool> guard(m_updatingUi, true);
    readProject();
}

void SettingsPage::uiToProject() {
    writeProject();
}

} // namespace pxm
