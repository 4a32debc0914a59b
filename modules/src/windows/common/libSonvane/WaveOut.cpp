#include <libSonvane/WaveOut.h>

#include <orv/OrvLog.h>

#include <platform/Platform.h>

ORV_LOG_CATEGORY("libTrelwave");

namespace {

// The waveOut calls, each with the header size that the system checks.

MMRESULT openDevice(HWAVEOUT& handle, unsigned int deviceId, WAVEFORMATEX const& format) {
    return platform::wave().outOpen(&handle, deviceId, &format, 0, 0, CALLBACK_NULL);
}

MMRESULT prepareHeader(HWAVEOUT handle, WAVEHDR& header) {
    return platform::wave().outPrepareHeader(handle, &header, sizeof(WAVEHDR));
}

MMRESULT writeHeader(HWAVEOUT handle, WAVEHDR& header) {
    return platform::wave().outWrite(handle, &header, sizeof(WAVEHDR));
}

MMRESULT resetDevice(HWAVEOUT handle) {
    return platform::wave().outReset(handle);
}

MMRESULT unprepareHeader(HWAVEOUT handle, WAVEHDR& header) {
    return platform::wave().outUnprepareHeader(handle, &header, sizeof(WAVEHDR));
}

MMRESULT closeDevice(HWAVEOUT handle) {
    return platform::wave().outClose(handle);
}

// Loop count of a header that plays until it is reset.
DWORD const endlessLoops = 0xFFFFFFFFu;

}  // namespace

namespace libSonvane {

void WaveOutHandleStorage::destroy(Handle& handle) {
    ORV_TRACE("WaveOutHandleStorage::destroy");
    try {
        if (!isNil(handle)) {
            MMRESULT const result = closeDevice(handle);
            ORV_LOG(1) << "waveOutClose result = " << result;
            handle = nilValue();
        }
    } catch (...) {
        ORV_LOG(4) << "WaveOutHandleStorage.destroy encounters unknown exception";
        throw;
    }
}

WaveOut::WaveOut() : m_deviceId(0xFFFFFFFFu), m_header(), m_aborted(false) {}

WaveOut::WaveOut(WaveOut const& other)
    : m_deviceId(other.m_deviceId), m_handle(other.m_handle), m_header(other.m_header), m_aborted(other.m_aborted) {}

WaveOut& WaveOut::operator=(WaveOut const& other) {
    m_deviceId = other.m_deviceId;
    m_handle = other.m_handle;
    m_header = other.m_header;
    m_aborted = other.m_aborted;
    return *this;
}

WaveOut::~WaveOut() {}

bool WaveOut::open(unsigned int deviceId, libTrelwave::PCMTrack const& track) {
    ORV_TRACE("WaveOut::open");
    // An aborted object opens anew even on the same device.
    if (isInitialized() && deviceId == m_deviceId && !m_aborted) {
        return true;
    }
    m_aborted = false;
    HWAVEOUT handle = nullptr;
    MMRESULT const result = openDevice(handle, deviceId, track.format);
    if (result != MMSYSERR_NOERROR) {
        ORV_LOG(3) << "waveOutOpen encountered an error " << result << " last error " << GetLastError();
        return false;
    }

    m_header = WAVEHDR();
    // The old device closes here when no copy holds it any more.
    m_handle.release();
    m_handle = orv::SharedResource<WaveOutHandleStorage, 1>(handle);
    m_deviceId = deviceId;
    return setPCMOutput(track);
}

bool WaveOut::setPCMOutput(libTrelwave::PCMTrack const& track) {
    ORV_TRACE("WaveOut::setPCMStorage");
    if (track.samples.size == 0) {
        ORV_LOG(3) << "Cannot operate on empty recording buffer";
        return false;
    }
    m_header = WAVEHDR();
    m_header.dwBufferLength = static_cast<DWORD>(track.samples.size);
    m_header.lpData = reinterpret_cast<LPSTR>(track.samples.data);
    return true;
}

bool WaveOut::start(bool loop) {
    ORV_TRACE("WaveOut::start");
    m_header.dwLoops = loop ? endlessLoops : 0;
    if (loop) {
        m_header.dwFlags |= WHDR_BEGINLOOP | WHDR_ENDLOOP;
    }
    MMRESULT const prepared = prepareHeader(m_handle.get(), m_header);
    if (prepared != MMSYSERR_NOERROR) {
        ORV_LOG(3) << "waveOutPrepareHeader failed " << prepared;
        return false;
    }
    m_aborted = false;
    MMRESULT const written = writeHeader(m_handle.get(), m_header);
    ORV_LOG(2) << "waveOutStart returns " << written;
    return written == MMSYSERR_NOERROR;
}

bool WaveOut::stop() {
    ORV_TRACE("WaveOut::stop");
    if (m_handle.isNil()) {
        return true;
    }
    // The reset is what hands the header back, marked done.
    MMRESULT const reset = resetDevice(m_handle.get());
    ORV_LOG(2) << "waveOutWrite returns " << reset;
    if (reset != MMSYSERR_NOERROR) {
        return false;
    }
    MMRESULT const unprepared = unprepareHeader(m_handle.get(), m_header);
    ORV_LOG(2) << "waveOutUnprepareHeader returns " << unprepared;
    return unprepared == MMSYSERR_NOERROR;
}

void WaveOut::abort() {
    m_aborted = true;
}

bool WaveOut::isAborted() const {
    return m_aborted;
}

bool WaveOut::stillPlaying() const {
    return !m_aborted && (m_header.dwFlags & WHDR_DONE) == 0;
}

bool WaveOut::isInitialized() const {
    return !m_handle.isNil() && m_header.dwBufferLength > 0 && m_header.lpData != nullptr &&
           m_header.dwFlags == 0;
}

}  // namespace libSonvane
