// The plain integer PCM format that the stream tests and benchmarks play and
// record, built in one place so that block alignment and byte rate always
// follow from channels, sample size and rate.
#pragma once

#include <windows.h>
#include <mmreg.h>

inline WAVEFORMATEX pcmFormat(WORD channels, WORD bitsPerSample, DWORD samplesPerSecond) {
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = channels;
    format.nSamplesPerSec = samplesPerSecond;
    format.wBitsPerSample = bitsPerSample;
    format.nBlockAlign = static_cast<WORD>(channels * bitsPerSample / 8);
    format.nAvgBytesPerSec = samplesPerSecond * format.nBlockAlign;
    return format;
}
