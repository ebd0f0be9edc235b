/* A frontend's way to the collector of its unit, for software in C.
 *
 *     qdx_connection *connection;
 *     qdx_counter *packets;
 *     if (qdx_connect("MyFrontend", NULL, NULL, &connection) != QDX_OK ||
 *         qdx_define_counter(connection, "radio:packets", "rfBranch=1", &packets) != QDX_OK) {
 *         fprintf(stderr, "%s\n", qdx_last_error());
 *         return 1;
 *     }
 *     while (running) {
 *         qdx_add_counter(packets, countPackets());
 *         qdx_serve_for(connection, 100);
 *     }
 *     qdx_disconnect(connection);
 *
 * The collector may be there, come later, restart or be slow: adding a sample never fails for it,
 * never waits and allocates nothing. Samples gather in batches; batches wait for the collector up
 * to a bound, beyond which the oldest is dropped and counted. A dropped increment of a counter goes
 * into that counter's next sample. qdx/frontend/connection.hpp says all this at length.
 *
 * Texts are NUL-terminated and copied. Threads: each connection with its handles belongs to the
 * thread that made it, of which that can have one. */
#ifndef QDX_FRONTEND_H
#define QDX_FRONTEND_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct qdx_connection qdx_connection;
typedef struct qdx_measurement qdx_measurement;
typedef struct qdx_counter qdx_counter;
typedef struct qdx_record qdx_record;

typedef enum qdx_result {
    QDX_OK = 0,
    QDX_INVALID_ARGUMENT =
        1,             /* a null pointer, a name or a context that the collector can't read */
    QDX_TOO_LARGE = 2, /* no message could hold it */
    QDX_NO_MEMORY = 3,
    QDX_NAME_IN_USE = 4, /* another frontend of the unit has the mailbox name */
    QDX_NO_MAILBOX = 5,  /* the mailbox can't be created: qdx_last_error() tells why */
    QDX_WAITING = 6      /* not all has left yet */
} qdx_result;

typedef enum qdx_state {
    QDX_SEEKING = 0,   /* no collector is there */
    QDX_ASKING = 1,    /* one is, and has yet to answer */
    QDX_CONNECTED = 2, /* batches leave */
    QDX_REFUSED = 3    /* it doesn't speak this revision of the protocol */
} qdx_state;

/* What a frontend can tell the collector about the unit; the collector gives no results before it
 * has all six, from one frontend or several. Null: not told. */
typedef struct qdx_meta_data {
    const char* sw_product_number;
    const char* sw_product_revision;
    const char* hw_product_number;
    const char* hw_product_revision;
    const char* hw_serial_number;
    const char* hw_name;
} qdx_meta_data;

/* What is 0 or null has its default. */
typedef struct qdx_options {
    size_t queued_batches;    /* that may wait for the collector; 16 */
    uint32_t batch_age_ms;    /* after which a batch that is not full is sent; 100 */
    uint32_t retry_period_ms; /* how often a collector is looked for or asked again; 500 */
    /* Called by qdx_poll() and what waits, at each change of the state. */
    void (*on_state_change)(qdx_state state, void* user_data);
    void* user_data;
} qdx_options;

/* Batches that were dropped, and the samples in them. */
typedef struct qdx_drops {
    uint64_t batches;
    uint64_t samples;
} qdx_drops;

/* Counts since qdx_connect(). The drops are named after what kept the queue from leaving. */
typedef struct qdx_statistics {
    uint64_t sent_batches;
    uint64_t connections; /* times that a collector confirmed; over 1 after it restarted */
    qdx_drops not_connected;
    qdx_drops refused_revision;
    qdx_drops slow_collector;
    qdx_drops no_memory;
    qdx_drops too_large; /* samples: records larger than a message */
} qdx_statistics;

/* One line on why the last call of this thread that gave neither QDX_OK nor QDX_WAITING failed;
 * never null. Valid until the next such call of the thread. */
const char* qdx_last_error(void);

/* Creates the thread's mailbox under that name, and the connection in *connection, which is null
 * after a failure. meta_data and options may be null. */
qdx_result qdx_connect(const char* mailbox_name, const qdx_meta_data* meta_data,
                       const qdx_options* options, qdx_connection** connection);

/* Sends what leaves without waiting, and frees the connection with its handles. Null is allowed. */
void qdx_disconnect(qdx_connection* connection);

/* A handle for samples of that name and context (null or empty: none), the connection's property
 * and valid as long as that; null in case of failure. Define each once and keep it. */
qdx_result qdx_define_measurement(qdx_connection* connection, const char* name, const char* context,
                                  qdx_measurement** measurement);
qdx_result qdx_define_counter(qdx_connection* connection, const char* name, const char* context,
                              qdx_counter** counter);
qdx_result qdx_define_record(qdx_connection* connection, const char* name, const char* context,
                             qdx_record** record);

/* A null handle, of which the definition failed, is left out. */
void qdx_add_measurement(const qdx_measurement* measurement, int64_t value);
void qdx_add_counter(const qdx_counter* counter, int64_t increment);
/* QDX_TOO_LARGE if the payload fits into no message; it is then dropped and counted. payload may be
 * null if size is 0. */
qdx_result qdx_add_record(const qdx_record* record, const void* payload, size_t size);

/* For event loops: call qdx_poll() when the descriptor is readable, and when qdx_timeout_ms() is
 * over, which is meant for poll(2): -1 is never. */
int qdx_descriptor(const qdx_connection* connection);
int qdx_timeout_ms(const qdx_connection* connection);
void qdx_poll(qdx_connection* connection);

/* Sends all that was added as far as it leaves without waiting. QDX_OK if it all did, else
 * QDX_WAITING. */
qdx_result qdx_flush(qdx_connection* connection);

/* For frontends without an event loop: serves the connection so long, instead of a sleep. Comes
 * back early if a signal was handled. */
void qdx_serve_for(qdx_connection* connection, uint32_t milliseconds);
/* Sends all that was added, and waits for the collector to take it, but no longer than that. QDX_OK
 * if it all left, else QDX_WAITING. */
qdx_result qdx_drain(qdx_connection* connection, uint32_t milliseconds);

qdx_state qdx_get_state(const qdx_connection* connection);
qdx_statistics qdx_get_statistics(const qdx_connection* connection);

#ifdef __cplusplus
}
#endif

#endif
