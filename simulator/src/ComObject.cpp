#include "ComObject.h"

#include "Names.h"

#include <cstdio>

namespace audiosim::detail {

// {5D1C7A10-1F0B-4E1B-9C8E-51A7D0A3B2C4}
const IID IID_SimulatedObject = {0x5d1c7a10, 0x1f0b, 0x4e1b, {0x9c, 0x8e, 0x51, 0xa7, 0xd0, 0xa3, 0xb2, 0xc4}};

ObjectBase::ObjectBase(std::shared_ptr<Core> core, std::wstring interfaceName, std::wstring name, std::wstring subject,
                       bool listed)
    : m_core(std::move(core)),
      m_interface(std::move(interfaceName)),
      m_name(std::move(name)),
      m_subject(std::move(subject)),
      m_listed(listed) {
    if (m_listed)
        m_core->enroll(this);
}

ObjectBase::~ObjectBase() {
    if (m_listed)
        m_core->withdraw(this);
}

ULONG ObjectBase::releaseRef() {
    const ULONG remaining = --m_references;
    if (remaining == 0)
        delete this;
    return remaining;
}

HRESULT ObjectBase::queryQuietly(REFIID iid, void** out) {
    *out = findInterface(iid);
    if (!*out)
        return E_NOINTERFACE;
    addRef();
    return S_OK;
}

HRESULT handOver(IUnknown* created, REFIID iid, void** out) {
    ObjectBase* object = simulatedObject(created);
    const HRESULT result = object->queryQuietly(iid, out);
    object->releaseRef();
    created->Release();
    return result;
}

ObjectBase* simulatedObject(IUnknown* unknown) {
    if (!unknown)
        return nullptr;
    void* object = nullptr;
    if (FAILED(unknown->QueryInterface(IID_SimulatedObject, &object)))
        return nullptr;
    return static_cast<ObjectBase*>(object);
}

std::wstring iidName(REFIID iid) {
    for (const auto& entry : interfaceIds()) {
        if (IsEqualGUID(entry.guid, iid))
            return entry.name;
    }
    return guidText(iid);
}

std::wstring flowName(EDataFlow flow) {
    switch (flow) {
    case eRender: return L"eRender";
    case eCapture: return L"eCapture";
    case eAll: return L"eAll";
    default: return std::to_wstring(static_cast<int>(flow));
    }
}

std::wstring roleName(ERole role) {
    switch (role) {
    case eConsole: return L"eConsole";
    case eMultimedia: return L"eMultimedia";
    case eCommunications: return L"eCommunications";
    default: return std::to_wstring(static_cast<int>(role));
    }
}

std::wstring number(unsigned long long value) {
    return std::to_wstring(value);
}

std::wstring signedNumber(long long value) {
    return std::to_wstring(value);
}

std::wstring hex(unsigned long value) {
    wchar_t buffer[16];
    std::swprintf(buffer, 16, L"0x%lX", value);
    return buffer;
}

std::wstring level(float value) {
    wchar_t buffer[32];
    std::swprintf(buffer, 32, L"%g", static_cast<double>(value));
    return buffer;
}

std::wstring text(LPCWSTR value) {
    return value ? std::wstring(value) : std::wstring(L"null");
}

std::wstring pointer(const void* value) {
    return value ? L"ptr" : L"null";
}

std::wstring guidArgument(const GUID* value) {
    return value ? guidText(*value) : std::wstring(L"null");
}

std::wstring join(std::initializer_list<std::wstring> parts) {
    std::wstring result;
    bool first = true;
    for (const std::wstring& part : parts) {
        if (!first)
            result += L", ";
        first = false;
        result += part;
    }
    return result;
}

LPWSTR taskString(const std::wstring& value) {
    auto* copy = static_cast<LPWSTR>(CoTaskMemAlloc((value.size() + 1) * sizeof(wchar_t)));
    if (copy)
        std::copy(value.c_str(), value.c_str() + value.size() + 1, copy);
    return copy;
}

}  // namespace audiosim::detail
