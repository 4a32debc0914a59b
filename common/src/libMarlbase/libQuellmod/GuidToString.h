#pragma once
// guidToString: a GUID as text for log lines, in the registry form with
// uppercase digits: "{DFF21CE1-F70F-11D0-B917-00A0C9223196}". A null pointer
// gives an empty text.
#include <orv/OrvExport.h>
#include <orv/OrvString.h>

#include <guiddef.h>

ORV_API orv::String guidToString(GUID* guid);
