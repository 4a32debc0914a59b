#pragma once
// AudioCaptureEx: records from an endpoint through the audio client in
// exclusive mode into a client's PCM buffer, from its writePosition on,
// until the buffer is full or the client stops it.
//
// initialize first asks for an event-driven stream and falls back to a plain
// one; the device buffer asked for starts at 500 default periods and is
// halved on the refusals that mean "too large". The worker that fits what
// the device took runs: the event worker takes one packet per signal and
// gives up after the time-out of setTimeout (none by default); the polled
// worker spins on the packet size without sleeping and knows no time-out.
//
// writePosition is never rewound here: a second recording goes on where the
// first ended, and the client rewinds the buffer itself. The worker's exit
// code is kept until asked for: 0 a normal end, 258 the event wait timed
// out, 128 a stop ahead of the first wait (and the value before any worker
// ended), -1 the device would not start.
//
// The device and the buffer are the client's and must outlive the capture.
// The flags shared with the worker are plain fields: stop is the join point.
// Copies share the worker, the audio client and the event handle, which
// each copy closes.
#include <libSonvane/AudioCapture.h>
#include <libSonvane/SonvaneExport.h>

#include <COM/AtlComPtr.h>
#include <COM/DeviceTopologyApi.h>

#include <libTrelwave/StaticPCMBuffer.h>

#include <orv/ManagedThread.h>
#include <orv/OrvResource.h>

#include <windows.h>
#include <audioclient.h>
#include <mmdeviceapi.h>

namespace libSonvane {

class SONVANE_API AudioCaptureEx : public AudioCapture {
public:
    static _AUDCLNT_SHAREMODE const m_shareMode;

    AudioCaptureEx();
    // Initialises at once; a device that cannot be opened is an assertion
    // stop here.
    AudioCaptureEx(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer);
    AudioCaptureEx(AudioCaptureEx const& other);
    AudioCaptureEx& operator=(AudioCaptureEx const& other);
    ~AudioCaptureEx() override;

    bool initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) override;
    // Resets the device and returns once the worker has started it.
    bool start() override;
    bool isStillRecording() const override;
    void reset() override;
    // Always true; the exit code is kept for threadExitCode. An event worker
    // notices the stop only when its wait returns.
    bool stop() override;
    // Limit of each event wait, milliseconds; taken up by the next wait.
    void setTimeout(unsigned int milliseconds) override;
    // Joins a worker and keeps its exit code; without one, the code kept.
    int threadExitCode() override;
    _AUDCLNT_SHAREMODE shareMode() const override;

private:
    typedef orv::SharedResource<orv::PointerStorage<orv::ManagedThread, 0, 3>, 0> Worker;

    bool openClient(IMMDevice* device, libTrelwave::StaticPCMBuffer const* buffer);
    bool openWithHalving(IMMDevice* device, libTrelwave::StaticPCMBuffer const* buffer);
    void createEvent();
    bool createCaptureThread();
    bool streamInData();
    UINT64 storePacket(BYTE const* packet, UINT32 frames);
    UINT64 freeBytes() const;
    static int resupplyByEvent(orv::ManagedThread& thread);
    static int resupplyBusyWait(orv::ManagedThread& thread);

    bool m_keepRunning;
    bool m_threadStarted;
    IMMDevice* m_device;
    libTrelwave::StaticPCMBuffer* m_buffer;
    UINT32 m_bufferFrames;
    REFERENCE_TIME m_requestedDuration;
    DWORD m_streamFlags;
    HANDLE m_event;
    Worker m_thread;
    bool m_useEvent;
    REFERENCE_TIME m_defaultPeriod;
    REFERENCE_TIME m_minimumPeriod;
    ATL::CComPtr<IAudioClient> m_client;
    ATL::CComPtr<IAudioCaptureClient> m_captureClient;
    DWORD m_timeout;
    int m_exitCode;
};

}  // namespace libSonvane
