#pragma once
// orv::Stopwatch: milliseconds since construction, from a monotonic clock.
#include <orv/OrvExport.h>
#include <orv/OrvTypes.h>

namespace orv {

class ORV_API Stopwatch {
public:
    Stopwatch();
    Uint32 getElapsedMilliseconds() const;

private:
    Uint64 m_start;
};

}  // namespace orv
