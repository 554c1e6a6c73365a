// ac_thread_safety - clang's capability attributes under short names; nothing for other compilers.
#pragma once

#if defined(__clang__)
#define AC_TSA(x) __attribute__((x))
#else
#define AC_TSA(x)
#endif

#define AC_CAPABILITY(name) AC_TSA(capability(name))
#define AC_SCOPED_CAPABILITY AC_TSA(scoped_lockable)
#define AC_GUARDED_BY(m) AC_TSA(guarded_by(m))
#define AC_PT_GUARDED_BY(m) AC_TSA(pt_guarded_by(m))
#define AC_REQUIRES(...) AC_TSA(requires_capability(__VA_ARGS__))
#define AC_EXCLUDES(...) AC_TSA(locks_excluded(__VA_ARGS__))
#define AC_ACQUIRE(...) AC_TSA(acquire_capability(__VA_ARGS__))
#define AC_RELEASE(...) AC_TSA(release_capability(__VA_ARGS__))
#define AC_NO_TSA AC_TSA(no_thread_safety_analysis)
