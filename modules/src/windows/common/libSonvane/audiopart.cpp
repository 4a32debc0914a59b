#include <libSonvane/audiopart.h>

#include <libSonvane/audiodevicetopology.h>

#include <orv/OrvException.h>
#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <objbase.h>

ORV_LOG_CATEGORY("libSonvane.audioPart");

namespace {

// Takes over a string that the platform allocated for us.
void takePlatformString(LPWSTR text, orv::String& target) {
    target = text;
    CoTaskMemFree(text);
}

}  // namespace

// ---------------------------------------------------------------------------
// AudioPart

AudioPart::AudioPart() : m_subType() {}

AudioPart::AudioPart(IPart* part) : m_part(part), m_subType() {
    ORV_TRACE("AudioConnector::AudioConnector(const IPart* part)");
    initialize();
}

AudioPart::AudioPart(const ATL::CComPtr<IPart>& part) : m_part(part), m_subType() {
    ORV_TRACE("AudioConnector(const CComPtr<IPart>& part)");
    initialize();
}

template <class Interface>
AudioPart::AudioPart(Interface* component) : m_subType() {
    if (component) {
        // A node that is no part leaves m_part null, and the part empty.
        component->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&m_part));
        initialize();
    }
}

AudioPart::AudioPart(const AudioPart& other) = default;
AudioPart& AudioPart::operator=(const AudioPart& other) = default;
AudioPart::~AudioPart() = default;

AudioPart& AudioPart::operator=(IPart* part) {
    ORV_TRACE("AudioPart::operator=");
    m_part = part;
    initialize();
    return *this;
}

AudioPart& AudioPart::operator=(const ATL::CComPtr<IPart>& part) {
    return *this = part.p;
}

GUID AudioPart::subType() const {
    return m_subType;
}

orv::String AudioPart::globalId() const {
    return m_globalId;
}

orv::String AudioPart::name() const {
    return m_name;
}

ATL::CComPtr<IPart> AudioPart::part() const {
    return m_part;
}

ATL::CComPtr<IDeviceTopology> AudioPart::topology() const {
    ORV_TRACE("AudioPart::topology");
    ATL::CComPtr<IDeviceTopology> result;
    if (m_part) {
        partTopologyObject(m_part, &result);
        if (!result) {
            ORV_LOG(3) << "Unable to get topology object from part " << m_name;
        }
    }
    return result;
}

bool AudioPart::operator==(const AudioPart& other) const {
    return m_globalId.compareNoCase(other.m_globalId) == 0;
}

unsigned int AudioPart::incomingPartsList(orv::Array<AudioPart>& list) {
    ORV_TRACE("AudioPart::incomingPartsList");
    IPartsList* parts = nullptr;
    HRESULT hr = m_part->EnumPartsIncoming(&parts);
    if (FAILED(hr)) {
        ORV_LOG(3) << "Unable to enumerate incoming parts";
        return 0;
    }
    storePartsList(parts, m_incomingParts);
    list = m_incomingParts;
    return list.size();
}

unsigned int AudioPart::outgoingPartsList(orv::Array<AudioPart>& list) {
    ORV_TRACE("AudioPart::outgoingPartsList");
    IPartsList* parts = nullptr;
    HRESULT hr = m_part->EnumPartsOutgoing(&parts);
    if (FAILED(hr)) {
        ORV_LOG(3) << "Unable to enumerate outgoing parts";
        return 0;
    }
    storePartsList(parts, m_outgoingParts);
    list = m_outgoingParts;
    return list.size();
}

void AudioPart::initialize() {
    ORV_TRACE("AudioPart::initialize");
    if (!m_part) {
        return;
    }
    m_part->GetSubType(&m_subType);

    LPWSTR globalId = nullptr;
    m_part->GetGlobalId(&globalId);
    takePlatformString(globalId, m_globalId);

    LPWSTR name = nullptr;
    m_part->GetName(&name);
    if (name) {
        takePlatformString(name, m_name);
    }
}

unsigned int AudioPart::storePartsList(IPartsList* partlist, orv::Array<AudioPart>& list) {
    ORV_TRACE("AudioPart::storePartsList");
    ORV_ASSERT_TEXT(partlist != nullptr, "partlist != NULL", __FILE__);
    list.clear();

    UINT count = 0;
    partlist->GetCount(&count);
    for (UINT index = 0; index < count; ++index) {
        IPart* part = nullptr;
        if (FAILED(partlist->GetPart(index, &part))) {
            continue;
        }
        // The reference that GetPart handed out is kept, like the list
        // itself: the node objects stay alive for the rest of the process.
        list.append(AudioPart(part));
    }
    return list.size();
}

// ---------------------------------------------------------------------------
// AudioComponent

template <class Interface>
AudioComponent<Interface>::AudioComponent(Interface* component)
    : m_component(component), m_audioPart(component) {
    ORV_TRACE("AudioComponent::AudioComponent");
}

template <class Interface>
AudioComponent<Interface>::AudioComponent(const ATL::CComPtr<Interface>& component)
    : m_component(component), m_audioPart(component.p) {
    ORV_TRACE("AudioComponent::AudioComponent");
}

template <class Interface>
AudioComponent<Interface>::AudioComponent(const ATL::CComPtr<IPart>& part) {
    ORV_TRACE("AudioConnector::AudioConnector(const CComPtr<IPart>& part)");
    if (!part) {
        return;
    }
    ATL::CComPtr<Interface> component;
    HRESULT hr = part->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(&component));
    if (FAILED(hr) || !component) {
        return;
    }
    m_component = component;
    m_audioPart = part;
}

template <class Interface>
AudioComponent<Interface>::AudioComponent(const AudioComponent& other) = default;

template <class Interface>
AudioComponent<Interface>& AudioComponent<Interface>::operator=(const AudioComponent& other) = default;

template <class Interface>
AudioComponent<Interface>::~AudioComponent() = default;

template <class Interface>
ATL::CComPtr<Interface> AudioComponent<Interface>::component() const {
    return m_component;
}

template <class Interface>
AudioPart AudioComponent<Interface>::part() const {
    return m_audioPart;
}

template <class Interface>
GUID AudioComponent<Interface>::subType() const {
    return m_audioPart.subType();
}

template <class Interface>
orv::String AudioComponent<Interface>::id() const {
    return m_audioPart.globalId();
}

template <class Interface>
orv::String AudioComponent<Interface>::name() const {
    return m_audioPart.name();
}

template <class Interface>
bool AudioComponent<Interface>::operator==(const AudioComponent& other) const {
    return id().compareNoCase(other.id()) == 0;
}

template <class Interface>
unsigned int AudioComponent<Interface>::incomingPartsList(orv::Array<AudioPart>& list) {
    return m_audioPart.incomingPartsList(list);
}

template <class Interface>
unsigned int AudioComponent<Interface>::outgoingPartsList(orv::Array<AudioPart>& list) {
    return m_audioPart.outgoingPartsList(list);
}

template <class Interface>
orv::String AudioComponent<Interface>::deviceOwner() const {
    ORV_TRACE("AudioComponent::deviceOwner");
    return AudioDeviceTopology(m_audioPart.topology()).deviceOwner();
}

template class AudioComponent<IConnector>;
template class AudioComponent<ISubunit>;
