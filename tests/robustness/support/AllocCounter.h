#ifndef PSDKIT_TESTS_ROBUSTNESS_ALLOCCOUNTER_H
#define PSDKIT_TESTS_ROBUSTNESS_ALLOCCOUNTER_H

// Counts the heap bytes in use by the whole process, and their highest mark,
// so that a test can tell how much a read allocated at its peak.
//
// How it counts:
// - Plain builds (and valgrind): the test executable defines malloc, free,
//   calloc, realloc and the aligned allocators itself and forwards them to
//   glibc's own entry points (__libc_malloc and its kin). ELF interposition
//   sends every allocation of the process through them: the library's, the
//   C++ runtime's operator new, the stream buffers. Sizes are taken with
//   malloc_usable_size, the same way on allocation and on release.
// - AddressSanitizer builds: ASan owns malloc, so the counter installs ASan's
//   allocation hooks (__sanitizer_install_malloc_and_free_hooks) and sizes a
//   release with __sanitizer_get_allocated_size.
// No LD_PRELOAD and no glibc malloc hooks (removed from glibc) are involved.
// Under valgrind, whose allocator replaces the executable's malloc as well,
// nothing can be counted: Active() is false there.

namespace psdtest {

class AllocCounter {
public:
    // Bytes in use now, counted since the process started (may be off by a
    // constant for blocks allocated before the counter was in place).
    static long long Current();
    // Highest value of Current() since the last ResetPeak().
    static long long Peak();
    static void ResetPeak();
    // False where allocations cannot be counted (under valgrind).
    static bool Active();
    // "interposed glibc malloc" or "AddressSanitizer hooks".
    static const char* Method();
};

// Peak heap growth over a baseline taken at construction.
class PeakWatch {
public:
    PeakWatch() : base(AllocCounter::Current()) { AllocCounter::ResetPeak(); }
    long long Growth() const { return AllocCounter::Peak() - base; }

private:
    long long base;
};

}  // namespace psdtest

#endif
