// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace pxm {

/// One problem found while importing a file: an error (kind 1) or a warning (kind 0), the
/// 0-based line of the file it concerns (-1 when it concerns no line) and its text.
struct ReadMessage {
    static constexpr int Warning = 0;
    static constexpr int Error = 1;

    int kind = Warning;
    int line = -1;
    QString text;
};

} // namespace pxm
