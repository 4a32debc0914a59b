// Platform access that is not COM. COM objects are reached with
// CoCreateInstance and can be stood in for with CoRegisterClassObject; these
// calls cannot, so each group sits behind one small interface. By default
// every call goes to the system (winmm, cfgmgr32, kernel32). A test harness or
// the audio machine simulator serves a group with serve*(), and serve*(nullptr)
// gives the system back. Only one server per group at a time; serving is not
// meant to change while calls are in flight.
#pragma once

#include <platform/PlatformExport.h>

#include <windows.h>
#include <mmsystem.h>

#include <string>

namespace platform {

// The legacy wave functions of the multimedia library, one method per
// function with the function's own arguments and result.
class WaveDevices {
public:
    virtual ~WaveDevices() = default;

    virtual UINT outGetNumDevs() = 0;
    virtual MMRESULT outMessage(HWAVEOUT device, UINT message, DWORD_PTR param1, DWORD_PTR param2) = 0;
    virtual MMRESULT outOpen(HWAVEOUT* handle, UINT deviceId, const WAVEFORMATEX* format,
                             DWORD_PTR callback, DWORD_PTR instance, DWORD flags) = 0;
    virtual MMRESULT outPrepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) = 0;
    virtual MMRESULT outUnprepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) = 0;
    virtual MMRESULT outWrite(HWAVEOUT handle, WAVEHDR* header, UINT size) = 0;
    virtual MMRESULT outReset(HWAVEOUT handle) = 0;
    virtual MMRESULT outClose(HWAVEOUT handle) = 0;

    virtual UINT inGetNumDevs() = 0;
    virtual MMRESULT inMessage(HWAVEIN device, UINT message, DWORD_PTR param1, DWORD_PTR param2) = 0;
    virtual MMRESULT inOpen(HWAVEIN* handle, UINT deviceId, const WAVEFORMATEX* format,
                            DWORD_PTR callback, DWORD_PTR instance, DWORD flags) = 0;
    virtual MMRESULT inPrepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) = 0;
    virtual MMRESULT inUnprepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) = 0;
    virtual MMRESULT inAddBuffer(HWAVEIN handle, WAVEHDR* header, UINT size) = 0;
    virtual MMRESULT inStart(HWAVEIN handle) = 0;
    virtual MMRESULT inStop(HWAVEIN handle) = 0;
    virtual MMRESULT inReset(HWAVEIN handle) = 0;
    virtual MMRESULT inClose(HWAVEIN handle) = 0;
};

// The system's device tree: the parent of a device instance.
class DeviceTree {
public:
    virtual ~DeviceTree() = default;
    // Stores the instance id of the parent node of `child` and returns true;
    // false when the child is unknown or has no parent.
    virtual bool parentInstanceId(const std::wstring& child, std::wstring& parent) = 0;
};

// Kernel calls whose answer a test may need to choose.
class Kernel {
public:
    virtual ~Kernel() = default;
    virtual BOOL verifyVersionInfo(OSVERSIONINFOEXW* info, DWORD typeMask, DWORDLONG conditionMask) = 0;
};

PLATFORM_API WaveDevices& wave();
PLATFORM_API void serveWave(WaveDevices* devices);

PLATFORM_API DeviceTree& deviceTree();
PLATFORM_API void serveDeviceTree(DeviceTree* tree);

PLATFORM_API Kernel& kernel();
PLATFORM_API void serveKernel(Kernel* kernel);

}  // namespace platform
