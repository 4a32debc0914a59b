#include <audiosim/Faults.h>

#include "Text.h"

#include <algorithm>
#include <stdexcept>

namespace audiosim {

using detail::narrow;
using detail::sameText;

Fault Fault::on(std::wstring method, HRESULT result) {
    Fault fault;
    fault.method = std::move(method);
    fault.result = result;
    return fault;
}

Fault& Fault::at(std::wstring objectNameOrSubject) {
    object = std::move(objectNameOrSubject);
    return *this;
}

Fault& Fault::onCall(unsigned n) {
    return window(n, 1);
}

Fault& Fault::firstCalls(unsigned n) {
    return window(1, n);
}

Fault& Fault::window(unsigned fromCall, unsigned calls) {
    from = fromCall;
    count = calls;
    return *this;
}

Fault& Fault::withOut(OutPointer handling) {
    out = handling;
    return *this;
}

namespace {

bool methodMatches(const std::wstring& pattern, const std::wstring& method) {
    if (pattern.size() > 3 && pattern.compare(pattern.size() - 3, 3, L"::*") == 0)
        return method.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
    return pattern == method;
}

bool isKnownPattern(const std::wstring& pattern) {
    if (pattern.size() > 3 && pattern.compare(pattern.size() - 3, 3, L"::*") == 0) {
        const std::wstring prefix = pattern.substr(0, pattern.size() - 1);
        return std::any_of(knownMethods().begin(), knownMethods().end(),
                           [&](const std::wstring& method) { return method.compare(0, prefix.size(), prefix) == 0; });
    }
    return isKnownMethod(pattern);
}

}  // namespace

size_t Faults::add(Fault fault) {
    if (!isKnownPattern(fault.method))
        throw std::invalid_argument("no simulated method is called " + narrow(fault.method));
    if (fault.from == 0)
        throw std::invalid_argument("calls are counted from 1");
    std::lock_guard<std::mutex> lock(m_mutex);
    const size_t id = m_nextId++;
    m_entries.push_back({id, std::move(fault)});
    return id;
}

void Faults::remove(size_t id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) { return entry.id == id; }),
                    m_entries.end());
}

void Faults::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.clear();
}

std::vector<Fault> Faults::list() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Fault> faults;
    for (const Entry& entry : m_entries)
        faults.push_back(entry.fault);
    return faults;
}

unsigned Faults::fired(size_t id) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry& entry : m_entries) {
        if (entry.id == id)
            return entry.fired;
    }
    return 0;
}

unsigned Faults::matched(size_t id) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry& entry : m_entries) {
        if (entry.id == id)
            return entry.matched;
    }
    return 0;
}

std::optional<FaultHit> Faults::check(const std::wstring& method, const std::wstring& object,
                                      const std::wstring& subject) {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::optional<FaultHit> hit;
    for (Entry& entry : m_entries) {
        const Fault& fault = entry.fault;
        if (!methodMatches(fault.method, method))
            continue;
        if (!fault.object.empty() && !sameText(fault.object, object) && !sameText(fault.object, subject))
            continue;
        const unsigned call = ++entry.matched;
        const bool inWindow = call >= fault.from && (fault.count == 0 || call - fault.from < fault.count);
        if (inWindow && !hit) {
            ++entry.fired;
            hit = FaultHit{entry.id, fault.result, fault.out};
        }
    }
    return hit;
}

