// The renderer interface has no data; its special members live here so that
// its virtual table is the library's own.
#include <libSonvane/AudioRenderer.h>

namespace libSonvane {

AudioRenderer::AudioRenderer() {}
AudioRenderer::AudioRenderer(AudioRenderer const& other) {}
AudioRenderer::~AudioRenderer() {}

}  // namespace libSonvane
