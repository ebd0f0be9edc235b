/* The same as radio.cpp, in C. */
#define _POSIX_C_SOURCE 200809L

#include <inttypes.h>
#include <poll.h>
#include <qdx/qdxFrontend.h>
#include <signal.h>
#include <stdio.h>

static volatile sig_atomic_t stopped = 0;

static void stop(int signal_number) {
    (void)signal_number;
    stopped = 1;
}

/* Waits until the connection has something to do, or for so long. */
static void wait_for(const qdx_connection* connection, int milliseconds) {
    struct pollfd event = {.fd = qdx_descriptor(connection), .events = POLLIN};
    const int timeout = qdx_timeout_ms(connection);
    poll(&event, 1, timeout < 0 || timeout > milliseconds ? milliseconds : timeout);
}

static int run(qdx_connection* connection) {
    qdx_measurement* temperature;
    qdx_counter* packets;
    qdx_record* event;
    int64_t milli_degrees = 40000;

    if (qdx_define_measurement(connection, "radio:temperature", "rfBranch=1", &temperature) ||
        qdx_define_counter(connection, "radio:packets", "rfBranch=1", &packets) ||
        qdx_define_record(connection, "radio:event", "carrierId=7", &event))
        return 0;

    qdx_add_record(event, "started", sizeof "started" - 1);
    while (!stopped) {
        qdx_add_measurement(temperature, milli_degrees += 10);
        qdx_add_counter(packets, 7);
        wait_for(connection, 100);
        qdx_poll(connection);
    }
    qdx_drain(connection, 1000);
    return 1;
}

int main(void) {
    const qdx_meta_data meta_data = {"CXP1", "R1A", "KRC1", "R2B", "S123", "radio"};
    qdx_connection* connection;

    signal(SIGTERM, stop);
    signal(SIGINT, stop);
    if (qdx_connect("RadioInC", &meta_data, NULL, &connection) != QDX_OK || !run(connection)) {
        fprintf(stderr, "radioInC: %s\n", qdx_last_error());
        qdx_disconnect(connection);
        return 1;
    }
    const qdx_statistics counts = qdx_get_statistics(connection);
    printf("sent %" PRIu64 " batches; dropped %" PRIu64 " without a collector, %" PRIu64
           " to a slow one\n",
           counts.sent_batches, counts.not_connected.batches, counts.slow_collector.batches);
    qdx_disconnect(connection);
    return 0;
}
