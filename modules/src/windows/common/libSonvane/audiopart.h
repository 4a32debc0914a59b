#pragma once
// AudioPart: a copyable value around one node of a device topology (an
// IPart). It reads the node's identity once and can list the neighbouring
// nodes with or against the signal direction.
//
// AudioComponent<IConnector> and AudioComponent<ISubunit>: the same for a node
// known to be a connector or a subunit; they hold the specialised interface
// beside the AudioPart of the node. Only these two are built.
//
// Two parts or components are equal when their global ids are, ignoring case.
#include <libSonvane/SonvaneExport.h>

#include <COM/AtlComPtr.h>
#include <COM/DeviceTopologyApi.h>

#include <orv/OrvArray.h>
#include <orv/OrvString.h>

template <class Interface>
class AudioComponent;

class SONVANE_API AudioPart {
public:
    AudioPart();
    AudioPart(IPart* part);
    AudioPart(const ATL::CComPtr<IPart>& part);
    AudioPart(const AudioPart& other);
    AudioPart& operator=(const AudioPart& other);
    ~AudioPart();

    // Takes the new pointer when it differs from the held one, then reads the
    // identity again in any case. A null pointer keeps the old id and name.
    AudioPart& operator=(IPart* part);
    AudioPart& operator=(const ATL::CComPtr<IPart>& part);

    GUID subType() const;
    orv::String globalId() const;
    orv::String name() const;
    ATL::CComPtr<IPart> part() const;
    // The device topology that holds this node; null for an empty part or
    // when the platform gives none.
    ATL::CComPtr<IDeviceTopology> topology() const;

    bool operator==(const AudioPart& other) const;

    // The parts that feed this one, refreshed from the platform at each call.
    // On failure 0 is returned and `list` keeps what it held. The part must
    // not be empty.
    unsigned int incomingPartsList(orv::Array<AudioPart>& list);
    // The parts that this one feeds; as incomingPartsList.
    unsigned int outgoingPartsList(orv::Array<AudioPart>& list);

private:
    template <class Interface>
    friend class AudioComponent;

    // The part of a connector or subunit: asks it for IPart.
    template <class Interface>
    explicit AudioPart(Interface* component);

    void initialize();
    unsigned int storePartsList(IPartsList* partlist, orv::Array<AudioPart>& list);

    ATL::CComPtr<IPart> m_part;
    GUID m_subType;
    orv::String m_globalId;
    orv::String m_name;
    orv::Array<AudioPart> m_incomingParts;
    orv::Array<AudioPart> m_outgoingParts;
};

template <class Interface>
class AudioComponent {
public:
    AudioComponent(Interface* component);
    AudioComponent(const ATL::CComPtr<Interface>& component);
    // Empty when `part` is null or is not a node of this kind.
    AudioComponent(const ATL::CComPtr<IPart>& part);
    AudioComponent(const AudioComponent& other);
    AudioComponent& operator=(const AudioComponent& other);
    ~AudioComponent();

    ATL::CComPtr<Interface> component() const;
    AudioPart part() const;
    GUID subType() const;
    orv::String id() const;
    orv::String name() const;

    bool operator==(const AudioComponent& other) const;

    unsigned int incomingPartsList(orv::Array<AudioPart>& list);
    unsigned int outgoingPartsList(orv::Array<AudioPart>& list);

    // Id of the device whose topology holds this node; empty when the node
    // has no topology object. Reads that whole topology to find it.
    orv::String deviceOwner() const;

private:
    ATL::CComPtr<Interface> m_component;
    AudioPart m_audioPart;
};

extern template class SONVANE_API AudioComponent<IConnector>;
extern template class SONVANE_API AudioComponent<ISubunit>;
