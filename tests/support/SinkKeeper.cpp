#include <SinkKeeper.h>

#include <PcmFormat.h>

#include <algorithm>

// A tenth of a second, looped for ever. An abandoned turn (its holder died)
// is a turn all the same.
SinkKeeper::SinkKeeper()
    : m_turn(CreateMutexW(nullptr, FALSE, L"SonvaneRealStackLoopback")),
      m_samples(4800 * 2, 1),
      m_device(nullptr),
      m_header() {
    if (m_turn) {
        WaitForSingleObject(m_turn, INFINITE);
    }
    WAVEFORMATEX const format = pcmFormat(2, 16, 48000);
    if (waveOutOpen(&m_device, WAVE_MAPPER, &format, 0, 0, CALLBACK_NULL) != MMSYSERR_NOERROR) {
        m_device = nullptr;
        return;
    }
    m_header.lpData = reinterpret_cast<LPSTR>(m_samples.data());
    m_header.dwBufferLength = static_cast<DWORD>(m_samples.size() * sizeof(std::int16_t));
    m_header.dwFlags = WHDR_BEGINLOOP | WHDR_ENDLOOP;
    m_header.dwLoops = 0xFFFFFFFFu;
    waveOutPrepareHeader(m_device, &m_header, sizeof m_header);
    waveOutWrite(m_device, &m_header, sizeof m_header);
}

SinkKeeper::~SinkKeeper() {
    if (m_device) {
        waveOutReset(m_device);
        waveOutUnprepareHeader(m_device, &m_header, sizeof m_header);
        waveOutClose(m_device);
    }
    if (m_turn) {
        ReleaseMutex(m_turn);
        CloseHandle(m_turn);
    }
}

bool SinkKeeper::isPlaying() const {
    return m_device != nullptr;
}

bool recordingRuns(std::int16_t const* samples, std::size_t count) {
    return std::any_of(samples, samples + count, [](std::int16_t sample) { return sample != 0; });
}
