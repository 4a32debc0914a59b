#include <orv/Stopwatch.h>

#include <windows.h>

namespace orv {

Stopwatch::Stopwatch() : m_start(GetTickCount64()) {}

Uint32 Stopwatch::getElapsedMilliseconds() const {
    return static_cast<Uint32>(GetTickCount64() - m_start);
}

}  // namespace orv
