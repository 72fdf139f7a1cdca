// Names for clang's -Wthread-safety attributes; empty for other compilers.
#pragma once

#if defined(__clang__)
#define KELVO_ATTRIBUTE(x) __attribute__((x))
#else
#define KELVO_ATTRIBUTE(x)
#endif

#define KELVO_CAPABILITY(name) KELVO_ATTRIBUTE(capability(name))
#define KELVO_SCOPED_CAPABILITY KELVO_ATTRIBUTE(scoped_lockable)
#define KELVO_GUARDED_BY(mutex) KELVO_ATTRIBUTE(guarded_by(mutex))
#define KELVO_PT_GUARDED_BY(mutex) KELVO_ATTRIBUTE(pt_guarded_by(mutex))
#define KELVO_REQUIRES(...) KELVO_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define KELVO_EXCLUDES(...) KELVO_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define KELVO_ACQUIRE(...) KELVO_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define KELVO_RELEASE(...) KELVO_ATTRIBUTE(release_capability(__VA_ARGS__))
#define KELVO_TRY_ACQUIRE(...) KELVO_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define KELVO_RETURN_CAPABILITY(x) KELVO_ATTRIBUTE(lock_returned(x))
#define KELVO_NO_THREAD_SAFETY_ANALYSIS KELVO_ATTRIBUTE(no_thread_safety_analysis)
