// SPDX-License-Identifier: MIT
#include "ui/ShortcutSettings.h"

#include "model/Project.h"
#include "platform/CRegistry.h"
#include "ui/MainWindow.h"

#include <QAction>
#include <QApplication>

namespace pxm {

const char* const ShortcutSettings::registryGroup = "main/Shortcuts";

QString ShortcutSettings::registryKey(const MainActionRow& row) {
    return QString::fromLatin1(registryGroup) + '/' + QLatin1String(row.objectName);
}

QList<QKeySequence> ShortcutSettings::shortcuts(const MainActionRow& row) {
    KYVO::CValue::EnErrType err = KYVO::CValue::ERR_OK;
    const std::string stored = KYVO::CRegistry::Obj().GetString(registryKey(row).toStdString(), {}, &err);
    // A hand-edited entry of another type counts as none.
    if (err != KYVO::CValue::ERR_OK)
        return MainWindowActions::defaultShortcuts(row);
    QList<QKeySequence> keys;
    for (const QKeySequence& key :
         QKeySequence::listFromString(QString::fromStdString(stored), QKeySequence::PortableText))
        if (!key.isEmpty())
            keys << key;
    return keys;
}

void ShortcutSettings::store(const MainActionRow& row, const QList<QKeySequence>& keys) {
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    const std::string key = registryKey(row).toStdString();
    if (keys == MainWindowActions::defaultShortcuts(row))
        registry.Remove(key);
    else
        registry.SetString(key, QKeySequence::listToString(keys, QKeySequence::PortableText).toStdString());
}

void ShortcutSettings::apply(MainWindow& window) {
    for (const MainActionRow& row : MainWindowActions::actions())
        if (QAction* action = window.action(row.id))
            action->setShortcuts(shortcuts(row));
}

void ShortcutSettings::applyToAllWindows() {
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* window = qobject_cast<MainWindow*>(widget))
            apply(*window);
}

} // namespace pxm
