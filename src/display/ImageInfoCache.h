// SPDX-License-Identifier: MIT
#pragma once

#include "display/CImageInfo.h"

#include <memory>

namespace Pictor {

/// Process-wide store of image information records, shared by every scene and image item that
/// shows the same CImage, so a volume is scanned once however many of its layers are on screen.
///
/// A record is kept only while someone holds the image (acquire/release, counted): holders promise
/// the image stays alive meanwhile, so a stored record can never belong to a dead image whose
/// address was reused. Without a holder, `info` computes a fresh record each time. Thread-safe;
/// the scan itself runs outside the lock.
class ImageInfoCache {
public:
    /// Starts holding `image` (ignored for null).
    static void acquire(const KYVO::CImage* image);
    /// Ends one hold; the record goes when the last holder lets go.
    static void release(const KYVO::CImage* image);
    /// The record of `image`, computed on first use; null for a null image.
    static std::shared_ptr<const CImageInfo> info(const KYVO::CImage* image);
    /// Forgets the record (the voxels changed); the next `info` scans again.
    static void invalidate(const KYVO::CImage* image);
};

} // namespace Pictor
