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

ToolError refusal(char const* what, Stack stack, AudioDevice const& endpoint, PcmFormat const& format) {
    std::string const name = endpointName(endpoint);
    return deviceError(libraryLog::explain("\"" + name + "\" refuses to " + what + " " + format.text() +
                                           (stack == Stack::Exclusive ? " in exclusive mode" : " on its wave device")));
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
