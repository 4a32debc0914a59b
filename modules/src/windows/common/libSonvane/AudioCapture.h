#pragma once
// What a client records into a PCM buffer through, whichever stack does the
// work: the endpoint audio client in exclusive mode or the legacy wave
// devices. The client picks the stack by the concrete class it constructs.
//
// The device and the buffer are the client's. While recording goes on only
// the stream writes the buffer; the client may read its writePosition.
#include <libSonvane/SonvaneExport.h>

#include <libTrelwave/StaticPCMBuffer.h>

#include <windows.h>
#include <audiosessiontypes.h>
#include <mmdeviceapi.h>

namespace libSonvane {

class SONVANE_API AudioCapture {
public:
    AudioCapture();
    AudioCapture(AudioCapture const& other);
    AudioCapture& operator=(AudioCapture const& other) = default;
    virtual ~AudioCapture();

    // Binds device and buffer.
    virtual bool initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) = 0;
    virtual bool start() = 0;
    virtual bool isStillRecording() const = 0;
    // Clears device state ahead of a recording.
    virtual void reset() = 0;
    // Ends recording and joins the worker.
    virtual bool stop() = 0;
    // The time limit of a recording, in milliseconds.
    virtual void setTimeout(unsigned int milliseconds) = 0;
    virtual int threadExitCode() = 0;
    virtual _AUDCLNT_SHAREMODE shareMode() const = 0;
};

}  // namespace libSonvane
