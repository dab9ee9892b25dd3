#include "bench/CountAllocs.h"
#include <atomic>
#include <cerrno>
#include <cstddef>

// The C library's allocator with a call counter: these definitions replace its own.

namespace
{
std::atomic<std::uint64_t> g_nAllocs{0};

void Count()
{
    g_nAllocs.fetch_add(1, std::memory_order_relaxed);
}
} // namespace

std::uint64_t CountAllocs()
{
    return g_nAllocs;
}

extern "C"
{
    void* __libc_malloc(std::size_t);
    void* __libc_calloc(std::size_t, std::size_t);
    void* __libc_realloc(void*, std::size_t);
    void* __libc_memalign(std::size_t, std::size_t);

    void* malloc(std::size_t p_nSize)
    {
        Count();
        return __libc_malloc(p_nSize);
    }
    void* calloc(std::size_t p_nCount, std::size_t p_nSize)
    {
        Count();
        return __libc_calloc(p_nCount, p_nSize);
    }
    void* realloc(void* p_pOld, std::size_t p_nSize)
    {
        Count();
        return __libc_realloc(p_pOld, p_nSize);
    }
    void* memalign(std::size_t p_nAlign, std::size_t p_nSize)
    {
        Count();
        return __libc_memalign(p_nAlign, p_nSize);
    }
    void* aligned_alloc(std::size_t p_nAlign, std::size_t p_nSize)
    {
        return memalign(p_nAlign, p_nSize);
    }
    int posix_memalign(void** p_ppOut, std::size_t p_nAlign, std::size_t p_nSize)
    {
        *p_ppOut = memalign(p_nAlign, p_nSize);
        return *p_ppOut ? 0 : ENOMEM;
    }
}
