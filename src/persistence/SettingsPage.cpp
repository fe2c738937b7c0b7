// SPDX-License-Identifier: MIT
#include "persistence/SettingsPage.h"

#include "model/Project.h"
#include "model/SettingsKeys.h"
#include "platform/CRegistry.h"

#include <QAbstractSpinBox>
#include <QComboBox>
#include <QEvent>
#include <QScopedValueRollback>
#include <QSlider>

namespace pxm {

namespace {

const SettingKey* findKey(const QString& projectKey) {
    for (const SettingKey& key : settingKeys())
        if (projectKey == QLatin1String(key.projectKey))
            return &key;
    return nullptr;
}

// Turns wheel events away from the widgets it filters unless they have the focus; ignored,
// the event goes on to the parent, which scrolls. Installed on the root as well, it guards the
// widgets of pages added after it was made when the root is shown.
class WheelGuard : public QObject {
public:
    explicit WheelGuard(QWidget* root) : QObject(root), m_root(root) {
        root->installEventFilter(this);
        guardChildren();
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == m_root) {
            if (event->type() == QEvent::Show)
                guardChildren();
            return false;
        }
        if (event->type() != QEvent::Wheel)
            return false;
        auto* widget = qobject_cast<QWidget*>(watched);
        if (!widget || widget->hasFocus())
            return false;
        event->ignore();
        return true;
    }

private:
    void guardChildren() {
        for (QWidget* widget : m_root->findChildren<QWidget*>()) {
            if (!qobject_cast<QAbstractSpinBox*>(widget) && !qobject_cast<QSlider*>(widget) &&
                !qobject_cast<QComboBox*>(widget))
                continue;
            widget->setFocusPolicy(Qt::StrongFocus);
            // Installing again only moves the filter to the front.
            widget->installEventFilter(this);
        }
    }

    QWidget* m_root;
};

} // namespace

void takeWheelOnlyWhenFocused(QWidget* root) {
    if (root)
        new WheelGuard(root);
}

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
