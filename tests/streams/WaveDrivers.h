#pragma once
// Scripted legacy wave drivers served in place of the system's for as long
// as the object lives. Each device number answers the driver messages that
// ask for its function instance id; headers move as the system moves them
// (prepare, queue, a reset hands the queued header back done, unprepare),
// and a queued header is finished only when the test says so. Samples do
// not move. Safe to call from the stream workers and the test at once.
#include <platform/Platform.h>

#include <windows.h>
#include <mmsystem.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

class WaveDrivers : public platform::WaveDevices {
public:
    // A driver message as a device received it.
    struct Message {
        bool output;
        UINT device;
        UINT message;
    };

    // The function instance ids of the output and of the input devices, by
    // device number. An empty id makes that device refuse every message.
    WaveDrivers(std::vector<std::wstring> outputIds, std::vector<std::wstring> inputIds);
    ~WaveDrivers() override;

    // Every later call of the function ("inPrepareHeader", ...) answers this.
    void fail(std::string const& function, MMRESULT result);

    std::vector<Message> messages() const;
    // The device numbers that opens were asked for, in order.
    std::vector<UINT> openedOutputs() const;
    std::vector<UINT> openedInputs() const;
    // Whether a header waits in a device, and its loop count and flags as
    // they were when it was queued.
    bool hasQueuedHeader() const;
    DWORD queuedLoops() const;
    DWORD queuedFlags() const;
    // The device is done with the queued header.
    void finishQueued();

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
    MMRESULT scripted(std::string const& function) const;
    MMRESULT answer(bool output, UINT device, UINT message, DWORD_PTR param1, DWORD_PTR param2);
    MMRESULT open(std::string const& function, std::vector<UINT>& opened, UINT deviceId, void*& handle);
    MMRESULT mark(std::string const& function, WAVEHDR* header, UINT size, DWORD set, DWORD cleared);
    MMRESULT queue(std::string const& function, WAVEHDR* header, UINT size);
    MMRESULT handBack(std::string const& function);

    mutable std::mutex m_lock;
    std::vector<std::wstring> m_outputIds;
    std::vector<std::wstring> m_inputIds;
    std::map<std::string, MMRESULT> m_failures;
    std::vector<Message> m_messages;
    std::vector<UINT> m_openedOutputs;
    std::vector<UINT> m_openedInputs;
    WAVEHDR* m_queued = nullptr;
    DWORD m_queuedLoops = 0;
    DWORD m_queuedFlags = 0;
    std::uintptr_t m_nextHandle = 0x100;
};
