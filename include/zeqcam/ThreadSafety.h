#pragma once

// Clang's thread-safety annotations. They are checked where the standard library's mutexes carry them too
// (libc++ with its annotations enabled) and expand to nothing elsewhere, where correct code would be
// reported.
#if defined(__clang__) && defined(_LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS)
#define ZEQCAM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZEQCAM_THREAD_ANNOTATION(x)
#endif

#define ZEQCAM_GUARDED_BY(mutex) ZEQCAM_THREAD_ANNOTATION(guarded_by(mutex))
#define ZEQCAM_REQUIRES(...) ZEQCAM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ZEQCAM_EXCLUDES(...) ZEQCAM_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ZEQCAM_ACQUIRED_BEFORE(...) ZEQCAM_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
