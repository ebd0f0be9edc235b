// Control messages of any bytes, several to a server: each is answered as its own bytes say,
// whatever came before.
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "controlFrame.hpp"
#include "emptyRegistry.hpp"
#include "exceptionGuard.hpp"
#include "pieces.hpp"
#include "qdxFilterCtrlIServer.hpp"
#include "tessel/activeObject.hpp"
#include "tessel/ozoMessageSubscription.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace {

using namespace Qdx;
using namespace qdxfilterctrli;
using Backend::ErrorType;
using Backend::FilterId;
using Backend::QdxFilterCtrlIServer;
using Backend::Trace::Level;
using Control::References;
using Fuzz::require;
using Bytes = std::span<const std::uint8_t>;

// What a piece's kind asks for: one of four requests, its bytes all of the message behind the
// number or only the body behind references that are likely to be registered, and the end of the
// peer's mailbox before.
constexpr std::uint8_t requestMask = 0x03;
constexpr std::uint8_t bodyOnly = 0x04;
constexpr std::uint8_t goesBefore = 0x08;
constexpr int connRefShift = 4;

constexpr std::size_t maxSize = 1024;
constexpr std::size_t chunkSize = maxSize - 16 - 6;

// Filters with a digit for a name, which tells the size of their contents: every second is a
// multiple of a chunk. "9" refuses, each time for another reason, and "8" throws.
class Registry : public Test::EmptyRegistry {
public:
    std::optional<FilterId> findFilter(const std::string& text) const override {
        if (text.size() != 1 || text[0] < '0' || text[0] > '9') {
            return std::nullopt;
        }
        return FilterId{text[0] - '0'};
    }

    ErrorType pullFilterData(FilterId id, Backend::Clear, std::string& output) override {
        const auto digit = static_cast<std::size_t>(id);
        if (digit == 9) {
            return ErrorType{1 + refusals++ % 7};
        }
        if (digit == 8) {
            throw std::runtime_error("the filter throws");
        }
        output += contentsOf(digit);
        return ErrorType::NoError;
    }

    static std::string contentsOf(std::size_t digit) {
        std::string contents(digit * chunkSize / 2, 0);
        for (std::size_t i = 0; i < contents.size(); ++i) {
            contents[i] = static_cast<char>(i * 31 + digit);
        }
        return contents;
    }

private:
    int refusals = 0;
};

struct Reply {
    std::uint32_t number;
    std::vector<unsigned char> frame;
};

// A thread with a mailbox that is server and client in one: what it sends to itself comes back with
// a sender, and its end is never told by the monitor.
class Loopback {
public:
    Loopback() {
        setenv("OZO_MAX_SIZE", std::to_string(maxSize).c_str(), 1);
        run([this] {
            mailbox = ozo_create_mailbox("QuardexBeI", 0);
            require(mailbox != OZO_NO_MAILBOX);
            // With a watched mailbox, monitors are asked on this thread and not on another one.
            using Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf;
            require(OzoMessageSubscriptionIf::getInstance().addMailbox(ozo_get_fd()) == 0);
        });
    }
    ~Loopback() {
        run([this] { ozo_delete_mailbox(mailbox); });
    }
    Loopback(const Loopback&) = delete;
    Loopback& operator=(const Loopback&) = delete;

