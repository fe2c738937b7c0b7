// SPDX-License-Identifier: MIT
#include "display/PixelValue.h"

#include "platform/CImage.h"

#include <algorithm>

namespace Pictor {

bool isGreyImage(const KYVO::CImage* image) {
    return image && image->channels() == 1;
}

QString pixelValueAsString(const KYVO::CImage* image, std::size_t x, std::size_t y, std::size_t z,
                           const QString& format, int precision) {
    if (!image)
        return QString();
    const KYVO::CSize& size = image->size();
    if (x >= size.x || y >= size.y || z >= size.z)
        return QString();
    const int channels = image->channels();
    const bool isFloat = image->type() == KYVO::IMAGE_GREY_F;
    const int digits = std::clamp(precision, 0, 17);
    auto channelText = [&](int c) {
        if (c >= channels)
            return QString();
        const double v = image->value(x, y, z, c);
        return isFloat ? QString::number(v, 'f', digits) : QString::number(qint64(v));
    };

    // One scan, so text put in never gets expanded again.
    QString out;
    out.reserve(format.size() + 16);
    for (int i = 0; i < format.size(); ++i) {
        const QChar ch = format.at(i);
        if (ch != QLatin1Char('%') || i + 1 >= format.size()) {
            out += ch;
            continue;
        }
        switch (format.at(i + 1).unicode()) {
        case 'x':
            out += QString::number(qulonglong(x));
            break;
        case 'y':
            out += QString::number(qulonglong(y));
            break;
        case 'z':
            out += QString::number(qulonglong(z));
            break;
        case '1':
        case '2':
        case '3':
            out += channelText(format.at(i + 1).unicode() - '1');
            break;
        default:
            out += ch;
            continue;
        }
        ++i;
    }
    return out;
}

} // namespace Pictor
