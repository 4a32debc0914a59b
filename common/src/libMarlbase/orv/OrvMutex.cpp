#include <orv/OrvMutex.h>

namespace orv {
namespace mutex {

bool init(CRITICAL_SECTION& section) {
    InitializeCriticalSection(&section);
    return true;
}

bool destroy(CRITICAL_SECTION& section) {
    DeleteCriticalSection(&section);
    return true;
}

void lock(CRITICAL_SECTION& section) {
    EnterCriticalSection(&section);
}

bool unlock(CRITICAL_SECTION& section) {
    LeaveCriticalSection(&section);
    return true;
}

}  // namespace mutex
}  // namespace orv
