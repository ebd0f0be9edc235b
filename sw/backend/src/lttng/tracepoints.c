/* The trace provider: a shared object of its own, registered with LTTng-UST while it is loaded. */
#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#define LTTNG_UST_TRACEPOINT_DEFINE
#include "tracepoints.h"

#include "lttngLevels.h"

static const char no_object[] = "-";

static int error_is_on(void) {
    return lttng_ust_tracepoint_enabled(com_zelva_zelvasw_qdxbe, ERROR) != 0;
}

static void error_emit(const char* file, unsigned int line, const char* msg) {
    lttng_ust_do_tracepoint(com_zelva_zelvasw_qdxbe, ERROR, file, line, msg);
}

static int info_is_on(void) {
    return lttng_ust_tracepoint_enabled(com_zelva_zelvasw_qdxbe, INFO) != 0;
}

static void info_emit(const char* file, unsigned int line, const char* msg) {
    lttng_ust_do_tracepoint(com_zelva_zelvasw_qdxbe, INFO, file, line, msg);
}

static int trace5_is_on(void) {
    return lttng_ust_tracepoint_enabled(com_zelva_zelvasw_qdxbe, TRACE5) != 0;
}

static void trace5_emit(const char* file, unsigned int line, const char* msg) {
    lttng_ust_do_tracepoint(com_zelva_zelvasw_qdxbe, TRACE5, file, line, no_object, msg);
}

static int trace6_is_on(void) {
    return lttng_ust_tracepoint_enabled(com_zelva_zelvasw_qdxbe, TRACE6) != 0;
}

static void trace6_emit(const char* file, unsigned int line, const char* msg) {
    lttng_ust_do_tracepoint(com_zelva_zelvasw_qdxbe, TRACE6, file, line, no_object, msg);
}

static int trace7_is_on(void) {
    return lttng_ust_tracepoint_enabled(com_zelva_zelvasw_qdxbe, TRACE7) != 0;
}

static void trace7_emit(const char* file, unsigned int line, const char* msg) {
    lttng_ust_do_tracepoint(com_zelva_zelvasw_qdxbe, TRACE7, file, line, no_object, msg);
}

const struct qdxbe_lttng_level qdxbe_lttng_levels[5] = {
    {error_is_on, error_emit},   {info_is_on, info_emit},     {trace5_is_on, trace5_emit},
    {trace6_is_on, trace6_emit}, {trace7_is_on, trace7_emit},
};
