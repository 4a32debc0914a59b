#pragma once
// The platform layer is built into libMarlbase.dll beside the foundation, so
// that the library, the foundation's device-tree service and the simulator
// all see one and the same seam.
#if defined(MARLBASE_BUILDING)
#define PLATFORM_API __declspec(dllexport)
#else
#define PLATFORM_API __declspec(dllimport)
#endif
