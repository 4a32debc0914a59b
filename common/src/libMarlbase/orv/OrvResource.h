#pragma once
// Resource handles: what is held (a storage policy) apart from how it is
// shared.
//
// A storage policy is a type with this static interface:
//   typedef ... Handle;                  the held value
//   static Handle nilValue();            the value of "holds nothing"
//   static bool isNil(Handle const&);
//   static void dispose(Handle& h);      gives the resource up and sets h to nil
//   static Handle copy(Handle& source);  what a copy of a CopiedResource holds;
//                                        may take the source over (set it nil).
//                                        Storages that are only ever shared
//                                        through SharedResource leave it out.
//
// CopiedResource<S>   one handle, destroyed and copied by the policies of S.
// SharedResource<S,L> a counted share of one resource through a
//                     SharedResourceManager<S,L>; the resource is disposed of
//                     when the last share is released. L = 0 counts without
//                     a lock (one thread at a time), L = 1 under the manager's
//                     own mutex.
#include <orv/OrvExport.h>
#include <orv/OrvMutex.h>
#include <orv/OrvTypes.h>

#include <objbase.h>

#include <type_traits>

namespace orv {

// Holds a T*. Disposal: 0 owns the object and deletes it (a polymorphic T
// through its virtual destructor), 3 owns nothing and disposal only forgets
// the pointer. Copying: 2 copies the pointer value (no reference counting,
// not even for COM interfaces), 3 transfers it: the copy takes the pointer
// and the source is left nil, even when it was passed as const. Only the
// pairs (0,3) and (3,2) exist.
template <class T, int Disposal, int Copying>
struct PointerStorage {
    static_assert((Disposal == 0 && Copying == 3) || (Disposal == 3 && Copying == 2),
                  "PointerStorage exists as (0,3), owning and transferring, and (3,2), a plain view");

    typedef T* Handle;

    static Handle nilValue() { return nullptr; }
    static bool isNil(Handle const& handle) { return handle == nullptr; }

    static void dispose(Handle& handle) {
        if constexpr (Disposal == 0) {
            delete handle;
        }
        handle = nullptr;
    }

    static Handle copy(Handle& source) {
        Handle const taken = source;
        if constexpr (Copying == 3) {
            source = nullptr;
        }
        return taken;
    }
};

// Holds a block from CoTaskMemAlloc and frees it with CoTaskMemFree. Shared
// only through SharedResource, so it has no copy policy.
template <class T>
struct ComTaskMemStorage {
    typedef T* Handle;

    static Handle nilValue() { return nullptr; }
    static bool isNil(Handle const& handle) { return handle == nullptr; }

    static void dispose(Handle& handle) {
        if (handle) {
            CoTaskMemFree(handle);
        }
        handle = nullptr;
    }
};

template <class S>
class CopiedResource {
public:
    typedef typename S::Handle Handle;

    CopiedResource() : m_handle(S::nilValue()) {}
    explicit CopiedResource(Handle handle) : m_handle(handle) {}
    CopiedResource(CopiedResource const& other) : m_handle(S::copy(other.m_handle)) {}

    CopiedResource& operator=(CopiedResource const& other) {
        if (this != &other) {
            S::dispose(m_handle);
            m_handle = S::copy(other.m_handle);
        }
        return *this;
    }

    ~CopiedResource() { S::dispose(m_handle); }

    Handle get() const { return m_handle; }
    Handle operator->() const { return m_handle; }
    decltype(auto) operator*() const { return *m_handle; }
    bool isNil() const { return S::isNil(m_handle); }
    explicit operator bool() const { return !isNil(); }

    // Disposes of what is held by the storage's rule and leaves the handle nil.
    void release() { S::dispose(m_handle); }

private:
    // Mutable so that a transferring storage can take over from a const source.
    mutable Handle m_handle;
};

// --- Shared resources -----------------------------------------------------

class ORV_API SharedResourceManagerCommonBase {
public:
    SharedResourceManagerCommonBase();
    // Deleting the manager disposes of the resource.
    virtual ~SharedResourceManagerCommonBase();
    // Forgets the resource without disposing of it.
    virtual void clearResource() = 0;

