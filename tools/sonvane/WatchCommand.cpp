// sonvane watch: device events as they happen, from an observer on every
// card and a notification client on the process-wide enumerator, until
// Ctrl+C or --seconds.
#include "Console.h"
#include "Endpoints.h"
#include "Names.h"
#include "Session.h"
#include "SimulatedMachine.h"
#include "Text.h"

#include <libSonvane/libSonvane.h>

#include <CLI/CLI.hpp>

#include <functiondiscoverykeys_devpkey.h>

#include <windows.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

// Events arrive on platform threads; the main thread prints them, so that
// lines never interleave and a slow console never holds up the platform.
class EventQueue {
public:
    EventQueue() : m_start(GetTickCount64()) {}

    void push(nlohmann::json event) {
        event["time"] = static_cast<double>(GetTickCount64() - m_start) / 1000.0;
        std::lock_guard<std::mutex> hold(m_lock);
        m_pending.push_back(std::move(event));
    }

    std::vector<nlohmann::json> take() {
        std::lock_guard<std::mutex> hold(m_lock);
        std::vector<nlohmann::json> taken;
        taken.swap(m_pending);
        return taken;
    }

private:
    unsigned long long m_start;
    std::mutex m_lock;
    std::vector<nlohmann::json> m_pending;
};

// A card tells its observers only that something happened to one of its
// endpoints; the enumerator's events below say which and how.
class CardObserver : public SoundCardObserver {
public:
    CardObserver(EventQueue& queue, unsigned int card, std::string id) : m_queue(queue), m_card(card), m_id(std::move(id)) {}

    void deviceStateChanged() override { report("endpoint state changed"); }
    void deviceAdded() override { report("endpoint added"); }
    void deviceRemoved() override { report("endpoint removed"); }

private:
    void report(char const* what) {
        m_queue.push({{"source", "card"}, {"card", m_card}, {"cardId", m_id}, {"event", what}});
    }

    EventQueue& m_queue;
    unsigned int m_card;
    std::string m_id;
};

std::string roleName(ERole role) {
    switch (role) {
    case eConsole:
        return "console";
    case eMultimedia:
        return "multimedia";
    case eCommunications:
        return "communications";
    default:
        return "role " + std::to_string(static_cast<int>(role));
    }
}

class EndpointEvents final : public IMMNotificationClient {
public:
    explicit EndpointEvents(EventQueue& queue) : m_queue(queue) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (!out) {
            return E_POINTER;
        }
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, __uuidof(IMMNotificationClient))) {
            *out = static_cast<IMMNotificationClient*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return InterlockedIncrement(&m_references); }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG const left = InterlockedDecrement(&m_references);
        if (left == 0) {
            delete this;
        }
        return left;
    }

    HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR id, DWORD state) override {
        push(id, "state changed", {{"state", stateName(state)}});
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR id) override {
        push(id, "added", nlohmann::json::object());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR id) override {
        push(id, "removed", nlohmann::json::object());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow flow, ERole role, LPCWSTR id) override {
        push(id, "became the default", {{"flow", flowName(flow)}, {"role", roleName(role)}});
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR id, PROPERTYKEY const key) override {
        push(id, "property changed", {{"property", guidText(key.fmtid) + "," + std::to_string(key.pid)}});
        return S_OK;
    }

private:
    void push(LPCWSTR id, char const* what, nlohmann::json details) {
        details["source"] = "endpoint";
        details["id"] = id ? utf8(std::wstring(id)) : std::string();
        details["event"] = what;
        m_queue.push(std::move(details));
    }

    volatile LONG m_references = 1;
    EventQueue& m_queue;
};

// What is watched stays alive to the end of the process on purpose: the
// library keeps notifying observers and clients until it unloads, and it
// cannot take an observer off a card.
struct Watchers {
    EventQueue queue;
    orv::Array<SoundCard> cards;
    std::vector<std::unique_ptr<CardObserver>> observers;
};

unsigned int watchCards(Watchers& watchers) {
    watchers.cards = SoundCard::enumerateSystemSoundDevices();
    unsigned int number = 1;
    for (SoundCard& card : watchers.cards) {
        watchers.observers.push_back(std::make_unique<CardObserver>(watchers.queue, number++, utf8(card.deviceId())));
        SoundCardObserverPtr const observer(watchers.observers.back().get());
        card.registerPlaybackObserver(observer);
        card.registerRecordObserver(observer);
    }
    return watchers.cards.size();
}

