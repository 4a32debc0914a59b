#include <audiosim/Installation.h>

#include "Core.h"
#include "Coverage.h"
#include "Objects.h"
#include "Text.h"
#include "WaveDevices.h"

#include <platform/Platform.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace audiosim {

using namespace detail;

namespace {

const CLSID kDeviceEnumeratorClass = {0xBCDE0395, 0xE52F, 0x467C, {0x8E, 0x3D, 0xC4, 0x57, 0x92, 0x91, 0x69, 0x2E}};

DWORD registerFactory(IClassFactory* factory, HRESULT& result) {
    DWORD cookie = 0;
    result = CoRegisterClassObject(kDeviceEnumeratorClass, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
    return cookie;
}

// The device tree of the machine, for the platform layer.
class MachineDeviceTree : public platform::DeviceTree {
public:
    explicit MachineDeviceTree(Machine& machine) : m_machine(machine) {}
    bool parentInstanceId(const std::wstring& child, std::wstring& parent) override {
        return m_machine.parentInstanceId(child, parent);
    }

private:
    Machine& m_machine;
};

// VerifyVersionInfo against the version the installation was given. Major,
// minor and service-pack numbers compare as one version, with the condition
// given for the most significant of them, as the system does.
class MachineKernel : public platform::Kernel {
public:
    explicit MachineKernel(const InstallOptions& options) : m_options(options) {}

    BOOL verifyVersionInfo(OSVERSIONINFOEXW* info, DWORD typeMask, DWORDLONG conditionMask) override {
        const unsigned long long have[] = {m_options.osMajor, m_options.osMinor, m_options.servicePackMajor, 0};
        const unsigned long long want[] = {info->dwMajorVersion, info->dwMinorVersion, info->wServicePackMajor,
                                           info->wServicePackMinor};
        const DWORD types[] = {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR, VER_SERVICEPACKMINOR};
        int firstType = -1;
        int comparison = 0;
        for (int i = 0; i < 4; ++i) {
            if (!(typeMask & types[i]))
                continue;
            if (firstType < 0)
                firstType = i;
            if (comparison == 0 && have[i] != want[i])
                comparison = have[i] < want[i] ? -1 : 1;
        }
        if (firstType < 0) {
            SetLastError(ERROR_BAD_ARGUMENTS);
            return FALSE;
        }
        if (!holds(condition(conditionMask, types[firstType]), comparison)) {
            SetLastError(ERROR_OLD_WIN_VERSION);
            return FALSE;
        }
        return TRUE;
    }

private:
    static BYTE condition(DWORDLONG mask, DWORD type) {
        int bit = 0;
        while (!(type & (1u << bit)))
            ++bit;
        return static_cast<BYTE>((mask >> (bit * 3)) & 7);
    }

    static bool holds(BYTE condition, int comparison) {
        switch (condition) {
        case VER_EQUAL: return comparison == 0;
        case VER_GREATER: return comparison > 0;
        case VER_GREATER_EQUAL: return comparison >= 0;
        case VER_LESS: return comparison < 0;
        case VER_LESS_EQUAL: return comparison <= 0;
        default: return false;
        }
    }

    const InstallOptions& m_options;
};

}  // namespace

class Installation::Impl {
public:
    Impl(Machine& machine, const InstallOptions& options)
        : m_core(machine.core()),
          m_factory(newClassFactory(m_core)),
          m_tree(machine),
          m_kernel(options),
          m_wave(m_core),
          m_previousTree(&platform::deviceTree()),
          m_previousKernel(&platform::kernel()),
          m_previousWave(&platform::wave()) {
        HRESULT result = S_OK;
        m_cookie = registerFactory(m_factory, result);
        if (FAILED(result)) {
            m_factory->Release();
            throw std::runtime_error("CoRegisterClassObject for MMDeviceEnumerator failed with " + hresultText(result));
        }
        if (options.registerInMultithreadedApartment && !inMultithreadedApartment())
            startMultithreadedRegistration();
        platform::serveDeviceTree(&m_tree);
        platform::serveKernel(&m_kernel);
        platform::serveWave(&m_wave);
        if (!options.recordFaultCoverage)
            m_core->recordCoverage = false;
    }

    ~Impl() {
        platform::serveWave(m_previousWave);
        platform::serveKernel(m_previousKernel);
        platform::serveDeviceTree(m_previousTree);
        stopMultithreadedRegistration();
        CoRevokeClassObject(m_cookie);
        m_factory->Release();
        Coverage::instance().write();
    }

    IClassFactory* factory() const { return m_factory; }

private:
    static bool inMultithreadedApartment() {
        APTTYPE type{};
        APTTYPEQUALIFIER qualifier{};
        return SUCCEEDED(CoGetApartmentType(&type, &qualifier)) && type == APTTYPE_MTA;
    }

    // A registration belongs to the apartment it was made in, so the
    // multithreaded apartment gets its own from a thread that lives in it
    // until the installation ends.
    void startMultithreadedRegistration() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_mtaThread = std::thread([this] {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            HRESULT result = S_OK;
            const DWORD cookie = registerFactory(m_factory, result);
            std::unique_lock<std::mutex> inner(m_mutex);
            m_mtaReady = true;
            m_changed.notify_all();
            m_changed.wait(inner, [&] { return m_mtaStop; });
            inner.unlock();
            if (SUCCEEDED(result))
                CoRevokeClassObject(cookie);
            CoUninitialize();
        });
        m_changed.wait(lock, [&] { return m_mtaReady; });
    }

    void stopMultithreadedRegistration() {
        if (!m_mtaThread.joinable())
            return;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_mtaStop = true;
            m_changed.notify_all();
        }
        m_mtaThread.join();
    }

    std::shared_ptr<Core> m_core;
    IClassFactory* m_factory;
    DWORD m_cookie = 0;
    MachineDeviceTree m_tree;
    MachineKernel m_kernel;
    MachineWaveDevices m_wave;
    platform::DeviceTree* m_previousTree;
    platform::Kernel* m_previousKernel;
    platform::WaveDevices* m_previousWave;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::thread m_mtaThread;
    bool m_mtaReady = false;
    bool m_mtaStop = false;
};

Installation::Installation(Machine& machine, InstallOptions options)
    : m_machine(machine), m_options(options), m_impl(std::make_unique<Impl>(machine, m_options)) {}

Installation::~Installation() = default;

IClassFactory* Installation::factory() const {
    return m_impl->factory();
}

ApartmentRegistration::ApartmentRegistration(const Installation& installation) {
    HRESULT result = S_OK;
    m_cookie = registerFactory(installation.factory(), result);
    if (FAILED(result))
        throw std::runtime_error("CoRegisterClassObject for MMDeviceEnumerator failed with " + hresultText(result));
}

ApartmentRegistration::~ApartmentRegistration() {
    CoRevokeClassObject(m_cookie);
}

}  // namespace audiosim
