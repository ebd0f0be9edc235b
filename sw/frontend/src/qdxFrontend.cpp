#include "qdx/qdxFrontend.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <exception>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "qdx/frontend.hpp"

using namespace Qdx::Frontend;

struct qdx_measurement {
    Measurement handle;
};
struct qdx_counter {
    Counter handle;
};
struct qdx_record {
    Record handle;
};

struct qdx_connection {
    Connection connection;
    std::deque<qdx_measurement> measurements;
    std::deque<qdx_counter> counters;
    std::deque<qdx_record> records;
};

namespace {

thread_local std::array<char, 256> lastError{};

qdx_result fail(qdx_result result, const char* reason) {
    std::strncpy(lastError.data(), reason, lastError.size() - 1);
    return result;
}

qdx_result resultOf(const std::system_error& error) {
    if (error.code() == std::errc::address_in_use) {
        return QDX_NAME_IN_USE;
    }
    return error.code() == std::errc::not_enough_memory ? QDX_NO_MEMORY : QDX_NO_MAILBOX;
}

// Runs what may throw; no exception may pass into C.
template <typename Function>
qdx_result guarded(const Function& function) noexcept {
    try {
        function();
        return QDX_OK;
    } catch (const std::system_error& error) {
        return fail(resultOf(error), error.what());
    } catch (const std::length_error& error) {
        return fail(QDX_TOO_LARGE, error.what());
    } catch (const std::invalid_argument& error) {
        return fail(QDX_INVALID_ARGUMENT, error.what());
    } catch (const std::exception&) {
        return fail(QDX_NO_MEMORY, "out of memory");
    }
}

std::string_view textOrNone(const char* text) {
    return text != nullptr ? text : "";
}

MetaData toMetaData(const qdx_meta_data* metaData) {
    if (metaData == nullptr) {
        return {};
    }
    const auto field = [](const char* text) {
        return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
    };
    return {.swProductNumber = field(metaData->sw_product_number),
            .swProductRevision = field(metaData->sw_product_revision),
            .hwProductNumber = field(metaData->hw_product_number),
            .hwProductRevision = field(metaData->hw_product_revision),
            .hwSerialNumber = field(metaData->hw_serial_number),
            .hwName = field(metaData->hw_name)};
}

Options toOptions(const qdx_options* chosen) {
    Options options;
    if (chosen == nullptr) {
        return options;
    }
    if (chosen->queued_batches != 0) {
        options.queuedBatches = chosen->queued_batches;
    }
    if (chosen->batch_age_ms != 0) {
        options.batchAge = std::chrono::milliseconds(chosen->batch_age_ms);
    }
    if (chosen->retry_period_ms != 0) {
        options.retryPeriod = std::chrono::milliseconds(chosen->retry_period_ms);
    }
    if (chosen->on_state_change != nullptr) {
        options.onStateChange = [call = chosen->on_state_change, user = chosen->user_data](
                                    State state) { call(static_cast<qdx_state>(state), user); };
    }
    return options;
}

static_assert(static_cast<int>(State::Seeking) == QDX_SEEKING);
static_assert(static_cast<int>(State::Asking) == QDX_ASKING);
static_assert(static_cast<int>(State::Connected) == QDX_CONNECTED);
static_assert(static_cast<int>(State::Refused) == QDX_REFUSED);

template <typename Handle>
qdx_result define(qdx_connection* connection, std::deque<Handle> qdx_connection::*handles,
                  const char* name, const char* context, Handle** handle) {
    if (handle == nullptr) {
        return fail(QDX_INVALID_ARGUMENT, "there is no place for the handle");
    }
    *handle = nullptr;
    if (connection == nullptr) {
        return fail(QDX_INVALID_ARGUMENT, "there is no connection");
    }
    return guarded([&] {
        *handle = &(connection->*handles)
                       .emplace_back(
                           Handle{{connection->connection, textOrNone(name), textOrNone(context)}});
    });
}

qdx_drops toDrops(const Drops& drops) {
    return {.batches = drops.batches, .samples = drops.samples};
}

}  // namespace

