#include <brel5/DiagModule.h>

#include <atomic>

namespace brel5 {

namespace {
std::atomic<bool> g_stopRequested{false};
}

bool DiagModule::checkForStop() {
    return g_stopRequested.load(std::memory_order_relaxed);
}

void DiagModule::requestStop() {
    g_stopRequested.store(true);
}

void DiagModule::clearStop() {
    g_stopRequested.store(false);
}

}  // namespace brel5
