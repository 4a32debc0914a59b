#include <libSonvane/WaveIn.h>

#include <orv/OrvLog.h>

#include <platform/Platform.h>

#include <cstdint>

ORV_LOG_CATEGORY("libTrelwave");

namespace {

// The waveIn calls, each with the header size that the system checks.

MMRESULT openDevice(HWAVEIN& handle, unsigned int deviceId, WAVEFORMATEX const& format) {
    return platform::wave().inOpen(&handle, deviceId, &format, 0, 0, CALLBACK_NULL);
}

MMRESULT prepareHeader(HWAVEIN handle, WAVEHDR& header) {
    return platform::wave().inPrepareHeader(handle, &header, sizeof(WAVEHDR));
}

MMRESULT addBuffer(HWAVEIN handle, WAVEHDR& header) {
    return platform::wave().inAddBuffer(handle, &header, sizeof(WAVEHDR));
}

MMRESULT startDevice(HWAVEIN handle) {
    return platform::wave().inStart(handle);
}

MMRESULT stopDevice(HWAVEIN handle) {
    return platform::wave().inStop(handle);
}

MMRESULT resetDevice(HWAVEIN handle) {
    return platform::wave().inReset(handle);
}

MMRESULT unprepareHeader(HWAVEIN handle, WAVEHDR& header) {
    return platform::wave().inUnprepareHeader(handle, &header, sizeof(WAVEHDR));
}

MMRESULT closeDevice(HWAVEIN handle) {
    return platform::wave().inClose(handle);
}

char const* truthText(bool value) {
    return value ? "TRUE" : "FALSE";
}

unsigned long long handleAsInteger(HWAVEIN handle) {
    return static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle));
}

}  // namespace

namespace libSonvane {

void WaveInHandleStorage::destroy(Handle& handle) {
    ORV_TRACE("WaveInHandleStorage::destroy");
    try {
        if (!isNil(handle)) {
            ORV_LOG(1) << "Closing wave input device.";
            MMRESULT const result = closeDevice(handle);
            ORV_LOG(2) << "waveInClose result = " << result;
            handle = nilValue();
        }
    } catch (...) {
        ORV_LOG(4) << "WaveInHandleStorage.destroy encounters unknown exception";
        throw;
    }
}

WaveIn::WaveIn() : m_deviceId(0xFFFFFFFFu), m_header(), m_aborted(false) {}

WaveIn::WaveIn(WaveIn const& other)
    : m_deviceId(other.m_deviceId), m_handle(other.m_handle), m_header(other.m_header), m_aborted(other.m_aborted) {}

WaveIn& WaveIn::operator=(WaveIn const& other) {
    m_deviceId = other.m_deviceId;
    m_handle = other.m_handle;
    m_header = other.m_header;
    m_aborted = other.m_aborted;
    return *this;
}

WaveIn::~WaveIn() {}

bool WaveIn::open(unsigned int deviceId, libTrelwave::PCMTrack const& track) {
    ORV_TRACE("WaveIn::open");
    m_aborted = false;
    if (isInitialized() && deviceId == m_deviceId) {
        ORV_LOG(2) << "WaveIn object already has an open audio input device.";
        return true;
    }
    HWAVEIN handle = nullptr;
    MMRESULT const result = openDevice(handle, deviceId, track.format);
    if (result != MMSYSERR_NOERROR) {
        ORV_LOG(3) << "waveInOpen encountered an error " << result;
        return false;
    }
    ORV_LOG(2) << "Handle value as integer " << handleAsInteger(handle);

    m_header = WAVEHDR();
    // The old device closes here when no copy holds it any more.
    m_handle.release();
    m_handle = orv::SharedResource<WaveInHandleStorage, 1>(handle);
    m_deviceId = deviceId;
    return setPCMStorage(track);
}

bool WaveIn::close() {
    ORV_TRACE("WaveIn::close");
    if (m_handle.isNil()) {
        ORV_LOG(1) << "Handle already closed";
        return false;
    }
    m_handle.release();
    return true;
}

bool WaveIn::setPCMStorage(libTrelwave::PCMTrack const& track) {
    ORV_TRACE("WaveIn::setPCMStorage");
    if (track.samples.size == 0) {
        ORV_LOG(3) << "Cannot operate on empty recording buffer";
        return false;
    }
    m_header = WAVEHDR();
    m_header.dwBufferLength = static_cast<DWORD>(track.samples.size);
    m_header.lpData = reinterpret_cast<LPSTR>(track.samples.data);
    return true;
}

bool WaveIn::start() {
    ORV_TRACE("WaveIn::start");
    MMRESULT const prepared = prepareHeader(m_handle.get(), m_header);
    if (prepared != MMSYSERR_NOERROR) {
        ORV_LOG(3) << "waveInPrepareHeader failed " << prepared;
        return false;
    }
    if (addBuffer(m_handle.get(), m_header) != MMSYSERR_NOERROR) {
        ORV_LOG(3) << "waveInAddBuffer fails with GetLastError() = " << GetLastError();
        return false;
    }
    m_aborted = false;
    MMRESULT const started = startDevice(m_handle.get());
    ORV_LOG(2) << "waveInStart returns " << started;
    if (started == MMSYSERR_NOERROR) {
        return true;
    }
    return stop();
}

bool WaveIn::stop() {
    ORV_TRACE("WaveIn::stop");
    if (m_handle.isNil()) {
        return true;
    }
    MMRESULT const stopped = stopDevice(m_handle.get());
    ORV_LOG(2) << "waveInStop returns " << stopped;
    if (stopped != MMSYSERR_NOERROR) {
        return false;
    }
    // The reset is what hands the header back, marked done.
    resetDevice(m_handle.get());
    MMRESULT const unprepared = unprepareHeader(m_handle.get(), m_header);
    ORV_LOG(2) << "waveInUnprepareHeader returns " << unprepared;
    return unprepared == MMSYSERR_NOERROR;
}

void WaveIn::abort() {
    m_aborted = true;
}

bool WaveIn::isAborted() const {
    return m_aborted;
}

bool WaveIn::stillRecording() const {
    return !m_aborted && (m_header.dwFlags & WHDR_DONE) == 0;
}

bool WaveIn::isInitialized() const {
    ORV_TRACE("WaveIn::isInitialized");
    bool const isHandleValid = !m_handle.isNil();
    bool const goodBufferLength = m_header.dwBufferLength > 0;
    bool const nonNullDataPtr = m_header.lpData != nullptr;
    ORV_LOG(2) << "Checking WaveIn::isInitialized";
    ORV_LOG(2) << "isHandleValid = " << truthText(isHandleValid);
    ORV_LOG(2) << "goodBufferLength = " << truthText(goodBufferLength);
    ORV_LOG(2) << "nonNullDataPtr = " << truthText(nonNullDataPtr);
    ORV_LOG(2) << "m_header.dwFlags = " << static_cast<unsigned long>(m_header.dwFlags);
    return isHandleValid && goodBufferLength && nonNullDataPtr && m_header.dwFlags == 0;
}

}  // namespace libSonvane
