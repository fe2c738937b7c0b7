// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CImage.h"

#include <memory>
#include <string>

namespace KYVO {
namespace io {

/// Reads every Netpbm flavour: PBM, PGM and PPM in plain (P1–P3) and raw (P4–P6) form,
/// PAM (P7) and greyscale PFM ("Pf").
///
/// Samples keep their stored values (a PGM with maxval 15 gives values 0–15): maxval up to
/// 255 gives 8-bit voxels, up to 65535 16-bit ones; colour samples above 8 bits are scaled
/// to 8 bits since colour voxels are 8-bit. A set PBM bit (black) reads as 1. Several images
/// of the same size and type written one after another become the z-layers of one volume.
/// Alpha channels of PAM files are dropped. Colour PFM ("PF") is refused.
class NetpbmReader {
public:
    static std::unique_ptr<CImage> read(const std::string& path);
    /// The size read will give (layers included), from the headers alone for raw rasters;
    /// throws as read does for a malformed or truncated file.
    static CSize readSize(const std::string& path);
};

} // namespace io
} // namespace KYVO
