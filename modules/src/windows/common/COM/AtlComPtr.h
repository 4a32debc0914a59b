// ATL::CComPtr: the real one where ATL is installed (MSVC), otherwise a small
// compatible class with the same behaviour for what this code base uses:
// AddRef on copy, Release on destruction, assignment that takes the new
// reference before it drops the old one, operator& for out parameters.
#pragma once

#if defined(_MSC_VER) && __has_include(<atlbase.h>)
#include <atlbase.h>
#else

#include <objbase.h>
#include <unknwn.h>

#include <memory>

namespace ATL {

template <class T>
class CComPtr {
public:
    T* p = nullptr;

    CComPtr() noexcept = default;
    CComPtr(decltype(nullptr)) noexcept {}
    CComPtr(T* lp) noexcept : p(lp) { if (p) p->AddRef(); }
    CComPtr(const CComPtr& other) noexcept : CComPtr(other.p) {}
    CComPtr(CComPtr&& other) noexcept : p(other.p) { other.p = nullptr; }
    template <class Q>
    CComPtr(const CComPtr<Q>& other) noexcept : CComPtr(static_cast<T*>(other.p)) {}
    ~CComPtr() { if (p) p->Release(); }

    T* operator=(T* lp) noexcept {
        if (lp != p) {
            if (lp) lp->AddRef();
            T* old = p;
            p = lp;
            if (old) old->Release();
        }
        return p;
    }
    T* operator=(const CComPtr& other) noexcept { return *this = other.p; }
    T* operator=(CComPtr&& other) noexcept {
        // operator& is the out-parameter accessor, so the address is taken
        // with addressof.
        if (this != std::addressof(other)) {
            T* old = p;
            p = other.p;
            other.p = nullptr;
            if (old) old->Release();
        }
        return p;
    }
    T* operator=(decltype(nullptr)) noexcept { Release(); return nullptr; }

    operator T*() const noexcept { return p; }
    T& operator*() const noexcept { return *p; }
    T** operator&() noexcept { return &p; }
    T* operator->() const noexcept { return p; }
    bool operator!() const noexcept { return p == nullptr; }
    bool operator==(T* other) const noexcept { return p == other; }
    bool operator!=(T* other) const noexcept { return p != other; }

    void Release() noexcept {
        T* old = p;
        if (old) { p = nullptr; old->Release(); }
    }
    void Attach(T* lp) noexcept {
        if (p) p->Release();
        p = lp;
    }
    T* Detach() noexcept { T* old = p; p = nullptr; return old; }
    HRESULT CopyTo(T** out) const noexcept {
        if (!out) return E_POINTER;
        *out = p;
        if (p) p->AddRef();
        return S_OK;
    }
    template <class Q>
    HRESULT QueryInterface(Q** out) const noexcept {
        return p->QueryInterface(__uuidof(Q), reinterpret_cast<void**>(out));
    }
    HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer = nullptr,
                             DWORD context = CLSCTX_ALL) noexcept {
        return ::CoCreateInstance(clsid, outer, context, __uuidof(T), reinterpret_cast<void**>(&p));
    }
};

}  // namespace ATL

#endif
