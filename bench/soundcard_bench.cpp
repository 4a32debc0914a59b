// Sound card enumeration on simulated machines of 8, 16 and 32 alike cards
// (audiosim::cardMachine: 4 render and 4 capture endpoints each, behind one
// codec topology with its volume nodes).
//
// Three figures per machine, medians of interleaved rounds:
//   total       SoundCard::enumerateSystemSoundDevices(), as a module calls it;
//   simulator   the very platform calls that one enumeration made, replayed
//               from the simulator's call log straight on the simulated
//               objects, with nothing of the library around them;
//   library     total - simulator: the library's own share.
// The growth ratios show how each grows when the number of cards doubles;
// a design linear in cards gives ratios near 2. The simulator's time per
// call, overall and per method, should not grow with the machine: a method
// whose cost does points at a search over the whole machine. A second table
// gives the same replay with the call log and the fault-coverage record on,
// as test programs run it. Prints; never fails.
#include <libSonvane/libSonvane.h>

#include <audiosim/SdkNames.h>

#include <audiosim/Cards.h>
#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <ProcessEnumerator.h>

#include "BenchTiming.h"

#include <windows.h>
#include <mmdeviceapi.h>
#include <propidl.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

int const kRounds = 7;
unsigned const kCardCounts[] = {8, 16, 32};

std::vector<std::wstring> split(std::wstring const& text) {
    std::vector<std::wstring> parts;
    size_t start = 0;
    while (start <= text.size()) {
        size_t const end = text.find(L", ", start);
        parts.push_back(text.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start));
        if (end == std::wstring::npos) {
            break;
        }
        start = end + 2;
    }
    return parts;
}

// --- Replay of logged calls -------------------------------------------------

// Turns the call log of one enumeration into calls on the machine's own
// objects. The objects are looked up before the clock runs (and with the
// log switched off), so that a replay times the logged calls only.
class Replay {
public:
    explicit Replay(audiosim::Machine& machine) {
        machine.createEnumerator(__uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&m_enumerator));
    }

    void add(audiosim::CallRecord const& call) {
        std::function<void()> replay = make(call);
        if (replay) {
            m_calls.push_back(replay);
            m_byMethod[call.method].push_back(replay);
        } else {
            ++m_skipped[call.method];
        }
    }

    void run() const {
        for (std::function<void()> const& call : m_calls) {
            call();
        }
    }

    // The calls of each method replayed as one block, in milliseconds.
    std::map<std::wstring, double> runByMethod() const {
        std::map<std::wstring, double> times;
        for (auto const& [method, calls] : m_byMethod) {
            double const start = nowMilliseconds();
            for (std::function<void()> const& call : calls) {
                call();
            }
            times[method] = nowMilliseconds() - start;
        }
        return times;
    }

    std::map<std::wstring, size_t> methodCounts() const {
        std::map<std::wstring, size_t> counts;
        for (auto const& [method, calls] : m_byMethod) {
            counts[method] = calls.size();
        }
        return counts;
    }

    size_t size() const { return m_calls.size(); }
    std::map<std::wstring, size_t> const& skipped() const { return m_skipped; }

