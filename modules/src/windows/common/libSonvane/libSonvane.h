#pragma once
// Every public header of libSonvane: a C++ module includes this one.
#include <libSonvane/SonvaneExport.h>

#include <COM/AtlComPtr.h>
#include <COM/comptr.h>

#include <libSonvane/AudioCapture.h>
#include <libSonvane/AudioCaptureEx.h>
#include <libSonvane/AudioCaptureLegacyWave.h>
#include <libSonvane/AudioDeviceInterface.h>
#include <libSonvane/AudioRenderer.h>
#include <libSonvane/AudioRendererEx.h>
#include <libSonvane/AudioRendererLegacyWave.h>
#include <libSonvane/audiodeviceendpoint.h>
#include <libSonvane/audiodevicetopology.h>
#include <libSonvane/audiopart.h>
#include <libSonvane/endpointclassification.h>
#include <libSonvane/endpointdeviceenumerator.h>
#include <libSonvane/EndpointEnumerator.h>
#include <libSonvane/EndpointGroup.h>
#include <libSonvane/sonvaneflat.h>
#include <libSonvane/soundcard.h>
#include <libSonvane/volumecontroller.h>
#include <libSonvane/VolumeChangeNotification.h>
#include <libSonvane/WaveIn.h>
#include <libSonvane/WaveOut.h>

#include <libTrelwave/PCMSampleStore.h>
#include <libTrelwave/PCMTrack.h>
#include <libTrelwave/StaticPCMBuffer.h>
#include <libTrelwave/pcmsupport.h>
