// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <cstdint>

namespace Pictor {
struct CImageInfo;
}

namespace pxm {

/// Expands a status line format for one image: "%s" (size), "%w", "%h", "%d", "%t" (pixel
/// type without "IMAGE_"), "%imin", "%imax", "%imean", "%isigma" (whole image) and "%pmin",
/// "%pmax", "%pmean", "%psigma" (slice z, "n/a" where z has no statistics). The format is cut
/// at every "|" and the pieces are joined again without it; each placeholder is replaced in
/// that order, so "%s" yields the full size. Without a record the text is "no info".
QString expandStatusFormat(const QString& format, const Pictor::CImageInfo* info, uint64_t z);

} // namespace pxm
