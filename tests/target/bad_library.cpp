// A library that breaks every rule the target checks enforce: the checks run
// on it too and must name each fault.
#include <alloca.h>
#include <new>

extern "C" void vg_bad_sink(volatile char *p, unsigned n);

#define VG_BAD_EXPORT extern "C" __attribute__((visibility("default")))

// Needs libstdc++ at run time.
VG_BAD_EXPORT void *vg_bad_extra(unsigned n)
{
    return ::operator new(n, std::nothrow);
}

// A platform function defined in the library instead of left to the platform.
VG_BAD_EXPORT const char *vg_ipv4_ntoa(unsigned)
{
    return "0.0.0.0";
}

// A frame above the limit and a stack that grows with the caller's number.
VG_BAD_EXPORT void vg_bad_frames(unsigned n)
{
    volatile char big[8192];
    vg_bad_sink(big, sizeof big);
    vg_bad_sink(static_cast<volatile char *>(alloca(n)), n);
}
