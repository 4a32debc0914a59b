#include "Pcm.h"

#include "AtomicFile.h"
#include "ToolError.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

void PcmFormat::check() const {
    if (bits != 16 && bits != 24 && bits != 32) {
        throw usageError("the tool plays and records 16, 24 or 32-bit PCM, not " + std::to_string(bits) + "-bit");
    }
    if (channels < 1 || channels > 8) {
        throw usageError("the tool plays and records 1 to 8 channels, not " + std::to_string(channels));
    }
    if (rate < 8000 || rate > 384000) {
        throw usageError("the sample rate lies between 8000 and 384000 Hz, not " + std::to_string(rate));
    }
}

WAVEFORMATEX PcmFormat::wave() const {
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(channels);
    format.nSamplesPerSec = rate;
    format.wBitsPerSample = static_cast<WORD>(bits);
    format.nBlockAlign = static_cast<WORD>(frameBytes());
    format.nAvgBytesPerSec = rate * frameBytes();
    return format;
}

std::string PcmFormat::text() const {
    return std::to_string(rate) + " Hz, " + std::to_string(bits) + "-bit, " + std::to_string(channels) +
           (channels == 1 ? " channel" : " channels");
}

PcmBlock::PcmBlock(PcmFormat const& format, size_t frames)
    : m_format(format), m_frames(frames), m_storage((frames + 1) * format.frameBytes(), 0) {
    m_buffer.format = format.wave();
    m_buffer.data = m_storage.data();
    m_buffer.size = frames * format.frameBytes();
    m_buffer.writePosition = 0;
}

namespace {

// Little-endian sample of `bytes` bytes from a 16-bit one: the tone keeps
// 16 bits of precision, which is far more than any test here needs.
void storeWidened(unsigned char* target, std::int16_t sample, unsigned int bytes) {
    std::int32_t const widened = static_cast<std::int32_t>(sample) * (1 << (8 * (bytes - 2)));
    for (unsigned int i = 0; i < bytes; ++i) {
        target[i] = static_cast<unsigned char>((static_cast<std::uint32_t>(widened) >> (8 * i)) & 0xFF);
    }
}

double sampleAt(unsigned char const* source, unsigned int bytes) {
    std::uint32_t raw = 0;
    for (unsigned int i = 0; i < bytes; ++i) {
        raw |= static_cast<std::uint32_t>(source[i]) << (8 * (4 - bytes + i));
    }
    return static_cast<double>(static_cast<std::int32_t>(raw)) / 2147483648.0;
}

}  // namespace

void PcmBlock::fillTone(double frequency, double levelDb) {
    double const amplitude = std::pow(10.0, levelDb / 20.0);
    std::vector<std::int16_t> const tone =
        pcmanalysis::sineTone16(frequency, amplitude, m_format.rate, m_format.channels, m_frames);
    unsigned int const bytes = m_format.bits / 8;
    for (size_t i = 0; i < tone.size(); ++i) {
        storeWidened(m_storage.data() + i * bytes, tone[i], bytes);
    }
}

pcmanalysis::Signal PcmBlock::channel(unsigned int index, size_t frames) const {
    if (frames > m_frames) {
        frames = m_frames;
    }
    unsigned int const bytes = m_format.bits / 8;
    pcmanalysis::Signal signal(frames);
    for (size_t frame = 0; frame < frames; ++frame) {
        signal[frame] = sampleAt(m_storage.data() + frame * m_format.frameBytes() + index * bytes, bytes);
    }
    return signal;
}

double sinePeakDb(double rmsDb) {
    return rmsDb + 20.0 * std::log10(std::sqrt(2.0));
}

namespace {

template <class Number>
void appendLittleEndian(std::string& header, Number value) {
    for (size_t i = 0; i < sizeof(Number); ++i) {
        header.push_back(static_cast<char>((static_cast<std::uint64_t>(value) >> (8 * i)) & 0xFF));
    }
}

std::string riffHeader(WAVEFORMATEX const& format, size_t bytes) {
    std::string header = "RIFF";
    appendLittleEndian(header, static_cast<std::uint32_t>(36 + bytes));
    header += "WAVEfmt ";
    appendLittleEndian(header, static_cast<std::uint32_t>(16));
    appendLittleEndian(header, static_cast<std::uint16_t>(format.wFormatTag));
    appendLittleEndian(header, static_cast<std::uint16_t>(format.nChannels));
    appendLittleEndian(header, static_cast<std::uint32_t>(format.nSamplesPerSec));
    appendLittleEndian(header, static_cast<std::uint32_t>(format.nAvgBytesPerSec));
    appendLittleEndian(header, static_cast<std::uint16_t>(format.nBlockAlign));
    appendLittleEndian(header, static_cast<std::uint16_t>(format.wBitsPerSample));
    header += "data";
    appendLittleEndian(header, static_cast<std::uint32_t>(bytes));
    return header;
}

}  // namespace

void writeWav(AtomicFile& file, PcmBlock const& block, size_t frames) {
    size_t const bytes = std::min(frames, block.frames()) * block.format().frameBytes();
    file.write(riffHeader(block.format().wave(), bytes));
    file.write(block.data(), bytes);
    file.commit();
}