    void run(const std::function<void()>& function) {
        std::promise<void> done;
        thread->runOnActiveObject([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }

    std::shared_ptr<ozo_msg> receivable(std::uint32_t number, Bytes behind) const {
        auto* msg = ozo_alloc(sizeof(ozo_msg) + behind.size(), number);
        std::copy(behind.begin(), behind.end(), reinterpret_cast<unsigned char*>(msg + 1));
        ozo_send(msg, mailbox, OZO_MY_MAILBOX);
        return receive();
    }

    static std::vector<Reply> takeReplies() {
        std::vector<Reply> replies;
        while (const auto msg = receive()) {
            const auto* bytes = reinterpret_cast<const unsigned char*>(msg.get());
            replies.push_back({msg->msgno, {bytes, bytes + ozo_size(msg.get())}});
            require(replies.back().frame.size() <= maxSize);
        }
        return replies;
    }

    std::uint32_t mailbox = OZO_NO_MAILBOX;

private:
    static std::shared_ptr<ozo_msg> receive() { return {ozo_receive(0), ozo_free}; }

    Test::UnitRoot root;
    std::shared_ptr<Tessel::ActiveObject::V1::ActiveObjectIf> thread =
        Tessel::ActiveObject::V1::ActiveObjectIf::create(
            "fuzz", [] {}, Tessel::ActiveObject::V1::SchedulingPolicy::Default);
};

template <typename Body>
Body decoded(const Reply& reply, References references) {
    References found;
    Body body;
    require(reply.number == Body::MESSAGE_NUMBER);
    require(Control::decode(reply.frame, found, body));
    require(found == references);
    return body;
}

// One server, and beside it what an honest reader of the protocol expects of it.
class Session {
public:
    explicit Session(const Loopback& theLoopback) : loopback(theLoopback) {
        server->mailboxId = loopback.mailbox;
    }

    void take(std::uint8_t kind, Bytes piece) {
        if (kind & goesBefore) {
            server->onClientDisconnect(loopback.mailbox);
            clients.clear();
        }
        std::vector<std::uint8_t> behind;
        if (kind & bodyOnly) {
            behind = {0, 0, 0, 7, 0, 0, 0, static_cast<std::uint8_t>(kind >> connRefShift)};
        }
        behind.insert(behind.end(), piece.begin(), piece.end());
        switch (kind & requestMask) {
            case 0:
                return connect(behind);
            case 1:
                return exchangeCapabilities(behind);
            case 2:
                return pull(behind);
            default:
                return acknowledge(behind);
        }
    }

private:
    using Handle = void (QdxFilterCtrlIServer::*)(ozo_msg*);

    // Hands a request to its handler; gives the replies if it could be decoded. What couldn't is
    // one error without a reply.
    template <typename Body>
    std::optional<std::vector<Reply>> handle(Bytes behind, Handle handler, References& references,
                                             Body& body) {
        Test::TraceRecorder::instance().clear();
        const auto msg = loopback.receivable(Body::MESSAGE_NUMBER, behind);
        const std::function<void()> call = [&] { (*server.*handler)(msg.get()); };
        Backend::exceptionGuard(call)();
        auto replies = Loopback::takeReplies();
        const auto* bytes = reinterpret_cast<const unsigned char*>(msg.get());
        if (Control::decode({bytes, ozo_size(msg.get())}, references, body)) {
            return replies;
        }
        require(replies.empty() && errors() == 1);
        return std::nullopt;
    }

    static std::size_t errors() {
        return Test::TraceRecorder::instance().texts(Level::Error).size();
    }

    void connect(Bytes behind) {
        References references;
        ConnectionEstablishReq request;
        const auto replies = handle(behind, &QdxFilterCtrlIServer::handleQfciConnectionEstablishReq,
                                    references, request);
        if (!replies) {
            return;
        }
        require(replies->size() == 1 && errors() == 0);
        const auto& offered = request.supported_revisions();
        if (clients.size() == 10) {
            require(decoded<ConnectionEstablishRej>(replies->front(), references).reject_reason() ==
                    ConnectionEstablishRej::MAX_NUMBER_OF_CONNECTIONS_EXCEEDED);
        } else if (std::find(offered.begin(), offered.end(), 1u) == offered.end()) {
            require(decoded<ConnectionEstablishRej>(replies->front(), references).reject_reason() ==
                    ConnectionEstablishRej::NO_SUPPORTED_PROTOCOL_REVISION);
        } else {
            references.connection = ++lastConnRef;
            clients.insert(lastConnRef);
            require(decoded<ConnectionEstablishCfm>(replies->front(), references)
                        .selected_protocol_rev() == 1);
        }
    }

    void exchangeCapabilities(Bytes behind) {
        References references;
        CapabilityExchangeReq request;
        const auto replies = handle(behind, &QdxFilterCtrlIServer::handleQfciCapabilityExchangeReq,
                                    references, request);
        if (isServed(replies, references)) {
            require(replies->size() == 1);
            decoded<CapabilityExchangeCfm>(replies->front(), references);
        }
    }

    void pull(Bytes behind) {
        References references;
        PullFilterDataReq request;
        const auto replies =
            handle(behind, &QdxFilterCtrlIServer::handleQfciPullFilterDataReq, references, request);
        if (!isServed(replies, references)) {
            return;
        }
        const auto filter = Registry().findFilter(request.filter_name());
        if (filter == FilterId{8}) {
            require(replies->empty() && errors() == 1);
        } else if (!filter || filter == FilterId{9}) {
            require(replies->size() == 1 && errors() == 0);
            const auto status =
                decoded<PullFilterDataRej>(replies->front(), references).status_code();
            require(status != PullFilterDataRej::OUT_OF_MEMORY);
        } else {
            require(replies->size() == 2 && errors() == 0);
            const auto streamId = decoded<PullFilterDataCfm>((*replies)[0], references).stream_id();
            require(streamId == ++lastStreamId);
            streams[streamId] = {Registry::contentsOf(static_cast<std::size_t>(*filter)), true};
            takeChunk((*replies)[1], references, streamId);
        }
    }

    void acknowledge(Bytes behind) {
        References references;
        FilterContentsRAck request;
        const auto replies = handle(behind, &QdxFilterCtrlIServer::handleQfciFilterContentsRAck,
                                    references, request);
        if (!isServed(replies, references)) {
            return;
        }
        const auto stream = streams.find(request.stream_id());
        if (stream != streams.end() && stream->second.hasMoreData) {
            require(replies->size() == 1);
            takeChunk(replies->front(), references, stream->first);
            return;
        }
        require(replies->empty());
        if (stream != streams.end()) {
            require(!server->isDataRegistered(stream->first));
            streams.erase(stream);
        }
    }

    bool isServed(const std::optional<std::vector<Reply>>& replies, References references) const {
        if (!replies) {
            return false;
        }
        if (clients.contains(references.connection)) {
            return true;
        }
        require(replies->empty() && errors() == 0);
        return false;
    }

    // The chunk is what comes next of the stream's contents, and the last is told as the last.
    void takeChunk(const Reply& reply, References references, std::uint32_t streamId) {
        auto& stream = streams.at(streamId);
        const auto body = decoded<FilterContentsRData>(reply, references);
        require(body.stream_id() == streamId);
        require(stream.rest.starts_with(body.data_chunk()));
        stream.rest.erase(0, body.data_chunk().size());
        stream.hasMoreData = body.has_more_data();
        require(stream.hasMoreData || stream.rest.empty());
        require(server->isDataRegistered(streamId));
    }

    struct Stream {
        std::string rest;
        bool hasMoreData = true;
    };

    const Loopback& loopback;
    Registry registry;
    std::shared_ptr<QdxFilterCtrlIServer> server =
        std::make_shared<QdxFilterCtrlIServer>(&registry);
    std::set<std::uint32_t> clients;
    std::map<std::uint32_t, Stream> streams;
    std::uint32_t lastConnRef = 0;
    std::uint32_t lastStreamId = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Loopback loopback;
    loopback.run([&] {
        QdxFilterCtrlIServer::lastConnRef = 0;
        QdxFilterCtrlIServer::lastStreamId = 0;
        Session session(loopback);
        Fuzz::forEachPiece(data, size, [&](std::uint8_t kind, Bytes piece) {
            session.take(kind, piece.first(std::min(piece.size(), maxSize - 12)));
        });
    });
    return 0;
}
