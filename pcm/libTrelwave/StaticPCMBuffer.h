#pragma once
// A fixed block of PCM and its format, owned by the client of a stream.
//
// The format stands first so that a pointer to the buffer can be handed
// unchanged to any platform call that wants a WAVEFORMATEX pointer; it has
// room for the extensible form. A frame is format.nBlockAlign bytes; a rest
// of less than a frame at the end of the storage is never played.
//
// For playback the whole storage is the sound; for capture `size` is the
// recording limit and `writePosition` counts the bytes recorded so far.
// The buffer keeps no read position: every reader keeps its own.
#include <libTrelwave/PCMSampleStore.h>

#include <windows.h>
#include <mmreg.h>

#include <cstdint>
#include <cstring>

namespace libTrelwave {

struct StaticPCMBuffer {
    union {
        WAVEFORMATEX format;
        WAVEFORMATEXTENSIBLE formatExtensible;
    };
    unsigned char* data;
    std::uint64_t size;
    std::uint64_t writePosition;

    StaticPCMBuffer() : formatExtensible(), data(nullptr), size(0), writePosition(0) {}

    std::uint32_t frameBytes() const { return format.nBlockAlign; }

    // Fills `out` with exactly frameCount frames starting at frame `position`
    // (folded into the buffer), reading the storage as a ring when `wrap` is
    // true. Frames that are not copied stay silent.
    //
    // The end of the storage is found from the start of the last frame read,
    // not from its end. A read that crosses the end therefore takes one frame
    // more than remains before it wraps, reaching nBlockAlign bytes past
    // `size`, and wraps one frame less; whoever owns the storage decides what
    // lies behind it. When more frames are asked for than the buffer holds,
    // every further pass reads the same source range again. Callers rely on
    // these counts, so they stay as they are.
    //
    // Sizes are 32-bit except the final fold, which uses the 64-bit size. A
    // zero block alignment or an empty buffer is not guarded against.
    void readFrames(std::uint32_t position, std::uint32_t frameCount, bool wrap, PCMSampleStore& out) const {
        std::uint32_t const blockAlign = frameBytes();
        out.release();
        out.resize(static_cast<std::uint64_t>(frameCount * blockAlign));

        std::uint32_t const totalFrames = static_cast<std::uint32_t>(size) / blockAlign;
        std::uint32_t const startByte = (position % totalFrames) * blockAlign;
        if (frameCount == 0) {
            return;
        }
        unsigned char* cursor = out.data;
        while (frameCount != 0) {
            std::uint32_t const chunkFrames = frameCount < totalFrames ? frameCount : totalFrames;
            std::uint32_t const chunkBytes = chunkFrames * blockAlign;
            std::uint32_t const lastFrameStart = startByte + chunkBytes - blockAlign;

            std::uint32_t tail = static_cast<std::uint32_t>(lastFrameStart % size);
            std::uint32_t head = chunkBytes - tail;
            if (tail == lastFrameStart) {
                tail = 0;
                head = chunkBytes;
            }
            std::memcpy(cursor, data + startByte, head);
            if (tail != 0 && wrap) {
                cursor += head;
                std::memcpy(cursor, data, tail);
            }
            frameCount -= chunkFrames;
        }
    }
};

}  // namespace libTrelwave
