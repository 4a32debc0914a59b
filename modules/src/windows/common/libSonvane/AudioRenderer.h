#pragma once
// What a client plays a PCM buffer through, whichever stack does the work:
// the endpoint audio client in exclusive mode or the legacy wave devices. The
// client picks the stack by the concrete class it constructs.
//
// The device and the buffer are the client's: a renderer neither takes a
// reference on the device nor owns the buffer, and the buffer must stay valid
// and untouched until the renderer is stopped.
#include <libSonvane/SonvaneExport.h>

#include <libTrelwave/StaticPCMBuffer.h>

#include <orv/OrvArray.h>

#include <windows.h>
#include <audiosessiontypes.h>
#include <mmdeviceapi.h>
#include <mmreg.h>

namespace libSonvane {

class SONVANE_API AudioRenderer {
public:
    // Values of the play flags. The two renderers read them differently on
    // purpose: the exclusive renderer tests bits (PlayOnce clear loops,
    // PlayRewind starts over from the first frame), the legacy one compares
    // the whole value (only PlayLoop loops, everything else plays once).
    enum PlayFlag : unsigned int {
        PlayOnce = 1,
        PlayLoop = 2,
        PlayRewind = 4
    };

    AudioRenderer();
    AudioRenderer(AudioRenderer const& other);
    AudioRenderer& operator=(AudioRenderer const& other) = default;
    virtual ~AudioRenderer();

    // Binds device and buffer; true when playing can start.
    virtual bool initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) = 0;
    virtual bool play(unsigned int flags) = 0;
    virtual bool isStillPlaying() const = 0;
    // Ends playing and joins the worker.
    virtual bool stop() = 0;
    // The formats this stream can play.
    virtual orv::Array<WAVEFORMATEX>& compatibleFormat() = 0;
    virtual _AUDCLNT_SHAREMODE shareMode() const = 0;
};

}  // namespace libSonvane
