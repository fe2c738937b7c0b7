// SPDX-License-Identifier: MIT
#include "ui/StatusFormat.h"

#include "display/CImageInfo.h"

#include <QStringList>

namespace pxm {

namespace {

QString number(double value) { return QString::number(value, 'g', 6); }

QString expandPiece(QString piece, const Pictor::CImageInfo& info, uint64_t z) {
    piece.replace("%s", info.depth < 2 ? "%wx%h" : "%wx%hx%d");
    piece.replace("%w", QString::number(info.width));
    piece.replace("%h", QString::number(info.height));
    piece.replace("%d", QString::number(info.depth));
    piece.replace("%t", QString(info.typeName).remove("IMAGE_"));
    piece.replace("%imin", number(info.min));
    piece.replace("%imax", number(info.max));
    piece.replace("%imean", number(info.mean));
    piece.replace("%isigma", number(Pictor::sampleStandardDeviation(info.sumSquaredDeviations, info.count)));
    // The record may hold fewer slices than it claims depth; only real ones are read.
    if (z < info.depth && z < info.slices.size()) {
        const Pictor::SliceStatistics& slice = info.slices[z];
        piece.replace("%pmin", number(slice.min));
        piece.replace("%pmax", number(slice.max));
        piece.replace("%pmean", number(slice.mean));
        piece.replace("%psigma", number(Pictor::sampleStandardDeviation(slice.sumSquaredDeviations, slice.count)));
    } else {
        for (const char* placeholder : {"%pmin", "%pmax", "%pmean", "%psigma"})
            piece.replace(placeholder, "n/a");
    }
    return piece;
}

} // namespace

QString expandStatusFormat(const QString& format, const Pictor::CImageInfo* info, uint64_t z) {
    if (!info)
        return QStringLiteral("no info");
    QString result;
    for (const QString& piece : format.split('|'))
        result += expandPiece(piece, *info, z);
    return result;
}

} // namespace pxm