const std::vector<std::wstring>& knownMethods() {
    static const std::vector<std::wstring> methods = [] {
        const std::vector<std::pair<std::wstring, std::vector<const wchar_t*>>> interfaces = {
            {L"IClassFactory", {L"CreateInstance"}},
            {L"IMMDeviceEnumerator",
             {L"QueryInterface", L"EnumAudioEndpoints", L"GetDefaultAudioEndpoint", L"GetDevice",
              L"RegisterEndpointNotificationCallback", L"UnregisterEndpointNotificationCallback"}},
            {L"IMMDeviceCollection", {L"QueryInterface", L"GetCount", L"Item"}},
            {L"IMMDevice", {L"QueryInterface", L"Activate", L"OpenPropertyStore", L"GetId", L"GetState"}},
            {L"IMMEndpoint", {L"GetDataFlow"}},
            {L"IPropertyStore", {L"QueryInterface", L"GetCount", L"GetAt", L"GetValue", L"SetValue", L"Commit"}},
            {L"IDeviceTopology",
             {L"QueryInterface", L"GetConnectorCount", L"GetConnector", L"GetSubunitCount", L"GetSubunit",
              L"GetPartById", L"GetDeviceId", L"GetSignalPath"}},
            {L"IConnector",
             {L"GetType", L"GetDataFlow", L"ConnectTo", L"Disconnect", L"IsConnected", L"GetConnectedTo",
              L"GetConnectorIdConnectedTo", L"GetDeviceIdConnectedTo"}},
            {L"IPart",
             {L"QueryInterface", L"GetName", L"GetLocalId", L"GetGlobalId", L"GetPartType", L"GetSubType",
              L"GetControlInterfaceCount", L"GetControlInterface", L"EnumPartsIncoming", L"EnumPartsOutgoing",
              L"GetTopologyObject", L"Activate", L"RegisterControlChangeCallback",
              L"UnregisterControlChangeCallback"}},
            {L"IPartsList", {L"QueryInterface", L"GetCount", L"GetPart"}},
            {L"IControlInterface", {L"QueryInterface", L"GetName", L"GetIID"}},
            {L"IKsJackDescription", {L"QueryInterface", L"GetJackCount", L"GetJackDescription"}},
            {L"IAudioVolumeLevel",
             {L"QueryInterface", L"GetChannelCount", L"GetLevelRange", L"GetLevel", L"SetLevel", L"SetLevelUniform",
              L"SetLevelAllChannels"}},
            {L"IAudioMute", {L"QueryInterface", L"SetMute", L"GetMute"}},
            {L"IAudioInputSelector", {L"QueryInterface", L"GetSelection", L"SetSelection"}},
            {L"IAudioEndpointVolume",
             {L"QueryInterface", L"RegisterControlChangeNotify", L"UnregisterControlChangeNotify", L"GetChannelCount",
              L"SetMasterVolumeLevel", L"SetMasterVolumeLevelScalar", L"GetMasterVolumeLevel",
              L"GetMasterVolumeLevelScalar", L"SetChannelVolumeLevel", L"SetChannelVolumeLevelScalar",
              L"GetChannelVolumeLevel", L"GetChannelVolumeLevelScalar", L"SetMute", L"GetMute",
              L"GetVolumeStepInfo", L"VolumeStepUp", L"VolumeStepDown", L"QueryHardwareSupport",
              L"GetVolumeRange"}},
            {L"IBaseFilter",
             {L"QueryInterface", L"GetClassID", L"Stop", L"Pause", L"Run", L"GetState", L"SetSyncSource",
              L"GetSyncSource", L"EnumPins", L"FindPin", L"QueryFilterInfo", L"JoinFilterGraph",
              L"QueryVendorInfo"}},
            {L"IAudioClient",
             {L"QueryInterface", L"Initialize", L"GetBufferSize", L"GetStreamLatency", L"GetCurrentPadding",
              L"IsFormatSupported", L"GetMixFormat", L"GetDevicePeriod", L"Start", L"Stop", L"Reset",
              L"SetEventHandle", L"GetService"}},
            {L"IAudioRenderClient", {L"QueryInterface", L"GetBuffer", L"ReleaseBuffer"}},
            {L"IAudioCaptureClient", {L"QueryInterface", L"GetBuffer", L"ReleaseBuffer", L"GetNextPacketSize"}},
            {L"IAudioClock", {L"QueryInterface", L"GetFrequency", L"GetPosition", L"GetCharacteristics"}},
        };
        std::vector<std::wstring> all;
        for (const auto& [name, list] : interfaces) {
            for (const wchar_t* method : list)
                all.push_back(name + L"::" + method);
        }
        // The wave functions, by their own names.
        for (const wchar_t* method : {L"GetNumDevs", L"Message", L"Open", L"PrepareHeader", L"UnprepareHeader",
                                      L"Write", L"Reset", L"Close"})
            all.push_back(std::wstring(L"waveOut") + method);
        for (const wchar_t* method : {L"GetNumDevs", L"Message", L"Open", L"PrepareHeader", L"UnprepareHeader",
                                      L"AddBuffer", L"Start", L"Stop", L"Reset", L"Close"})
            all.push_back(std::wstring(L"waveIn") + method);
        return all;
    }();
    return methods;
}

bool isKnownMethod(const std::wstring& method) {
    return std::find(knownMethods().begin(), knownMethods().end(), method) != knownMethods().end();
}

}  // namespace audiosim
