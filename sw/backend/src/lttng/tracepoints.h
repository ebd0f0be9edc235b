/* The events of the trace provider. Names, fields and their order are what readers of traces rely
 * on. The collector itself emits ERROR, INFO, TRACE5, TRACE6 and TRACE7; the others are there for
 * traces that tools of the unit already know how to read. */
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER com_zelva_zelvasw_qdxbe

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "tracepoints.h"

#if !defined(QDXBE_TRACEPOINTS_H) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define QDXBE_TRACEPOINTS_H

#include <lttng/tracepoint.h>
#include <stddef.h>

/* clang-format off */

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_zelva_zelvasw_qdxbe, plain_message,
    LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, msg),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_string(file, file)
        lttng_ust_field_integer(unsigned int, line, line)
        lttng_ust_field_string(msg, msg)))

#define QDXBE_PLAIN_EVENT(name) \
    LTTNG_UST_TRACEPOINT_EVENT_INSTANCE(com_zelva_zelvasw_qdxbe, plain_message, com_zelva_zelvasw_qdxbe, name, \
        LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, msg))

QDXBE_PLAIN_EVENT(ERROR)
QDXBE_PLAIN_EVENT(INFO)

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_zelva_zelvasw_qdxbe, object_message,
    LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_string(file, file)
        lttng_ust_field_integer(unsigned int, line, line)
        lttng_ust_field_string(obj, obj)
        lttng_ust_field_string(msg, msg)))

#define QDXBE_OBJECT_EVENT(name) \
    LTTNG_UST_TRACEPOINT_EVENT_INSTANCE(com_zelva_zelvasw_qdxbe, object_message, com_zelva_zelvasw_qdxbe, name, \
        LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))

QDXBE_OBJECT_EVENT(STATE_CHANGE)
QDXBE_OBJECT_EVENT(TRACE1)
QDXBE_OBJECT_EVENT(TRACE2)
QDXBE_OBJECT_EVENT(TRACE3)
QDXBE_OBJECT_EVENT(TRACE4)
QDXBE_OBJECT_EVENT(TRACE5)
QDXBE_OBJECT_EVENT(TRACE6)
QDXBE_OBJECT_EVENT(TRACE7)

LTTNG_UST_TRACEPOINT_EVENT(com_zelva_zelvasw_qdxbe, REC_SIG,
    LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, const char*, msg),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_string(file, file)
        lttng_ust_field_integer(unsigned int, line, line)
        lttng_ust_field_string(obj, obj)
        lttng_ust_field_integer(unsigned int, sig_no, sig_no)
        lttng_ust_field_string(msg, msg)))

LTTNG_UST_TRACEPOINT_EVENT(com_zelva_zelvasw_qdxbe, SEND_SIG,
    LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, unsigned int, pid,
                      const char*, msg),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_string(file, file)
        lttng_ust_field_integer(unsigned int, line, line)
        lttng_ust_field_string(obj, obj)
        lttng_ust_field_integer(unsigned int, sig_no, sig_no)
        lttng_ust_field_integer(unsigned int, pid, pid)
        lttng_ust_field_string(msg, msg)))

LTTNG_UST_TRACEPOINT_EVENT(com_zelva_zelvasw_qdxbe, DATA,
    LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg, const char*, data,
                      size_t, datalen),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_string(file, file)
        lttng_ust_field_integer(unsigned int, line, line)
        lttng_ust_field_string(obj, obj)
        lttng_ust_field_string(msg, msg)
        lttng_ust_field_string(data, data)
        lttng_ust_field_integer(size_t, datalen, datalen)))

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_zelva_zelvasw_qdxbe, timed_data,
    LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process,
                      const char*, msg, const char*, data, size_t, datalen),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_string(file, file)
        lttng_ust_field_integer(unsigned int, line, line)
        lttng_ust_field_integer(unsigned int, sec, sec)
        lttng_ust_field_integer(unsigned int, usec, usec)
        lttng_ust_field_string(process, process)
        lttng_ust_field_string(msg, msg)
        lttng_ust_field_string(data, data)
        lttng_ust_field_integer(size_t, datalen, datalen)))

#define QDXBE_TIMED_EVENT(name) \
    LTTNG_UST_TRACEPOINT_EVENT_INSTANCE(com_zelva_zelvasw_qdxbe, timed_data, com_zelva_zelvasw_qdxbe, name, \
        LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, \
                          const char*, msg, const char*, data, size_t, datalen))

QDXBE_TIMED_EVENT(TRACE_UTS1)
QDXBE_TIMED_EVENT(TRACE_UTS2)
QDXBE_TIMED_EVENT(TRACE_UTS3)
QDXBE_TIMED_EVENT(TRACE_UTS4)
QDXBE_TIMED_EVENT(TRACE_UTS5)
QDXBE_TIMED_EVENT(TRACE_UTS6)
QDXBE_TIMED_EVENT(TRACE_UTS7)

/* clang-format on */

#endif

#include <lttng/tracepoint-event.h>
