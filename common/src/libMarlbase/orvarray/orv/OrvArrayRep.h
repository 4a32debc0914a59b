#pragma once
// The storage block of an orv::Array: two 32-bit fields followed directly by
// room for `capacity` elements, one raw block from operator new. Elements are
// constructed in place by the array; the block itself never constructs one.
#include <orv/OrvException.h>
#include <orv/OrvExport.h>
#include <orv/OrvTypes.h>

#include <cstddef>
#include <new>

namespace orv {

// Records that the block for an array of n elements could not be allocated
// (logAssert with the expression "rep" and the requested size). The caller
// stops afterwards.
ORV_API void logArrayAllocationFailure(char const* file, unsigned long long line, Uint32 n);

template <class T>
struct ArrayRep {
    Uint32 size;
    Uint32 capacity;

    // Where the first element lies behind the two fields.
    static std::size_t elementOffset() {
        return (2 * sizeof(Uint32) + alignof(T) - 1) / alignof(T) * alignof(T);
    }

    T* elements() { return reinterpret_cast<T*>(reinterpret_cast<char*>(this) + elementOffset()); }
    T const* elements() const {
        return reinterpret_cast<T const*>(reinterpret_cast<char const*>(this) + elementOffset());
    }

    // A block with room for at least n elements: capacity starts at 8 and
    // doubles; should doubling wrap to 0 the request itself is taken. Size is
    // set to n and no element is constructed: the caller overwrites size and
    // constructs what it needs.
    static ArrayRep* create(Uint32 n);

    static void destroy(ArrayRep* rep) { ::operator delete(rep); }
};

template <class T>
ArrayRep<T>* ArrayRep<T>::create(Uint32 n) {
    Uint32 initialCapacity = 8;
    while (initialCapacity < n) {
        initialCapacity *= 2;
        if (initialCapacity == 0) {
            initialCapacity = n;
            break;
        }
    }
    ORV_ASSERT(initialCapacity <= (Uint32(0xffffffffU)-sizeof(ArrayRep<T>))/sizeof(T), "OrvArrayRep");

    void* rep = ::operator new(elementOffset() + std::size_t(initialCapacity) * sizeof(T), std::nothrow);
    if (!rep) {
        logArrayAllocationFailure("OrvArrayRep", __LINE__, n);
        ORV_ASSERTION_STOP();
    }
    ArrayRep* block = static_cast<ArrayRep*>(rep);
    block->size = n;
    block->capacity = initialCapacity;
    return block;
}

}  // namespace orv
