// Reading frames out of a client buffer, and the owning or borrowing byte
// store that carries samples.
#include <libTrelwave/PCMSampleStore.h>
#include <libTrelwave/PCMTrack.h>
#include <libTrelwave/StaticPCMBuffer.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

using libTrelwave::PCMSampleStore;
using libTrelwave::PCMTrack;
using libTrelwave::StaticPCMBuffer;

namespace {

unsigned char const kBeyondEnd = 0xEE;

// Ten frames of four bytes, every byte of frame i holding i + 1, followed by
// one more frame of kBeyondEnd that lies outside `size`: readers may reach
// one frame past the end.
class TenFrames {
public:
    TenFrames() : m_storage(44, kBeyondEnd) {
        for (unsigned int frame = 0; frame < 10; ++frame) {
            for (unsigned int byte = 0; byte < 4; ++byte) {
                m_storage[frame * 4 + byte] = static_cast<unsigned char>(frame + 1);
            }
        }
        buffer.format.nBlockAlign = 4;
        buffer.format.nSamplesPerSec = 8000;
        buffer.data = m_storage.data();
        buffer.size = 40;
    }

    StaticPCMBuffer buffer;

private:
    std::vector<unsigned char> m_storage;
};

// The value of every byte of the frames of `out`, one entry per frame; a
// frame whose bytes differ is reported as -1.
std::vector<int> frameValues(PCMSampleStore const& out) {
    std::vector<int> values;
    for (std::uint64_t offset = 0; offset + 4 <= out.size; offset += 4) {
        unsigned char const first = out.data[offset];
        bool uniform = true;
        for (unsigned int byte = 1; byte < 4; ++byte) {
            uniform = uniform && out.data[offset + byte] == first;
        }
        values.push_back(uniform ? first : -1);
    }
    return values;
}

}  // namespace

TEST(ReadFrames, CrossingTheEndReachesOneFramePastItAndWrapsOneFrameShort) {
    TenFrames tone;
    PCMSampleStore out;

    tone.buffer.readFrames(8, 4, true, out);
    EXPECT_EQ(16u, out.size);
    EXPECT_EQ((std::vector<int>{9, 10, kBeyondEnd, 1}), frameValues(out));

    tone.buffer.readFrames(8, 4, false, out);
    EXPECT_EQ((std::vector<int>{9, 10, kBeyondEnd, 0}), frameValues(out));

    // The last frame starts exactly at the end: nothing wraps, the read runs
    // one frame past the end instead.
    tone.buffer.readFrames(7, 4, true, out);
    EXPECT_EQ((std::vector<int>{8, 9, 10, kBeyondEnd}), frameValues(out));

    // Ending on the last frame stays inside the storage; positions fold.
    tone.buffer.readFrames(1006, 4, true, out);
    EXPECT_EQ((std::vector<int>{7, 8, 9, 10}), frameValues(out));
}

