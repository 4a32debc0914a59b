#pragma once
// orv::mutex: the foundation's lock, free functions over a CRITICAL_SECTION.
// init before first use and destroy after last; lock and unlock may nest on
// one thread.
#include <orv/OrvExport.h>

#include <windows.h>

namespace orv {
namespace mutex {

ORV_API bool init(CRITICAL_SECTION& section);
ORV_API bool destroy(CRITICAL_SECTION& section);
ORV_API void lock(CRITICAL_SECTION& section);
ORV_API bool unlock(CRITICAL_SECTION& section);

}  // namespace mutex
}  // namespace orv
