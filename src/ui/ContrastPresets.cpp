// SPDX-License-Identifier: MIT
#include "ui/ContrastPresets.h"

#include "platform/CRegistry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace pxm {

const char* const ContrastPresets::registryKey = "main/Contrast/Presets";

QList<ContrastPreset> ContrastPresets::load() {
    KYVO::CValue::EnErrType err = KYVO::CValue::ERR_OK;
    const std::string stored = KYVO::CRegistry::Obj().GetString(registryKey, {}, &err);
    if (err != KYVO::CValue::ERR_OK)
        return {{"8-bit", 0, 255}, {"12-bit", 0, 4095}, {"16-bit", 0, 65535}};
    QList<ContrastPreset> presets;
    for (const QJsonValue& v : QJsonDocument::fromJson(QByteArray::fromStdString(stored)).array()) {
        const QJsonObject o = v.toObject();
        const ContrastPreset preset{o.value("name").toString(), o.value("min").toDouble(),
                                    o.value("max").toDouble()};
        // A hand-edited entry without a usable window is left out.
        if (!preset.name.isEmpty() && preset.max > preset.min)
            presets << preset;
    }
    return presets;
}

void ContrastPresets::save(const QList<ContrastPreset>& presets) {
    QJsonArray array;
    for (const ContrastPreset& p : presets)
        array.append(QJsonObject{{"name", p.name}, {"min", p.min}, {"max", p.max}});
    KYVO::CRegistry::Obj().SetString(registryKey,
                                     QJsonDocument(array).toJson(QJsonDocument::Compact).toStdString());
}

bool ContrastPresets::put(const ContrastPreset& preset) {
    if (preset.name.trimmed().isEmpty() || !(preset.max > preset.min))
        return false;
    QList<ContrastPreset> presets = load();
    auto same = std::find_if(presets.begin(), presets.end(),
                             [&preset](const ContrastPreset& p) { return p.name == preset.name; });
    if (same != presets.end())
        *same = preset;
    else
        presets << preset;
    save(presets);
    return true;
}

void ContrastPresets::remove(const QString& name) {
    QList<ContrastPreset> presets = load();
    presets.erase(std::remove_if(presets.begin(), presets.end(),
                                 [&name](const ContrastPreset& p) { return p.name == name; }),
                  presets.end());
    save(presets);
}

} // namespace pxm
