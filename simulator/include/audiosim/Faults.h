// Failures on demand. A fault names a method ("IMMDevice::OpenPropertyStore",
// or "IPart::*" for every method of an interface), optionally an object, and
// the HRESULT to answer. Every call of a simulated method is checked against
// the list; the first fault whose window covers the call decides its result.
#pragma once

#include <windows.h>

#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace audiosim {

// What a failing call does with its out-parameters.
enum class OutPointer {
    Null,   // the method does no work; pointer outs are set to null, value outs are left alone
    Set,    // the method does its work, so its outs hold valid objects or values, and then fails
};

struct Fault {
    std::wstring method;          // "Interface::Method" or "Interface::*"
    std::wstring object;          // empty: any object; else an object's name or its subject
                                  // (endpoint or device id, part global id), compared without case
    HRESULT result = E_FAIL;
    unsigned from = 1;            // the first matching call that fails, counting from 1
    unsigned count = 0;           // how many calls fail from there on; 0: all of them
    OutPointer out = OutPointer::Null;

    static Fault on(std::wstring method, HRESULT result);
    Fault& at(std::wstring objectNameOrSubject);
    Fault& onCall(unsigned n);          // only the nth matching call
    Fault& firstCalls(unsigned n);      // the first n matching calls
    Fault& window(unsigned fromCall, unsigned calls);
    Fault& withOut(OutPointer handling);
};

// The decision for one call: which fault fired and how.
struct FaultHit {
    size_t id = 0;
    HRESULT result = S_OK;
    OutPointer out = OutPointer::Null;
};

class Faults {
public:
    // Adds a fault and returns its id. Throws std::invalid_argument for a
    // method the simulator does not know, so that a typing error cannot
    // pass for a fault that never fires.
    size_t add(Fault fault);
    void remove(size_t id);
    void clear();
    std::vector<Fault> list() const;
    // How often the fault has fired so far.
    unsigned fired(size_t id) const;
    // How often calls have matched the fault (fired or not).
    unsigned matched(size_t id) const;

    // Counts the call against every matching fault and returns the one that
    // fires, if any. `object` and `subject` identify the called object.
    std::optional<FaultHit> check(const std::wstring& method, const std::wstring& object,
                                  const std::wstring& subject);

private:
    struct Entry {
        size_t id;
        Fault fault;
        unsigned matched = 0;
        unsigned fired = 0;
    };
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries;
    size_t m_nextId = 1;
};

// Every "Interface::Method" that the simulator serves or will serve, in a
// fixed order; fault methods are checked against it.
const std::vector<std::wstring>& knownMethods();
bool isKnownMethod(const std::wstring& method);

}  // namespace audiosim
