#pragma once
#if defined(SONVANE_BUILDING)
#define SONVANE_API __declspec(dllexport)
#else
#define SONVANE_API __declspec(dllimport)
#endif
