// The platform's audio headers in an order that compiles with mingw-w64, and
// the names that mingw-w64 spells differently from the Windows SDK. Include
// this before any other audio header.
#pragma once

#include <windows.h>
// strmif.h must come before devicetopology.h: mingw-w64's devicetopology.h
// stands in for some DirectShow types, which strmif.h then defines again.
#include <strmif.h>
#include <devicetopology.h>

#if defined(__MINGW32__)
// The SDK calls the subunit interface ISubunit; mingw-w64 calls it ISubUnit.
using ISubunit = ISubUnit;
#endif
