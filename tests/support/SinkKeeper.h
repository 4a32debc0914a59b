#pragma once
// Keeps the loopback of the real stack honest for tests and benchmarks that
// record what they play.
//
// On the PulseAudio null sink behind Wine's ALSA driver an idle sink hands a
// recording of its monitor nothing until something plays, and a stream that
// starts on a sink running with a long latency loses its first part on the
// monitor (the sink rewinds to play it at once; the monitor has already
// passed that stretch on). A SinkKeeper plays 1-LSB samples in a loop on the
// wave mapper for as long as it lives, which keeps the sink running at the
// short latency of a shared stream. Recordings then hold the keeper's
// samples, so a caller can tell that a recording runs (recordingRuns) before
// it starts the sound under test.
//
// The sink is one for the whole machine, and whatever else plays on it is
// mixed into every recording. A SinkKeeper therefore also holds a mutex of
// the Wine prefix for as long as it lives, waiting for it without a limit:
// programs that record the loopback while they hold a SinkKeeper take turns.
#include <windows.h>
#include <mmsystem.h>

#include <cstddef>
#include <cstdint>
#include <vector>

class SinkKeeper {
public:
    // 48 kHz, 2 channels of 16 bits.
    SinkKeeper();
    ~SinkKeeper();

    // False when the wave mapper could not be opened.
    bool isPlaying() const;

    SinkKeeper(SinkKeeper const&) = delete;
    SinkKeeper& operator=(SinkKeeper const&) = delete;

private:
    HANDLE m_turn;
    std::vector<std::int16_t> m_samples;
    HWAVEOUT m_device;
    WAVEHDR m_header;
};

// Whether any of the `count` samples is not zero, i.e. the device has
// written into a recording that started out silent. The samples may be read
// while a stream writes them; a torn read at worst delays the answer.
bool recordingRuns(std::int16_t const* samples, std::size_t count);
