#pragma once
// A minimal scripted stand-in for the system's wave functions: numbered
// handles, a record of every call, a result per function that the test sets,
// and the header flags moved as the system moves them (prepare, queue, reset
// hands the buffer back done, unprepare). No samples move. It serves itself
// on construction and gives the system back when it goes.
#include <platform/Platform.h>

#include <windows.h>
#include <mmsystem.h>

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

class FakeWaveDevices : public platform::WaveDevices {
public:
    // Result of every later call of a function ("inOpen", "outWrite", ...).
    std::map<std::string, MMRESULT> results;
    bool throwOnClose = false;
    std::vector<std::string> calls;
    // Open handles and the device id each was opened on.
    std::map<std::uintptr_t, UINT> open;
    std::uintptr_t lastOpened = 0;

    FakeWaveDevices() { platform::serveWave(this); }
    ~FakeWaveDevices() override { platform::serveWave(nullptr); }

    size_t count(std::string const& name) const {
        size_t found = 0;
        for (std::string const& call : calls) {
            found += call == name ? 1 : 0;
        }
        return found;
    }

    bool isOpen(std::uintptr_t handle) const { return open.count(handle) != 0; }

    // The system finishes the queued buffer.
    void finishBuffer() { handBack(); }

    UINT outGetNumDevs() override { return 1; }
    MMRESULT outMessage(HWAVEOUT, UINT, DWORD_PTR, DWORD_PTR) override { return step("outMessage"); }
    MMRESULT outOpen(HWAVEOUT* handle, UINT id, const WAVEFORMATEX*, DWORD_PTR, DWORD_PTR, DWORD) override {
        return openDevice("outOpen", handle, id);
    }
    MMRESULT outPrepareHeader(HWAVEOUT, WAVEHDR* header, UINT size) override {
        return mark("outPrepareHeader", header, size, WHDR_PREPARED, WHDR_DONE);
    }
    MMRESULT outUnprepareHeader(HWAVEOUT, WAVEHDR* header, UINT size) override {
        return mark("outUnprepareHeader", header, size, 0, WHDR_PREPARED);
    }
    MMRESULT outWrite(HWAVEOUT, WAVEHDR* header, UINT size) override { return queue("outWrite", header, size); }
    MMRESULT outReset(HWAVEOUT) override { return reset("outReset"); }
    MMRESULT outClose(HWAVEOUT handle) override { return closeDevice("outClose", handle); }

    UINT inGetNumDevs() override { return 1; }
    MMRESULT inMessage(HWAVEIN, UINT, DWORD_PTR, DWORD_PTR) override { return step("inMessage"); }
    MMRESULT inOpen(HWAVEIN* handle, UINT id, const WAVEFORMATEX*, DWORD_PTR, DWORD_PTR, DWORD) override {
        return openDevice("inOpen", handle, id);
    }
    MMRESULT inPrepareHeader(HWAVEIN, WAVEHDR* header, UINT size) override {
        return mark("inPrepareHeader", header, size, WHDR_PREPARED, WHDR_DONE);
    }
    MMRESULT inUnprepareHeader(HWAVEIN, WAVEHDR* header, UINT size) override {
        return mark("inUnprepareHeader", header, size, 0, WHDR_PREPARED);
    }
    MMRESULT inAddBuffer(HWAVEIN, WAVEHDR* header, UINT size) override { return queue("inAddBuffer", header, size); }
    MMRESULT inStart(HWAVEIN) override { return step("inStart"); }
    MMRESULT inStop(HWAVEIN) override { return step("inStop"); }
    MMRESULT inReset(HWAVEIN) override { return reset("inReset"); }
    MMRESULT inClose(HWAVEIN handle) override { return closeDevice("inClose", handle); }

private:
    MMRESULT step(char const* name) {
        calls.push_back(name);
        auto const scripted = results.find(name);
        return scripted == results.end() ? MMSYSERR_NOERROR : scripted->second;
    }

    template <class H>
    MMRESULT openDevice(char const* name, H* handle, UINT id) {
        MMRESULT const result = step(name);
        if (result == MMSYSERR_NOERROR) {
            lastOpened = 0x1000 + calls.size();
            open[lastOpened] = id;
            *handle = reinterpret_cast<H>(lastOpened);
        }
        return result;
    }

    // The system refuses a header of the wrong size.
    MMRESULT mark(char const* name, WAVEHDR* header, UINT size, DWORD set, DWORD cleared) {
        MMRESULT const result = size == sizeof(WAVEHDR) ? step(name) : MMSYSERR_INVALPARAM;
        if (result == MMSYSERR_NOERROR) {
            header->dwFlags = (header->dwFlags & ~cleared) | set;
        }
        return result;
    }

    MMRESULT queue(char const* name, WAVEHDR* header, UINT size) {
        MMRESULT const result = mark(name, header, size, WHDR_INQUEUE, 0);
        if (result == MMSYSERR_NOERROR) {
            m_queued = header;
        }
        return result;
    }

    MMRESULT reset(char const* name) {
        MMRESULT const result = step(name);
        if (result == MMSYSERR_NOERROR) {
            handBack();
        }
        return result;
    }

    void handBack() {
        if (m_queued) {
            m_queued->dwFlags = (m_queued->dwFlags & ~WHDR_INQUEUE) | WHDR_DONE;
            m_queued = nullptr;
        }
    }

    template <class H>
    MMRESULT closeDevice(char const* name, H handle) {
        MMRESULT const result = step(name);
        if (throwOnClose) {
            throw std::runtime_error("driver fault");
        }
        if (result == MMSYSERR_NOERROR) {
            open.erase(reinterpret_cast<std::uintptr_t>(handle));
        }
        return result;
    }

    WAVEHDR* m_queued = nullptr;
};
