#include "fakeCollector.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "bigEndian.hpp"
#include "frontendMessages.hpp"
#include "tessel/util.hpp"
#include "wireFormat.hpp"

namespace HostFe {
namespace {

constexpr int patienceMs = 20'000;

// Takes the items of that many bytes at the cursor and moves it behind them.
std::vector<RecordItem> readItems(const unsigned char*& cursor, std::uint32_t size) {
    std::vector<RecordItem> items;
    const unsigned char* const end = cursor + size;
    while (cursor < end) {
        const std::string key(reinterpret_cast<const char*>(cursor));
        cursor += key.size() + 1;
        const std::uint32_t payloadSize = Qdx::V1::readBigEndian32(cursor);
        cursor += 4;
        const std::size_t blank = key.find(' ');
        items.push_back({key.substr(0, blank),
                         blank == std::string::npos ? "" : key.substr(blank + 1),
                         std::string(reinterpret_cast<const char*>(cursor), payloadSize)});
        cursor += payloadSize;
    }
    EXPECT_EQ(cursor, end);
    return items;
}

// The same of items whose payload is a number.
std::vector<Item> readNumbers(const unsigned char*& cursor, std::uint32_t size) {
    std::vector<Item> items;
    for (const RecordItem& item : readItems(cursor, size)) {
        EXPECT_EQ(item.bytes.size(), 8u);
        const auto* const number = reinterpret_cast<const unsigned char*>(item.bytes.data());
        items.push_back(
            {item.name, item.context, static_cast<std::int64_t>(Qdx::V1::readBigEndian64(number))});
    }
    return items;
}

}  // namespace

FakeCollector::FakeCollector(const char* name) : mailbox(ozo_create_mailbox(name, 0)) {
    EXPECT_NE(mailbox, OZO_NO_MAILBOX);
}

FakeCollector::~FakeCollector() {
    ozo_delete_mailbox(mailbox);
}

FakeCollector::Message FakeCollector::expect(std::uint32_t number) {
    Message message(ozo_receive(patienceMs), &ozo_free);
    if (!message) {
        ADD_FAILURE() << "no message came";
    } else if (message->msgno != number) {
        ADD_FAILURE() << "another message came: " << message->msgno;
        message.reset();
    }
    return message;
}

Qdx::RadioMetaData FakeCollector::expectMetaData() {
    Qdx::RadioMetaData metaData;
    if (const Message message = expect(Qdx::V1::beProcessMetaDataUreq)) {
        const auto bytes = Qdx::V1::bytesOf(message.get());
        EXPECT_EQ(bytes.back(), '\0');
        const std::string text(reinterpret_cast<const char*>(&bytes[Qdx::V1::headerSize]));
        const auto decoded = Tessel::Util::Base64::decode(text);
        EXPECT_TRUE(metaData.ParseFromArray(decoded.data(), static_cast<int>(decoded.size())));
    }
    return metaData;
}

Batch FakeCollector::expectBatch() {
    const Message message = expect(Qdx::V1::beProcessBatchesUreq);
    if (!message) {
        return {};
    }
    Batch batch;
    const auto bytes = Qdx::V1::bytesOf(message.get());
    const unsigned char* cursor = &bytes[Qdx::V1::beProcessBatchesFixedSize];
    batch.measurements = readNumbers(cursor, wordOf(message.get(), 16));
    batch.counters = readNumbers(cursor, wordOf(message.get(), 20));
    batch.records = readItems(cursor, wordOf(message.get(), 24));
    EXPECT_EQ(cursor, bytes.data() + bytes.size());
    records.insert(records.end(), batch.records.begin(), batch.records.end());
    return batch;
}

RecordItem FakeCollector::expectRecord(const std::string& name) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(patienceMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (auto record = takeRecord(name)) {
            return std::move(*record);
        }
        expectBatch();
    }
    ADD_FAILURE() << "no record of " << name << " came";
    return {};
}

std::optional<RecordItem> FakeCollector::takeRecord(const std::string& name) {
    const auto found = std::find_if(records.begin(), records.end(),
                                    [&](const RecordItem& record) { return record.name == name; });
    if (found == records.end()) {
        return std::nullopt;
    }
    RecordItem record = std::move(*found);
    records.erase(found);
    return record;
}

std::uint32_t FakeCollector::procedureOf(const ozo_msg* message) {
    return wordOf(message, 4);
}

std::uint32_t FakeCollector::wordOf(const ozo_msg* message, std::size_t offset) {
    return Qdx::V1::readBigEndian32(&Qdx::V1::bytesOf(message)[offset]);
}

void FakeCollector::confirm(const ozo_msg* request) {
    reply(ozo_sender(request), Qdx::V1::beConnectionCfm, procedureOf(request));
}

void FakeCollector::reject(const ozo_msg* request) {
    reply(ozo_sender(request), Qdx::V1::beConnectionRej, procedureOf(request));
}

void FakeCollector::reply(std::uint32_t receiver, std::uint32_t number, std::uint32_t procedure) {
    Qdx::V1::MessageBytes bytes;
    Qdx::V1::appendHeader(bytes, number,
                          {.procedure = procedure, .connection = Qdx::V1::connectionReference});
    Qdx::V1::appendUint32(bytes, 1);
    ozo_send(Qdx::V1::toOzoMessage(bytes), receiver, OZO_MY_MAILBOX);
}

void FakeCollector::connect() {
    if (const Message request = expect(Qdx::V1::beConnectionReq)) {
        confirm(request.get());
    }
    expectMetaData();
}

}  // namespace HostFe
