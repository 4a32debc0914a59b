// The fault-coverage record of one test program: which methods library code
// called on simulated objects, and which of them it saw fail by an injected
// fault. A call belongs to the library when one of the nearest frames of the
// calling stack lies in libSonvane.dll, so a test's own set-up calls do not
// count.
#pragma once

#include <windows.h>

#include <map>
#include <mutex>
#include <string>

namespace audiosim::detail {

class Coverage {
public:
    // One recorder for the process; it is never destroyed, because library
    // objects may still call into the simulator while the process unloads.
    static Coverage& instance();

    static bool calledFromLibrary();
    void note(const std::wstring& method, bool faulted);
    // Writes everything recorded so far to $SONVANE_FAULT_REPORT_DIR/<program>.json,
    // replacing what an earlier run of the same program left there.
    void write();

private:
    struct Counts {
        unsigned long long calls = 0;
        unsigned long long faults = 0;
    };
    std::mutex m_mutex;
    std::map<std::wstring, Counts> m_methods;
};

}  // namespace audiosim::detail
