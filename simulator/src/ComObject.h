// The base of every simulated COM object: a reference count, a stable name
// for the live-object report, and `dispatch`, the one path through which
// every method runs so that each call is logged, counted and checked for an
// injected fault.
#pragma once

#include "Core.h"

#include <windows.h>
#include <unknwn.h>

#include <atomic>
#include <memory>
#include <string>

namespace audiosim::detail {

// Answered by QueryInterface of every simulated object, without logging, so
// that the simulator can recognise its own objects among pointers handed
// back to it (the parts given to GetSignalPath). The object comes back as
// ObjectBase* with a reference that the caller releases with releaseRef().
extern const IID IID_SimulatedObject;

// ---- Argument text for the call log.
std::wstring iidName(REFIID iid);
std::wstring flowName(EDataFlow flow);
std::wstring roleName(ERole role);
std::wstring number(unsigned long long value);
std::wstring signedNumber(long long value);
std::wstring hex(unsigned long value);
std::wstring level(float value);
std::wstring text(LPCWSTR value);
std::wstring pointer(const void* value);
std::wstring guidArgument(const GUID* value);
std::wstring join(std::initializer_list<std::wstring> parts);

// A COM task-memory copy of a string, as the platform hands out strings.
LPWSTR taskString(const std::wstring& value);

template <class T>
void clearOut(T** out) {
    if (out)
        *out = nullptr;
}
inline void clearOut(PROPVARIANT* out) {
    if (out)
        PropVariantInit(out);
}
// Value outs are left as they were.
template <class T>
void clearOut(T*) {}

class ObjectBase {
public:
    // An unlisted object (the class factory, which COM holds while the
    // machine is installed) stays out of the live-object report.
    ObjectBase(std::shared_ptr<Core> core, std::wstring interfaceName, std::wstring name, std::wstring subject,
               bool listed = true);
    virtual ~ObjectBase();
    ObjectBase(const ObjectBase&) = delete;
    ObjectBase& operator=(const ObjectBase&) = delete;

    const std::wstring& name() const { return m_name; }
    const std::wstring& subject() const { return m_subject; }
    ULONG references() const { return m_references.load(); }
    ULONG addRef() { return ++m_references; }
    ULONG releaseRef();
    // QueryInterface as the simulator uses it inside, neither logged nor
    // faulted: only what a caller asks appears in the call log.
    HRESULT queryQuietly(REFIID iid, void** out);

protected:
    template <class Body, class... Outs>
    HRESULT dispatch(const std::wstring& method, std::wstring arguments, Body&& body, Outs... outs) {
        const Core::Ticket ticket = m_core->beginCall(*this, method, std::move(arguments));
        if (ticket.fault && ticket.fault->out == OutPointer::Null) {
            (clearOut(outs), ...);
            return m_core->endCall(ticket, ticket.fault->result);
        }
        const HRESULT result = body();
        return m_core->endCall(ticket, ticket.fault ? ticket.fault->result : result);
    }

    // A pointer to the interface, or null when the object does not serve it.
    virtual void* findInterface(REFIID iid) = 0;

    // "Interface::Method" with the object's primary interface.
    std::wstring method(const wchar_t* name) const { return m_interface + L"::" + name; }

    std::shared_ptr<Core> m_core;
    const std::wstring m_interface;

private:
    const std::wstring m_name;
    const std::wstring m_subject;
    const bool m_listed;
    std::atomic<ULONG> m_references{1};
};

// Implements IUnknown for an object that derives from the given interfaces.
// The derived class answers `findInterface` with a pointer for each
// interface it serves; QueryInterface itself is logged and can be faulted
// like any other method.
template <class... Interfaces>
class ComObject : public ObjectBase, public Interfaces... {
public:
    using ObjectBase::ObjectBase;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_SimulatedObject && out) {
            addRef();
            *out = static_cast<ObjectBase*>(this);
            return S_OK;
        }
        return dispatch(method(L"QueryInterface"), iidName(iid),
                        [&]() -> HRESULT {
                            if (!out)
                                return E_POINTER;
                            return queryQuietly(iid, out);
                        },
                        out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return addRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return releaseRef(); }
};

// Creates an object with its first reference, which the caller hands out.
template <class T, class... Args>
T* create(Args&&... args) {
    return new T(std::forward<Args>(args)...);
}

// The simulator's own object behind an interface pointer, or null. The
// reference returned is released with releaseRef().
ObjectBase* simulatedObject(IUnknown* unknown);

// Turns a new object of the simulator into the interface asked for, handing
// the object's first reference on (or dropping it when the interface is not
// served), without a call-log entry.
HRESULT handOver(IUnknown* created, REFIID iid, void** out);

}  // namespace audiosim::detail
