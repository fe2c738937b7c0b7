// SPDX-License-Identifier: MIT
#include "exchange/VOCReader.h"

#include "exchange/CriticalReadError.h"
#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "model/commands/LabelCommands.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsRectItem>
#include <QUndoStack>
#include <QXmlStreamReader>
#include <memory>

namespace pxm {

namespace {

QString elementText(QXmlStreamReader& xml) {
    return xml.readElementText(QXmlStreamReader::SkipChildElements);
}

/// A coordinate; text that is no number counts as 0.
double readCoordinate(QXmlStreamReader& xml) {
    return BaseReader::clampedCoordinate(elementText(xml).trimmed().toDouble());
}

/// A size value; anything but an unsigned number within limits counts as unknown (0).
uint32_t readExtent(QXmlStreamReader& xml, uint32_t limit) {
    bool ok = false;
    const uint value = elementText(xml).trimmed().toUInt(&ok);
    return ok && value <= limit ? uint32_t(value) : 0u;
}

} // namespace

VOCReader::VOCReader(QObject* parent) : BaseReader(parent) {}

void VOCReader::warnUnknown(QXmlStreamReader& xml) {
    addWarning(QString("Ignoring unknown XML element '%1'.").arg(xml.name().toString()),
               int(xml.lineNumber()));
    xml.skipCurrentElement();
}

void VOCReader::readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw CriticalReadError(QString("Could not open %1").arg(path), -1);
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        // The end of the document also lands here, as an element without a name.
        xml.readNextStartElement();
        if (xml.name() == QLatin1String("annotation"))
            readAnnotation(xml, path);
        else
            warnUnknown(xml);
    }
    if (xml.hasError() && xml.error() != QXmlStreamReader::PrematureEndOfDocumentError)
        addWarning(xml.errorString(), int(xml.lineNumber()));
}

void VOCReader::readAnnotation(QXmlStreamReader& xml, const QString& vocPath) {
    // The image belongs to this function until the add-images command takes it.
    std::unique_ptr<LabeledImage> image(new LabeledImage(project()));
    image->setDepth(1);
    image->createScenes();
    Scene* target = image->scene(0);

    QString pathText, folder, fileName;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("path")) {
            pathText = elementText(xml);
        } else if (xml.name() == QLatin1String("folder")) {
            folder = elementText(xml);
        } else if (xml.name() == QLatin1String("filename")) {
            fileName = elementText(xml);
        } else if (xml.name() == QLatin1String("size")) {
            uint32_t width = 0, height = 0, channels = 0;
            while (xml.readNextStartElement()) {
                if (xml.name() == QLatin1String("width"))
                    width = readExtent(xml, maxImageExtent);
                else if (xml.name() == QLatin1String("height"))
                    height = readExtent(xml, maxImageExtent);
                else if (xml.name() == QLatin1String("depth"))
                    channels = readExtent(xml, maxImageExtent);
                else
                    warnUnknown(xml);
            }
            image->setWidth(width);
            image->setHeight(height);
            image->setColorChannels(channels);
        } else if (xml.name() == QLatin1String("object")) {
            readObject(xml, target);
        } else {
            warnUnknown(xml);
        }
    }

    // The first candidate that exists names the image file; without one the image keeps
    // only the size read above.
    const QDir vocDir = QFileInfo(vocPath).absoluteDir();
    if (image->imagePath().isEmpty()) {
        if (!pathText.isEmpty() && QFileInfo::exists(pathText)) {
            image->setImagePath(pathText);
        } else if (!folder.isEmpty() && !fileName.isEmpty()) {
            QDir dir = vocDir;
            dir.cd(folder); // stays where it is when there is no such subdirectory
            const QString candidate = dir.filePath(fileName);
            if (QFileInfo::exists(candidate))
                image->setImagePath(QFileInfo(candidate).absoluteFilePath());
        } else if (!fileName.isEmpty()) {
            const QString candidate = vocDir.filePath(fileName);
            if (QFileInfo::exists(candidate))
                image->setImagePath(QFileInfo(candidate).absoluteFilePath());
        }
    }
    project()->undoStack()->push(new commands::AddImages(project(), image.release()));
}

QRectF VOCReader::readBox(QXmlStreamReader& xml) {
    double xmin = 0, xmax = 0, ymin = 0, ymax = 0;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("xmin"))
            xmin = readCoordinate(xml);
        else if (xml.name() == QLatin1String("xmax"))
            xmax = readCoordinate(xml);
        else if (xml.name() == QLatin1String("ymin"))
            ymin = readCoordinate(xml);
        else if (xml.name() == QLatin1String("ymax"))
            ymax = readCoordinate(xml);
        else
            warnUnknown(xml);
    }
    return QRectF(xmin, ymin, xmax - xmin, ymax - ymin);
}

void VOCReader::readObject(QXmlStreamReader& xml, Scene* target) {
    QString name;
    QRectF box;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("name"))
            name = elementText(xml);
        else if (xml.name() == QLatin1String("bndbox"))
            box = readBox(xml);
        else
            warnUnknown(xml);
    }
    // Label names are stored trimmed; matching the trimmed text keeps one label per name.
    name = name.trimmed();
    Label* label = project()->labelByName(name);
    if (!label) {
        // Without a label of its own the command has the project make one with the next
        // automatic name, colour and mask id; the rename is a command of its own.
        auto* add = new commands::AddLabel(project());
        project()->undoStack()->push(add);
        label = add->label();
        project()->undoStack()->push(new commands::SetLabelName(label, name));
    }
    target->addLabelItem(new QGraphicsRectItem(box), label);
}

} // namespace pxm