private:
    static bool iidByName(std::wstring const& name, IID& iid) {
        static std::map<std::wstring, IID> const known = {
            {L"IID_IUnknown", __uuidof(IUnknown)},
            {L"IID_IPart", __uuidof(IPart)},
            {L"IID_IConnector", __uuidof(IConnector)},
            {L"IID_ISubunit", __uuidof(ISubunit)},
            {L"IID_IMMEndpoint", __uuidof(IMMEndpoint)},
            {L"IID_IDeviceTopology", __uuidof(IDeviceTopology)},
            {L"IID_IAudioEndpointVolume", __uuidof(IAudioEndpointVolume)},
            {L"IID_IAudioVolumeLevel", __uuidof(IAudioVolumeLevel)},
            {L"IID_IAudioMute", __uuidof(IAudioMute)},
            {L"IID_IAudioInputSelector", __uuidof(IAudioInputSelector)},
            {L"IID_IKsJackDescription", __uuidof(IKsJackDescription)},
        };
        auto const found = known.find(name);
        if (found == known.end()) {
            return false;
        }
        iid = found->second;
        return true;
    }

    static std::wstring after(std::wstring const& object, wchar_t const* prefix) {
        return object.substr(std::wcslen(prefix));
    }

    ATL::CComPtr<IMMDevice> device(std::wstring const& id) {
        ATL::CComPtr<IMMDevice>& device = m_devices[id];
        if (!device) {
            m_enumerator->GetDevice(id.c_str(), &device);
        }
        return device;
    }

    ATL::CComPtr<IDeviceTopology> topology(std::wstring const& id) {
        ATL::CComPtr<IDeviceTopology>& topology = m_topologies[id];
        if (!topology) {
            device(id)->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr,
                                 reinterpret_cast<void**>(&topology));
        }
        return topology;
    }

    // A part by its global id, "<device id>/<local id in hex>".
    ATL::CComPtr<IPart> part(std::wstring const& globalId) {
        ATL::CComPtr<IPart>& part = m_parts[globalId];
        if (!part) {
            size_t const slash = globalId.rfind(L'/');
            UINT const localId = std::wcstoul(globalId.c_str() + slash + 1, nullptr, 16);
            topology(globalId.substr(0, slash))->GetPartById(localId, &part);
        }
        return part;
    }

    ATL::CComPtr<IMMDeviceCollection> collection(std::wstring const& flowAndMask) {
        ATL::CComPtr<IMMDeviceCollection>& collection = m_collections[flowAndMask];
        if (!collection) {
            size_t const blank = flowAndMask.find(L' ');
            m_enumerator->EnumAudioEndpoints(flowOf(flowAndMask.substr(0, blank)),
                                             std::wcstoul(flowAndMask.c_str() + blank + 1, nullptr, 10), &collection);
        }
        return collection;
    }

    static EDataFlow flowOf(std::wstring const& name) {
        return name == L"eRender" ? eRender : name == L"eCapture" ? eCapture : eAll;
    }

    static void release(IUnknown* object) {
        if (object) {
            object->Release();
        }
    }

    std::function<void()> make(audiosim::CallRecord const& call);
    std::function<void()> makeDeviceCall(audiosim::CallRecord const& call, std::vector<std::wstring> const& args);
    std::function<void()> makeTopologyCall(audiosim::CallRecord const& call, std::vector<std::wstring> const& args);
    std::function<void()> makePartCall(audiosim::CallRecord const& call, std::vector<std::wstring> const& args);

    ATL::CComPtr<IMMDeviceEnumerator> m_enumerator;
    std::map<std::wstring, ATL::CComPtr<IMMDevice>> m_devices;
    std::map<std::wstring, ATL::CComPtr<IDeviceTopology>> m_topologies;
    std::map<std::wstring, ATL::CComPtr<IPart>> m_parts;
    std::map<std::wstring, ATL::CComPtr<IMMDeviceCollection>> m_collections;
    std::vector<std::function<void()>> m_calls;
    std::map<std::wstring, std::vector<std::function<void()>>> m_byMethod;
    std::map<std::wstring, size_t> m_skipped;
};

std::function<void()> Replay::make(audiosim::CallRecord const& call) {
    std::vector<std::wstring> const args = split(call.arguments);
    std::wstring const& method = call.method;
    if (method == L"IClassFactory::CreateInstance") {
        return [] {
            IMMDeviceEnumerator* created = nullptr;
            CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                             __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&created));
            release(created);
        };
    }
    if (method == L"IMMDeviceEnumerator::EnumAudioEndpoints") {
        ATL::CComPtr<IMMDeviceEnumerator> const enumerator = m_enumerator;
        EDataFlow const flow = flowOf(args[0]);
        DWORD const mask = std::wcstoul(args[1].c_str(), nullptr, 10);
        return [enumerator, flow, mask] {
            IMMDeviceCollection* collection = nullptr;
            enumerator->EnumAudioEndpoints(flow, mask, &collection);
            release(collection);
        };
    }
    if (method == L"IMMDeviceEnumerator::GetDevice") {
        ATL::CComPtr<IMMDeviceEnumerator> const enumerator = m_enumerator;
        std::wstring const id = call.arguments;
        return [enumerator, id] {
            IMMDevice* found = nullptr;
            enumerator->GetDevice(id.c_str(), &found);
            release(found);
        };
    }
    if (method == L"IMMDeviceCollection::GetCount" || method == L"IMMDeviceCollection::Item") {
        ATL::CComPtr<IMMDeviceCollection> const list = collection(after(call.object, L"IMMDeviceCollection "));
        if (method == L"IMMDeviceCollection::GetCount") {
            return [list] {
                UINT count = 0;
                list->GetCount(&count);
            };
        }
        UINT const index = std::wcstoul(args[0].c_str(), nullptr, 10);
        return [list, index] {
            IMMDevice* item = nullptr;
            list->Item(index, &item);
            release(item);
        };
    }
    if (call.object.rfind(L"IMMDevice ", 0) == 0) {
        return makeDeviceCall(call, args);
    }
    if (method == L"IPropertyStore::GetValue") {
        ATL::CComPtr<IPropertyStore> store;
        device(after(call.object, L"IPropertyStore "))->OpenPropertyStore(STGM_READ, &store);
        PROPERTYKEY const key = audiosim::propertyKey(call.arguments);
        return [store, key] {
            PROPVARIANT value;
            PropVariantInit(&value);
            store->GetValue(key, &value);
            PropVariantClear(&value);
        };
    }
    if (call.object.rfind(L"IDeviceTopology ", 0) == 0) {
        return makeTopologyCall(call, args);
    }
    if (call.object.rfind(L"IPart ", 0) == 0) {
        return makePartCall(call, args);
    }
    return nullptr;
}

