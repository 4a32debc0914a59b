#pragma once
// What kind of endpoint an AudioDevice is: a microphone built into the
// machine, a jack for external equipment, a USB microphone or a virtual
// device, and whether the host lets external microphones be tested.
//
// The answers come from three readings of the device: its enumerator name
// (compared without regard to case), the node type behind its first
// connector, and the jack descriptions of AudioDevice::jackInfo.
// isInternalMicrophone, isExternalAnalogJack and isIntegratedMicrophone
// answer false on systems older than version 6.0, which have neither node
// types nor jack descriptions worth reading. A device that could not be read
// is simply not a microphone and has no jack; nothing here fails on its own.
#include <libSonvane/SonvaneExport.h>

class AudioDevice;

namespace libSonvane {

// A microphone node of a specific kind (desktop, personal, omni-directional,
// array) whose jacks are all internal, or that reports no jack at all.
SONVANE_API bool isInternalMicrophone(AudioDevice& device);

// The overall answer for a microphone test: true for a USB microphone and
// for whatever is neither virtual, nor a plain microphone node without jacks,
// nor on an external analog jack.
SONVANE_API bool isIntegratedMicrophone(AudioDevice& device);

// Some jack of the device is a 3.5 mm, quarter-inch or RCA jack.
SONVANE_API bool isExternalAnalogJack(AudioDevice& device);

// On the USB bus and a plain microphone node. A USB device of another node
// type is not a USB microphone here.
SONVANE_API bool isUSBMicrophone(AudioDevice& device);

// On the ROOT enumerator, where software devices live.
SONVANE_API bool isVirtualDevice(AudioDevice& device);

// The host setting AllowExternalMicTesting.value of the resource
// orvrsysinfodirect, read at each call; false when it is not set.
SONVANE_API bool allowExternalMicTesting();

}  // namespace libSonvane
