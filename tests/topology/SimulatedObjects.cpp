#include "SimulatedObjects.h"

namespace topologytests {

AudioDeviceTopology simulatedTopology(audiosim::Machine& machine, const std::wstring& id) {
    return AudioDeviceTopology(activate<IDeviceTopology>(simulatedEndpoint(machine, id)));
}

const wchar_t speakersId[] = L"{0.0.0.00000000}.{5e1a0c1e-0000-4000-8000-000000000001}";

audiosim::Machine volumeMachine() {
    audiosim::MachineDescription description;
    description.name = L"volume bench";
    audiosim::Device& speakers = description.addEndpoint(eRender, speakersId);
    speakers.set(L"PKEY_Device_FriendlyName", audiosim::PropertyValue::string(L"Speakers"));

    audiosim::EndpointVolume endpointVolume;
    endpointVolume.levelsDb = {-49.6f, -49.4f};
    endpointVolume.minDb = -100.0f;
    endpointVolume.maxDb = 0.0f;
    speakers.volume = endpointVolume;

    audiosim::LevelNode master;
    master.levelsDb = {-48.0f, -48.0f};
    master.minDb = -96.0f;
    master.maxDb = 0.0f;
    audiosim::Topology& topology = speakers.ensureTopology();
    topology.addConnector(audiosim::Part::connector(L"Speaker jack", Physical_External, Out,
                                                    audiosim::nodeType(L"KSNODETYPE_SPEAKER")));
    topology.addSubunit(audiosim::Part::subunit(L"Master Volume", audiosim::nodeType(L"KSNODETYPE_VOLUME"))
                            .withVolume(master)
                            .withMute(false));
    topology.addSubunit(
        audiosim::Part::subunit(L"Bass Volume", audiosim::nodeType(L"KSNODETYPE_VOLUME")).withVolume(master));
    topology.link(L"Master Volume", L"Bass Volume").link(L"Bass Volume", L"Speaker jack");
    return audiosim::Machine(description);
}

VolumeController<EndpointVolumeController> endpointController(audiosim::Machine& machine) {
    EndpointVolumeController description{activate<IAudioEndpointVolume>(simulatedEndpoint(machine, speakersId)),
                                         GUID(), orv::String("Speakers")};
    return VolumeController<EndpointVolumeController>(description);
}

}  // namespace topologytests
