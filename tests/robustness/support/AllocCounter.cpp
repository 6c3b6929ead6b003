#include "AllocCounter.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#define PSDTEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PSDTEST_ASAN 1
#endif
#endif

namespace {

std::atomic<long long> current{0};
std::atomic<long long> peak{0};

void Add(std::size_t n) {
    long long now = current.fetch_add(static_cast<long long>(n), std::memory_order_relaxed) + static_cast<long long>(n);
    long long high = peak.load(std::memory_order_relaxed);
    while (now > high && !peak.compare_exchange_weak(high, now, std::memory_order_relaxed)) {
    }
}

void Remove(std::size_t n) { current.fetch_sub(static_cast<long long>(n), std::memory_order_relaxed); }

}  // namespace

#ifdef PSDTEST_ASAN

extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void*, std::size_t),
                                              void (*free_hook)(const volatile void*));
std::size_t __sanitizer_get_allocated_size(const volatile void* p);
}

namespace {

void MallocHook(const volatile void*, std::size_t size) { Add(size); }
void FreeHook(const volatile void* p) {
    if (p != nullptr) Remove(__sanitizer_get_allocated_size(p));
}

struct HookInstaller {
    HookInstaller() { __sanitizer_install_malloc_and_free_hooks(MallocHook, FreeHook); }
} installer;

}  // namespace

const char* psdtest::AllocCounter::Method() { return "AddressSanitizer hooks"; }

#else

extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* p);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* p, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

void* Counted(void* p) {
    if (p != nullptr) Add(malloc_usable_size(p));
    return p;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return Counted(__libc_malloc(size)); }

void free(void* p) {
    if (p == nullptr) return;
    Remove(malloc_usable_size(p));
    __libc_free(p);
}

void* calloc(std::size_t count, std::size_t size) { return Counted(__libc_calloc(count, size)); }

void* realloc(void* p, std::size_t size) {
    std::size_t old = p != nullptr ? malloc_usable_size(p) : 0;
    void* q = __libc_realloc(p, size);
    if (q != nullptr) {
        Remove(old);
        Add(malloc_usable_size(q));
    } else if (p != nullptr && size == 0) {
        Remove(old);  // realloc to 0 released the block
    }
    return q;
}

void* memalign(std::size_t alignment, std::size_t size) { return Counted(__libc_memalign(alignment, size)); }

void* aligned_alloc(std::size_t alignment, std::size_t size) { return Counted(__libc_memalign(alignment, size)); }

int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
    if (alignment < sizeof(void*) || (alignment & (alignment - 1)) != 0) return EINVAL;
    void* p = Counted(__libc_memalign(alignment, size));
    if (p == nullptr) return ENOMEM;
    *out = p;
    return 0;
}

void* valloc(std::size_t size) { return Counted(__libc_memalign(4096, size)); }

void* pvalloc(std::size_t size) { return Counted(__libc_memalign(4096, (size + 4095) & ~static_cast<std::size_t>(4095))); }

}  // extern "C"

const char* psdtest::AllocCounter::Method() { return "interposed glibc malloc"; }

#endif

namespace psdtest {

bool AllocCounter::Active() {
    // valgrind preloads its allocator through LD_PRELOAD (vgpreload_*.so).
    static const bool underValgrind = [] {
        const char* preload = std::getenv("LD_PRELOAD");
        return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
    }();
    return !underValgrind;
}

long long AllocCounter::Current() { return current.load(std::memory_order_relaxed); }
long long AllocCounter::Peak() { return peak.load(std::memory_order_relaxed); }
void AllocCounter::ResetPeak() { peak.store(current.load(std::memory_order_relaxed), std::memory_order_relaxed); }

}  // namespace psdtest
