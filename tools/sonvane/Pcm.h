#pragma once
// The PCM the tool plays and records: a format chosen on the command line,
// and a block of frames with the StaticPCMBuffer that the streams take.
#include <analysis/SignalAnalysis.h>
#include <libTrelwave/StaticPCMBuffer.h>

#include <windows.h>
#include <mmreg.h>

#include <string>
#include <vector>

struct PcmFormat {
    unsigned int rate = 48000;
    unsigned int bits = 16;
    unsigned int channels = 2;

    // Throws a usage error for what the tool cannot make: integer PCM of
    // 16, 24 or 32 bits, 1 to 8 channels, 8 to 384 kHz.
    void check() const;
    WAVEFORMATEX wave() const;
    unsigned int frameBytes() const { return bits / 8 * channels; }
    // "48000 Hz, 16-bit, 2 channels"
    std::string text() const;
};

class PcmBlock {
public:
    PcmBlock(PcmFormat const& format, size_t frames);
    PcmBlock(PcmBlock const&) = delete;
    PcmBlock& operator=(PcmBlock const&) = delete;

    PcmFormat const& format() const { return m_format; }
    libTrelwave::StaticPCMBuffer& buffer() { return m_buffer; }
    size_t frames() const { return m_frames; }
    unsigned char const* data() const { return m_storage.data(); }
    size_t bytes() const { return m_frames * m_format.frameBytes(); }

    // A sine of `frequency` Hz whose peak stands `levelDb` below full
    // scale, the same on every channel.
    void fillTone(double frequency, double levelDb);
    // One channel of the first `frames` frames, as fractions of full scale.
    pcmanalysis::Signal channel(unsigned int index, size_t frames) const;

private:
    PcmFormat m_format;
    size_t m_frames;
    // One frame more than the sound: a ring read of the buffer may reach
    // one frame past its end, and that frame must be ours and silent.
    std::vector<unsigned char> m_storage;
    libTrelwave::StaticPCMBuffer m_buffer;
};

// Peak level in dB of full scale of a sine whose RMS level is `rmsDb`.
double sinePeakDb(double rmsDb);

class AtomicFile;
// The block's first `frames` frames as a WAV file, committed.
void writeWav(AtomicFile& file, PcmBlock const& block, size_t frames);
