// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace KYVO {
namespace io {

class TiffPyramid;

/// Overview levels for a large TIFF that has none of its own: each level half the size of the
/// one before, down to at most kCoarsest pixels a side, each a tiled BigTIFF of its own in a cache
/// folder. Their names carry the source's path, size and modification time, so an edited or
/// replaced source never finds stale levels.
class TiffOverviews {
public:
    static constexpr unsigned kCoarsest = 1024;

    /// True when `pyramid`'s coarsest level is larger than kCoarsest on a side.
    static bool needed(const TiffPyramid& pyramid);
    /// The overview files of `source` in `folder`, finest first, when all of them are there; empty
    /// otherwise.
    static std::vector<std::string> find(const std::string& source, const std::string& folder);
    /// Builds the overview files of `source` in `folder` (created when missing) from its finest
    /// level, band by band with bounded memory, and returns them finest first. `progress` is told the
    /// fraction done (0 to 1) and stops the work when it returns false: then nothing is left behind
    /// and the result is empty. Throws CException when the source cannot be read or a file written.
    static std::vector<std::string> build(const std::string& source, const std::string& folder,
                                          const std::function<bool(double)>& progress);
};

} // namespace io
} // namespace KYVO
