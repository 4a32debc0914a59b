#include <libSonvane/AudioCaptureLegacyWave.h>

#include <libSonvane/audiodeviceendpoint.h>

#include <orv/OrvLog.h>
#include <orv/OrvSystem.h>
#include <orv/Stopwatch.h>

#include <cstdint>

ORV_LOG_CATEGORY("libSonvane");

namespace {

// How much longer than the sound itself a recording may take.
double const kTimeoutMargin = 1.4;

// The buffer's playing time in seconds; 0 for a format without frames or
// rate.
double playingSeconds(libTrelwave::StaticPCMBuffer const& buffer) {
    if (buffer.format.nBlockAlign == 0 || buffer.format.nSamplesPerSec == 0) {
        return 0.0;
    }
    return static_cast<double>(buffer.size) / buffer.format.nBlockAlign / buffer.format.nSamplesPerSec;
}

DWORD hardTimeoutFor(libTrelwave::StaticPCMBuffer const& buffer) {
    double const milliseconds = playingSeconds(buffer) * kTimeoutMargin * 1000.0;
    return static_cast<DWORD>(static_cast<std::uint64_t>(milliseconds));
}

}  // namespace

namespace libSonvane {

AudioCaptureLegacyWave::AudioCaptureLegacyWave() : m_timeout(INFINITE), m_exitCode(0) {}

AudioCaptureLegacyWave::AudioCaptureLegacyWave(AudioCaptureLegacyWave const& other) = default;
AudioCaptureLegacyWave& AudioCaptureLegacyWave::operator=(AudioCaptureLegacyWave const& other) = default;

AudioCaptureLegacyWave::~AudioCaptureLegacyWave() {
    stop();
}

bool AudioCaptureLegacyWave::initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) {
    ORV_TRACE("AudioCaptureLegacyWave::initialize");
    if (!buffer) {
        ORV_LOG(3) << "Storage pointer is NULL";
        return false;
    }
    m_buffer = BufferView(buffer);
    m_track.bindTo(*buffer);
    // No legacy number is the wave mapper's number: the stream then records
    // from the mapper's device rather than failing.
    return m_waveIn.open(AudioDevice(device).waveLegacyDeviceID(), m_track);
}

// Aiming the header again is what clears the flags of the previous run.
bool AudioCaptureLegacyWave::start() {
    ORV_TRACE("AudioCaptureLegacyWave::start");
    stop();
    capTimeout();
    m_track.bindTo(*m_buffer);
    m_waveIn.setPCMStorage(m_track);
    m_thread = Worker(new orv::ManagedThread(&AudioCaptureLegacyWave::record, this));
    return m_thread->run(nullptr);
}

// The limit only ever shrinks here, so a later, longer buffer keeps the
// smaller one until setTimeout.
void AudioCaptureLegacyWave::capTimeout() {
    DWORD const limit = hardTimeoutFor(*m_buffer);
    if (m_timeout > limit) {
        m_timeout = limit;
    }
}

bool AudioCaptureLegacyWave::isStillRecording() const {
    if (m_thread.isNil()) {
        return false;
    }
    return m_thread->isRunning() || m_waveIn.stillRecording();
}

void AudioCaptureLegacyWave::reset() {
    stop();
}

// Stopping the device hands the header back done, which ends the worker's
// watch.
bool AudioCaptureLegacyWave::stop() {
    ORV_TRACE("AudioCaptureLegacyWave::stop");
    if (!m_thread.isNil()) {
        m_waveIn.stop();
        m_thread->join();
        m_thread->getExitCode(&m_exitCode);
        m_thread.release();
    }
    return true;
}

void AudioCaptureLegacyWave::setTimeout(unsigned int milliseconds) {
    m_timeout = milliseconds;
}

int AudioCaptureLegacyWave::threadExitCode() {
    return m_exitCode;
}

_AUDCLNT_SHAREMODE AudioCaptureLegacyWave::shareMode() const {
    return AUDCLNT_SHAREMODE_SHARED;
}

// The host's stop request is not asked here: the hard time-out bounds the
// wait instead.
int AudioCaptureLegacyWave::record(orv::ManagedThread& thread) {
    ORV_TRACE("AudioCaptureLegacyWave::record");
    AudioCaptureLegacyWave* const capture = static_cast<AudioCaptureLegacyWave*>(thread.m_userPointer);
    WaveIn& device = capture->m_waveIn;
    if (!device.start()) {
        ORV_LOG(3) << "Unable to start recording";
        return -1;
    }
    orv::Stopwatch const watch;
    ORV_LOG(1) << "Waiting for recording to finish. Hard timeout = " << static_cast<unsigned long>(capture->m_timeout)
               << " ms.";
    while (device.stillRecording()) {
        if (watch.getElapsedMilliseconds() >= capture->m_timeout) {
            // The header stays queued on the running device until stop.
            if (device.stillRecording()) {
                return 128;
            }
            break;
        }
        orv::System::mssleep(10);
    }
    ORV_LOG(1) << "Stopping recording.";
    device.stop();
    return 0;
}

}  // namespace libSonvane
