// Clang's thread-safety annotations; nothing on other compilers.
#ifndef QUARN_FOUNDATION_THREAD_ANNOTATIONS_H_
#define QUARN_FOUNDATION_THREAD_ANNOTATIONS_H_

#if defined(__clang__)
#define QUARN_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QUARN_THREAD_ANNOTATION(x)
#endif

#define QUARN_CAPABILITY(x) QUARN_THREAD_ANNOTATION(capability(x))
#define QUARN_SCOPED_CAPABILITY QUARN_THREAD_ANNOTATION(scoped_lockable)
#define QUARN_GUARDED_BY(x) QUARN_THREAD_ANNOTATION(guarded_by(x))
#define QUARN_REQUIRES(...) QUARN_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QUARN_ACQUIRE(...) QUARN_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QUARN_RELEASE(...) QUARN_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define QUARN_ACQUIRE_SHARED(...) QUARN_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define QUARN_RELEASE_SHARED(...) QUARN_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define QUARN_TRY_ACQUIRE(...) QUARN_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define QUARN_TRY_ACQUIRE_SHARED(...) QUARN_THREAD_ANNOTATION(try_acquire_shared_capability(__VA_ARGS__))
#define QUARN_NO_THREAD_SAFETY_ANALYSIS QUARN_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif  // QUARN_FOUNDATION_THREAD_ANNOTATIONS_H_
