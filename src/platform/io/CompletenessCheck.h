// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace KYVO {
namespace io {

/// Structural checks for formats whose Qt readers accept a cut-off file and quietly fill
/// the missing part. Each throws CException when the file ends before its data do.
class CompletenessCheck {
public:
    /// An end-of-image marker must follow the last start-of-scan marker.
    static void jpeg(const std::string& path);
    /// An uncompressed bitmap must hold every row its header announces.
    static void bmp(const std::string& path);
    /// The block structure must run up to the trailer byte.
    static void gif(const std::string& path);
    /// Every image the icon directory lists must lie inside the file.
    static void ico(const std::string& path);
};

} // namespace io
} // namespace KYVO
