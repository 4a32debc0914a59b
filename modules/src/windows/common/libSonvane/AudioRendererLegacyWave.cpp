#include <libSonvane/AudioRendererLegacyWave.h>

#include <libSonvane/audiodeviceendpoint.h>

#include <brel5/DiagModule.h>
#include <orv/OrvLog.h>
#include <orv/OrvSystem.h>

ORV_LOG_CATEGORY("libSonvane");

namespace {

WAVEFORMATEX cdQualityStereo() {
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 2;
    format.nSamplesPerSec = 44100;
    format.nAvgBytesPerSec = 176400;
    format.nBlockAlign = 4;
    format.wBitsPerSample = 16;
    format.cbSize = 0;
    return format;
}

}  // namespace

namespace libSonvane {

AudioRendererLegacyWave::AudioRendererLegacyWave() : m_loop(false) {
    m_compatibleFormats.append(cdQualityStereo());
}

AudioRendererLegacyWave::AudioRendererLegacyWave(AudioRendererLegacyWave const& other) = default;
AudioRendererLegacyWave& AudioRendererLegacyWave::operator=(AudioRendererLegacyWave const& other) = default;

// The members go in reverse order: the formats, then the device handle,
// and the worker only after the device.
AudioRendererLegacyWave::~AudioRendererLegacyWave() {}

bool AudioRendererLegacyWave::initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) {
    ORV_TRACE("AudioRendererWaveLegacy::initialize");
    if (!device || !buffer) {
        ORV_LOG(3) << "Invalid parameter passed to the function";
        return false;
    }
    m_buffer = BufferView(buffer);
    m_track.bindTo(*buffer);
    // No legacy number is the wave mapper's number: the stream then plays
    // on the mapper's device rather than failing.
    return m_waveOut.open(AudioDevice(device).waveLegacyDeviceID(), m_track);
}

// Aiming the header again is what clears the flags of the previous run.
bool AudioRendererLegacyWave::play(unsigned int flags) {
    ORV_TRACE("AudioRendererLegacyWave::play");
    stop();
    m_track.bindTo(*m_buffer);
    m_waveOut.setPCMOutput(m_track);
    m_loop = flags == PlayLoop;
    m_thread = Worker(new orv::ManagedThread(&AudioRendererLegacyWave::playback, this));
    return m_thread->run(nullptr);
}

bool AudioRendererLegacyWave::isStillPlaying() const {
    if (m_thread.isNil() || !m_thread->isRunning()) {
        return false;
    }
    return m_waveOut.stillPlaying();
}

// Resetting the device hands the header back done, which ends the worker's
// watch.
bool AudioRendererLegacyWave::stop() {
    ORV_TRACE("AudioRendererLegacyWave::stop");
    if (m_thread.isNil()) {
        return true;
    }
    m_waveOut.stop();
    m_thread->join();
    // A worker left by an exception has no code and counts as failed.
    int code = -1;
    m_thread->getExitCode(&code);
    m_thread.release();
    ORV_LOG(1) << "Thread exit code " << code;
    return code == 0;
}

orv::Array<WAVEFORMATEX>& AudioRendererLegacyWave::compatibleFormat() {
    return m_compatibleFormats;
}

_AUDCLNT_SHAREMODE AudioRendererLegacyWave::shareMode() const {
    return AUDCLNT_SHAREMODE_SHARED;
}

// No time limit: a looping header plays until stop, the host's stop request
// or an abort.
int AudioRendererLegacyWave::playback(orv::ManagedThread& thread) {
    ORV_TRACE("AudioRendererWaveLegacy::playback");
    AudioRendererLegacyWave* const renderer = static_cast<AudioRendererLegacyWave*>(thread.m_userPointer);
    WaveOut& device = renderer->m_waveOut;
    if (!device.start(renderer->m_loop)) {
        ORV_LOG(3) << "Unable to start recording";
        return -1;
    }
    for (;;) {
        if (!device.stillPlaying()) {
            ORV_LOG(1) << "Stopping playback.";
            device.stop();
            return 0;
        }
        if (brel5::DiagModule::checkForStop()) {
            ORV_LOG(3) << "User aborted playback";
            return 128;
        }
        orv::System::mssleep(10);
    }
}

}  // namespace libSonvane
