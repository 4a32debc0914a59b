#pragma once
// A minimal scripted stand-in for the system's wave devices: it hands out
// numbered handles, records every call, answers each call kind with a result
// the test sets, and moves header flags the way the system does (prepare,
// queue, reset hands the buffer back done, unprepare). It moves no samples.
// It serves itself on construction and gives the system back when it goes.
#include <platform/Platform.h>

#include <windows.h>
#include <mmsystem.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

class FakeWaveDevices : public platform::WaveDevices {
public:
    struct Call {
        std::string name;
        std::uintptr_t handle;
    };

    // Results of the next calls, by function name ("inOpen", "outWrite", ...);
    // 0 where none is set.
    std::map<std::string, MMRESULT> results;
    // Makes the close calls throw, as a broken driver might.
    bool throwOnClose = false;

    FakeWaveDevices() { platform::serveWave(this); }
    ~FakeWaveDevices() override { platform::serveWave(nullptr); }

    FakeWaveDevices(FakeWaveDevices const&) = delete;
    FakeWaveDevices& operator=(FakeWaveDevices const&) = delete;

    // The system finishes the queued buffer.
    void finishBuffer() {
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_queued) {
            m_queued->dwFlags = (m_queued->dwFlags & ~WHDR_INQUEUE) | WHDR_DONE;
            m_queued = nullptr;
        }
    }

    std::vector<Call> calls() const {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_calls;
    }

    size_t count(std::string const& name) const {
        size_t found = 0;
        for (Call const& call : calls()) {
            found += call.name == name ? 1 : 0;
        }
        return found;
    }

    // Whether the handle was opened and not closed since.
    bool isOpen(std::uintptr_t handle) const {
        std::lock_guard<std::mutex> guard(m_lock);
        auto const found = m_openDevices.find(handle);
        return found != m_openDevices.end();
    }

    // Device id that the handle was opened on.
    UINT deviceOf(std::uintptr_t handle) const {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_openDevices.at(handle);
    }

    std::uintptr_t lastOpened() const {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_nextHandle - 1;
    }

    WAVEFORMATEX lastFormat() const {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_lastFormat;
    }

    UINT outGetNumDevs() override { return 1; }
    MMRESULT outMessage(HWAVEOUT device, UINT, DWORD_PTR, DWORD_PTR) override {
        return record("outMessage", device);
    }
    MMRESULT outOpen(HWAVEOUT* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR, DWORD_PTR,
                     DWORD) override {
        return openDevice("outOpen", handle, deviceId, format);
    }
    MMRESULT outPrepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) override {
        return prepare("outPrepareHeader", handle, header, size);
    }
    MMRESULT outUnprepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) override {
        return unprepare("outUnprepareHeader", handle, header, size);
    }
    MMRESULT outWrite(HWAVEOUT handle, WAVEHDR* header, UINT) override { return queue("outWrite", handle, header); }
    MMRESULT outReset(HWAVEOUT handle) override { return reset("outReset", handle); }
    MMRESULT outClose(HWAVEOUT handle) override { return closeDevice("outClose", handle); }

    UINT inGetNumDevs() override { return 1; }
    MMRESULT inMessage(HWAVEIN device, UINT, DWORD_PTR, DWORD_PTR) override { return record("inMessage", device); }
    MMRESULT inOpen(HWAVEIN* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR, DWORD_PTR,
                    DWORD) override {
        return openDevice("inOpen", handle, deviceId, format);
    }
    MMRESULT inPrepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) override {
        return prepare("inPrepareHeader", handle, header, size);
    }
    MMRESULT inUnprepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) override {
        return unprepare("inUnprepareHeader", handle, header, size);
    }
    MMRESULT inAddBuffer(HWAVEIN handle, WAVEHDR* header, UINT) override {
        return queue("inAddBuffer", handle, header);
    }
    MMRESULT inStart(HWAVEIN handle) override { return record("inStart", handle); }
    MMRESULT inStop(HWAVEIN handle) override { return record("inStop", handle); }
    MMRESULT inReset(HWAVEIN handle) override { return reset("inReset", handle); }
    MMRESULT inClose(HWAVEIN handle) override { return closeDevice("inClose", handle); }

