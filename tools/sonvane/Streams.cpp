#include "Streams.h"

#include "Console.h"
#include "Endpoints.h"
#include "Text.h"
#include "ToolError.h"

#include <algorithm>

namespace {

std::unique_ptr<libSonvane::AudioRenderer> makeRenderer(Stack stack) {
    if (stack == Stack::Exclusive) {
        return std::make_unique<libSonvane::AudioRendererEx>();
    }
    return std::make_unique<libSonvane::AudioRendererLegacyWave>();
}

// The capture classes' two-argument constructors stop the process on a
// refused device, so the tool binds with initialize and can say why.
std::unique_ptr<libSonvane::AudioCapture> makeCapture(Stack stack) {
    if (stack == Stack::Exclusive) {
        return std::make_unique<libSonvane::AudioCaptureEx>();
    }
    return std::make_unique<libSonvane::AudioCaptureLegacyWave>();
}

// The format the device runs at by itself is the one most likely to be
// taken; naming it as options saves the user a guess. Empty when the device
// does not tell it, when it is what was asked, or when the tool cannot make it.
std::string ownFormatHint(AudioDevice const& endpoint, PcmFormat const& asked) {
    WAVEFORMATEX const& own = endpoint.deviceProperty().deviceFormat.Format;
    PcmFormat suggested;
    suggested.rate = own.nSamplesPerSec;
    suggested.bits = own.wBitsPerSample;
    suggested.channels = own.nChannels;
    bool const makeable = (suggested.bits == 16 || suggested.bits == 24 || suggested.bits == 32) &&
                          suggested.channels >= 1 && suggested.channels <= 8 && suggested.rate >= 8000;
    bool const same = suggested.rate == asked.rate && suggested.bits == asked.bits && suggested.channels == asked.channels;
    if (!makeable || same) {
        return std::string();
    }
    return "try its own format, --rate " + std::to_string(suggested.rate) + " --bits " + std::to_string(suggested.bits) +
           " --channels " + std::to_string(suggested.channels);
}

ToolError refusal(char const* what, Stack stack, AudioDevice const& endpoint, PcmFormat const& format) {
    std::string const name = endpointName(endpoint);
    std::string hint = ownFormatHint(endpoint, format);
    if (stack == Stack::Exclusive) {
        hint += (hint.empty() ? "try" : ", or") + std::string(" --stack legacy");
    }
    return deviceError(libraryLog::explain("\"" + name + "\" refuses to " + what + " " + format.text() +
                                           (stack == Stack::Exclusive ? " in exclusive mode" : " on its wave device")) +
                       (hint.empty() ? "" : "; " + hint));
}

}  // namespace

Stack parseStack(std::string const& word) {
    if (equalsNoCase(word, "exclusive")) {
        return Stack::Exclusive;
    }
    if (equalsNoCase(word, "legacy")) {
        return Stack::Legacy;
    }
    throw usageError("the stack is \"exclusive\" or \"legacy\", not \"" + word + "\"");
}

std::string stackName(Stack stack) {
    return stack == Stack::Exclusive ? "exclusive" : "legacy";
}

Player::Player(Stack stack, AudioDevice const& endpoint, PcmBlock& block)
    : m_device(endpoint.device()), m_renderer(makeRenderer(stack)) {
    libraryLog::clear();
    if (!m_device || !m_renderer->initialize(m_device, &block.buffer())) {
        throw refusal("play", stack, endpoint, block.format());
    }
}

// The legacy renderer does not stop itself when it is destroyed.
Player::~Player() {
    stop();
}

bool Player::start(bool loop) {
    libraryLog::clear();
    unsigned int const flags = loop ? libSonvane::AudioRenderer::PlayLoop : libSonvane::AudioRenderer::PlayOnce;
    // A stop asked for before the start is honoured here: the library's
    // start, stopped while its worker is not yet running, waits for that
    // worker to play the whole sound.
    if (console::stopRequested()) {
        return false;
    }
    m_started = m_renderer->play(flags);
    if (!m_started && !console::stopRequested()) {
        throw deviceError(libraryLog::explain("playing did not start"));
    }
    return m_started;
}

bool Player::isPlaying() const {
    return m_renderer->isStillPlaying();
}

void Player::stop() {
    if (m_started) {
        m_renderer->stop();
        m_started = false;
    }
}

Recorder::Recorder(Stack stack, AudioDevice const& endpoint, PcmBlock& block)
    : m_stack(stack), m_block(block), m_device(endpoint.device()), m_capture(makeCapture(stack)) {
    libraryLog::clear();
    if (!m_device || !m_capture->initialize(m_device, &block.buffer())) {
        throw refusal("record", stack, endpoint, block.format());
    }
}

Recorder::~Recorder() {
    stop();
}

bool Recorder::start() {
    libraryLog::clear();
    m_block.buffer().writePosition = 0;
    // A stop asked for before the start is honoured here: the library's
    // start, stopped while its worker is not yet running, waits for that
    // worker to fill the whole buffer.
    if (console::stopRequested()) {
        return false;
    }
    m_started = m_capture->start();
    if (!m_started && !console::stopRequested()) {
        throw deviceError(libraryLog::explain("recording did not start"));
    }
    return m_started;
}

bool Recorder::isRecording() const {
    return m_capture->isStillRecording();
}

int Recorder::stop() {
    if (!m_started) {
        return m_capture->threadExitCode();
    }
    m_capture->stop();
    m_started = false;
    return m_capture->threadExitCode();
}

bool Recorder::hasSound() const {
    size_t const bytes = recordedFrames() * m_block.format().frameBytes();
    return std::any_of(m_block.data(), m_block.data() + bytes, [](unsigned char byte) { return byte != 0; });
}

size_t Recorder::recordedFrames() const {
    if (m_stack == Stack::Legacy) {
        return m_block.frames();
    }
    return static_cast<size_t>(m_block.buffer().writePosition / m_block.format().frameBytes());
}
