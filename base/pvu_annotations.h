#pragma once

// Lock annotations: clang's -Wthread-safety checks them, other compilers see nothing.

#if defined(__clang__)
#define PVU_ATTRIBUTE(x) __attribute__((x))
#else
#define PVU_ATTRIBUTE(x)
#endif

#define PVU_CAPABILITY(name) PVU_ATTRIBUTE(capability(name))
#define PVU_SCOPED_CAPABILITY PVU_ATTRIBUTE(scoped_lockable)
#define PVU_GUARDED_BY(lock) PVU_ATTRIBUTE(guarded_by(lock))
#define PVU_REQUIRES(...) PVU_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define PVU_REQUIRES_SHARED(...) PVU_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define PVU_ACQUIRE(...) PVU_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define PVU_ACQUIRE_SHARED(...) PVU_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define PVU_RELEASE(...) PVU_ATTRIBUTE(release_capability(__VA_ARGS__))
#define PVU_RELEASE_GENERIC(...) PVU_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define PVU_TRY_ACQUIRE(...) PVU_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define PVU_TRY_ACQUIRE_SHARED(...) PVU_ATTRIBUTE(try_acquire_shared_capability(__VA_ARGS__))
