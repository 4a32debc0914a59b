#pragma once
// orv::Array<T>: a growable list with plain value semantics. One field, the
// pointer to its block (see OrvArrayRep.h); no sharing, no reference count,
// no copy-on-write: copying an array copies every element, and growing it
// copy-constructs every element into the new block (elements are never
// moved), so element types need only a copy constructor and a destructor.
//
// Capacity starts at 8 and doubles. A copy keeps the capacity of its source,
// clear() gives the capacity back. Indexing checks "index < size()" and stops
// the process when it fails.
#include <orv/OrvArrayRep.h>
#include <orv/OrvException.h>
#include <orv/OrvTypes.h>

namespace orv {

template <class T>
class Array {
public:
    typedef T value_type;
    typedef T* iterator;
    typedef T const* const_iterator;

    Array();
    Array(Array const& other);
    Array& operator=(Array const& other);
    ~Array();

    Uint32 size() const { return m_rep->size; }
    Uint32 capacity() const { return m_rep->capacity; }
    bool empty() const { return size() == 0; }

    T& operator[](Uint32 index) {
        ORV_ASSERT(index < size(), "OrvArrayCommon");
        return m_rep->elements()[index];
    }
    T const& operator[](Uint32 index) const {
        ORV_ASSERT(index < size(), "OrvArrayCommon");
        return m_rep->elements()[index];
    }

    void append(T const& element);
    bool contains(T const& element) const;
    void clear();
    void remove(Uint32 index);
    // Makes room for n elements in all; growing copies every element over.
    void reserve(Uint32 n);

    iterator begin() { return m_rep->elements(); }
    iterator end() { return m_rep->elements() + m_rep->size; }
    const_iterator begin() const { return m_rep->elements(); }
    const_iterator end() const { return m_rep->elements() + m_rep->size; }

private:
    typedef ArrayRep<T> Rep;

    // A fresh block for `request` elements holding copies of the source's
    // elements (a copy of an array asks for the source's capacity).
    static Rep* copyOf(Rep const* source, Uint32 request);
    // Destroys the elements first to last and frees the block; accepts null.
    static void dispose(Rep*& rep);

    Rep* m_rep;
};

}  // namespace orv
