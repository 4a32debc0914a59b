#pragma once
// brel5::DiagModule: the diagnostic host's stop request as test code sees it.
//
// The host raises the request with requestStop() (a console host from its
// Ctrl+C handler) and it stays raised until the host clears it with
// clearStop(). Waiting loops poll checkForStop() every few milliseconds;
// it is a single atomic load and safe from any thread.
#include <orv/OrvExport.h>

namespace brel5 {

class ORV_API DiagModule {
public:
    static bool checkForStop();
    static void requestStop();
    static void clearStop();
};

}  // namespace brel5
