// SPDX-License-Identifier: MIT
#include "model/ReannotationRules.h"

#include "model/Label.h"
#include "model/Project.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeySequence>

namespace pxm {

const char* const ReannotationRules::SettingsKey = "ReannotationKeys";

QString ReannotationRules::normalizedKey(const QString& key) {
    const QKeySequence sequence = QKeySequence::fromString(key.trimmed(), QKeySequence::PortableText);
    // A multi-key chord cannot be matched against a single key release.
    if (sequence.isEmpty() || sequence.count() != 1 || sequence[0] == Qt::Key_unknown)
        return {};
    return sequence.toString(QKeySequence::PortableText);
}

ReannotationRules ReannotationRules::fromText(const QString& text) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return {};
    QList<ReannotationRule> rules;
    for (const QJsonValue& value : document.array()) {
        const QJsonObject object = value.toObject();
        ReannotationRule rule{normalizedKey(object.value("key").toString()),
                              object.value("from").toString().trimmed(),
                              object.value("to").toString().trimmed()};
        if (!rule.key.isEmpty() && !rule.to.isEmpty())
            rules << rule;
    }
    return ReannotationRules(rules);
}

QString ReannotationRules::toText() const {
    QJsonArray array;
    for (const ReannotationRule& rule : m_rules)
        array.append(QJsonObject{{"key", rule.key}, {"from", rule.from}, {"to", rule.to}});
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

ReannotationRules ReannotationRules::fromProject(const Project* project) {
    return project ? fromText(project->setting(SettingsKey, QString()).toString()) : ReannotationRules();
}

void ReannotationRules::storeIn(Project* project) const {
    if (project)
        project->setSetting(SettingsKey, toText());
}

QList<ReannotationRule> ReannotationRules::rulesForKey(const QString& key) const {
    const QString wanted = normalizedKey(key);
    QList<ReannotationRule> result;
    if (wanted.isEmpty())
        return result;
    for (const ReannotationRule& rule : m_rules)
        if (normalizedKey(rule.key) == wanted)
            result << rule;
    return result;
}

const ReannotationRule* ReannotationRules::ruleFor(const QString& key, const Label* label) const {
    const QString wanted = normalizedKey(key);
    if (wanted.isEmpty())
        return nullptr;
    for (const ReannotationRule& rule : m_rules)
        if (normalizedKey(rule.key) == wanted && appliesTo(rule, label))
            return &rule;
    return nullptr;
}

Label* ReannotationRules::targetOf(const ReannotationRule& rule, const Project* project) {
    return project ? project->labelByName(rule.to) : nullptr;
}

bool ReannotationRules::appliesTo(const ReannotationRule& rule, const Label* label) {
    if (!label || label->name() == rule.to)
        return false;
    return rule.from.isEmpty() || label->name() == rule.from;
}

} // namespace pxm
