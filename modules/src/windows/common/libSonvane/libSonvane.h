#pragma once
// Everything a module of the diagnostics suite includes to use the library.
#include <libSonvane/SonvaneExport.h>

#include <libSonvane/audiopart.h>
#include <libSonvane/audiodevicetopology.h>
#include <libSonvane/VolumeChangeNotification.h>
#include <libSonvane/volumecontroller.h>
