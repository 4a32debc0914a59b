#include "WaveDrivers.h"

#include <cstdint>
#include <cstring>

namespace {

UINT const kQueryFunctionInstanceId = 0x811;
UINT const kQueryFunctionInstanceIdSize = 0x812;

template <class Handle>
UINT deviceNumber(Handle device) {
    return static_cast<UINT>(reinterpret_cast<std::uintptr_t>(device));
}

}  // namespace

WaveDrivers::WaveDrivers(std::vector<std::wstring> outputIds, std::vector<std::wstring> inputIds)
    : m_outputIds(std::move(outputIds)), m_inputIds(std::move(inputIds)) {
    platform::serveWave(this);
}

WaveDrivers::~WaveDrivers() {
    platform::serveWave(nullptr);
}

void WaveDrivers::fail(std::string const& function, MMRESULT result) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_failures[function] = result;
}

std::vector<WaveDrivers::Message> WaveDrivers::messages() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_messages;
}

std::vector<UINT> WaveDrivers::openedOutputs() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_openedOutputs;
}

std::vector<UINT> WaveDrivers::openedInputs() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_openedInputs;
}

bool WaveDrivers::hasQueuedHeader() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_queued != nullptr;
}

DWORD WaveDrivers::queuedLoops() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_queuedLoops;
}

DWORD WaveDrivers::queuedFlags() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_queuedFlags;
}

void WaveDrivers::finishQueued() {
    handBack("finish");
}

MMRESULT WaveDrivers::scripted(std::string const& function) const {
    auto const failure = m_failures.find(function);
    return failure == m_failures.end() ? MMSYSERR_NOERROR : failure->second;
}

// The size message writes a 32-bit count, as the system's drivers do.
MMRESULT WaveDrivers::answer(bool output, UINT device, UINT message, DWORD_PTR param1, DWORD_PTR param2) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_messages.push_back(Message{output, device, message});
    std::vector<std::wstring> const& ids = output ? m_outputIds : m_inputIds;
    if (device >= ids.size()) {
        return MMSYSERR_BADDEVICEID;
    }
    std::wstring const& id = ids[device];
    if (id.empty()) {
        return MMSYSERR_NOTSUPPORTED;
    }
    ULONG const bytes = static_cast<ULONG>((id.size() + 1) * sizeof(wchar_t));
    if (message == kQueryFunctionInstanceIdSize) {
        *reinterpret_cast<ULONG*>(param1) = bytes;
        return MMSYSERR_NOERROR;
    }
    if (message == kQueryFunctionInstanceId && param2 >= bytes) {
        std::memcpy(reinterpret_cast<void*>(param1), id.c_str(), bytes);
        return MMSYSERR_NOERROR;
    }
    return MMSYSERR_INVALPARAM;
}

MMRESULT WaveDrivers::open(std::string const& function, std::vector<UINT>& opened, UINT deviceId, void*& handle) {
    std::lock_guard<std::mutex> guard(m_lock);
    opened.push_back(deviceId);
    MMRESULT const result = scripted(function);
    if (result == MMSYSERR_NOERROR) {
        handle = reinterpret_cast<void*>(m_nextHandle++);
    }
    return result;
}

MMRESULT WaveDrivers::mark(std::string const& function, WAVEHDR* header, UINT size, DWORD set, DWORD cleared) {
    std::lock_guard<std::mutex> guard(m_lock);
    MMRESULT const result = size == sizeof(WAVEHDR) ? scripted(function) : MMSYSERR_INVALPARAM;
    if (result == MMSYSERR_NOERROR) {
        header->dwFlags = (header->dwFlags & ~cleared) | set;
    }
    return result;
}

MMRESULT WaveDrivers::queue(std::string const& function, WAVEHDR* header, UINT size) {
    MMRESULT const result = mark(function, header, size, WHDR_INQUEUE, WHDR_DONE);
    if (result == MMSYSERR_NOERROR) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_queued = header;
        m_queuedLoops = header->dwLoops;
        m_queuedFlags = header->dwFlags;
    }
    return result;
}

