// What a switched-off log line costs: ORV_LOG at a level below the process
// threshold, against an empty loop of the same length. Prints, never fails.
#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include "BenchTiming.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <vector>

ORV_LOG_CATEGORY("bench.logGate");

namespace {

long long const kLines = 10000000;
int const kRuns = 7;

// Keeps the loops from being folded away.
volatile long g_sink = 0;

double emptyLoop() {
    double const start = nowNanoseconds();
    for (long long i = 0; i < kLines; ++i) {
        g_sink = static_cast<long>(i);
    }
    return (nowNanoseconds() - start) / kLines;
}

double switchedOffLines() {
    double const start = nowNanoseconds();
    for (long long i = 0; i < kLines; ++i) {
        g_sink = static_cast<long>(i);
        ORV_LOG(2) << "Initialize returns " << orv::OrvValue(static_cast<long>(i)).toHexString(true);
    }
    return (nowNanoseconds() - start) / kLines;
}

double medianOfRuns(double (*measure)()) {
    std::vector<double> runs;
    for (int i = 0; i < kRuns; ++i) {
        runs.push_back(measure());
    }
    return median(runs);
}

}  // namespace

int main() {
    orv::LogFactory::setPriority(orv::LoggerPriority::LOGGER_ERROR);
    double const empty = medianOfRuns(&emptyLoop);
    double const off = medianOfRuns(&switchedOffLines);
    std::printf("empty loop: %.2f ns per pass\n", empty);
    std::printf("log line at a switched-off level: %.2f ns (target < 10 ns)\n", off);
    return 0;
}
