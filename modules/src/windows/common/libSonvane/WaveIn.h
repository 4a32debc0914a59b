#pragma once
// One waveIn device and one header that carries a whole PCMTrack in one go:
// no queue of small blocks and no callback. The system marks the end of the
// recording with WHDR_DONE in the header's flags, and the stream above polls
// for it (stillRecording).
//
// Header states: closed or aimed (flags 0), prepared (start), done (the
// system filled the buffer, or a reset), unprepared (stop). start never
// clears the flags, so a used header must be aimed again with setPCMStorage
// before the next start; isInitialized is false until then.
//
// The device handle is shared by copies under a locked count and closed by
// the last holder. Copies also copy the header and the abort flag by value.
// Nothing guards the header or the abort flag: the system writes the flags
// from its own thread and readers take them as plain fields. stop may run on
// two threads at once (client and worker); the second one meets a reset and
// unprepared header and its results are only logged.
#include <libSonvane/SonvaneExport.h>

#include <libTrelwave/PCMTrack.h>

#include <orv/OrvResource.h>

#include <windows.h>
#include <mmsystem.h>

namespace libSonvane {

// Storage of an open waveIn handle for orv::SharedResource; null is no
// device.
struct SONVANE_API WaveInHandleStorage {
    typedef HWAVEIN Handle;

    static Handle nilValue() { return nullptr; }
    static bool isNil(Handle const& handle) { return handle == nullptr; }
    // Closes the device of a valid handle and leaves the handle null; what
    // the close throws is logged and passed on.
    static void destroy(Handle& handle);
    // What the shared resource calls when the last holder lets go.
    static void dispose(Handle& handle) { destroy(handle); }
};

class SONVANE_API WaveIn {
public:
    WaveIn();
    WaveIn(WaveIn const& other);
    WaveIn& operator=(WaveIn const& other);
    // Gives up this share of the handle; stops nothing.
    ~WaveIn();

    // Opens the device for the track's format and aims the header at the
    // track's storage. A header still aimed at storage on the same device
    // keeps its handle. A failed open leaves the old handle and header alone.
    bool open(unsigned int deviceId, libTrelwave::PCMTrack const& track);
    // Gives up the handle; false when there is none.
    bool close();
    // Aims the header at the track's storage; an empty track keeps the old
    // header and answers false.
    bool setPCMStorage(libTrelwave::PCMTrack const& track);
    // Prepares and queues the header and starts recording. A refused start
    // answers what the clean-up stop answers; the header then comes back
    // done at once.
    bool start();
    // Stops and resets the device, which hands the header back done, and
    // unprepares it. True when there is no handle.
    bool stop();
    // Marks the transfer as given up for the poller; the device goes on.
    void abort();
    bool isAborted() const;
    bool stillRecording() const;
    // Handle open and header aimed at storage, not yet prepared or done.
    bool isInitialized() const;

    unsigned int deviceId() const { return m_deviceId; }
    WAVEHDR const& header() const { return m_header; }

private:
    unsigned int m_deviceId;
    orv::SharedResource<WaveInHandleStorage, 1> m_handle;
    WAVEHDR m_header;
    bool m_aborted;
};

}  // namespace libSonvane
