// SPDX-License-Identifier: MIT
#include "exchange/VOCWriter.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QFileInfo>
#include <QGraphicsItem>
#include <QXmlStreamWriter>

namespace pxm {

namespace {
QString coordinate(double value) {
    return QString::number(value, 'g', 6);
}
} // namespace

void writeVOC(QXmlStreamWriter& out, Scene* scene) {
    if (!scene)
        return;
    const LabeledImage* image = scene->image();
    const QFileInfo info(image->imagePath());
    out.writeStartElement("annotation");
    out.writeTextElement("folder", info.dir().dirName());
    out.writeTextElement("filename", info.fileName());
    out.writeTextElement("path", image->imagePath());
    out.writeStartElement("size");
    out.writeTextElement("width", QString::number(image->width()));
    out.writeTextElement("height", QString::number(image->height()));
    out.writeTextElement("depth", QString::number(image->colorChannels()));
    out.writeEndElement();

    for (const auto& [item, label] : scene->labelledItems()) {
        const QRectF box = item->sceneBoundingRect();
        out.writeStartElement("object");
        out.writeTextElement("name", label->name().isEmpty() ? QString::number(label->id()) : label->name());
        out.writeStartElement("bndbox");
        out.writeTextElement("xmin", coordinate(box.left()));
        out.writeTextElement("xmax", coordinate(box.left() + box.width()));
        out.writeTextElement("ymin", coordinate(box.top()));
        out.writeTextElement("ymax", coordinate(box.top() + box.height()));
        out.writeEndElement();
        out.writeEndElement();
    }
    out.writeEndElement();
}

} // namespace pxm