private:
    template <class H>
    MMRESULT record(char const* name, H handle) {
        std::lock_guard<std::mutex> guard(m_lock);
        return recordLocked(name, handle);
    }

    template <class H>
    MMRESULT recordLocked(char const* name, H handle) {
        m_calls.push_back(Call{name, reinterpret_cast<std::uintptr_t>(handle)});
        auto const scripted = results.find(name);
        return scripted == results.end() ? MMSYSERR_NOERROR : scripted->second;
    }

    template <class H>
    MMRESULT openDevice(char const* name, H* handle, UINT deviceId, const WAVEFORMATEX* format) {
        std::lock_guard<std::mutex> guard(m_lock);
        MMRESULT const result = recordLocked(name, static_cast<H>(nullptr));
        if (result == MMSYSERR_NOERROR) {
            *handle = reinterpret_cast<H>(m_nextHandle);
            m_openDevices[m_nextHandle++] = deviceId;
            m_lastFormat = *format;
        }
        return result;
    }

    template <class H>
    MMRESULT prepare(char const* name, H handle, WAVEHDR* header, UINT size) {
        std::lock_guard<std::mutex> guard(m_lock);
        MMRESULT const result = recordLocked(name, handle);
        if (result == MMSYSERR_NOERROR && size == sizeof(WAVEHDR)) {
            header->dwFlags = (header->dwFlags & ~WHDR_DONE) | WHDR_PREPARED;
        }
        return size == sizeof(WAVEHDR) ? result : MMSYSERR_INVALPARAM;
    }

    template <class H>
    MMRESULT unprepare(char const* name, H handle, WAVEHDR* header, UINT size) {
        std::lock_guard<std::mutex> guard(m_lock);
        MMRESULT const result = recordLocked(name, handle);
        if (result == MMSYSERR_NOERROR && size == sizeof(WAVEHDR)) {
            header->dwFlags &= ~WHDR_PREPARED;
        }
        return size == sizeof(WAVEHDR) ? result : MMSYSERR_INVALPARAM;
    }

    template <class H>
    MMRESULT queue(char const* name, H handle, WAVEHDR* header) {
        std::lock_guard<std::mutex> guard(m_lock);
        MMRESULT const result = recordLocked(name, handle);
        if (result == MMSYSERR_NOERROR) {
            header->dwFlags |= WHDR_INQUEUE;
            m_queued = header;
        }
        return result;
    }

    template <class H>
    MMRESULT reset(char const* name, H handle) {
        std::lock_guard<std::mutex> guard(m_lock);
        MMRESULT const result = recordLocked(name, handle);
        if (result == MMSYSERR_NOERROR && m_queued) {
            m_queued->dwFlags = (m_queued->dwFlags & ~WHDR_INQUEUE) | WHDR_DONE;
            m_queued = nullptr;
        }
        return result;
    }

    template <class H>
    MMRESULT closeDevice(char const* name, H handle) {
        std::lock_guard<std::mutex> guard(m_lock);
        MMRESULT const result = recordLocked(name, handle);
        if (throwOnClose) {
            throw std::runtime_error("driver fault");
        }
        if (result == MMSYSERR_NOERROR) {
            m_openDevices.erase(reinterpret_cast<std::uintptr_t>(handle));
        }
        return result;
    }

    mutable std::mutex m_lock;
    std::vector<Call> m_calls;
    std::map<std::uintptr_t, UINT> m_openDevices;
    std::uintptr_t m_nextHandle = 0x1000;
    WAVEHDR* m_queued = nullptr;
    WAVEFORMATEX m_lastFormat = {};
};
