// The capture interface has no data; its special members live here so that
// its virtual table is the library's own.
#include <libSonvane/AudioCapture.h>

namespace libSonvane {

AudioCapture::AudioCapture() {}
AudioCapture::AudioCapture(AudioCapture const& other) {}
AudioCapture::~AudioCapture() {}

}  // namespace libSonvane
