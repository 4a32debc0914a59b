#pragma once
// The library keeps the first platform enumerator it makes for the life of
// the process, and resolves device ids (the far side of connectors,
// notifications) against the machine that was installed then. A test that
// installs machines of its own starts that enumerator afresh with each, and
// ends it before its machine goes, which also unregisters whatever
// notification clients it holds. Header only: include it where the library
// is linked.
#include <libSonvane/libSonvane.h>

inline void forgetProcessEnumerator() {
    libSonvane::AudioDeviceEnumeratorFactory::enumerator() = libSonvane::AudioDeviceEnumeratorFactory::EnumeratorHolder();
}