const char* qdx_last_error() {
    return lastError.data();
}

qdx_result qdx_connect(const char* mailbox_name, const qdx_meta_data* meta_data,
                       const qdx_options* options, qdx_connection** connection) {
    if (connection == nullptr) {
        return fail(QDX_INVALID_ARGUMENT, "there is no place for the connection");
    }
    *connection = nullptr;
    if (mailbox_name == nullptr) {
        return fail(QDX_INVALID_ARGUMENT, "a frontend needs a mailbox name");
    }
    return guarded([&] {
        *connection = new qdx_connection{
            .connection = Connection(mailbox_name, toMetaData(meta_data), toOptions(options)),
            .measurements = {},
            .counters = {},
            .records = {}};
    });
}

void qdx_disconnect(qdx_connection* connection) {
    delete connection;
}

qdx_result qdx_define_measurement(qdx_connection* connection, const char* name, const char* context,
                                  qdx_measurement** measurement) {
    return define(connection, &qdx_connection::measurements, name, context, measurement);
}

qdx_result qdx_define_counter(qdx_connection* connection, const char* name, const char* context,
                              qdx_counter** counter) {
    return define(connection, &qdx_connection::counters, name, context, counter);
}

qdx_result qdx_define_record(qdx_connection* connection, const char* name, const char* context,
                             qdx_record** record) {
    return define(connection, &qdx_connection::records, name, context, record);
}

void qdx_add_measurement(const qdx_measurement* measurement, int64_t value) {
    if (measurement != nullptr) {
        measurement->handle.add(value);
    }
}

void qdx_add_counter(const qdx_counter* counter, int64_t increment) {
    if (counter != nullptr) {
        counter->handle.add(increment);
    }
}

qdx_result qdx_add_record(const qdx_record* record, const void* payload, size_t size) {
    if (record == nullptr || (payload == nullptr && size != 0)) {
        return fail(QDX_INVALID_ARGUMENT, "there is no record or no payload");
    }
    return record->handle.add({static_cast<const unsigned char*>(payload), size})
               ? QDX_OK
               : fail(QDX_TOO_LARGE, "the record is larger than a whole message");
}

int qdx_descriptor(const qdx_connection* connection) {
    return connection->connection.descriptor();
}

int qdx_timeout_ms(const qdx_connection* connection) {
    const auto deadline = connection->connection.nextDeadline();
    if (!deadline) {
        return -1;
    }
    const auto now = Clock::now();
    if (*deadline <= now) {
        return 0;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - now).count();
    return static_cast<int>(
        std::min<std::chrono::milliseconds::rep>(left, std::numeric_limits<int>::max()));
}

void qdx_poll(qdx_connection* connection) {
    connection->connection.poll();
}

qdx_result qdx_flush(qdx_connection* connection) {
    return connection->connection.flush() ? QDX_OK : QDX_WAITING;
}

void qdx_serve_for(qdx_connection* connection, uint32_t milliseconds) {
    connection->connection.serveUntil(Clock::now() + std::chrono::milliseconds(milliseconds));
}

qdx_result qdx_drain(qdx_connection* connection, uint32_t milliseconds) {
    return connection->connection.drain(std::chrono::milliseconds(milliseconds)) ? QDX_OK
                                                                                 : QDX_WAITING;
}

qdx_state qdx_get_state(const qdx_connection* connection) {
    return static_cast<qdx_state>(connection->connection.state());
}

qdx_statistics qdx_get_statistics(const qdx_connection* connection) {
    const Statistics counts = connection->connection.statistics();
    return {.sent_batches = counts.sentBatches,
            .connections = counts.connections,
            .not_connected = toDrops(counts.notConnected),
            .refused_revision = toDrops(counts.refusedRevision),
            .slow_collector = toDrops(counts.slowCollector),
            .no_memory = toDrops(counts.noMemory),
            .too_large = toDrops(counts.tooLarge)};
}