    Uint32 referenceCount() const { return m_referenceCount; }

protected:
    Uint32 m_referenceCount;

    SharedResourceManagerCommonBase(SharedResourceManagerCommonBase const&) = delete;
    SharedResourceManagerCommonBase& operator=(SharedResourceManagerCommonBase const&) = delete;

private:
};

// Plain counting: the shares of one resource stay on one thread at a time.
class ORV_API SharedResourceManagerUnlockedBase : public SharedResourceManagerCommonBase {
public:
    Uint32 addReference() { return ++m_referenceCount; }
    Uint32 removeReference() { return --m_referenceCount; }
};

// Counting under the manager's own mutex, for shares held by several threads.
class ORV_API SharedResourceManagerLockedBase : public SharedResourceManagerCommonBase {
public:
    SharedResourceManagerLockedBase();
    ~SharedResourceManagerLockedBase() override;

    Uint32 addReference();
    Uint32 removeReference();

private:
    CRITICAL_SECTION m_mutex;
};

template <class S, int L>
class SharedResourceManager
    : public std::conditional<L == 1, SharedResourceManagerLockedBase, SharedResourceManagerUnlockedBase>::type {
    static_assert(L == 0 || L == 1, "a shared resource counts unlocked (0) or locked (1)");

public:
    typedef typename S::Handle Handle;

    explicit SharedResourceManager(Handle handle) : m_handle(handle) {}

    ~SharedResourceManager() override {
        if (!S::isNil(m_handle)) {
            S::dispose(m_handle);
        }
        m_handle = S::nilValue();
    }

    void clearResource() override { m_handle = S::nilValue(); }

    Handle handle() const { return m_handle; }

private:
    Handle m_handle;
};

template <class S, int L>
class SharedResource {
public:
    typedef typename S::Handle Handle;
    typedef SharedResourceManager<S, L> Manager;

    SharedResource() : m_handle(S::nilValue()), m_manager(nullptr) {}

    // Takes the resource over: it is disposed of when the last share goes.
    explicit SharedResource(Handle handle) : m_handle(handle), m_manager(new Manager(handle)) {}

    SharedResource(SharedResource const& other) : m_handle(S::nilValue()), m_manager(nullptr) {
        share(other);
    }

    SharedResource& operator=(SharedResource const& other) {
        if (this == &other || m_manager == other.m_manager) {
            return *this;
        }
        release();
        share(other);
        return *this;
    }

    SharedResource& operator=(SharedResource&& other) {
        if (this == &other) {
            return *this;
        }
        release();
        m_handle = other.m_handle;
        m_manager = other.m_manager;
        other.m_handle = S::nilValue();
        other.m_manager = nullptr;
        return *this;
    }

    ~SharedResource() { release(); }

    // Gives up this share; the last one disposes of the resource. The count
    // is tested after the manager's lock is left, since deleting the manager
    // ends that lock.
    void release() {
        if (!m_manager) {
            return;
        }
        if (m_manager->removeReference() == 0) {
            delete m_manager;
        }
        m_handle = S::nilValue();
        m_manager = nullptr;
    }

    Handle get() const { return m_handle; }
    Handle operator->() const { return m_handle; }
    decltype(auto) operator*() const { return *m_handle; }
    bool isNil() const { return S::isNil(m_handle); }
    explicit operator bool() const { return !isNil(); }

    // Number of shares of the resource; 0 for an empty share.
    Uint32 referenceCount() const { return m_manager ? m_manager->referenceCount() : 0; }

private:
    void share(SharedResource const& other) {
        if (!other.m_manager) {
            return;
        }
        other.m_manager->addReference();
        m_handle = other.m_handle;
        m_manager = other.m_manager;
    }

    Handle m_handle;
    Manager* m_manager;
};

}  // namespace orv
