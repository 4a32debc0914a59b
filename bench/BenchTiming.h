#pragma once
// The clock and the median the benchmarks read their figures with: the
// performance counter, the finest clock the platform has, for calls that take
// microseconds, and the median of rounds, which one round stalled by a busy
// shared machine does not move.
#include <windows.h>

#include <algorithm>
#include <vector>

// The performance counter in the given units per second (1e3 for
// milliseconds, 1e6 for microseconds, ...). The counter's frequency is fixed
// at boot, so it is asked once.
inline double performanceCounterIn(double unitsPerSecond) {
    static LARGE_INTEGER const frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return f;
    }();
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return static_cast<double>(counter.QuadPart) * unitsPerSecond / static_cast<double>(frequency.QuadPart);
}

inline double nowMilliseconds() {
    return performanceCounterIn(1e3);
}

inline double nowMicroseconds() {
    return performanceCounterIn(1e6);
}

inline double nowNanoseconds() {
    return performanceCounterIn(1e9);
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}