std::function<void()> Replay::makeDeviceCall(audiosim::CallRecord const& call, std::vector<std::wstring> const& args) {
    ATL::CComPtr<IMMDevice> const target = device(after(call.object, L"IMMDevice "));
    std::wstring const& method = call.method;
    IID iid;
    if (method == L"IMMDevice::GetId") {
        return [target] {
            LPWSTR id = nullptr;
            target->GetId(&id);
            CoTaskMemFree(id);
        };
    }
    if (method == L"IMMDevice::GetState") {
        return [target] {
            DWORD state = 0;
            target->GetState(&state);
        };
    }
    if (method == L"IMMDevice::OpenPropertyStore") {
        DWORD const mode = std::wcstoul(args[0].c_str(), nullptr, 10);
        return [target, mode] {
            IPropertyStore* store = nullptr;
            target->OpenPropertyStore(mode, &store);
            release(store);
        };
    }
    if (method == L"IMMDevice::QueryInterface" && iidByName(args[0], iid)) {
        return [target, iid] {
            IUnknown* asked = nullptr;
            target->QueryInterface(iid, reinterpret_cast<void**>(&asked));
            release(asked);
        };
    }
    if (method == L"IMMDevice::Activate" && iidByName(args[0], iid)) {
        DWORD const context = std::wcstoul(args[1].c_str(), nullptr, 10);
        return [target, iid, context] {
            IUnknown* activated = nullptr;
            target->Activate(iid, context, nullptr, reinterpret_cast<void**>(&activated));
            release(activated);
        };
    }
    return nullptr;
}

std::function<void()> Replay::makeTopologyCall(audiosim::CallRecord const& call,
                                               std::vector<std::wstring> const& args) {
    ATL::CComPtr<IDeviceTopology> const target = topology(after(call.object, L"IDeviceTopology "));
    std::wstring const& method = call.method;
    if (method == L"IDeviceTopology::GetDeviceId") {
        return [target] {
            LPWSTR id = nullptr;
            target->GetDeviceId(&id);
            CoTaskMemFree(id);
        };
    }
    if (method == L"IDeviceTopology::GetConnectorCount" || method == L"IDeviceTopology::GetSubunitCount") {
        bool const connectors = method == L"IDeviceTopology::GetConnectorCount";
        return [target, connectors] {
            UINT count = 0;
            connectors ? target->GetConnectorCount(&count) : target->GetSubunitCount(&count);
        };
    }
    if (method == L"IDeviceTopology::GetConnector") {
        UINT const index = std::wcstoul(args[0].c_str(), nullptr, 10);
        return [target, index] {
            IConnector* connector = nullptr;
            target->GetConnector(index, &connector);
            release(connector);
        };
    }
    if (method == L"IDeviceTopology::GetSubunit") {
        UINT const index = std::wcstoul(args[0].c_str(), nullptr, 10);
        return [target, index] {
            ISubunit* subunit = nullptr;
            target->GetSubunit(index, &subunit);
            release(subunit);
        };
    }
    if (method == L"IDeviceTopology::GetSignalPath") {
        ATL::CComPtr<IPart> const from = part(args[0]);
        ATL::CComPtr<IPart> const to = part(args[1]);
        BOOL const rejectMixed = std::wcstoul(args[2].c_str(), nullptr, 10);
        return [target, from, to, rejectMixed] {
            IPartsList* path = nullptr;
            target->GetSignalPath(from, to, rejectMixed, &path);
            release(path);
        };
    }
    return nullptr;
}

