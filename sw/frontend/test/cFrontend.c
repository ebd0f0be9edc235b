#include "cFrontend.h"

#include "qdx/qdxFrontend.h"

static int addSamples(qdx_connection* connection) {
    qdx_measurement* measurement = NULL;
    qdx_counter* counter = NULL;
    qdx_record* record = NULL;
    if (qdx_define_measurement(connection, "m", "rfBranch=1", &measurement) != QDX_OK)
        return 2;
    if (qdx_define_counter(connection, "c", NULL, &counter) != QDX_OK)
        return 3;
    if (qdx_define_record(connection, "r", "", &record) != QDX_OK)
        return 4;
    qdx_add_measurement(measurement, INT64_MIN);
    qdx_add_measurement(measurement, 1);
    qdx_add_counter(counter, 2);
    qdx_add_counter(counter, 3);
    if (qdx_add_record(record, "a\0b", 3) != QDX_OK || qdx_add_record(record, NULL, 0) != QDX_OK)
        return 5;
    return 0;
}

int runCFrontend(void) {
    const qdx_meta_data meta_data = {.hw_name = "radio"};
    const qdx_options options = {.queued_batches = 2, .retry_period_ms = 10};
    qdx_connection* connection = NULL;
    int failed = 0;
    if (qdx_connect("CFrontend", &meta_data, &options, &connection) != QDX_OK)
        return 1;
    failed = addSamples(connection);
    if (failed == 0 && qdx_drain(connection, 20000) != QDX_OK)
        failed = 6;
    if (failed == 0 && qdx_get_statistics(connection).sent_batches != 1)
        failed = 7;
    qdx_disconnect(connection);
    return failed;
}
