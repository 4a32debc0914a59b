#pragma once
// AudioCaptureLegacyWave: records through the legacy waveIn device that
// serves the endpoint into a client's PCM buffer. The endpoint is found by
// its legacy wave number; an endpoint without one records from the wave
// mapper.
//
// The whole buffer is one header, filled by the device straight into the
// client's memory from its start; writePosition is not moved and the bytes
// recorded are not counted. A worker watches for the header to come back
// done, every 10 ms, under a hard time-out of at most 140% of the buffer's
// playing time: start lowers a longer limit to that, and only setTimeout
// raises it again. On the time-out the worker ends with 128 and leaves the
// device running until stop; a normal end is 0, a device that would not
// start -1. threadExitCode answers the code that the last stop collected.
#include <libSonvane/AudioCapture.h>
#include <libSonvane/SonvaneExport.h>
#include <libSonvane/WaveIn.h>

#include <libTrelwave/PCMTrack.h>
#include <libTrelwave/StaticPCMBuffer.h>

#include <orv/ManagedThread.h>
#include <orv/OrvResource.h>

#include <windows.h>
#include <mmdeviceapi.h>

namespace libSonvane {

class SONVANE_API AudioCaptureLegacyWave : public AudioCapture {
public:
    AudioCaptureLegacyWave();
    // A copy takes the worker over from its source.
    AudioCaptureLegacyWave(AudioCaptureLegacyWave const& other);
    AudioCaptureLegacyWave& operator=(AudioCaptureLegacyWave const& other);
    // Stops first.
    ~AudioCaptureLegacyWave() override;

    // Opens the endpoint's wave device for the buffer's format. Only the
    // buffer is checked.
    bool initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) override;
    // Does not wait for the device.
    bool start() override;
    // Stays true after a hard time-out until stop.
    bool isStillRecording() const override;
    // The same as stop.
    void reset() override;
    // Always true; keeps the worker's exit code.
    bool stop() override;
    void setTimeout(unsigned int milliseconds) override;
    // The code kept by the last stop, 0 before any; never waits.
    int threadExitCode() override;
    _AUDCLNT_SHAREMODE shareMode() const override;

private:
    typedef orv::CopiedResource<orv::PointerStorage<libTrelwave::StaticPCMBuffer, 3, 2>> BufferView;
    typedef orv::CopiedResource<orv::PointerStorage<orv::ManagedThread, 0, 3>> Worker;

    void capTimeout();
    static int record(orv::ManagedThread& thread);

    libTrelwave::PCMTrack m_track;
    BufferView m_buffer;
    WaveIn m_waveIn;
    Worker m_thread;
    DWORD m_timeout;
    int m_exitCode;
};

}  // namespace libSonvane
