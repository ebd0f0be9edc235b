#include "fakeCollector.hpp"

#include <gtest/gtest.h>

#include <cstring>

#include "bigEndian.hpp"
#include "frontendMessages.hpp"
#include "tessel/util.hpp"
#include "wireFormat.hpp"

namespace HostFe {
namespace {

constexpr int patienceMs = 20'000;

// Takes the items of that many bytes at the cursor and moves it behind them.
std::vector<Item> readItems(const unsigned char*& cursor, std::uint32_t size) {
    std::vector<Item> items;
    const unsigned char* const end = cursor + size;
    while (cursor < end) {
        const std::string key(reinterpret_cast<const char*>(cursor));
        cursor += key.size() + 1;
        EXPECT_EQ(Qdx::V1::readBigEndian32(cursor), 8u);
        const std::size_t blank = key.find(' ');
        items.push_back({key.substr(0, blank),
                         blank == std::string::npos ? "" : key.substr(blank + 1),
                         static_cast<std::int64_t>(Qdx::V1::readBigEndian64(cursor + 4))});
        cursor += 4 + 8;
    }
    EXPECT_EQ(cursor, end);
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
    batch.measurements = readItems(cursor, wordOf(message.get(), 16));
    batch.counters = readItems(cursor, wordOf(message.get(), 20));
    EXPECT_EQ(wordOf(message.get(), 24), 0u);
    EXPECT_EQ(cursor, bytes.data() + bytes.size());
    return batch;
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
