#pragma once
// COMInitializer keeps COM initialised on the thread that constructs it, for
// as long as the object lives.
#include <libSonvane/SonvaneExport.h>

class SONVANE_API COMInitializer {
public:
    // CoInitialize(nullptr); the result is only logged, since a thread that
    // already has COM (in any model) works just as well for the caller.
    COMInitializer();
    // CoUninitialize(), whatever the constructor's call returned. A copy runs
    // no CoInitialize of its own, yet uninitialises when it dies.
    ~COMInitializer();
};
