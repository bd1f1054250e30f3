#pragma once

// Bytes on pages of their own, starting `offset` bytes into the first page.
// From the general allocator, where a buffer lands depends on what earlier
// cases allocated and freed, and with it how often a loop's loads share the
// low twelve address bits of its recent stores, which the processor then
// takes for a dependence (4 KiB aliasing). Fresh pages and fixed offsets give
// every case the same placement whatever ran before it.

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

class PageBuffer {
public:
    PageBuffer(size_t size, size_t offset) : size_(size), mapped_(offset + size) {
        void* pages = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
        if (pages == MAP_FAILED) throw std::bad_alloc();
        pages_ = static_cast<uint8_t*>(pages);
        data_ = pages_ + offset;
    }
    PageBuffer(const PageBuffer&) = delete;
    PageBuffer& operator=(const PageBuffer&) = delete;
    ~PageBuffer() { munmap(pages_, mapped_); }

    uint8_t* data() { return data_; }
    const uint8_t* data() const { return data_; }
    size_t size() const { return size_; }
    void CopyFrom(const PageBuffer& other) { std::memcpy(data_, other.data_, size_ < other.size_ ? size_ : other.size_); }

private:
    size_t size_, mapped_;
    uint8_t* pages_;
    uint8_t* data_;
};

// A loop's vertices and its destination, each on pages of its own: the
// source from the start of its first page, with room behind the last vertex
// for a 16-byte load of its last 12-byte vector, the destination 2 KiB in.
struct LoopBuffers {
    static constexpr size_t kDstOffset = 2048;
    PageBuffer src, dst;

    LoopBuffers(uint32_t vertices, uint32_t srcStride, uint32_t dstStride)
        : src(size_t{vertices} * srcStride + 16, 0), dst(size_t{vertices} * dstStride, kDstOffset) {}
};
