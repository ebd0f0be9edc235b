/* What the trace provider offers to the library that loads it. A table of functions rather than the
 * tracepoints themselves: so only the provider needs LTTng-UST, and the library runs where there is
 * none. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* One level: both functions may be called by any thread. Texts are NUL-terminated and read during
 * the call only. */
struct qdxbe_lttng_level {
    int (*is_on)(void);
    void (*emit)(const char* file, unsigned int line, const char* msg);
};

/* The levels in the order of Qdx::Backend::Trace::Level. Looked up by its name. */
extern const struct qdxbe_lttng_level qdxbe_lttng_levels[5];

#ifdef __cplusplus
}
#endif
