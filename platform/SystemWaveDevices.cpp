// The legacy wave functions of winmm, passed straight through.
#include "SystemPlatform.h"

namespace platform {
namespace system {

namespace {

class WinmmWaveDevices : public WaveDevices {
public:
    UINT outGetNumDevs() override { return waveOutGetNumDevs(); }
    MMRESULT outMessage(HWAVEOUT device, UINT message, DWORD_PTR param1, DWORD_PTR param2) override {
        return waveOutMessage(device, message, param1, param2);
    }
    MMRESULT outOpen(HWAVEOUT* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR callback,
                     DWORD_PTR instance, DWORD flags) override {
        return waveOutOpen(handle, deviceId, format, callback, instance, flags);
    }
    MMRESULT outPrepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) override {
        return waveOutPrepareHeader(handle, header, size);
    }
    MMRESULT outUnprepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) override {
        return waveOutUnprepareHeader(handle, header, size);
    }
    MMRESULT outWrite(HWAVEOUT handle, WAVEHDR* header, UINT size) override {
        return waveOutWrite(handle, header, size);
    }
    MMRESULT outReset(HWAVEOUT handle) override { return waveOutReset(handle); }
    MMRESULT outClose(HWAVEOUT handle) override { return waveOutClose(handle); }

    UINT inGetNumDevs() override { return waveInGetNumDevs(); }
    MMRESULT inMessage(HWAVEIN device, UINT message, DWORD_PTR param1, DWORD_PTR param2) override {
        return waveInMessage(device, message, param1, param2);
    }
    MMRESULT inOpen(HWAVEIN* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR callback,
                    DWORD_PTR instance, DWORD flags) override {
        return waveInOpen(handle, deviceId, format, callback, instance, flags);
    }
    MMRESULT inPrepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) override {
        return waveInPrepareHeader(handle, header, size);
    }
    MMRESULT inUnprepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) override {
        return waveInUnprepareHeader(handle, header, size);
    }
    MMRESULT inAddBuffer(HWAVEIN handle, WAVEHDR* header, UINT size) override {
        return waveInAddBuffer(handle, header, size);
    }
    MMRESULT inStart(HWAVEIN handle) override { return waveInStart(handle); }
    MMRESULT inStop(HWAVEIN handle) override { return waveInStop(handle); }
    MMRESULT inReset(HWAVEIN handle) override { return waveInReset(handle); }
    MMRESULT inClose(HWAVEIN handle) override { return waveInClose(handle); }
};

}  // namespace

WaveDevices& waveDevices() {
    static WinmmWaveDevices devices;
    return devices;
}

}  // namespace system
}  // namespace platform
