// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CImage.h"

#include <QStringList>
#include <cstdint>
#include <functional>
#include <string>

namespace KYVO {

class CValueMap;

/// Reading and writing image files, the format chosen by the file name's ending.
///
/// The endings are .ppm .pgm .pbm .pfm .pam .jpg .jpeg .jp2 .j2k .bmp .tif .tiff .png .gif
/// .ico .okav and .okav.gz (GIF is read only). Netpbm, TIFF and OKAV files hold volumes
/// (one image or page per z-layer); the other formats are 2D. Every failure is a CException
/// whose message names the path and the reason.
class CImageIo2 {
public:
    /// Reads the file, choosing the format by the name's ending (case-insensitive; ".okav.gz" before ".gz").
    /// Returns a new image (caller owns). Throws CException (message with the path and the reason) when the
    /// file is missing, unreadable, truncated, corrupt, of an unknown ending, or unsupported content.
    static CImage* Load(const std::string& path, const CValueMap* options = nullptr);
    /// The size of the file's image without decoding its pixels where the format allows (TIFF and
    /// the formats Qt reads: from the header only). Throws CException as Load does when the file
    /// is missing or its header cannot be read.
    static CSize ReadSize(const std::string& path);
    /// Writes atomically (temporary file in the same directory, then rename). Throws CException with the path
    /// and reason when the format cannot hold the image (e.g. RGB into .pbm, 16-bit into .bmp) or the write
    /// fails.
    static void Save(const std::string& path, const CImage& image, const CValueMap* options = nullptr);
    /// Writes an 8-bit grey PGM of width x height atomically, asking `fill` for `rowsPerStrip` rows at a
    /// time (fill(top, rows, out) writes all rows x width bytes), so that the image is never held whole.
    /// The file equals what Save writes for the same pixels. Throws as Save does.
    static void SaveGreyInStrips(const std::string& path, std::size_t width, std::size_t height,
                                 std::size_t rowsPerStrip,
                                 const std::function<void(std::size_t top, std::size_t rows, uint8_t* out)>& fill);
    /// True when the path's ending names a format that can be read.
    static bool CanRead(const std::string& path);
    /// True when the path's ending names a format that can be written.
    static bool CanWrite(const std::string& path);
    /// File-dialog filters: "Images (*.ppm *.pgm ...)" with every readable ending, then one per format.
    static QStringList ReadFilters();
    /// The same for the formats that can be written.
    static QStringList WriteFilters();
};

} // namespace KYVO
