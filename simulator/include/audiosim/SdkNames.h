// Names that mingw-w64's headers spell differently from the Windows SDK.
#pragma once

#include <devicetopology.h>

#if defined(__MINGW32__)
// The SDK calls the subunit interface ISubunit; mingw-w64 calls it ISubUnit.
using ISubunit = ISubUnit;
#endif