std::function<void()> Replay::makePartCall(audiosim::CallRecord const& call, std::vector<std::wstring> const& args) {
    ATL::CComPtr<IPart> const target = part(after(call.object, L"IPart "));
    std::wstring const& method = call.method;
    IID iid;
    if (method == L"IPart::GetGlobalId" || method == L"IPart::GetName") {
        bool const globalId = method == L"IPart::GetGlobalId";
        return [target, globalId] {
            LPWSTR text = nullptr;
            globalId ? target->GetGlobalId(&text) : target->GetName(&text);
            CoTaskMemFree(text);
        };
    }
    if (method == L"IPart::GetSubType") {
        return [target] {
            GUID subType;
            target->GetSubType(&subType);
        };
    }
    if (method == L"IPart::GetTopologyObject") {
        return [target] {
            IDeviceTopology* owner = nullptr;
            partTopologyObject(target, &owner);
            release(owner);
        };
    }
    if ((method == L"IPart::QueryInterface" && iidByName(args[0], iid))) {
        return [target, iid] {
            IUnknown* asked = nullptr;
            target->QueryInterface(iid, reinterpret_cast<void**>(&asked));
            release(asked);
        };
    }
    if (method == L"IPart::EnumPartsIncoming" || method == L"IPart::EnumPartsOutgoing") {
        bool const incoming = method == L"IPart::EnumPartsIncoming";
        return [target, incoming] {
            IPartsList* parts = nullptr;
            incoming ? target->EnumPartsIncoming(&parts) : target->EnumPartsOutgoing(&parts);
            release(parts);
        };
    }
    if (method == L"IConnector::GetConnectedTo" || method == L"IConnector::GetDeviceIdConnectedTo") {
        ATL::CComPtr<IConnector> connector;
        target->QueryInterface(__uuidof(IConnector), reinterpret_cast<void**>(&connector));
        if (method == L"IConnector::GetConnectedTo") {
            return [connector] {
                IConnector* farConnector = nullptr;
                connector->GetConnectedTo(&farConnector);
                release(farConnector);
            };
        }
        return [connector] {
            LPWSTR id = nullptr;
            connector->GetDeviceIdConnectedTo(&id);
            CoTaskMemFree(id);
        };
    }
    return nullptr;
}

// --- One machine -----------------------------------------------------------

struct Figures {
    unsigned cards = 0;
    size_t calls = 0;
    size_t replayed = 0;
    double total = 0;
    double simulator = 0;
    double simulatorLogged = 0;    // the replay with the call log on
    double simulatorCovered = 0;   // ... and the fault-coverage record
    double totalCovered = 0;       // the enumeration with both
    std::map<std::wstring, size_t> skipped;
    std::map<std::wstring, size_t> methodCalls;
    std::map<std::wstring, double> methodMilliseconds;   // medians over the rounds

    double microsecondsPerCall(double milliseconds) const { return replayed ? 1e3 * milliseconds / replayed : 0; }
    double methodMicrosecondsPerCall(std::wstring const& method) const {
        auto const calls = methodCalls.find(method);
        auto const time = methodMilliseconds.find(method);
        if (calls == methodCalls.end() || time == methodMilliseconds.end() || calls->second == 0) {
            return 0;
        }
        return 1e3 * time->second / calls->second;
    }
};

// Median milliseconds of the whole replay, the call log emptied before each
// round.
double medianReplay(audiosim::Machine& machine, Replay const& replay) {
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
        machine.calls().clear();
        double const start = nowMilliseconds();
        replay.run();
        times.push_back(nowMilliseconds() - start);
    }
    return median(times);
}

Figures measure(unsigned cards) {
    Figures figures;
    figures.cards = cards;
    audiosim::Machine machine(audiosim::cardMachine(cards));
    audiosim::InstallOptions options;
    options.recordFaultCoverage = false;
    audiosim::Installation installation(machine, options);
    forgetProcessEnumerator();

    // One enumeration with the log on: its calls are what the replay makes.
    machine.calls().clear();
    SoundCard::enumerateSystemSoundDevices();
    std::vector<audiosim::CallRecord> const calls = machine.calls().all();
    machine.calls().setRecording(false);
    figures.calls = calls.size();

    Replay replay(machine);
    for (audiosim::CallRecord const& call : calls) {
        replay.add(call);
    }
    figures.replayed = replay.size();
    figures.skipped = replay.skipped();
    figures.methodCalls = replay.methodCounts();

    std::vector<double> totals;
    std::vector<double> simulated;
    std::map<std::wstring, std::vector<double>> byMethod;
    for (int round = 0; round < kRounds; ++round) {
        double const start = nowMilliseconds();
        orv::Array<SoundCard> const again = SoundCard::enumerateSystemSoundDevices();
        double const middle = nowMilliseconds();
        replay.run();
        double const end = nowMilliseconds();
        totals.push_back(middle - start);
        simulated.push_back(end - middle);
        // With the cards of the round still held, as during the whole replay.
        for (auto const& [method, time] : replay.runByMethod()) {
            byMethod[method].push_back(time);
        }
    }
    figures.total = median(totals);
    figures.simulator = median(simulated);
    for (auto const& [method, times] : byMethod) {
        figures.methodMilliseconds[method] = median(times);
    }

    // The same replay as test programs run it: with the call log, and with
    // the log and the fault-coverage record.
    orv::Array<SoundCard> const held = SoundCard::enumerateSystemSoundDevices();
    machine.calls().setRecording(true);
    figures.simulatorLogged = medianReplay(machine, replay);
    machine.setFaultCoverageRecording(true);
    figures.simulatorCovered = medianReplay(machine, replay);
    std::vector<double> covered;
    for (int round = 0; round < kRounds; ++round) {
        machine.calls().clear();
        double const start = nowMilliseconds();
        orv::Array<SoundCard> const again = SoundCard::enumerateSystemSoundDevices();
        covered.push_back(nowMilliseconds() - start);
    }
    figures.totalCovered = median(covered);
    machine.setFaultCoverageRecording(false);
    machine.calls().setRecording(false);
    machine.calls().clear();
    forgetProcessEnumerator();
    return figures;
}

