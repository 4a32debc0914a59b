// The legacy wave devices of a machine, served to the platform layer while
// the machine is installed. Each endpoint with a wave number is one wave
// device of its flow; the mapper (WAVE_MAPPER) is the flow's default console
// endpoint. Headers move as winmm moves them, and the machine's clock plays
// and fills them.
#pragma once

#include "Core.h"

#include <platform/Platform.h>

#include <map>
#include <memory>

namespace audiosim::detail {

class WaveDevice;

class MachineWaveDevices : public platform::WaveDevices {
public:
    explicit MachineWaveDevices(std::shared_ptr<Core> core);
    ~MachineWaveDevices() override;

    UINT outGetNumDevs() override;
    MMRESULT outMessage(HWAVEOUT device, UINT message, DWORD_PTR param1, DWORD_PTR param2) override;
    MMRESULT outOpen(HWAVEOUT* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR callback,
                     DWORD_PTR instance, DWORD flags) override;
    MMRESULT outPrepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) override;
    MMRESULT outUnprepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) override;
    MMRESULT outWrite(HWAVEOUT handle, WAVEHDR* header, UINT size) override;
    MMRESULT outReset(HWAVEOUT handle) override;
    MMRESULT outClose(HWAVEOUT handle) override;

    UINT inGetNumDevs() override;
    MMRESULT inMessage(HWAVEIN device, UINT message, DWORD_PTR param1, DWORD_PTR param2) override;
    MMRESULT inOpen(HWAVEIN* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR callback,
                    DWORD_PTR instance, DWORD flags) override;
    MMRESULT inPrepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) override;
    MMRESULT inUnprepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) override;
    MMRESULT inAddBuffer(HWAVEIN handle, WAVEHDR* header, UINT size) override;
    MMRESULT inStart(HWAVEIN handle) override;
    MMRESULT inStop(HWAVEIN handle) override;
    MMRESULT inReset(HWAVEIN handle) override;
    MMRESULT inClose(HWAVEIN handle) override;

private:
    using DevicePtr = std::shared_ptr<WaveDevice>;

    UINT numDevs(EDataFlow flow);
    std::shared_ptr<Device> endpointOf(EDataFlow flow, UINT deviceId) const;
    MMRESULT message(EDataFlow flow, DWORD_PTR device, UINT message, DWORD_PTR param1, DWORD_PTR param2);
    MMRESULT open(EDataFlow flow, DWORD_PTR* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR callback,
                  DWORD flags);
    DevicePtr deviceOf(DWORD_PTR handle) const;
    template <class Body>
    MMRESULT onHandle(EDataFlow flow, const wchar_t* method, DWORD_PTR handle, std::wstring arguments, Body body);
    template <class Body>
    MMRESULT call(const std::wstring& object, const std::wstring& subject, const std::wstring& method,
                  std::wstring arguments, Body body);

    std::shared_ptr<Core> m_core;
    mutable std::mutex m_mutex;
    std::map<DWORD_PTR, DevicePtr> m_open;
    DWORD_PTR m_nextHandle = 0x5A10000;
};

}  // namespace audiosim::detail