MMRESULT WaveDrivers::handBack(std::string const& function) {
    std::lock_guard<std::mutex> guard(m_lock);
    MMRESULT const result = scripted(function);
    if (result == MMSYSERR_NOERROR && m_queued) {
        m_queued->dwFlags = (m_queued->dwFlags & ~WHDR_INQUEUE) | WHDR_DONE;
        m_queued = nullptr;
    }
    return result;
}

UINT WaveDrivers::outGetNumDevs() {
    std::lock_guard<std::mutex> guard(m_lock);
    return static_cast<UINT>(m_outputIds.size());
}

MMRESULT WaveDrivers::outMessage(HWAVEOUT device, UINT message, DWORD_PTR param1, DWORD_PTR param2) {
    return answer(true, deviceNumber(device), message, param1, param2);
}

MMRESULT WaveDrivers::outOpen(HWAVEOUT* handle, UINT deviceId, const WAVEFORMATEX*, DWORD_PTR, DWORD_PTR, DWORD) {
    void* opened = nullptr;
    MMRESULT const result = open("outOpen", m_openedOutputs, deviceId, opened);
    *handle = static_cast<HWAVEOUT>(opened);
    return result;
}

MMRESULT WaveDrivers::outPrepareHeader(HWAVEOUT, WAVEHDR* header, UINT size) {
    return mark("outPrepareHeader", header, size, WHDR_PREPARED, 0);
}

MMRESULT WaveDrivers::outUnprepareHeader(HWAVEOUT, WAVEHDR* header, UINT size) {
    return mark("outUnprepareHeader", header, size, 0, WHDR_PREPARED);
}

MMRESULT WaveDrivers::outWrite(HWAVEOUT, WAVEHDR* header, UINT size) {
    return queue("outWrite", header, size);
}

MMRESULT WaveDrivers::outReset(HWAVEOUT) {
    return handBack("outReset");
}

MMRESULT WaveDrivers::outClose(HWAVEOUT) {
    std::lock_guard<std::mutex> guard(m_lock);
    return scripted("outClose");
}

UINT WaveDrivers::inGetNumDevs() {
    std::lock_guard<std::mutex> guard(m_lock);
    return static_cast<UINT>(m_inputIds.size());
}

MMRESULT WaveDrivers::inMessage(HWAVEIN device, UINT message, DWORD_PTR param1, DWORD_PTR param2) {
    return answer(false, deviceNumber(device), message, param1, param2);
}

MMRESULT WaveDrivers::inOpen(HWAVEIN* handle, UINT deviceId, const WAVEFORMATEX*, DWORD_PTR, DWORD_PTR, DWORD) {
    void* opened = nullptr;
    MMRESULT const result = open("inOpen", m_openedInputs, deviceId, opened);
    *handle = static_cast<HWAVEIN>(opened);
    return result;
}

MMRESULT WaveDrivers::inPrepareHeader(HWAVEIN, WAVEHDR* header, UINT size) {
    return mark("inPrepareHeader", header, size, WHDR_PREPARED, 0);
}

MMRESULT WaveDrivers::inUnprepareHeader(HWAVEIN, WAVEHDR* header, UINT size) {
    return mark("inUnprepareHeader", header, size, 0, WHDR_PREPARED);
}

MMRESULT WaveDrivers::inAddBuffer(HWAVEIN, WAVEHDR* header, UINT size) {
    return queue("inAddBuffer", header, size);
}

MMRESULT WaveDrivers::inStart(HWAVEIN) {
    std::lock_guard<std::mutex> guard(m_lock);
    return scripted("inStart");
}

MMRESULT WaveDrivers::inStop(HWAVEIN) {
    std::lock_guard<std::mutex> guard(m_lock);
    return scripted("inStop");
}

MMRESULT WaveDrivers::inReset(HWAVEIN) {
    return handBack("inReset");
}

MMRESULT WaveDrivers::inClose(HWAVEIN) {
    std::lock_guard<std::mutex> guard(m_lock);
    return scripted("inClose");
}
