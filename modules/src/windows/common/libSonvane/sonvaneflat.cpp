#include <libSonvane/sonvaneflat.h>
#include <libSonvane/platformconstants.h>

#include <libSonvane/audiodeviceendpoint.h>
#include <libSonvane/endpointdeviceenumerator.h>

#include <cstring>

namespace {

// The flat functions' state, guarded by nothing: one caller at a time.
libSonvane::SharedAudioDeviceEnumerator g_enumerator;
// 0 render, 1 capture; filled on first need and kept until tearDown.
orv::Array<AudioDevice> g_audioDevices[2];

}  // namespace

// Defined here, after the statics above and in the same translation unit, so
// that it comes to life after them and goes first at unload: the devices of
// the lists, which may put a device format back, die while the flat
// enumerator still keeps COM initialised.
libSonvane::AudioDeviceEnumeratorFactory::EnumeratorHolder libSonvane::AudioDeviceEnumeratorFactory::m_enumerator;

namespace {

unsigned int const kOutOfRangeType = 0xFFFFFFFFu;

// The node types that getDeviceType numbers, in the order of their numbers.
GUID const* const kNumberedNodeTypes[] = {
    &libSonvane::nodetypes::speaker,        &libSonvane::nodetypes::headphones,
    &libSonvane::nodetypes::spdifInterface, &libSonvane::nodetypes::hdmiInterface,
    &libSonvane::nodetypes::microphone,     &libSonvane::nodetypes::lineConnector,
};

unsigned int nodeTypeNumber(GUID const& nodeGuid) {
    unsigned int const count = sizeof kNumberedNodeTypes / sizeof kNumberedNodeTypes[0];
    for (unsigned int number = 0; number < count; ++number) {
        if (IsEqualGUID(nodeGuid, *kNumberedNodeTypes[number])) {
            return number;
        }
    }
    return kOutOfRangeType;
}

// The list of one direction, enumerated first if it is empty. An empty list
// is therefore never cached.
orv::Array<AudioDevice>& deviceList(bool render) {
    orv::Array<AudioDevice>& list = g_audioDevices[render ? 0 : 1];
    if (list.size() == 0) {
        g_enumerator->audioDevices(render ? eRender : eCapture, list);
    }
    return list;
}

// The record of the device at `index`, or null when index is at or past the
// end. The range test comes before indexing, which would stop the process.
AudioDeviceInterface::Properties const* deviceRecord(bool render, unsigned int index) {
    orv::Array<AudioDevice>& list = deviceList(render);
    if (index >= list.size()) {
        return nullptr;
    }
    AudioDeviceInterface const& device = list[index];
    return &device.deviceProperty();
}

// Exactly size() units, no terminator; the buffer's size is the caller's.
void copyUnits(orv::String const& text, void* buffer) {
    if (text.size() > 0) {
        std::memcpy(buffer, text.getUCS2Buffer(), text.size() * sizeof(unsigned short));
    }
}

typedef orv::String AudioDeviceInterface::Properties::*TextField;

bool copyField(bool render, unsigned int index, TextField field, void* buffer) {
    AudioDeviceInterface::Properties const* record = deviceRecord(render, index);
    if (!record) {
        return false;
    }
    copyUnits(record->*field, buffer);
    return true;
}

unsigned int fieldLength(bool render, unsigned int index, TextField field) {
    AudioDeviceInterface::Properties const* record = deviceRecord(render, index);
    return record ? (record->*field).size() : 0;
}

}  // namespace

extern "C" {

bool initialize(void) {
    if (!g_enumerator.isNil()) {
        return true;
    }
    g_enumerator = libSonvane::enumerator();
    if (!g_enumerator->initialize()) {
        g_enumerator.release();
    }
    return !g_enumerator.isNil();
}

void tearDown(void) {
    g_audioDevices[0].clear();
    g_audioDevices[1].clear();
    g_enumerator.release();
}

unsigned int numDevices(bool render) {
    return deviceList(render).size();
}

bool getDeviceName(bool render, unsigned int index, void* buffer) {
    return copyField(render, index, &AudioDeviceInterface::Properties::endpointType, buffer);
}

unsigned int getDeviceNameLength(bool render, unsigned int index) {
    return fieldLength(render, index, &AudioDeviceInterface::Properties::endpointType);
}

bool getDeviceDescription(bool render, unsigned int index, void* buffer) {
    return copyField(render, index, &AudioDeviceInterface::Properties::friendlyName, buffer);
}

unsigned int getDeviceDescriptionLength(bool render, unsigned int index) {
    return fieldLength(render, index, &AudioDeviceInterface::Properties::friendlyName);
}

bool getDeviceId(bool render, unsigned int index, void* buffer) {
    return copyField(render, index, &AudioDeviceInterface::Properties::deviceId, buffer);
}

unsigned int getDeviceIdLength(bool render, unsigned int index) {
    return fieldLength(render, index, &AudioDeviceInterface::Properties::deviceId);
}

unsigned int getDeviceState(bool render, unsigned int index) {
    AudioDeviceInterface::Properties const* record = deviceRecord(render, index);
    return record ? record->state : 0;
}

unsigned int getDeviceType(bool render, unsigned int index) {
    AudioDeviceInterface::Properties const* record = deviceRecord(render, index);
    return record ? nodeTypeNumber(record->nodeGuid) : kOutOfRangeType;
}

}  // extern "C"
