// SPDX-License-Identifier: MIT
#include "model/Project.h"

#include "model/Label.h"
#include "model/SettingsKeys.h"
#include "platform/CRegistry.h"
#include "platform/CValueMap.h"
#include "platform/CValueVector.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QUndoStack>
#include <QUuid>
#include <algorithm>
#include <iostream>

namespace pxm {

namespace {
NodaraReloadHandler g_reloadHandler = nullptr;
} // namespace

void setNodaraReloadHandler(NodaraReloadHandler handler) {
    g_reloadHandler = handler;
}

const QList<QColor>& Project::newLabelPalette() {
    static const QList<QColor> palette = {
        QColor(Qt::red),        QColor(Qt::green),    QColor(Qt::blue),     QColor(Qt::cyan),
        QColor(Qt::magenta),    QColor(Qt::yellow),   QColor(Qt::gray),     QColor(Qt::darkRed),
        QColor(Qt::darkGreen),  QColor(Qt::darkBlue), QColor(Qt::darkCyan), QColor(Qt::darkMagenta),
        QColor(Qt::darkYellow), QColor(Qt::darkGray)};
    return palette;
}

Project::Project(QObject* parent) : QObject(parent) {
    m_undoStack = new QUndoStack(this);
    m_undoStack->setUndoLimit(128);
    loadSettingsFromRegistry();
}

Project::~Project() {
    setCurrentImageIndex(-1);
    // With no current image this prints its complaint on every destruction; kept that way.
    setCurrentZLayer(-1);
    // Images first: their scenes still look labels up while they are torn down.
    const QList<LabeledImage*> images = m_images;
    m_images.clear();
    qDeleteAll(images);
    const QList<Label*> labels = m_labels;
    m_labels.clear();
    qDeleteAll(labels);
    delete m_undoStack;
    m_undoStack = nullptr;
}

void Project::loadSettingsFromRegistry() {
    const KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    for (const SettingKey& key : settingKeys()) {
        if (!registry.Has(key.registryKey))
            continue;
        QVariant value;
        switch (key.type) {
        case SettingType::String:
            value = QString::fromStdString(registry.GetString(key.registryKey));
            break;
        case SettingType::Integer:
            value = int(registry.GetLong(key.registryKey));
            break;
        case SettingType::Double:
            value = registry.GetDouble(key.registryKey);
            break;
        case SettingType::Bool:
            value = registry.GetBool(key.registryKey);
            break;
        }
        m_settings.insert(key.projectKey, value);
    }
}

void Project::setPath(QString path) {
    m_path = path;
    emit pathChanged(m_path);
}

LabeledImage* Project::currentImage() const {
    return m_currentImageIndex < 0 ? nullptr : m_images.value(m_currentImageIndex);
}

Scene* Project::currentScene() const {
    LabeledImage* image = currentImage();
    if (!image || m_currentZLayer < 0)
        return nullptr;
    return image->scene(m_currentZLayer);
}

Label* Project::currentLabel() const {
    return m_currentLabelIndex < 0 ? nullptr : m_labels.value(m_currentLabelIndex);
}

Label* Project::labelById(int id) const {
    for (Label* label : m_labels)
        if (label->id() == id)
            return label;
    return nullptr;
}

Label* Project::labelByName(const QString& name) const {
    for (Label* label : m_labels)
        if (label->name() == name)
            return label;
    return nullptr;
}

QList<Label*> Project::labelsByMaskId(int maskId) const {
    QList<Label*> result;
    for (Label* label : m_labels)
        if (label->maskId() == maskId)
            result.append(label);
    return result;
}

KYVO::CValueVector* Project::labelsToValueVector() const {
    auto* vector = new KYVO::CValueVector;
    for (const Label* label : m_labels)
        vector->Append(label->toValueMap());
    return vector;
}

Label* Project::createLabel() {
    auto* label = new Label;
    const int maskId = m_labels.size() + 1;
    label->setMaskId(maskId);
    label->setName(tr("Label %1").arg(maskId));
    const QList<QColor>& palette = newLabelPalette();
    label->setColor(palette[int(unsigned(maskId) % unsigned(palette.size()))]);
    label->setPrimaryOpacity(setting("Label.primary_opacity", 0.7).toDouble());
    label->setSecondaryOpacity(setting("Label.secondary_opacity", 0.3).toDouble());
    label->setPenWidth(setting("Label.pen_width", 0.5).toDouble());
    return addLabel(label);
}

QVariant Project::setting(const QString& key, const QVariant& defaultValue) const {
    return m_settings.value(key, defaultValue);
}

void Project::setSetting(const QString& key, const QVariant& value) {
    m_settings.insert(key, value);
    emit settingsChanged(key);
}

void Project::clear() {
    m_undoStack->clear();
    if (m_currentImageIndex != -1) {
        m_currentImageIndex = -1;
        m_currentZLayer = 0;
        emit currentImageChanged(nullptr);
        emit currentSceneChanged(nullptr);
    }
    if (m_currentLabelIndex != -1) {
        m_currentLabelIndex = -1;
        emit currentLabelChanged(nullptr);
    }
    const QList<LabeledImage*> images = m_images;
    m_images.clear();
    m_indexedPaths.clear();
    m_pathCounts.clear();
    qDeleteAll(images);
    const QList<Label*> labels = m_labels;
    m_labels.clear();
    qDeleteAll(labels);
    m_currentLabelIndex = -1;

    const QString tempPath = m_tempDir.path();
    if (!tempPath.isEmpty()) {
        QDir(tempPath).removeRecursively();
        QDir().mkpath(tempPath);
    }
    emit cleared();
}

void Project::indexImagePath(LabeledImage* image) {
    const QString path = image->imagePath();
    m_indexedPaths.insert(image, path);
    if (!path.isEmpty())
        ++m_pathCounts[path];
}

void Project::unindexImagePath(LabeledImage* image) {
    const auto it = m_indexedPaths.find(image);
    if (it == m_indexedPaths.end())
        return;
    if (!it->isEmpty()) {
        auto count = m_pathCounts.find(*it);
        if (count != m_pathCounts.end() && --*count <= 0)
            m_pathCounts.erase(count);
    }
    m_indexedPaths.erase(it);
}

void Project::on_image_imagePathChanged() {
    auto* image = qobject_cast<LabeledImage*>(sender());
    if (!image || !m_indexedPaths.contains(image))
        return;
    unindexImagePath(image);
    indexImagePath(image);
}

bool Project::addImage(LabeledImage* image) {
    if (!image)
        return false;
    if (m_indexedPaths.contains(image))
        return true;
    const QString path = image->imagePath();
    if (!path.isEmpty() && m_pathCounts.value(path) > 0) {
        std::cout << "The image '" << path.toLocal8Bit().constData() << "'"
                  << " has already been added to the project." << std::endl;
        return false;
    }
    image->setParent(this);
    m_images.append(image);
    indexImagePath(image);
    connect(image, &LabeledImage::imagePathChanged, this, &Project::on_image_imagePathChanged);
    emit imageAdded(image);
    if (m_currentImageIndex == -1)
        setCurrentImageIndex(m_images.size() - 1);
    return true;
}

LabeledImage* Project::takeImage(int index) {
    if (index < 0 || index >= m_images.size()) {
        // Callers never pass a bad index; refusing it keeps the lists intact if one does.
        std::cerr << "Cannot take the image because its index is out of range." << std::endl;
        return nullptr;
    }
    LabeledImage* image = m_images.takeAt(index);
    unindexImagePath(image);
    disconnect(image, &LabeledImage::imagePathChanged, this, &Project::on_image_imagePathChanged);
    image->setParent(nullptr);
    if (index == m_currentImageIndex)
        setCurrentImageIndex(std::min(m_currentImageIndex, int(m_images.size()) - 1), true);
    else if (index < m_currentImageIndex)
        --m_currentImageIndex;
    emit imageRemoved(image);
    return image;
}

LabeledImage* Project::takeImage(LabeledImage* image) {
    const int index = m_images.indexOf(image);
    return index < 0 ? nullptr : takeImage(index);
}

void Project::setCurrentImageIndex(int index, bool force) {
    if (index < -1 || index >= m_images.size()) {
        std::cerr << "Cannot set the current image because it is out of range." << std::endl;
        return;
    }
    if (index == m_currentImageIndex && !force)
        return;
    m_currentImageIndex = index;
    m_currentZLayer = 0;
    emit currentImageChanged(currentImage());
    emit currentSceneChanged(currentScene());
}

void Project::setCurrentZLayer(int z, bool force) {
    LabeledImage* image = currentImage();
    if (!image) {
        std::cerr << "Cannot set the current z layer if there is no current image." << std::endl;
        return;
    }
    if (z < -1 || z >= int(image->scenes().size())) {
        std::cerr << "Cannot set the current z layer because it is out of range." << std::endl;
        return;
    }
    if (z == m_currentZLayer && !force)
        return;
    m_currentZLayer = z;
    emit currentSceneChanged(currentScene());
}

Label* Project::addLabel(Label* label) {
    return insertLabel(int(m_labels.size()), label);
}

Label* Project::insertLabel(int index, Label* label) {
    if (!label)
        return nullptr;
    if (m_labels.contains(label))
        return label;
    if (label->id() == 0)
        label->setId(int(qHash(QUuid::createUuid(), 0)));
    label->setParent(this);
    index = std::clamp(index, 0, int(m_labels.size()));
    m_labels.insert(index, label);
    if (m_currentLabelIndex >= index)
        ++m_currentLabelIndex;
    emit labelAdded(label);
    if (m_currentLabelIndex == -1)
        setCurrentLabelIndex(index);
    return label;
}

void Project::addLabels(const KYVO::CValueVector* labels) {
    if (!labels)
        return;
    for (std::size_t i = 0; i < labels->size(); ++i) {
        const auto* map = dynamic_cast<const KYVO::CValueMap*>(labels->at(i));
        if (!map)
            continue;
        auto* label = new Label;
        label->fromValueMap(*map);
        addLabel(label);
    }
}

Label* Project::takeLabel(Label* label) {
    const int index = m_labels.indexOf(label);
    if (index < 0) {
        std::cerr << "Cannot take the label from the project,"
                  << " because it is not owned by the project." << std::endl;
        return nullptr;
    }
    m_labels.removeAt(index);
    label->setParent(nullptr);
    if (index == m_currentLabelIndex)
        setCurrentLabelIndex(std::min(m_currentLabelIndex, int(m_labels.size()) - 1), true);
    else if (index < m_currentLabelIndex)
        --m_currentLabelIndex;
    emit labelRemoved(label);
    return label;
}

void Project::setCurrentLabel(Label* label) {
    if (!label) {
        if (m_currentLabelIndex != -1) {
            m_currentLabelIndex = -1;
            emit currentLabelChanged(nullptr);
        }
        return;
    }
    const int index = m_labels.indexOf(label);
    if (index < 0) {
        std::cerr << "Cannot change the current label, because the new label"
                  << " is not owned by the project." << std::endl;
        return;
    }
    setCurrentLabelIndex(index);
}

void Project::setCurrentLabelIndex(int index) {
    setCurrentLabelIndex(index, false);
}

void Project::setCurrentLabelIndex(int index, bool force) {
    if (index < -1 || index >= m_labels.size())
        return;
    if (index == m_currentLabelIndex && !force)
        return;
    m_currentLabelIndex = index;
    emit currentLabelChanged(currentLabel());
}

void Project::setNodaraPlugin(PPixmarker* plugin) {
    m_plugin = plugin;
}

void Project::reloadNodaraInput() {
    if (m_plugin && g_reloadHandler)
        g_reloadHandler(m_plugin);
}

} // namespace pxm
