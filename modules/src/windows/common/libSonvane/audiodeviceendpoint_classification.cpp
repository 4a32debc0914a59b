// What kind of endpoint an AudioDevice is, from its enumerator name, the node
// type behind its first connector and its jack descriptions.
#include <libSonvane/endpointclassification.h>
#include <libSonvane/platformconstants.h>

#include <libSonvane/audiodeviceendpoint.h>

#include <orv/OrvArray.h>
#include <orv/OrvLog.h>
#include <orv/OrvResourceSettings.h>
#include <orv/OrvString.h>

#include <platform/Platform.h>

#include <windows.h>

ORV_LOG_CATEGORY("libSonvane.audioDeviceEndpoint");

namespace {

GUID const& kMicrophone = libSonvane::nodetypes::microphone;
GUID const& kDesktopMicrophone = libSonvane::nodetypes::desktopMicrophone;
GUID const& kPersonalMicrophone = libSonvane::nodetypes::personalMicrophone;
GUID const& kOmniDirectionalMicrophone = libSonvane::nodetypes::omniDirectionalMicrophone;
GUID const& kMicrophoneArray = libSonvane::nodetypes::microphoneArray;

char const kUsbEnumerator[] = "USB";
char const kRootEnumerator[] = "ROOT";

char const kSettingResource[] = "orvrsysinfodirect";
char const kExternalMicTestingKey[] = "AllowExternalMicTesting.value";

AudioDeviceInterface::Properties const& properties(AudioDevice& device) {
    return device.deviceProperty();
}

bool hasNodeType(AudioDevice& device, GUID const& nodeType) {
    return IsEqualGUID(properties(device).nodeGuid, nodeType) != FALSE;
}

bool isOnEnumerator(AudioDevice& device, char const* enumeratorName) {
    return orv::String::compareNoCase(properties(device).enumeratorName, orv::String(enumeratorName)) == 0;
}

// Jacks the user cannot reach: wired to an optical drive's audio, or digital
// links inside the case.
bool isInternalJack(KSJACK_DESCRIPTION const& jack) {
    return jack.GeoLocation == eGeoLocATAPI || jack.ConnectionType == eConnTypeAtapiInternal ||
           jack.ConnectionType == eConnTypeOtherDigital;
}

bool isAnalogJack(KSJACK_DESCRIPTION const& jack) {
    return jack.ConnectionType == eConnType3Point5mm || jack.ConnectionType == eConnTypeQuarter ||
           jack.ConnectionType == eConnTypeRCA;
}

// Stops at the first jack that is not internal.
bool allJacksInternal(orv::Array<KSJACK_DESCRIPTION> const& jacks) {
    for (unsigned int index = 0; index < jacks.size(); ++index) {
        if (!isInternalJack(jacks[index])) {
            return false;
        }
    }
    return true;
}

DWORDLONG atLeastConditionMask() {
    DWORDLONG mask = 0;
    mask = VerSetConditionMask(mask, VER_MAJORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_MINORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return mask;
}

}  // namespace

namespace libSonvane {

// Internal helpers of the classification; not exported.

// Version 6.0 is the first system whose endpoints carry node types and jack
// descriptions.
bool isOsVersion6OrLater() {
    ORV_TRACE("libSonvane::isOsVersion6OrLater");
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    version.dwMajorVersion = 6;
    version.dwMinorVersion = 0;
    version.wServicePackMajor = 0;
    return platform::kernel().verifyVersionInfo(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR,
                                                atLeastConditionMask()) != FALSE;
}

// The plain microphone node type is left out on purpose: jack and USB
// microphones report it too, and the other tests tell those apart.
bool isMicrophoneNodeType(AudioDevice& device) {
    ORV_TRACE("libSonvane::isMicrophoneNodeType");
    return hasNodeType(device, kDesktopMicrophone) || hasNodeType(device, kPersonalMicrophone) ||
           hasNodeType(device, kOmniDirectionalMicrophone) || hasNodeType(device, kMicrophoneArray);
}

// A plain microphone node that reports no jack cannot be placed, so it is not
// taken for a built-in one.
bool isMicrophoneDeviceWithNoJackInfo(AudioDevice& device) {
    ORV_TRACE("libSonvane::isMicrophoneDeviceWithNoJackInfo");
    AudioDeviceInterface::Properties const& record = properties(device);
    ORV_LOG(1) << record.friendlyName << " " << record.endpointType;
    if (!hasNodeType(device, kMicrophone)) {
        ORV_LOG(1) << "Is not a KSNODETYPE_MICROPHONE node";
        return false;
    }
    ORV_LOG(1) << "Is a KSNODETYPE_MICROPHONE node";
    orv::Array<KSJACK_DESCRIPTION> jacks;
    return device.jackInfo(jacks) == 0;
}

bool isInternalMicrophone(AudioDevice& device) {
    ORV_TRACE("libSonvane::isInternalMicrophone");
    if (!isOsVersion6OrLater()) {
        return false;
    }
    AudioDeviceInterface::Properties const& record = properties(device);
    if (!isMicrophoneNodeType(device)) {
        ORV_LOG(3) << "Audio device " << record.endpointType << " " << record.friendlyName
                   << " is not a recognized microphone device.";
        return false;
    }
    orv::Array<KSJACK_DESCRIPTION> jacks;
    if (device.jackInfo(jacks) > 0) {
        return allJacksInternal(jacks);
    }
    // A plain microphone node was turned away above already; the test stays
    // so that this branch does not depend on that one.
    if (hasNodeType(device, kMicrophone)) {
        return false;
    }
    ORV_LOG(3) << "No jack description available, but endpoint type is " << record.endpointType
               << " so assume internal mic.";
    return true;
}

bool isExternalAnalogJack(AudioDevice& device) {
    ORV_TRACE("libSonvane::isAnalogJack");
    if (!isOsVersion6OrLater()) {
        return false;
    }
    AudioDeviceInterface::Properties const& record = properties(device);
    ORV_LOG(1) << record.endpointType << " " << record.endpointType;
    orv::Array<KSJACK_DESCRIPTION> jacks;
    unsigned int const count = device.jackInfo(jacks);
    ORV_LOG(1) << "Number of jack information " << count;
    for (unsigned int index = 0; index < jacks.size(); ++index) {
        ORV_LOG(1) << "Jack " << index << " connection type " << static_cast<int>(jacks[index].ConnectionType);
        if (isAnalogJack(jacks[index])) {
            return true;
        }
    }
    return false;
}

bool isUSBMicrophone(AudioDevice& device) {
    ORV_TRACE("libSonvane::isUSBMicrophone");
    return isOnEnumerator(device, kUsbEnumerator) && hasNodeType(device, kMicrophone);
}

bool isVirtualDevice(AudioDevice& device) {
    ORV_TRACE("libSonvane::isVirtualDevice");
    return isOnEnumerator(device, kRootEnumerator);
}

// The first test that applies decides. A USB microphone is asked for before
// the jack tests, so it counts as integrated whatever its jacks say. Every
// device that gets past the jack tests is integrated: isInternalMicrophone is
// still asked, for its log lines, but its answer does not change the result.
bool isIntegratedMicrophone(AudioDevice& device) {
    ORV_TRACE("libSonvane::isIntegratedMicrophone");
    if (!isOsVersion6OrLater()) {
        return false;
    }
    if (isOnEnumerator(device, kRootEnumerator)) {
        return false;
    }
    if (isUSBMicrophone(device)) {
        return true;
    }
    if (isMicrophoneDeviceWithNoJackInfo(device)) {
        return false;
    }
    if (isExternalAnalogJack(device)) {
        return false;
    }
    if (isInternalMicrophone(device)) {
        return true;
    }
    return isOsVersion6OrLater();
}

bool allowExternalMicTesting() {
    ORV_TRACE("libSonvane::allowExternalMicTesting");
    orv::String value;
    if (!orv::Resource::getSetting(kSettingResource, kExternalMicTestingKey, value,
                                   orv::OrvLocale::getGlobalLocale())) {
        return false;
    }
    return orv::String::strToBoolean(value.trim());
}

}  // namespace libSonvane
