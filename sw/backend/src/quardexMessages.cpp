// The frontend protocol: what the collector does with the messages of frontends.
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <span>
#include <sstream>
#include <stdexcept>

#include "batchReader.hpp"
#include "bigEndian.hpp"
#include "feedQueue.hpp"
#include "infoObjectListIf.hpp"
#include "quardex.hpp"
#include "tessel/util.hpp"
#include "trace.hpp"
#include "wireFormat.hpp"

namespace Qdx::Backend {

namespace {

using Bytes = std::span<const unsigned char>;

Bytes bytesOf(const ozo_msg* msg, const char* handler) {
    if (msg == nullptr) {
        throw std::runtime_error(std::string("Null pointer in ") + handler);
    }
    return {reinterpret_cast<const unsigned char*>(msg), ozo_size(msg)};
}

bool hasFixedFields(Bytes message, std::size_t fixedSize, const char* name) {
    if (message.size() >= fixedSize) {
        return true;
    }
    QDX_TRACE(Error, name << " of " << message.size() << " bytes is shorter than its " << fixedSize
                          << " bytes of fixed fields");
    return false;
}

// Sorted as the host reads the words of the wire, and turned only then: the protocol compares
// revisions of 256 and more by their reversed bytes.
std::vector<std::uint32_t> supportedRevisions(Bytes request) {
    const auto countUntrusted = V1::readBigEndian32(&request[V1::revisionCountOffset]);
    auto words = request.subspan(V1::beConnectionReqFixedSize);
    if (words.size() / sizeof(std::uint32_t) < countUntrusted) {
        QDX_TRACE(Error, "BeConnectionReq claims " << countUntrusted
                                                   << " revisions, which run past its end");
        return {};
    }
    std::vector<std::uint32_t> revisions(countUntrusted);
    for (auto& revision : revisions) {
        std::memcpy(&revision, words.data(), sizeof(revision));
        words = words.subspan(sizeof(revision));
    }
    std::sort(revisions.begin(), revisions.end());
    for (auto& revision : revisions) {
        revision = V1::readBigEndian32(reinterpret_cast<const unsigned char*>(&revision));
    }
    return revisions;
}

// The last of the revisions that both lists hold, as a merge of sorted lists finds them. offered
// need not be sorted.
std::optional<std::uint32_t> selectRevision(const std::vector<std::uint32_t>& offered) {
    const std::vector<std::uint32_t> supported = {V1::protocolRevision};
    std::optional<std::uint32_t> selected;
    auto ours = supported.begin();
    for (auto theirs = offered.begin(); theirs != offered.end() && ours != supported.end();) {
        if (*theirs < *ours) {
            ++theirs;
        } else if (*ours < *theirs) {
            ++ours;
        } else {
            selected = *theirs++;
            ++ours;
        }
    }
    return selected;
}

std::string firstWord(const char* text) {
    std::istringstream in(text);
    // A heap that runs out must not pass for the end of the word.
    in.exceptions(std::ios::badbit);
    std::string word;
    in >> word;
    return word;
}

std::string jsonOf(const Qdx::RadioMetaData& metaData) {
    std::string json;
    // What becomes of a message that can't be converted is left to the conversion.
    (void)google::protobuf::util::MessageToJsonString(metaData, &json);
    return json;
}

// The key of the item that is next.
struct Key {
    std::string_view text;
    std::uint32_t hash = 0;
};

// Asks for what a look-up of the key will read. An empty key, which has no route, if the text would
// run past the message.
Key peekKey(const BatchReader& batch, const SampleRoutes& routes) {
    Key key;
    if (batch.peekKey(key.text)) {
        key.hash = routes.hashOf(key.text);
        routes.fetch(key.hash);
    }
    return key;
}

// Whether the key text is what its words make with one blank between them.
bool isPlain(std::string_view text, const BatchItem& item) {
    const auto blankAndContext = item.context.empty() ? 0 : 1 + item.context.size();
    return text.size() == item.name.size() + blankAndContext &&
           (item.context.empty() || text[item.name.size()] == ' ');
}

void traceCutHead(const BatchReader& batch) {
    QDX_TRACE(Error, "BeProcessBatchesUreq ends inside the head of the item at offset "
                         << batch.offset() << ". Dropping the rest of the message.");
}

void traceCutPayload(const BatchReader& batch, const BatchItem& item) {
    QDX_TRACE(Error, "BeProcessBatchesUreq ends inside the payload of "
                         << item.size << " bytes at offset " << batch.offset()
                         << ". Dropping the rest of the message.");
}

}  // namespace

void Quardex::handleBeConnectionReq(ozo_msg* msg) {
    const auto request = bytesOf(msg, "handleBeConnectionReq");
    QDX_TRACE(Info, "Entering handleBeConnectionReq");
    if (!hasFixedFields(request, V1::beConnectionReqFixedSize, "BeConnectionReq")) {
        return;
    }
    if (const auto revision = selectRevision(supportedRevisions(request))) {
        QDX_TRACE(Trace6, "Selected protocol version:" << *revision);
        replyToConnectionReq(msg, V1::beConnectionCfm, *revision);
    } else {
        QDX_TRACE(Info, "No common supported protocol revision was found");
        replyToConnectionReq(msg, V1::beConnectionRej, V1::rejectReasonNoCommonRevision);
    }
    QDX_TRACE(Trace6, "Leaving handleBeConnectionReq");
}

void Quardex::replyToConnectionReq(const ozo_msg* request, std::uint32_t messageNumber,
                                   std::uint32_t value) {
    auto* reply = ozo_alloc(V1::beConnectionReplySize, messageNumber);
    if (reply == nullptr) {
        throw std::bad_alloc();
    }
    auto* bytes = reinterpret_cast<unsigned char*>(reply);
    std::memcpy(bytes + V1::procedureReferenceOffset,
                reinterpret_cast<const unsigned char*>(request) + V1::procedureReferenceOffset,
                sizeof(std::uint32_t));
    V1::writeBigEndian32(V1::connectionReference, bytes + V1::connectionReferenceOffset);
    V1::writeBigEndian32(value, bytes + V1::replyValueOffset);
    ozo_send(reply, ozo_sender(request), OZO_MY_MAILBOX);
}

void Quardex::handleBeProcessMetaDataUreq(ozo_msg* msg) {
    const auto message = bytesOf(msg, "handleBeProcessMetaDataUreq");
    QDX_TRACE(Trace6, "Entering handleBeProcessMetaDataUreq");
    if (!hasFixedFields(message, V1::headerSize, "BeProcessMetaDataUreq")) {
        return;
    }
    QDX_TRACE(Trace6, "Received OZO message, messageNumber: "
                          << V1::readBigEndian32(&message[0]) << ", procedureReference: "
                          << V1::readBigEndian32(&message[V1::procedureReferenceOffset])
                          << ", connectionReference: "
                          << V1::readBigEndian32(&message[V1::connectionReferenceOffset]));
    const auto text = message.subspan(V1::headerSize);
    if (std::find(text.begin(), text.end(), 0) == text.end()) {
        QDX_TRACE(Error, "BeProcessMetaDataUreq ends before its text does");
        return;
    }
    const auto decoded =
        Tessel::Util::Base64::decode(firstWord(reinterpret_cast<const char*>(text.data())));
    // Protobuf would write of texts that aren't UTF-8 to a standard error that isn't ours.
    const google::protobuf::LogSilencer silencer;
    Qdx::RadioMetaData received;
    if (!received.ParseFromString(std::string(decoded.begin(), decoded.end()))) {
        QDX_TRACE(Error, "Unsuccessful parsing of RadioMetaData GPB message.");
        return;
    }
    const auto json = jsonOf(received);
    QDX_TRACE(Trace6, "Received GPB message: " << json);
    // Merging appends unknown fields, and a frontend that repeats some would make pulls ever
    // longer.
    if (!received.unknown_fields().empty()) {
        metaData.mutable_unknown_fields()->Clear();
    }
    metaData.MergeFrom(received);
    QDX_TRACE(Trace6, "Leaving handleBeProcessMetaDataUreq");
}

void Quardex::handleBeProcessBatchesUreq(ozo_msg* msg) {
    const auto message = bytesOf(msg, "handleBeProcessBatchesUreq");
    if (!hasFixedFields(message, BatchReader::fixedSize, "BeProcessBatchesUreq")) {
        return;
    }
    const auto& catalogue = InfoObjectListIf::getInstance();
    BatchReader batch(message);
    const bool handled =
        handleValues(batch, batch.measurementEnd(), catalogue, InfoObjectType::Measurement,
                     "Incorrect measurement data size: ", &Filter::pushMeasurement) &&
        handleValues(batch, batch.counterEnd(), catalogue, InfoObjectType::Counter,
                     "Incorrect measurement data size:", &Filter::pushCounter);
    if (handled) {
        handleRecords(batch, catalogue);
    }
}

// Measurements or counters up to the end of their section; false when the rest of the message is to
// be dropped.
template <typename T>
bool Quardex::handleValues(BatchReader& batch, std::uint64_t sectionEnd,
                           const InfoObjectListIf& catalogue, InfoObjectType type,
                           const char* sizeError, Push<T> push) {
    BatchItem item;
    Bytes payload;
    FeedQueue<T> queue(currTime);
    auto key = peekKey(batch, routes);
    while (batch.isBefore(sectionEnd)) {
        const auto* route = routes.find(key.text, key.hash);
        const bool whole =
            route != nullptr ? batch.readHeadOf(key.text, item.size) : batch.readHead(item);
        if (!whole) {
            queue.drain();
            traceCutHead(batch);
            return false;
        }
        if (item.size != sizeof(std::int64_t)) {
            queue.drain();
            QDX_TRACE(Error, sizeError << item.size);
            return false;
        }
        if (!batch.readPayload(item.size, payload)) {
            queue.drain();
            traceCutPayload(batch, item);
            return false;
        }
        const T value{static_cast<std::int64_t>(V1::readBigEndian64(payload.data()))};
        const auto text = key.text;
        key = peekKey(batch, routes);
        if (route == nullptr) {
            queue.drain();
            handleUnknownKey(text, item, value, catalogue, type, push);
        } else if (route->type == type) {
            queue.push(routes.feedsOf(*route), value);
        }
    }
    queue.drain();
    return true;
}

template <typename T>
void Quardex::feed(std::span<SampleRoutes::Feed> feeds, const T& value) {
    for (auto& [aggregator, params, circle] : feeds) {
        aggregator->feedCircle(params, currTime, value, circle);
    }
}

// A key text without a route. Its words may have one all the same, when they stand otherwise than
// with one blank between them.
template <typename T>
void Quardex::handleUnknownKey(std::string_view text, const BatchItem& item, const T& value,
                               const InfoObjectListIf& catalogue, InfoObjectType type,
                               Push<T> push) {
    const auto* object = catalogue.getInfoObject(item.name);
    if (object == nullptr || object->getType() != type) {
        return;
    }
    // Names of one identity meet in the same aggregators, which then can't be fed by routes.
    if (catalogue.getInfoObject(object->getId()) != object) {
        routes.giveUp();
    }
    const bool plain = isPlain(text, item);
    if (!plain) {
        const auto key = item.context.empty() ? item.name : item.name + ' ' + item.context;
        if (const auto* route = routes.find(key, routes.hashOf(key))) {
            feed(routes.feedsOf(*route), value);
            return;
        }
    }
    offer(*object, item.context, value, push);
    if (plain && routes.hasRoom()) {
        learnRoute(text, *object, item.context);
    }
}

// Remembers what the filters decided, once all of them have.
void Quardex::learnRoute(std::string_view key, const InfoObject& object,
                         const std::string& context) {
    try {
        std::vector<SampleRoutes::Feed> feeds;
        for (const auto& [id, filter] : filters) {
            const bool decided = !filter->isEnabled() || !filter->isUsed() ||
                                 filter->visitDecided(object, context, [&](const auto& entry) {
                                     feeds.push_back({entry.first.get(), entry.second, {}});
                                 });
            if (!decided) {
                return;
            }
        }
        routes.add(key, object.getType(), feeds);
    } catch (const std::bad_alloc&) {
        return;  // the next sample goes the long way again
    }
}

void Quardex::handleRecords(BatchReader& batch, const InfoObjectListIf& catalogue) {
    BatchItem item;
    Bytes payload;
    while (batch.isBefore(batch.recordEnd())) {
        if (!batch.readHead(item)) {
            traceCutHead(batch);
            return;
        }
        if (!batch.readPayload(item.size, payload)) {
            traceCutPayload(batch, item);
            return;
        }
        const auto* object = catalogue.getInfoObject(item.name);
        if (object != nullptr && object->getType() == InfoObjectType::Record) {
            handleRecord(*object, item.context, {payload.begin(), payload.end()});
        }
    }
}

}  // namespace Qdx::Backend
