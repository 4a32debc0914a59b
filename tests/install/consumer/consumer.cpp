// Uses the installed library through its one public header: the flat list
// and the classes must both be reachable from an installed tree alone.
#include <libSonvane/libSonvane.h>

#include <cstdio>

int main() {
    if (!initialize()) {
        std::puts("initialize failed");
        return 1;
    }
    unsigned const render = numDevices(true);
    unsigned const capture = numDevices(false);
    tearDown();

    libSonvane::SharedAudioDeviceEnumerator enumerator = libSonvane::enumerator();
    if (!enumerator->initialize()) {
        std::puts("AudioDeviceEnumerator::initialize failed");
        return 1;
    }
    orv::Array<AudioDevice> devices;
    unsigned const listed = enumerator->audioDevices(eRender, devices);
    std::printf("render %u capture %u listed %u\n", render, capture, listed);
    return listed == render ? 0 : 1;
}
