// SPDX-License-Identifier: MIT
#include "platform/Vandu.h"

#include <QThread>
#include <atomic>

namespace {
std::atomic<int> g_initCount{0};
std::atomic<int> g_threads{1};
} // namespace

void VanduInit(int threads) {
    if (g_initCount.fetch_add(1) == 0)
        g_threads = threads > 0 ? threads : qMax(1, QThread::idealThreadCount());
}

void VanduExit() {
    int count = g_initCount.load();
    // An unmatched exit is harmless: the count never goes below zero.
    while (count > 0 && !g_initCount.compare_exchange_weak(count, count - 1)) {
    }
}

namespace KYVO {
bool VanduIsInitialised() { return g_initCount.load() > 0; }
int VanduThreadCount() { return g_threads.load(); }
} // namespace KYVO
