// SPDX-License-Identifier: MIT
#include "ui/ImageFilter.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QSet>
#include <cstring>

namespace pxm {

const QString ImageFilter::SettingsKey = "ImageChooser.filter";

namespace {

const char* const ModeNames[] = {"any", "all", "none"};

// True when some voxel of the mask holds the mask id and the eraser has not removed it.
bool maskHolds(const KYVO::CImage& mask, const KYVO::CImage* overlay, int maskId) {
    if (maskId <= 0 || maskId > 255 || mask.type() != KYVO::IMAGE_GREY_8)
        return false;
    const auto* voxels = mask.data();
    const std::size_t count = mask.byteCount();
    const bool useOverlay = overlay && overlay->byteCount() == count;
    const uint8_t value = uint8_t(maskId);
    const uint8_t* at = voxels;
    const uint8_t* end = voxels + count;
    while (at < end) {
        at = static_cast<const uint8_t*>(std::memchr(at, value, std::size_t(end - at)));
        if (!at)
            return false;
        if (!useOverlay || overlay->data()[at - voxels] == 0)
            return true;
        ++at;
    }
    return false;
}

// A wildcard as a regular expression that must match all of the subject. Unlike Qt's own
// conversion, * also crosses '/', so "*/day1/*" matches a whole path.
QString wildcardToRegex(const QString& wildcard) {
    QString rx;
    for (int i = 0; i < wildcard.size(); ++i) {
        const QChar c = wildcard.at(i);
        if (c == '*') {
            rx += ".*";
        } else if (c == '?') {
            rx += '.';
        } else if (c == '[') {
            const int end = wildcard.indexOf(']', i + 2);
            if (end < 0) {
                rx += "\\[";
                continue;
            }
            QString set = wildcard.mid(i + 1, end - i - 1);
            if (set.startsWith('!'))
                set[0] = '^';
            rx += '[' + set.replace("\\", "\\\\") + ']';
            i = end;
        } else {
            rx += QRegularExpression::escape(QString(c));
        }
    }
    return "\\A(?:" + rx + ")\\z";
}

int intOf(const QVariantMap& map, const char* key) {
    const QVariant v = map.value(key);
    bool ok = false;
    const double d = v.toDouble(&ok);
    return ok && d >= 0 && d <= 1e9 ? int(d) : 0;
}

} // namespace

bool ImageFilter::isActive() const {
    return !labelIds.isEmpty() || !namePattern.isEmpty() || minWidth > 0 || maxWidth > 0 || minHeight > 0 ||
           maxHeight > 0;
}

bool ImageFilter::isPatternValid() const {
    if (namePattern.isEmpty() || patternSyntax == PatternSyntax::Wildcard)
        return true;
    return QRegularExpression(namePattern).isValid();
}

void ImageFilter::prepare(const Project* project) {
    if (patternSyntax == PatternSyntax::Wildcard)
        m_regex = QRegularExpression(wildcardToRegex(namePattern), QRegularExpression::CaseInsensitiveOption);
    else
        m_regex = QRegularExpression(namePattern, QRegularExpression::CaseInsensitiveOption);
    m_regex.optimize();
    m_labels.clear();
    for (int id : labelIds) {
        const Label* label = project ? project->labelById(id) : nullptr;
        m_labels.append({id, label ? label->maskId() : 0});
    }
}

bool ImageFilter::matches(const LabeledImage* image) const {
    if (!image)
        return false;
    return nameMatches(image) && sizeMatches(image) && labelsMatch(image);
}

bool ImageFilter::nameMatches(const LabeledImage* image) const {
    if (namePattern.isEmpty())
        return true;
    // An unusable regular expression lets nothing through rather than everything.
    if (!m_regex.isValid())
        return false;
    const QString path = image->imagePath();
    const QString subject = namePattern.contains('/') ? path : path.mid(path.lastIndexOf('/') + 1);
    return m_regex.match(subject).hasMatch();
}

bool ImageFilter::sizeMatches(const LabeledImage* image) const {
    const auto inRange = [](uint32_t value, int low, int high) {
        if (low <= 0 && high <= 0)
            return true;
        if (value == 0)
            return false;
        return (low <= 0 || value >= uint32_t(low)) && (high <= 0 || value <= uint32_t(high));
    };
    return inRange(image->width(), minWidth, maxWidth) && inRange(image->height(), minHeight, maxHeight);
}

bool ImageFilter::labelsMatch(const LabeledImage* image) const {
    if (labelIds.isEmpty())
        return true;
    QSet<int> wanted;
    for (const auto& label : m_labels)
        wanted.insert(label.first);
    // One pass over the shapes collects which of the chosen labels they carry.
    QSet<int> present;
    for (const Scene* scene : image->scenes()) {
        for (const QGraphicsItem* item : scene->items(Qt::AscendingOrder)) {
            if (!isLabelItem(item))
                continue;
            const int id = labelIdOf(item);
            if (wanted.contains(id))
                present.insert(id);
        }
        if (present.size() == wanted.size())
            break;
    }
    if (const KYVO::CImage* mask = image->mask()) {
        for (const auto& label : m_labels)
            if (!present.contains(label.first) && maskHolds(*mask, image->eraseOverlay(), label.second))
                present.insert(label.first);
    }
    switch (labelMode) {
    case LabelMode::Any:
        return !present.isEmpty();
    case LabelMode::All:
        return present.size() == wanted.size();
    case LabelMode::None:
        return present.isEmpty();
    }
    return true;
}

QVariantMap ImageFilter::toVariant() const {
    QVariantMap map;
    if (!isActive())
        return map;
    QVariantList ids;
    for (int id : labelIds)
        ids << id;
    map["labels"] = ids;
    map["labelMode"] = ModeNames[int(labelMode)];
    map["pattern"] = namePattern;
    map["syntax"] = patternSyntax == PatternSyntax::Wildcard ? "wildcard" : "regex";
    map["minWidth"] = minWidth;
    map["maxWidth"] = maxWidth;
    map["minHeight"] = minHeight;
    map["maxHeight"] = maxHeight;
    return map;
}

ImageFilter ImageFilter::fromVariant(const QVariant& value) {
    ImageFilter filter;
    const QVariantMap map = value.toMap();
    for (const QVariant& id : map.value("labels").toList()) {
        bool ok = false;
        const double d = id.toDouble(&ok);
        // Label ids are 32-bit; anything else cannot name a label.
        if (ok && d >= -2147483648.0 && d <= 2147483647.0 && d == double(qint64(d)) &&
            !filter.labelIds.contains(int(d)))
            filter.labelIds << int(d);
    }
    const QString mode = map.value("labelMode").toString();
    for (int i = 0; i < 3; ++i)
        if (mode == ModeNames[i])
            filter.labelMode = LabelMode(i);
    filter.namePattern = map.value("pattern").toString();
    filter.patternSyntax = map.value("syntax").toString() == "regex" ? PatternSyntax::RegularExpression
                                                                     : PatternSyntax::Wildcard;
    filter.minWidth = intOf(map, "minWidth");
    filter.maxWidth = intOf(map, "maxWidth");
    filter.minHeight = intOf(map, "minHeight");
    filter.maxHeight = intOf(map, "maxHeight");
    return filter;
}

ImageFilter ImageFilter::load(const Project* project) {
    ImageFilter filter = project ? fromVariant(project->setting(SettingsKey)) : ImageFilter();
    filter.prepare(project);
    return filter;
}

void ImageFilter::store(Project* project) const {
    if (project)
        project->setSetting(SettingsKey, toVariant());
}

bool ImageFilter::operator==(const ImageFilter& other) const {
    return labelIds == other.labelIds && labelMode == other.labelMode && namePattern == other.namePattern &&
           patternSyntax == other.patternSyntax && minWidth == other.minWidth && maxWidth == other.maxWidth &&
           minHeight == other.minHeight && maxHeight == other.maxHeight;
}

} // namespace pxm
