#pragma once
// A byte block that either owns or borrows its memory.
//
// capacity 0 means the store only borrows `data` and never frees it; any
// other value means the store owns `data` (from array new) and frees it with
// array delete. An empty store has all three members zero.
//
// A block is kept on resize or assign only while the new length stays above
// half of the capacity: memory that would be more than half unused is given
// back. resize keeps it strictly below the capacity, assign up to and
// including it.
#include <cstdint>
#include <cstring>

namespace libTrelwave {

struct PCMSampleStore {
    unsigned char* data = nullptr;
    std::uint64_t size = 0;
    std::uint64_t capacity = 0;

    PCMSampleStore() = default;

    // A copy always owns its bytes, also when the source only borrows.
    PCMSampleStore(PCMSampleStore const& other) { assign(other.data, other.size); }

    PCMSampleStore& operator=(PCMSampleStore const& other) {
        if (this != &other) {
            assign(other.data, other.size);
        }
        return *this;
    }

    ~PCMSampleStore() { release(); }

    bool ownsMemory() const { return capacity != 0; }

    // Frees the block if it is owned and leaves the store empty.
    void release() {
        if (ownsMemory()) {
            delete[] data;
        }
        data = nullptr;
        size = 0;
        capacity = 0;
    }

    // Takes `block` over as an owned block of `length` bytes; a zero length
    // frees the block instead.
    void adopt(unsigned char* block, std::uint64_t length) {
        release();
        if (length == 0) {
            delete[] block;
            return;
        }
        data = block;
        size = length;
        capacity = length;
    }

    // Refers to memory that stays its owner's.
    void borrow(unsigned char* block, std::uint64_t length) {
        release();
        data = block;
        size = length;
    }

    // Keeps the first bytes; bytes added beyond the old size are zero when a
    // new block is made. Inside a kept block only the size changes.
    void resize(std::uint64_t newSize) {
        if (newSize == size) {
            return;
        }
        if (newSize == 0) {
            release();
            return;
        }
        if (newSize < capacity && keepsBlockFor(newSize)) {
            size = newSize;
            return;
        }
        unsigned char* const block = new unsigned char[static_cast<std::size_t>(newSize)];
        std::uint64_t const kept = size < newSize ? size : newSize;
        copyBytes(block, data, kept);
        if (newSize > size) {
            std::memset(block + size, 0, static_cast<std::size_t>(newSize - size));
        }
        adopt(block, newSize);
    }

    // Makes the store hold a copy of `length` bytes from `source`.
    void assign(unsigned char const* source, std::uint64_t length) {
        if (source == nullptr || length == 0) {
            release();
            return;
        }
        if (length <= capacity && keepsBlockFor(length)) {
            std::memmove(data, source, static_cast<std::size_t>(length));
            size = length;
            return;
        }
        unsigned char* const block = new unsigned char[static_cast<std::size_t>(length)];
        copyBytes(block, source, length);
        adopt(block, length);
    }

private:
    // The shared half of the reuse rule; the bound against the capacity
    // itself differs between resize and assign.
    bool keepsBlockFor(std::uint64_t length) const {
        return length > capacity / 2 && capacity != 0 && data != nullptr;
    }

    static void copyBytes(unsigned char* target, unsigned char const* source, std::uint64_t length) {
        if (length != 0) {
            std::memcpy(target, source, static_cast<std::size_t>(length));
        }
    }
};

}  // namespace libTrelwave
