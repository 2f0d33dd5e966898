// Clang's thread-safety attributes under short names; nothing under other compilers.
#ifndef ZOR_SUPPORT_THREAD_ANNOTATIONS_H_
#define ZOR_SUPPORT_THREAD_ANNOTATIONS_H_

#if defined(__clang__)
#define ZOR_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZOR_THREAD_ATTRIBUTE(x)
#endif

#define ZOR_CAPABILITY(name) ZOR_THREAD_ATTRIBUTE(capability(name))
#define ZOR_SCOPED_CAPABILITY ZOR_THREAD_ATTRIBUTE(scoped_lockable)
#define ZOR_GUARDED_BY(mutex) ZOR_THREAD_ATTRIBUTE(guarded_by(mutex))
#define ZOR_ACQUIRED_BEFORE(...) ZOR_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define ZOR_REQUIRES(...) ZOR_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ZOR_EXCLUDES(...) ZOR_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ZOR_ACQUIRE(...) ZOR_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZOR_RELEASE(...) ZOR_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))

#endif  // ZOR_SUPPORT_THREAD_ANNOTATIONS_H_
