#pragma once
// Playing and recording through the library's streams, on the stack the
// user chose: the endpoint audio client in exclusive mode, or the legacy
// wave devices. The objects stop their stream when they end, so that no
// worker outlives the buffer it reads or fills.
#include "Pcm.h"

#include <libSonvane/libSonvane.h>

#include <memory>
#include <string>

enum class Stack { Exclusive, Legacy };

// "exclusive" or "legacy"; throws a usage error otherwise.
Stack parseStack(std::string const& word);
std::string stackName(Stack stack);

class Player {
public:
    // Binds the stream to the endpoint and the block; a device that refuses
    // (the format, most often) is a device error with the library's reason.
    Player(Stack stack, AudioDevice const& endpoint, PcmBlock& block);
    ~Player();
    Player(Player const&) = delete;
    Player& operator=(Player const&) = delete;

    // False when the user's stop request ended the start.
    bool start(bool loop);
    bool isPlaying() const;
    void stop();

private:
    ATL::CComPtr<IMMDevice> m_device;
    std::unique_ptr<libSonvane::AudioRenderer> m_renderer;
    bool m_started = false;
};

class Recorder {
public:
    Recorder(Stack stack, AudioDevice const& endpoint, PcmBlock& block);
    ~Recorder();
    Recorder(Recorder const&) = delete;
    Recorder& operator=(Recorder const&) = delete;

    // False when the user's stop request ended the start.
    bool start();
    bool isRecording() const;
    // Ends the recording and answers the worker's exit code.
    int stop();
    // Whether any sample recorded so far is not zero: the device delivers.
    bool hasSound() const;
    // Frames that hold recorded sound. The legacy stack does not count
    // them, so there it is the whole block, silent where nothing came.
    size_t recordedFrames() const;

private:
    Stack m_stack;
    PcmBlock& m_block;
    ATL::CComPtr<IMMDevice> m_device;
    std::unique_ptr<libSonvane::AudioCapture> m_capture;
    bool m_started = false;
};