TEST(ReadFrames, OutputIsExactlyTheFramesAskedForAndEmptyForNone) {
    TenFrames tone;
    PCMSampleStore out;
    out.assign(reinterpret_cast<unsigned char const*>("leftover bytes"), 14);

    tone.buffer.readFrames(3, 0, true, out);
    EXPECT_EQ(nullptr, out.data);
    EXPECT_EQ(0u, out.size);
    EXPECT_EQ(0u, out.capacity);

    // More frames than the buffer holds: the second pass reads the same
    // range onto the same place, so the rest of the output stays silent.
    tone.buffer.readFrames(0, 25, true, out);
    ASSERT_EQ(100u, out.size);
    std::vector<int> expected{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    expected.resize(25, 0);
    EXPECT_EQ(expected, frameValues(out));
}

TEST(PCMSampleStore, ResizeKeepsTheBlockOnlyStrictlyInsideTheUpperHalfOfItsCapacity) {
    std::vector<unsigned char> source(100, 7);
    PCMSampleStore store;
    store.assign(source.data(), 100);
    ASSERT_EQ(100u, store.capacity);
    unsigned char* const block = store.data;

    store.resize(99);
    EXPECT_EQ(block, store.data);
    store.resize(51);
    EXPECT_EQ(block, store.data);
    EXPECT_EQ(51u, store.size);
    EXPECT_EQ(100u, store.capacity);

    // Back up to the full capacity is not "below" it: a new block, with the
    // bytes beyond the old size zero.
    store.resize(100);
    EXPECT_NE(block, store.data);
    EXPECT_EQ(100u, store.capacity);
    EXPECT_EQ(7, store.data[50]);
    EXPECT_EQ(0, store.data[51]);
    EXPECT_EQ(0, store.data[99]);

    // Half the capacity gives the memory up.
    unsigned char* const fullBlock = store.data;
    store.resize(50);
    EXPECT_NE(fullBlock, store.data);
    EXPECT_EQ(50u, store.capacity);

    store.resize(0);
    EXPECT_EQ(nullptr, store.data);
    EXPECT_EQ(0u, store.capacity);
}

TEST(PCMSampleStore, AssignKeepsTheBlockUpToAndIncludingItsCapacity) {
    std::vector<unsigned char> source(100, 3);
    PCMSampleStore store;
    store.assign(source.data(), 100);
    unsigned char* const block = store.data;

    store.assign(source.data(), 100);
    EXPECT_EQ(block, store.data);
    store.assign(source.data(), 51);
    EXPECT_EQ(block, store.data);
    EXPECT_EQ(51u, store.size);

    store.assign(source.data(), 50);
    EXPECT_NE(block, store.data);
    EXPECT_EQ(50u, store.capacity);

    store.assign(nullptr, 20);
    EXPECT_EQ(nullptr, store.data);
    EXPECT_EQ(0u, store.size);
}

TEST(PCMSampleStore, BorrowedMemoryIsCopiedOnChangeAndNeverFreed) {
    // Stack memory: freeing it would fault.
    unsigned char borrowed[40];
    for (unsigned int i = 0; i < 40; ++i) {
        borrowed[i] = static_cast<unsigned char>(i);
    }
    PCMSampleStore store;
    store.borrow(borrowed, 40);
    EXPECT_EQ(0u, store.capacity);

    store.resize(30);
    EXPECT_NE(borrowed, store.data);
    EXPECT_EQ(30u, store.capacity);
    EXPECT_EQ(29, store.data[29]);

    store.borrow(borrowed, 40);
    store.resize(60);
    EXPECT_NE(borrowed, store.data);
    EXPECT_EQ(39, store.data[39]);
    EXPECT_EQ(0, store.data[59]);
    for (unsigned int i = 0; i < 40; ++i) {
        ASSERT_EQ(i, borrowed[i]);
    }

    // A copy of a borrowing store owns its bytes; the original still borrows.
    store.borrow(borrowed, 40);
    PCMSampleStore copy(store);
    EXPECT_NE(borrowed, copy.data);
    EXPECT_EQ(40u, copy.capacity);
    EXPECT_EQ(0, std::memcmp(borrowed, copy.data, 40));
}

TEST(PCMTrack, BindingBorrowsTheBufferStorageAndTakesItsPlainFormat) {
    TenFrames tone;
    PCMTrack track;
    std::vector<unsigned char> owned(16, 1);
    track.samples.assign(owned.data(), 16);

    track.bindTo(tone.buffer);
    EXPECT_EQ(tone.buffer.data, track.samples.data);
    EXPECT_EQ(40u, track.samples.size);
    EXPECT_EQ(0u, track.samples.capacity);
    EXPECT_EQ(4, track.format.nBlockAlign);

    StaticPCMBuffer empty;
    empty.format = tone.buffer.format;
    empty.data = tone.buffer.data;
    track.bindTo(empty);
    EXPECT_EQ(nullptr, track.samples.data);
    EXPECT_EQ(0u, track.samples.size);
    EXPECT_EQ(8000u, track.format.nSamplesPerSec);
}
