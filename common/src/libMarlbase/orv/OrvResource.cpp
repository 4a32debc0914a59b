#include <orv/OrvResource.h>

namespace orv {

SharedResourceManagerCommonBase::SharedResourceManagerCommonBase() : m_referenceCount(1) {}
SharedResourceManagerCommonBase::~SharedResourceManagerCommonBase() = default;

SharedResourceManagerLockedBase::SharedResourceManagerLockedBase() {
    mutex::init(m_mutex);
}

SharedResourceManagerLockedBase::~SharedResourceManagerLockedBase() {
    mutex::destroy(m_mutex);
}

Uint32 SharedResourceManagerLockedBase::addReference() {
    mutex::lock(m_mutex);
    Uint32 const count = ++m_referenceCount;
    mutex::unlock(m_mutex);
    return count;
}

Uint32 SharedResourceManagerLockedBase::removeReference() {
    mutex::lock(m_mutex);
    Uint32 const count = --m_referenceCount;
    mutex::unlock(m_mutex);
    return count;
}

}  // namespace orv
