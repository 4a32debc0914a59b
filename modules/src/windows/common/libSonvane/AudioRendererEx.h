#pragma once
// AudioRendererEx: plays a client's PCM buffer on an endpoint through the
// audio client in exclusive mode.
//
// initialize asks for a device buffer as long as the whole sound, so that a
// short test tone goes out in one or two lumps; a driver that refuses gets
// half of it, and half again, down to the device's default period. play
// fills the device buffer once on the caller's thread, so that sound is
// queued before the client starts, then a worker keeps it topped up by
// polling the padding: each delivery waits until at least half of the device
// buffer is free. In play-once mode the last delivery is padded with silence,
// and the worker lets the device drain before it stops the client; stop
// therefore blocks for that drain.
//
// The worker spins on the padding without sleeping. An event-driven worker
// exists as well, but the stream is never opened event-driven, so it is not
// the one that runs.
//
// The device and the buffer are the client's and must outlive the renderer.
// The flags shared with the worker are plain fields: stop is the join point.
#include <libSonvane/AudioRenderer.h>
#include <libSonvane/SonvaneExport.h>

#include <COM/AtlComPtr.h>

#include <libTrelwave/StaticPCMBuffer.h>

#include <orv/ManagedThread.h>
#include <orv/OrvArray.h>
#include <orv/OrvResource.h>

#include <COM/DeviceTopologyApi.h>

#include <windows.h>
#include <audioclient.h>
#include <mmdeviceapi.h>

namespace libSonvane {

class SONVANE_API AudioRendererEx : public AudioRenderer {
public:
    static _AUDCLNT_SHAREMODE const m_shareMode;

    AudioRendererEx();
    // Initialises at once and drops the result: a stream that could not open
    // shows only when play answers false.
    AudioRendererEx(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer);
    // Copies share the worker and the audio client.
    AudioRendererEx(AudioRendererEx const& other);
    AudioRendererEx& operator=(AudioRendererEx const& other);
    ~AudioRendererEx() override;

    bool initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) override;
    // Flags are tested by bits: PlayOnce set plays to the end of the buffer,
    // clear loops; PlayRewind starts from the first frame. Without PlayRewind
    // a play goes on where the last one ended. Returns once the worker has
    // started the device.
    bool play(unsigned int flags) override;
    bool isStillPlaying() const override;
    // Always true; waits for the worker, drain included.
    bool stop() override;
    // The grid formats the device takes in exclusive mode, probed once.
    orv::Array<WAVEFORMATEX>& compatibleFormat() override;
    _AUDCLNT_SHAREMODE shareMode() const override;

private:
    typedef orv::SharedResource<orv::PointerStorage<orv::ManagedThread, 0, 3>, 0> Worker;

    bool openClient(IMMDevice* device, libTrelwave::StaticPCMBuffer const& buffer);
    bool openWithHalving(IMMDevice* device, REFERENCE_TIME duration, libTrelwave::StaticPCMBuffer const& buffer);
    bool createRenderThread();
    void joinWorker();
    bool streamInData();
    bool readOnce(UINT32 frames, libTrelwave::PCMSampleStore& store, bool& more);
    void readLooped(UINT32 frames, libTrelwave::PCMSampleStore& store);
    bool deliver(libTrelwave::PCMSampleStore const& store, UINT32 frames);
    static int resupplyByEvent(orv::ManagedThread& thread);
    static int resupplyBusyWait(orv::ManagedThread& thread);

    bool m_initialized;
    bool m_keepRunning;
    bool m_threadStarted;
    IMMDevice* m_device;
    libTrelwave::StaticPCMBuffer* m_buffer;
    UINT32 m_bufferFrames;
    UINT32 m_position;
    UINT32 m_framesSent;
    DWORD m_streamFlags;
    HANDLE m_event;
    Worker m_thread;
    bool m_ignorePadding;
    REFERENCE_TIME m_defaultPeriod;
    REFERENCE_TIME m_minimumPeriod;
    REFERENCE_TIME m_latency;
    unsigned int m_playFlags;
    ATL::CComPtr<IAudioClient> m_client;
    ATL::CComPtr<IAudioRenderClient> m_renderClient;
    orv::Array<WAVEFORMATEX> m_compatibleFormats;
};

}  // namespace libSonvane
