#include "fakeCollector.hpp"

#include <gtest/gtest.h>

#include "batchItems.hpp"
#include "frontendMessages.hpp"
#include "tessel/util.hpp"

namespace Qdx::Frontend {
namespace {

std::vector<Item> readValues(std::span<const unsigned char> section) {
    std::vector<Item> items;
    forEachItem(section, [&items](std::string_view key, std::span<const unsigned char> payload) {
        EXPECT_EQ(payload.size(), 8u);
        items.push_back({.key = key.data(),
                         .value = static_cast<std::int64_t>(V1::readBigEndian64(payload.data())),
                         .bytes = {}});
    });
    return items;
}

std::vector<Item> readRecords(std::span<const unsigned char> section) {
    std::vector<Item> items;
    forEachItem(section, [&items](std::string_view key, std::span<const unsigned char> payload) {
        items.push_back({.key = key.data(), .bytes = {payload.begin(), payload.end()}});
    });
    return items;
}

Batch readBatch(const ozo_msg* message) {
    const auto bytes = V1::bytesOf(message);
    const Sections sections = sectionsOf(bytes);
    EXPECT_EQ(sections.records.size(), V1::readBigEndian32(&bytes[V1::recordBytesOffset]));
    return {.measurements = readValues(sections.measurements),
            .counters = readValues(sections.counters),
            .records = readRecords(sections.records),
            .size = bytes.size()};
}

}  // namespace

void FakeCollector::confirm() {
    answer(V1::beConnectionCfm);
}

void FakeCollector::reject() {
    answer(V1::beConnectionRej);
}

void FakeCollector::answer(std::uint32_t number) {
    thread.run([this, number] {
        if (const OzoTest::Message request = next(V1::beConnectionReq)) {
            reply(request, number);
        }
    });
}

void FakeCollector::reply(const OzoTest::Message& request, std::uint32_t number) {
    const auto bytes = V1::bytesOf(request.get());
    V1::MessageBytes message;
    V1::appendHeader(message, number,
                     {.procedure = V1::readBigEndian32(&bytes[V1::procedureReferenceOffset]),
                      .connection = V1::connectionReference});
    V1::appendUint32(message, 1);
    ozo_send(V1::toOzoMessage(message), ozo_sender(request.get()), OZO_MY_MAILBOX);
}

std::vector<Batch> FakeCollector::serve(std::size_t batches) {
    return thread.run([batches] {
        std::vector<Batch> all;
        while (all.size() < batches) {
            const OzoTest::Message message = OzoTest::receive();
            if (message == nullptr) {
                ADD_FAILURE() << "no message came";
                break;
            }
            if (message->msgno == V1::beConnectionReq) {
                reply(message, V1::beConnectionCfm);
            } else if (message->msgno == V1::beProcessBatchesUreq) {
                all.push_back(readBatch(message.get()));
            }
        }
        return all;
    });
}

void FakeCollector::answerLast(bool confirmed) {
    thread.run([confirmed] {
        OzoTest::Message last = OzoTest::receiveNow();
        while (OzoTest::Message later = OzoTest::receiveNow()) {
            last = std::move(later);
        }
        ASSERT_NE(last, nullptr);
        EXPECT_EQ(last->msgno, V1::beConnectionReq);
        reply(last, confirmed ? V1::beConnectionCfm : V1::beConnectionRej);
    });
}

std::size_t FakeCollector::ignoreRequests() {
    return thread.run([] {
        std::size_t requests = 0;
        for (const std::uint32_t number : OzoTest::numbersOfAllWaiting()) {
            EXPECT_EQ(number, V1::beConnectionReq);
            ++requests;
        }
        return requests;
    });
}

RadioMetaData FakeCollector::metaData() {
    return thread.run([this] {
        RadioMetaData metaData;
        if (const OzoTest::Message message = next(V1::beProcessMetaDataUreq)) {
            const auto bytes = V1::bytesOf(message.get());
            EXPECT_EQ(bytes.back(), '\0');
            const std::string text(reinterpret_cast<const char*>(&bytes[V1::headerSize]));
            const auto decoded = Tessel::Util::Base64::decode(text);
            EXPECT_TRUE(metaData.ParseFromArray(decoded.data(), static_cast<int>(decoded.size())));
        }
        return metaData;
    });
}

Batch FakeCollector::batch() {
    return thread.run([this] {
        const OzoTest::Message message = next(V1::beProcessBatchesUreq);
        return message == nullptr ? Batch{} : readBatch(message.get());
    });
}

std::vector<Batch> FakeCollector::batches() {
    return thread.run([] {
        std::vector<Batch> all;
        while (const OzoTest::Message message = OzoTest::receiveNow()) {
            EXPECT_EQ(message->msgno, V1::beProcessBatchesUreq);
            all.push_back(readBatch(message.get()));
        }
        return all;
    });
}

bool FakeCollector::nothingWaits() {
    return thread.run([] { return OzoTest::receiveNow() == nullptr; });
}

OzoTest::Message FakeCollector::next(std::uint32_t number) {
    OzoTest::Message message = OzoTest::receiveNow();
    if (message == nullptr) {
        ADD_FAILURE() << "no message waits";
    } else if (message->msgno != number) {
        ADD_FAILURE() << "another message waits: " << message->msgno;
        message.reset();
    }
    return message;
}

}  // namespace Qdx::Frontend
