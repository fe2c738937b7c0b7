// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

namespace pxm {

class Label;
class Project;

/// One reannotation rule: pressing `key` moves an item of label `from` to label `to`.
///
/// Labels are named rather than given by id: the rules also live in the per-user settings,
/// and a name carries over from one project to the next while ids are random per project.
/// An empty `from` matches an item of any label.
struct ReannotationRule {
    QString key;  ///< a key sequence in Qt's portable text form, such as "1" or "Shift+Q"
    QString from; ///< name of the label whose items move; empty for any label
    QString to;   ///< name of the label they move to

    bool operator==(const ReannotationRule& o) const { return key == o.key && from == o.from && to == o.to; }
    bool operator!=(const ReannotationRule& o) const { return !(*this == o); }
};

/// The reannotation rules of a project, kept in its settings under "ReannotationKeys" as JSON
/// text (a list of objects with "key", "from" and "to"), so that the project file and the
/// per-user registry store them like any other string setting.
class ReannotationRules {
public:
    /// The project settings key.
    static const char* const SettingsKey;

    ReannotationRules() = default;
    explicit ReannotationRules(QList<ReannotationRule> rules) : m_rules(std::move(rules)) {}

    const QList<ReannotationRule>& rules() const { return m_rules; }
    bool isEmpty() const { return m_rules.isEmpty(); }

    /// Parses the stored text. Entries without a key or a target are dropped, as are entries
    /// of a malformed text altogether: a bad setting must not stop the program.
    static ReannotationRules fromText(const QString& text);
    /// The compact JSON form stored in the settings.
    QString toText() const;

    /// The project's rules (none when it has no setting).
    static ReannotationRules fromProject(const Project* project);
    /// Stores the rules in the project's settings.
    void storeIn(Project* project) const;

    /// The rules bound to `key` (compared as key sequences, so "shift+q" equals "Shift+Q"),
    /// in their stored order.
    QList<ReannotationRule> rulesForKey(const QString& key) const;
    /// The first rule bound to `key` that applies to an item of `label`, or null.
    const ReannotationRule* ruleFor(const QString& key, const Label* label) const;

    /// The label the rule moves to, looked up by name in the project, or null.
    static Label* targetOf(const ReannotationRule& rule, const Project* project);
    /// True when the rule moves items of `label` (and the label is not already the target).
    static bool appliesTo(const ReannotationRule& rule, const Label* label);
    /// The key in the canonical portable text form; empty for text that is no key sequence.
    static QString normalizedKey(const QString& key);

private:
    QList<ReannotationRule> m_rules;
};

} // namespace pxm
