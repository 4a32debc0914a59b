// The record of every call made into the simulated objects, in order, so
// that a test can assert what was asked, with which arguments and in which
// order. Arguments are text: numbers in decimal, flows and roles by name
// (eRender, eConsole), interface ids by name (IID_IDeviceTopology), property
// keys by name or as "{fmtid},pid", strings as they were passed, null
// pointers as "null". Out-parameters are not listed.
#pragma once

#include <windows.h>

#include <mutex>
#include <string>
#include <vector>

namespace audiosim {

struct CallRecord {
    std::wstring object;      // the object's name, e.g. "IMMDevice {0.0.0.00000000}.{...}"
    std::wstring method;      // "Interface::Method"
    std::wstring arguments;   // comma-separated
    HRESULT result = S_OK;
    DWORD threadId = 0;
    bool faulted = false;     // the result came from an injected fault
    // Polling calls (IAudioClient::GetCurrentPadding,
    // IAudioCaptureClient::GetNextPacketSize), which stream workers make in
    // a tight loop, are kept once for a run of identical calls: the number
    // of further calls of the run, same object, arguments, result and thread.
    unsigned long long repeats = 0;
};

class CallLog {
public:
    std::vector<CallRecord> all() const;
    // The calls of one method, in order.
    std::vector<CallRecord> of(const std::wstring& method) const;
    // The method names of all calls, in order.
    std::vector<std::wstring> methods() const;
    // Calls of the method, repeats included.
    size_t count(const std::wstring& method) const;
    size_t size() const;
    void clear();
    // Benchmarks switch recording off; calls are then neither kept nor counted.
    void setRecording(bool on);
    bool recording() const;

    // Used by the simulated objects: appends a call and returns its ticket,
    // which `finish` uses to store the result.
    unsigned long long begin(CallRecord record);
    void finish(unsigned long long ticket, HRESULT result, bool faulted);

private:
    mutable std::mutex m_mutex;
    std::vector<CallRecord> m_records;
    unsigned long long m_firstTicket = 0;   // the ticket of m_records[0]
    bool m_recording = true;
};

}  // namespace audiosim
