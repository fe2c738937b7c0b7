// SPDX-License-Identifier: MIT
#pragma once

#include "platform/MemoryBudget.h"

namespace pxmtest {

/// Lowers the memory budget for a scope (0: the machine's) and restores the machine's however it ends.
struct BudgetScope {
    explicit BudgetScope(std::uint64_t bytes) { KYVO::MemoryBudget::setLimit(bytes); }
    ~BudgetScope() { KYVO::MemoryBudget::setLimit(0); }
};

} // namespace pxmtest
