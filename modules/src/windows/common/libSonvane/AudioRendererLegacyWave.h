#pragma once
// AudioRendererLegacyWave: plays a client's PCM buffer through the legacy
// waveOut device that serves the endpoint. The endpoint is found by its
// legacy wave number; an endpoint without one plays on the wave mapper.
//
// The whole buffer goes out in one header, which the device reads straight
// from the client's memory. A worker only watches for the header to come
// back done, every 10 ms, and stops the device then; it also gives up on the
// host's stop request, leaving the device playing until stop.
//
// Play flags compare as a whole value: only PlayLoop loops, every other
// value plays once. play does not wait for the device: one that will not
// start shows only in stop answering false.
//
// The destructor does not stop: a client stops a renderer before it goes.
// A copy takes the worker over from its source.
#include <libSonvane/AudioRenderer.h>
#include <libSonvane/SonvaneExport.h>
#include <libSonvane/WaveOut.h>

#include <libTrelwave/PCMTrack.h>
#include <libTrelwave/StaticPCMBuffer.h>

#include <orv/ManagedThread.h>
#include <orv/OrvArray.h>
#include <orv/OrvResource.h>

#include <windows.h>
#include <mmdeviceapi.h>
#include <mmreg.h>

namespace libSonvane {

class SONVANE_API AudioRendererLegacyWave : public AudioRenderer {
public:
    AudioRendererLegacyWave();
    AudioRendererLegacyWave(AudioRendererLegacyWave const& other);
    AudioRendererLegacyWave& operator=(AudioRendererLegacyWave const& other);
    ~AudioRendererLegacyWave() override;

    // Opens the endpoint's wave device for the buffer's format.
    bool initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) override;
    bool play(unsigned int flags) override;
    bool isStillPlaying() const override;
    // True when the worker ended normally, and when there was none.
    bool stop() override;
    // One fixed format, 2 channels of 16 bits at 44.1 kHz; the device is
    // not asked.
    orv::Array<WAVEFORMATEX>& compatibleFormat() override;
    _AUDCLNT_SHAREMODE shareMode() const override;

private:
    typedef orv::CopiedResource<orv::PointerStorage<libTrelwave::StaticPCMBuffer, 3, 2>> BufferView;
    typedef orv::CopiedResource<orv::PointerStorage<orv::ManagedThread, 0, 3>> Worker;

    static int playback(orv::ManagedThread& thread);

    bool m_loop;
    libTrelwave::PCMTrack m_track;
    BufferView m_buffer;
    Worker m_thread;
    WaveOut m_waveOut;
    orv::Array<WAVEFORMATEX> m_compatibleFormats;
};

}  // namespace libSonvane
