// HugePageArray: a fixed-size array for the keyword automaton's large tables.
//
//   HugePageArray<uint32_t> rows;
//   if (!rows.Allocate(cells)) ...out of memory...;   // contents undefined
//   rows[i] = ...;
//
// An array of 2 MB or more is aligned to 2 MB and offered to the kernel for
// transparent huge pages: a table of many megabytes is then mapped in a few
// steps instead of thousands of page faults (a large keyword set builds in
// well under half the time), and the scan, which jumps across the table,
// misses the TLB far less. Where huge pages are off the array is ordinary
// memory. Only for trivially copyable element types.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <type_traits>

template <typename T> class HugePageArray
{
    static_assert(std::is_trivially_copyable<T>::value, "raw memory only");

public:
    // Replaces the contents with count uninitialised elements; false (and
    // empty) when memory fails.
    bool Allocate(size_t count)
    {
        m_data.reset();
        m_size = 0;
        if (count > SIZE_MAX / sizeof(T))
            return false;
        size_t bytes = count * sizeof(T);
        void *memory;
        if (bytes >= kHugePage) {
            bytes = (bytes + kHugePage - 1) & ~(kHugePage - 1);
            memory = std::aligned_alloc(kHugePage, bytes);
            if (memory)
                madvise(memory, bytes, MADV_HUGEPAGE); // a hint: failure is harmless
        } else {
            memory = std::malloc(bytes ? bytes : 1);
        }
        if (!memory)
            return false;
        m_data.reset(static_cast<T *>(memory));
        m_size = count;
        return true;
    }

    T *data() { return m_data.get(); }
    const T *data() const { return m_data.get(); }
    size_t size() const { return m_size; }
    T &operator[](size_t i) { return m_data.get()[i]; }
    const T &operator[](size_t i) const { return m_data.get()[i]; }
    T *begin() { return data(); }
    T *end() { return data() + m_size; }

private:
    static constexpr size_t kHugePage = size_t{2} << 20;

    struct Free {
        void operator()(T *p) const { std::free(p); }
    };

    std::unique_ptr<T, Free> m_data;
    size_t m_size = 0;
};
