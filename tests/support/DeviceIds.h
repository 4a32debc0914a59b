#pragma once
// The library's texts and endpoint lists as plain wide strings, so that a
// test compares them with what it expects and a failure prints them. Header
// only: include it where the library is linked.
#include <libSonvane/libSonvane.h>

#include <string>
#include <vector>

inline std::wstring text(orv::String const& value) {
    return value.wideBuffer();
}

inline std::vector<std::wstring> idsOf(orv::Array<AudioDevice> const& devices) {
    std::vector<std::wstring> ids;
    for (AudioDevice const& device : devices) {
        ids.push_back(text(device.deviceProperty().deviceId));
    }
    return ids;
}

inline std::vector<std::wstring> idsOf(orv::Array<AudioInterfacePtr> const& devices) {
    std::vector<std::wstring> ids;
    for (AudioInterfacePtr const& device : devices) {
        ids.push_back(text(device->deviceProperty().deviceId));
    }
    return ids;
}
