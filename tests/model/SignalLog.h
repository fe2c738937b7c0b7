// SPDX-License-Identifier: MIT
#pragma once

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabeledImage.h"

#include <QStringList>

namespace pxmtest {

/// Records a project's signals in the order they are emitted, as short texts such as
/// "currentImageChanged(a.png)" or "currentLabelChanged(null)".
class SignalLog {
public:
    explicit SignalLog(pxm::Project* project) {
        using P = pxm::Project;
        QObject::connect(project, &P::pathChanged, &m_context, [this](QString p) { add("pathChanged", p); });
        QObject::connect(project, &P::cleared, &m_context, [this] { add("cleared", {}); });
        QObject::connect(project, &P::imageAdded, &m_context,
                         [this](pxm::LabeledImage* i) { add("imageAdded", name(i)); });
        QObject::connect(project, &P::imageRemoved, &m_context,
                         [this](pxm::LabeledImage* i) { add("imageRemoved", name(i)); });
        QObject::connect(project, &P::currentImageChanged, &m_context,
                         [this](pxm::LabeledImage* i) { add("currentImageChanged", name(i)); });
        QObject::connect(project, &P::currentSceneChanged, &m_context,
                         [this](pxm::Scene* s) { add("currentSceneChanged", s ? "scene" : "null"); });
        QObject::connect(project, &P::labelAdded, &m_context,
                         [this](pxm::Label* l) { add("labelAdded", name(l)); });
        QObject::connect(project, &P::labelRemoved, &m_context,
                         [this](pxm::Label* l) { add("labelRemoved", name(l)); });
        QObject::connect(project, &P::currentLabelChanged, &m_context,
                         [this](pxm::Label* l) { add("currentLabelChanged", name(l)); });
        QObject::connect(project, &P::settingsChanged, &m_context,
                         [this](QString k) { add("settingsChanged", k); });
    }

    /// The recorded signals since the last take, then forgets them.
    QStringList take() {
        QStringList result = m_entries;
        m_entries.clear();
        return result;
    }

private:
    static QString name(pxm::LabeledImage* i) { return i ? i->imagePath() : QString("null"); }
    static QString name(pxm::Label* l) { return l ? l->name() : QString("null"); }
    void add(const char* signal, const QString& arg) { m_entries << QString("%1(%2)").arg(signal, arg); }

    QStringList m_entries;
    QObject m_context; // ends the connections with the log
};

} // namespace pxmtest