// Microseconds per call of each replayed method on every machine, most
// costly on the largest machine first.
void printMethods(std::vector<Figures> const& all) {
    Figures const& largest = all.back();
    std::vector<std::pair<double, std::wstring>> order;
    for (auto const& [method, calls] : largest.methodCalls) {
        order.emplace_back(largest.methodMicrosecondsPerCall(method) * calls, method);
    }
    std::sort(order.rbegin(), order.rend());
    std::printf("simulator us per call by method (calls on %u cards)\n", largest.cards);
    std::printf("  %-44s", "method");
    for (Figures const& f : all) {
        std::printf(" %6u c", f.cards);
    }
    std::printf(" %9s\n", "calls");
    for (auto const& [cost, method] : order) {
        std::printf("  %-44ls", method.c_str());
        for (Figures const& f : all) {
            std::printf(" %8.3f", f.methodMicrosecondsPerCall(method));
        }
        std::printf(" %9zu\n", largest.methodCalls.at(method));
    }
}

void printGrowth(char const* what, std::vector<Figures> const& all, double Figures::*field) {
    std::printf("  %-10s", what);
    for (size_t i = 1; i < all.size(); ++i) {
        std::printf("  %u->%u: %5.2f", all[i - 1].cards, all[i].cards, all[i].*field / all[i - 1].*field);
    }
    std::printf("\n");
}

}  // namespace

int main() {
    CoInitialize(nullptr);
    std::vector<Figures> all;
    for (unsigned cards : kCardCounts) {
        all.push_back(measure(cards));
    }

    std::printf("SoundCard::enumerateSystemSoundDevices on cardMachine(n), median of %d rounds\n", kRounds);
    std::printf("%6s %10s %10s %10s %10s %10s %11s %9s %12s\n", "cards", "total ms", "sim ms", "lib ms", "lib share",
                "ms/card", "calls", "replayed", "sim us/call");
    for (Figures& f : all) {
        double const library = f.total - f.simulator;
        std::printf("%6u %10.2f %10.2f %10.2f %9.0f%% %10.3f %11zu %9zu %12.3f\n", f.cards, f.total, f.simulator,
                    library, 100.0 * library / f.total, f.total / f.cards, f.calls, f.replayed,
                    f.microsecondsPerCall(f.simulator));
    }
    std::printf("as tests run it: simulator us per call replayed (the replay's calls come from no library frame,\n"
                "so coverage searches every frame), and the enumeration with the call log and coverage on\n");
    std::printf("%6s %12s %12s %12s %14s\n", "cards", "bare", "call log", "+coverage", "total ms, both");
    for (Figures& f : all) {
        std::printf("%6u %12.3f %12.3f %12.3f %14.2f\n", f.cards, f.microsecondsPerCall(f.simulator),
                    f.microsecondsPerCall(f.simulatorLogged), f.microsecondsPerCall(f.simulatorCovered),
                    f.totalCovered);
    }
    for (Figures& f : all) {
        for (auto const& [method, count] : f.skipped) {
            std::printf("  (%u cards: %zu calls of %ls not replayed)\n", f.cards, count, method.c_str());
        }
    }

    std::vector<Figures> library = all;
    for (Figures& f : library) {
        f.total -= f.simulator;
    }
    std::printf("growth per doubling of cards (linear: 2.00)\n");
    printGrowth("total", all, &Figures::total);
    printGrowth("simulator", all, &Figures::simulator);
    printGrowth("library", library, &Figures::total);
    printMethods(all);
    CoUninitialize();
    return 0;
}
