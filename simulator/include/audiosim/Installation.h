// Puts a simulated machine in the place of the system's audio stack for the
// current process: CoCreateInstance(CLSID_MMDeviceEnumerator) reaches the
// machine, and the platform layer's device tree and kernel calls are served
// from it. Everything is given back when the Installation ends.
//
// COM keeps a class object registered from a single-threaded apartment to
// that apartment. An Installation therefore registers in the apartment of the
// thread that makes it and, unless told otherwise, in the process's
// multithreaded apartment as well (from a helper thread of its own). A thread
// in another single-threaded apartment that should reach the machine makes an
// ApartmentRegistration after its CoInitialize.
#pragma once

#include <audiosim/Machine.h>

#include <windows.h>

#include <memory>

namespace audiosim {

struct InstallOptions {
    // The version that the platform layer's VerifyVersionInfo calls compare
    // against: Windows 7 by default, as Wine reports.
    DWORD osMajor = 6;
    DWORD osMinor = 1;
    WORD servicePackMajor = 0;
    // False switches off the machine's fault-coverage recording (which
    // methods library code called, and which of those had an injected
    // failure), for tests of the simulator itself.
    bool recordFaultCoverage = true;
    // Also register in the multithreaded apartment.
    bool registerInMultithreadedApartment = true;
};

class Installation {
public:
    // Needs COM initialised on the calling thread. Throws std::runtime_error
    // when COM refuses the registration; nothing stays installed then.
    explicit Installation(Machine& machine, InstallOptions options = {});
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    Machine& machine() { return m_machine; }
    const InstallOptions& options() const { return m_options; }
    IClassFactory* factory() const;

private:
    class Impl;
    Machine& m_machine;
    InstallOptions m_options;
    std::unique_ptr<Impl> m_impl;
};

// Registers an installation's class factory in the calling thread's
// single-threaded apartment, for as long as the object lives. Make it after
// CoInitialize on that thread and end it before the Installation.
class ApartmentRegistration {
public:
    explicit ApartmentRegistration(const Installation& installation);
    ~ApartmentRegistration();
    ApartmentRegistration(const ApartmentRegistration&) = delete;
    ApartmentRegistration& operator=(const ApartmentRegistration&) = delete;

private:
    DWORD m_cookie = 0;
};

}  // namespace audiosim