void watchEnumerator(Watchers& watchers) {
    ATL::CComPtr<IMMNotificationClient> client;
    client.Attach(new EndpointEvents(watchers.queue));
    libraryLog::clear();
    if (!libSonvane::AudioDeviceEnumeratorFactory::enumerator()->addNotificationClient(client)) {
        throw deviceError(libraryLog::explain("the platform refused to report endpoint events"));
    }
}

// The endpoint's name as it reads now, on the main thread; empty for an id
// that no longer opens (a removed device).
std::string currentName(std::string const& id) {
    AudioDevice const device{orvText(id)};
    return device.isInitialized() ? endpointName(device) : std::string();
}

std::string endpointLabel(nlohmann::json const& event) {
    std::string const id = event["id"].get<std::string>();
    std::string const name = event.value("name", std::string());
    return name.empty() ? id : "\"" + name + "\" " + id;
}

std::string eventLine(nlohmann::json const& event) {
    std::string line = fixed(event["time"].get<double>(), 3) + " s  ";
    if (event["source"] == "card") {
        return line + "card " + std::to_string(event["card"].get<unsigned int>()) + ": " +
               event["event"].get<std::string>() + "\n";
    }
    line += "endpoint " + endpointLabel(event) + " " + event["event"].get<std::string>();
    if (event.contains("state")) {
        line += ": " + event["state"].get<std::string>();
    }
    if (event.contains("flow")) {
        line += " (" + event["flow"].get<std::string>() + ", " + event["role"].get<std::string>() + ")";
    }
    if (event.contains("property")) {
        line += ": " + event["property"].get<std::string>();
    }
    return line + "\n";
}

// Text and JSON carry the same facts: the endpoint's name joins the event
// in both.
void print(Session const& session, nlohmann::json event) {
    if (event["source"] == "endpoint") {
        event["name"] = currentName(event["id"].get<std::string>());
    }
    console::out(session.json ? event.dump() + "\n" : eventLine(event));
}

struct WatchOptions {
    double seconds = 0.0;
    std::string script;
};

ExitCode runWatch(Session& session, WatchOptions const& options) {
    double const seconds = options.seconds;
    if (seconds < 0.0) {
        throw usageError("--seconds cannot be negative");
    }
    if (!options.script.empty() && !session.simulated) {
        throw usageError("--script needs a simulated machine (--machine)");
    }
    if (!options.script.empty()) {
        session.simulated->checkScript(options.script);
    }
    Watchers& watchers = *new Watchers();
    unsigned int const cards = watchCards(watchers);
    watchEnumerator(watchers);
    std::string const until = seconds > 0.0 ? "for " + fixed(seconds, 1) + " s" : "until Ctrl+C";
    if (!session.json) {
        console::out("Watching " + std::to_string(cards) + (cards == 1 ? " card" : " cards") +
                     " and the endpoint list " + until + ".\n");
    }
    if (!options.script.empty()) {
        session.simulated->runScript(options.script);
    }
    unsigned int count = 0;
    auto const printPending = [&] {
        for (nlohmann::json const& event : watchers.queue.take()) {
            print(session, event);
            ++count;
        }
        return true;
    };
    waitWhile(printPending, nullptr, seconds);
    printPending();
    if (session.json) {
        console::out(nlohmann::json({{"source", "watch"}, {"event", "end"}, {"events", count}}).dump() + "\n");
    } else {
        console::out(std::to_string(count) + (count == 1 ? " event.\n" : " events.\n"));
    }
    return ExitCode::Ok;
}

}  // namespace

void addWatchCommand(CLI::App& app, CommandRunner& chosen) {
    auto options = std::make_shared<WatchOptions>();
    CLI::App* command = app.add_subcommand(
        "watch", "Print device events as they happen (endpoints added, removed, changing state or default)");
    command->add_option("--seconds", options->seconds, "Stop after this many seconds (default: at Ctrl+C)");
    command->add_option("--script", options->script,
                        "With --machine: run this event script on the simulated machine once watching has begun");
    command->callback([&chosen, options] {
        chosen = [options](Session& session) { return runWatch(session, *options); };
    });
}
