#pragma once
// Samples and their format as the wave devices take them: `format` is what a
// wave device is opened with, `samples` the one block it plays or fills.
#include <libTrelwave/PCMSampleStore.h>
#include <libTrelwave/StaticPCMBuffer.h>

#include <windows.h>
#include <mmreg.h>

namespace libTrelwave {

struct PCMTrack {
    PCMSampleStore samples;
    WAVEFORMATEX format = {};

    // Points the track at the buffer's storage without copying it, so that
    // the device reads or writes the client's memory directly, and takes the
    // buffer's plain format (the extension bytes are left behind). An empty
    // buffer leaves the track empty.
    void bindTo(StaticPCMBuffer const& buffer) {
        samples.release();
        if (buffer.size != 0) {
            samples.borrow(buffer.data, buffer.size);
        }
        format = buffer.format;
    }
};

}  // namespace libTrelwave
