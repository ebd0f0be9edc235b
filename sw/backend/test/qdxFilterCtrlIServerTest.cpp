// The control server over real mailboxes: clients on threads of their own, a registry of filters
// with contents that the tests choose.
#include "qdxFilterCtrlIServer.hpp"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <future>
#include <iterator>
#include <limits>
#include <optional>

#include "controlClient.hpp"
#include "emptyRegistry.hpp"
#include "exceptionGuard.hpp"
#include "heapFault.hpp"
#include "hexText.hpp"
#include "refusedMessage.hpp"
#include "tessel/ozoMailboxMonitor.hpp"
#include "tessel/ozoMessageSubscription.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace Qdx::Backend {
namespace {

using namespace qdxfilterctrli;
using Qdx::Test::ControlClient;
using Qdx::Test::HeapFault;
using Qdx::Test::References;
using Qdx::Test::RefusedMessage;
using Qdx::Test::TraceRecorder;
using Qdx::V1::fromHex;
using Qdx::V1::numberInHostOrder;
using Qdx::V1::toHex;
using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;
using Tessel::OzoMailboxMonitor::V1::OzoMailboxMonitorIf;
using Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Trace::Level;

constexpr std::uint32_t establishReq = 0x01707B00;
constexpr std::uint32_t capabilityReq = 0x01707B03;
constexpr std::uint32_t pullReq = 0x01707B15;
constexpr std::uint32_t ack = 0x01707B19;

// Messages of at most that many bytes, so that small contents need several.
class MaxSize {
public:
    explicit MaxSize(const char* bytes) { setenv("OZO_MAX_SIZE", bytes, 1); }
    ~MaxSize() { unsetenv("OZO_MAX_SIZE"); }
    MaxSize(const MaxSize&) = delete;
    MaxSize& operator=(const MaxSize&) = delete;
};

// A chunk in a message of 1024 bytes of a stream with an id below 128.
constexpr std::size_t chunkSize = 1024 - 16 - 6;

// Filters by name, each with its contents.
class Registry : public Qdx::Test::EmptyRegistry {
public:
    std::map<std::string, std::string> contents;
    ErrorType result = ErrorType::NoError;
    bool throws = false;
    std::vector<Clear> pulls;

    std::optional<FilterId> findFilter(const std::string& text) const override {
        const auto found = contents.find(text);
        return found == contents.end()
                   ? std::nullopt
                   : std::optional(FilterId{std::distance(contents.begin(), found)});
    }
    ErrorType pullFilterData(FilterId id, Clear clear, std::string& output) override {
        pulls.push_back(clear);
        if (throws) {
            throw std::runtime_error("the filter throws");
        }
        if (result == ErrorType::NoError) {
            output += std::next(contents.begin(), static_cast<std::int64_t>(id))->second;
        }
        return result;
    }
};

// A thread with the mailbox of the server, which is made anew whenever a test wants it.
class ServerThread {
public:
    explicit ServerThread(QuardexBeIf* theBackend)
        : backend(theBackend),
          thread(ActiveObjectIf::create(
              "server", [this] { serve(); }, SchedulingPolicy::Default)) {
        run([] {});
    }
    ~ServerThread() {
        run([this] {
            server.reset();
            ozo_delete_mailbox(mailbox);
        });
    }
    ServerThread(const ServerThread&) = delete;
    ServerThread& operator=(const ServerThread&) = delete;

    void run(const std::function<void()>& function) {
        std::promise<void> done;
        thread->runOnActiveObject([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }

    void makeServer() {
        server = std::make_shared<QdxFilterCtrlIServer>(backend);
        server->mailboxId = mailbox;
    }

    std::shared_ptr<QdxFilterCtrlIServer> server;

private:
    using Handle = void (QdxFilterCtrlIServer::*)(ozo_msg*);

    void serve() {
        mailbox = ozo_create_mailbox("QuardexBeI", 0);
        makeServer();
        ozo_add_name(mailbox, server->serverName.c_str());
        subscribe(establishReq, &QdxFilterCtrlIServer::handleQfciConnectionEstablishReq);
        subscribe(capabilityReq, &QdxFilterCtrlIServer::handleQfciCapabilityExchangeReq);
        subscribe(pullReq, &QdxFilterCtrlIServer::handleQfciPullFilterDataReq);
        subscribe(ack, &QdxFilterCtrlIServer::handleQfciFilterContentsRAck);
        OzoMessageSubscriptionIf::getInstance().addMailbox(ozo_get_fd());
    }

    void subscribe(std::uint32_t number, Handle handle) {
        const OzoMessageSubscriptionIf::Handler handler =
            [this, handle](const std::shared_ptr<ozo_msg>& msg) { (*server.*handle)(msg.get()); };
        OzoMessageSubscriptionIf::getInstance().addHandler(number, exceptionGuard(handler));
    }

    QuardexBeIf* backend;
    std::uint32_t mailbox = OZO_NO_MAILBOX;
    std::shared_ptr<ActiveObjectIf> thread;
};

std::string inHex(std::uint32_t number) {
    std::ostringstream text;
    text << std::hex << number;
    return text.str();
}

// What the trace calls a client.
std::string textOf(const ControlClient& client, const std::string& name, std::uint32_t connRef,
                   std::uint32_t procRef) {
    return "ConnRef " + std::to_string(connRef) + ", ProcRef " + std::to_string(procRef) +
           ", SelProtRev 1, MailboxId 0x" + inHex(client.mailbox()) + ", Mailbox name \"" + name +
           "\"";
}

class QdxFilterCtrlIServerTest : public testing::Test {
protected:
    QdxFilterCtrlIServerTest() {
        QdxFilterCtrlIServer::lastConnRef = 0;
        QdxFilterCtrlIServer::lastStreamId = 0;
        TraceRecorder::instance().clear();
    }

    static std::vector<std::string> texts(Level level) {
        return TraceRecorder::instance().texts(level);
    }
    static std::vector<std::string> errors() { return texts(Level::Error); }

    // The texts of all levels in order.
    static std::vector<std::string> allTexts() {
        std::vector<std::string> all;
        for (const auto& line : TraceRecorder::instance().lines()) {
            all.push_back(line.text);
        }
        return all;
    }

    static bool awaitInfo(const std::string& text) {
        return TraceRecorder::instance().waitFor(Level::Info, text);
    }
    // The client's mailbox has gone, and its connections with it.
    static bool awaitGone(std::uint32_t mailbox, const std::string& connRefs) {
        return awaitInfo("OZO client(s) with mailbox ID 0x" + inHex(mailbox) +
                         " disconnected! Removed connection references: " + connRefs);
    }
    static bool awaitWholeStream(std::uint32_t streamId) {
        return awaitInfo("Whole filter content with stream_id = " + std::to_string(streamId) +
                         " succesfully sent");
    }

    static void sendPull(ControlClient& client, References references, const std::string& filter) {
        PullFilterDataReq request;
        request.set_filter_name(filter);
        client.send(references, request);
    }

    // Pulls a filter; gives the stream's id. The first chunk is still to be received.
    static std::uint32_t pull(ControlClient& client, References references,
                              const std::string& filter) {
        sendPull(client, references, filter);
        return client.receive<PullFilterDataCfm>().body.stream_id();
    }

    static PullFilterDataRej::StatusCode pullInVain(ControlClient& client, References references,
                                                    const std::string& filter) {
        sendPull(client, references, filter);
        return client.receive<PullFilterDataRej>().body.status_code();
    }

    // The sizes of a stream's chunks, all of them acknowledged; what they held is added to data.
    static std::vector<std::size_t> receiveStream(ControlClient& client, References references,
                                                  std::uint32_t streamId, std::string& data) {
        std::vector<std::size_t> sizes;
        for (bool hasMoreData = true; hasMoreData;) {
            const auto message = client.receive<FilterContentsRData>();
            EXPECT_EQ(message.references, references);
            EXPECT_EQ(message.body.stream_id(), streamId);
            data += message.body.data_chunk();
            sizes.push_back(message.body.data_chunk().size());
            hasMoreData = message.body.has_more_data();
            client.acknowledge(references, streamId);
        }
        return sizes;
    }

    bool isStreaming(std::uint32_t streamId) {
        bool streaming = false;
        thread.run([&] { streaming = thread.server->isDataRegistered(streamId); });
        return streaming;
    }

    MaxSize maxSize{"1024"};
    Qdx::Test::UnitRoot root;
    Registry registry;
    ServerThread thread{&registry};
};

std::string bytes(std::size_t size) {
    std::string text(size, 0);
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>('a' + i % 26);
    }
    return text;
}

// A message with these bytes behind its number.
ControlClient::Bytes frameOf(std::uint32_t number, const std::string& hexBehind) {
    return fromHex(numberInHostOrder(number) + hexBehind);
}

// --- All requests ------------------------------------------------------------------------------

std::string errorOfNull(const std::function<void()>& handle) {
    try {
        handle();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no error";
}

TEST_F(QdxFilterCtrlIServerTest, NullMessageThrowsTheHandlersNameAndTracesNothing) {
    QdxFilterCtrlIServer server(&registry);
    EXPECT_EQ(errorOfNull([&] { server.handleQfciConnectionEstablishReq(nullptr); }),
              "Null pointer in handleQfciConnectionEstablishReq");
    EXPECT_EQ(errorOfNull([&] { server.handleQfciCapabilityExchangeReq(nullptr); }),
              "Null pointer in handleQfciCapabilityExchangeReq");
    EXPECT_EQ(errorOfNull([&] { server.handleQfciPullFilterDataReq(nullptr); }),
              "Null pointer in handleQfciPullFilterDataReq");
    EXPECT_EQ(errorOfNull([&] { server.handleQfciFilterContentsRAck(nullptr); }),
              "Null pointer in handleQfciFilterContentsRAck");
    EXPECT_THAT(allTexts(), IsEmpty());
}

struct RequestKind {
    std::uint32_t number;
    const char* name;
    const char* handler;
    Level enteringLevel;
};

constexpr RequestKind requestKinds[] = {
    {establishReq, "ConnectionEstablishReq", "handleQfciConnectionEstablishReq", Level::Info},
    {capabilityReq, "CapabilityExchangeReq", "handleQfciCapabilityExchangeReq", Level::Info},
    {pullReq, "PullFilterDataReq", "handleQfciPullFilterDataReq", Level::Trace7},
    {ack, "FilterContentsRAck", "handleQfciFilterContentsRAck", Level::Trace7},
};

TEST_F(QdxFilterCtrlIServerTest, RequestShorterThanItsHeaderIsOneErrorWithoutAReply) {
    ControlClient client("Client");
    const auto whole = fromHex("00000001 00000001");
    for (const auto& kind : requestKinds) {
        for (std::size_t behind = 0; behind < whole.size(); ++behind) {
            TraceRecorder::instance().clear();
            auto frame = frameOf(kind.number, "");
            frame.insert(frame.end(), whole.begin(), whole.begin() + static_cast<long>(behind));
            client.sendFrame(frame);
            EXPECT_THAT(client.framesSoFar(), IsEmpty());
            EXPECT_THAT(errors(), ElementsAre(std::string(kind.name) + " could not be decoded"));
        }
    }
}

TEST_F(QdxFilterCtrlIServerTest, RequestThatCannotBeParsedIsOneErrorWithoutAReply) {
    ControlClient client("Client");
    const auto connRef = client.connect();
    for (const auto& kind : requestKinds) {
        // A length past the end, a field without its value, a tag of 0, a group that is not closed.
        for (const char* const body : {"0a7f", "08", "00", "0b"}) {
            TraceRecorder::instance().clear();
            client.sendFrame(
                frameOf(kind.number, "00000009 0000000" + std::to_string(connRef) + body));
            EXPECT_THAT(client.framesSoFar(), IsEmpty()) << kind.name << body;
            EXPECT_THAT(errors(), ElementsAre(std::string(kind.name) + " could not be decoded"));
        }
    }
}

TEST_F(QdxFilterCtrlIServerTest, EntryIsTracedBeforeDecodingAtTheLevelOfItsKind) {
    ControlClient client("Client");
    for (const auto& kind : requestKinds) {
        TraceRecorder::instance().clear();
        client.sendFrame(frameOf(kind.number, ""));
        client.framesSoFar();
        const auto lines = TraceRecorder::instance().lines();
        ASSERT_GE(lines.size(), 2);
        EXPECT_EQ(lines[0].text, std::string("Entering ") + kind.handler);
        EXPECT_EQ(lines[0].level, kind.enteringLevel);
        EXPECT_EQ(lines[0].file, "qdxFilterCtrlIServer.cpp");
        EXPECT_EQ(lines[1].level, Level::Error);
    }
}

TEST_F(QdxFilterCtrlIServerTest, MessageWithoutAHandlerGetsNoReplyAndNoTrace) {
    ControlClient client("Client");
    const auto connRef = client.connect();
    client.framesSoFar();
    TraceRecorder::instance().clear();
    for (std::uint32_t number = establishReq; number <= ack; ++number) {
        if (number != establishReq && number != capabilityReq && number != pullReq &&
            number != ack) {
            client.sendFrame(
                frameOf(number, "00000009 0000000" + std::to_string(connRef) + "0a0166"));
        }
    }
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
    EXPECT_EQ(allTexts().front(), "Entering handleQfciConnectionEstablishReq");
    EXPECT_EQ(
        TraceRecorder::instance().count(Level::Info, "Entering handleQfciConnectionEstablishReq"),
        1);
}

// --- Connections -------------------------------------------------------------------------------

TEST_F(QdxFilterCtrlIServerTest, KnowsItsAliasAndNoMailboxAtFirst) {
    const QdxFilterCtrlIServer server(&registry);
    EXPECT_EQ(server.serverName, "QdxFilterCtrlI");
    EXPECT_EQ(server.mailboxId, 0xFFFFFFFF);
    EXPECT_THAT(allTexts(), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, FirstConnectionGetsReferenceOneAndItsProcedureReferenceBack) {
    ControlClient client("Client");
    // The connection reference of this request says nothing.
    client.sendFrame(frameOf(establishReq, "01020304 0badcafe 0a0101"));
    EXPECT_EQ(toHex(client.receiveFrame()),
              numberInHostOrder(0x01707B01) + " 01020304 00000001 0801");
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, AcceptedConnectionIsTracedInOrder) {
    ControlClient client("Client");
    EXPECT_EQ(client.connect(26), 1);
    EXPECT_THAT(allTexts(), ElementsAre("Entering handleQfciConnectionEstablishReq",
                                        "Adding client: " + textOf(client, "Client", 1, 26),
                                        "sendConnEstablishCfm"));
    EXPECT_THAT(texts(Level::Info), SizeIs(3));
}

TEST_F(QdxFilterCtrlIServerTest, RevisionsOnTheWireMayComeUnpacked) {
    ControlClient client("Client");
    client.sendFrame(frameOf(establishReq, "00000001 00000000 0802 0801"));
    EXPECT_EQ(client.receive<ConnectionEstablishCfm>().body.selected_protocol_rev(), 1);
}

TEST_F(QdxFilterCtrlIServerTest, RevisionOneAmongOthersIsSelected) {
    ControlClient client("Client");
    for (const char* const revisions : {"0a03010102", "0a020201", "0a020100", "0a03ac0201"}) {
        client.sendFrame(frameOf(establishReq, std::string("00000001 00000000") + revisions));
        EXPECT_EQ(client.receive<ConnectionEstablishCfm>().body.selected_protocol_rev(), 1)
            << revisions;
    }
}

TEST_F(QdxFilterCtrlIServerTest, OfferWithoutRevisionOneIsRejected) {
    ControlClient client("Client");
    using Revisions = std::vector<std::uint32_t>;
    for (const auto& revisions : {Revisions{}, Revisions{0}, Revisions{2}, Revisions{2, 3, 2},
                                  Revisions{0x01000000}, Revisions{257}}) {
        EXPECT_EQ(client.connectInVain(revisions),
                  ConnectionEstablishRej::NO_SUPPORTED_PROTOCOL_REVISION)
            << testing::PrintToString(revisions);
    }
}

TEST_F(QdxFilterCtrlIServerTest, RejectionRepeatsBothReferences) {
    ControlClient client("Client");
    client.sendFrame(frameOf(establishReq, "01020304 0badcafe"));
    EXPECT_EQ(toHex(client.receiveFrame()),
              numberInHostOrder(0x01707B02) + " 01020304 0badcafe 0801");
}

TEST_F(QdxFilterCtrlIServerTest, RejectedRevisionsAreTracedWithThoseOfTheServer) {
    ControlClient client("Client");
    client.connectInVain({2, 300});
    EXPECT_THAT(allTexts(), ElementsAre("Entering handleQfciConnectionEstablishReq",
                                        "No supported protocol revisions. Client's revisions: "
                                        "{2,300}. Server's revisions: {1}",
                                        "sendConnEstablishRej"));
    TraceRecorder::instance().clear();
    client.connectInVain({});
    EXPECT_THAT(texts(Level::Info), Contains("No supported protocol revisions. Client's "
                                             "revisions: {}. Server's revisions: {1}"));
    EXPECT_THAT(texts(Level::Info), SizeIs(3));
}

TEST_F(QdxFilterCtrlIServerTest, RejectedRequestUsesNoReferenceUp) {
    ControlClient client("Client");
    client.connectInVain({2});
    EXPECT_EQ(client.connect(), 1);
    client.connectInVain({});
    EXPECT_EQ(client.connect(), 2);
}

TEST_F(QdxFilterCtrlIServerTest, EleventhConnectionIsRejectedUntilOneEnds) {
    ControlClient nine("Nine");
    auto one = std::make_unique<ControlClient>("One");
    for (std::uint32_t connRef = 1; connRef <= 9; ++connRef) {
        EXPECT_EQ(nine.connect(), connRef);
    }
    EXPECT_EQ(one->connect(), 10);

    EXPECT_EQ(nine.connectInVain({1}), ConnectionEstablishRej::MAX_NUMBER_OF_CONNECTIONS_EXCEEDED);
    const auto mailbox = one->mailbox();
    one.reset();
    ASSERT_TRUE(awaitGone(mailbox, "{10}"));
    EXPECT_EQ(nine.connect(), 11);
    EXPECT_EQ(nine.connectInVain({1}), ConnectionEstablishRej::MAX_NUMBER_OF_CONNECTIONS_EXCEEDED);
}

TEST_F(QdxFilterCtrlIServerTest, LimitComesBeforeTheRevisions) {
    ControlClient client("Client");
    for (int i = 0; i < 10; ++i) {
        client.connect();
    }
    TraceRecorder::instance().clear();
    client.sendFrame(frameOf(establishReq, "00000007 00000008"));
    EXPECT_EQ(toHex(client.receiveFrame()),
              numberInHostOrder(0x01707B02) + " 00000007 00000008 0803");
    EXPECT_THAT(allTexts(),
                ElementsAre("Entering handleQfciConnectionEstablishReq", "sendConnEstablishRej"));
}

TEST_F(QdxFilterCtrlIServerTest, ReferencesAndStreamIdsGoOnInTheNextServerOfTheProcess) {
    registry.contents["f"] = "data";
    ControlClient client("Client");
    EXPECT_EQ(client.connect(), 1);
    EXPECT_EQ(pull(client, {.procedure = 1, .connection = 1}, "f"), 1);
    client.receive<FilterContentsRData>();
    thread.run([&] { thread.makeServer(); });
    EXPECT_EQ(client.connect(), 2);
    EXPECT_EQ(pull(client, {.procedure = 1, .connection = 2}, "f"), 2);
}

TEST_F(QdxFilterCtrlIServerTest, ReferencesWrapWithoutAGuard) {
    QdxFilterCtrlIServer::lastConnRef = 0xFFFFFFFE;
    ControlClient client("Client");
    EXPECT_EQ(client.connect(), 0xFFFFFFFF);
    EXPECT_EQ(client.connect(), 0);
    EXPECT_EQ(client.connect(), 1);
}

// The server's own mailbox: nobody can monitor his own.
TEST_F(QdxFilterCtrlIServerTest, ClientThatCannotBeMonitoredIsConfirmedAllTheSame) {
    std::promise<std::string> confirmation;
    thread.run([&] {
        const auto mailbox = thread.server->mailboxId;
        ASSERT_NE(OzoMailboxMonitorIf::getInstance().monitorMailbox(mailbox, [](auto) {}), 0);
        OzoMessageSubscriptionIf::getInstance().addHandler(
            ConnectionEstablishCfm::MESSAGE_NUMBER, [&](const std::shared_ptr<ozo_msg>& msg) {
                const auto* frame = reinterpret_cast<const unsigned char*>(msg.get());
                confirmation.set_value(toHex({frame, frame + ozo_size(msg.get())}));
            });
        const auto frame = frameOf(establishReq, "01020304 00000000 0a0101");
        auto* msg = ozo_alloc(frame.size(), establishReq);
        std::memcpy(msg, frame.data(), frame.size());
        ozo_send(msg, mailbox, OZO_MY_MAILBOX);
    });
    auto confirmed = confirmation.get_future();
    ASSERT_EQ(confirmed.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_EQ(confirmed.get(), numberInHostOrder(0x01707B01) + " 01020304 00000001 0801");
    thread.run([&] { EXPECT_TRUE(thread.server->isClientRegistered(1)); });
}

TEST_F(QdxFilterCtrlIServerTest, LongMailboxNameIsCutTo254Bytes) {
    const auto name = bytes(255);
    ControlClient client(name);
    client.connect();
    EXPECT_THAT(texts(Level::Info),
                Contains("Adding client: " + textOf(client, name.substr(0, 254), 1, 1)));
}

TEST_F(QdxFilterCtrlIServerTest, OneDisconnectionRemovesAllConnectionsOfItsMailbox) {
    ControlClient other("Other");
    auto client = std::make_unique<ControlClient>("Client");
    client->connect(7);
    other.connect(8);
    client->connect(9);
    const auto mailbox = client->mailbox();
    const auto first = "Deleting client: " + textOf(*client, "Client", 1, 7);
    const auto second = "Deleting client: " + textOf(*client, "Client", 3, 9);
    TraceRecorder::instance().clear();
    client.reset();
    // One notice for each connection: what the first leaves is a client that never was.
    ASSERT_TRUE(awaitInfo("OZO client with mailbox ID " + std::to_string(mailbox) +
                          " disconnected, but this client never registered with the QFCI "
                          "server."));
    EXPECT_THAT(allTexts(),
                ElementsAre(first, second,
                            "OZO client(s) with mailbox ID 0x" + inHex(mailbox) +
                                " disconnected! Removed connection references: {1,3}",
                            "OZO client with mailbox ID " + std::to_string(mailbox) +
                                " disconnected, but this client never registered with the QFCI "
                                "server."));
    other.send({.procedure = 1, .connection = 2}, CapabilityExchangeReq());
    other.receive<CapabilityExchangeCfm>();
}

TEST_F(QdxFilterCtrlIServerTest, NoticeAfterTheEndOfItsServerReachesNobody) {
    auto client = std::make_unique<ControlClient>("Client");
    ControlClient other("Other");
    client->connect();
    thread.run([&] { thread.makeServer(); });
    TraceRecorder::instance().clear();
    client.reset();
    EXPECT_THAT(other.framesSoFar(), IsEmpty());
    EXPECT_THAT(allTexts(), Each(Not(HasSubstr("disconnected"))));
}

TEST_F(QdxFilterCtrlIServerTest, DisconnectionOfAnUnknownMailboxIsOnlyTraced) {
    QdxFilterCtrlIServer server(&registry);
    server.onClientDisconnect(26);
    EXPECT_THAT(texts(Level::Info),
                ElementsAre("OZO client with mailbox ID 26 disconnected, but this client never "
                            "registered with the QFCI server."));
}

// At each allocation that the server's thread makes until the client's end was told.
TEST_F(QdxFilterCtrlIServerTest, HeapThatRunsOutWhileAClientGoesLetsTheServerGoOn) {
    bool failed = true;
    for (std::size_t failing = 0; failed; ++failing) {
        thread.run([this] { thread.makeServer(); });
        std::optional<ControlClient> client("Client");
        client->connect();
        const auto told = std::make_shared<bool>(false);
        std::optional<HeapFault> fault;
        thread.run([&] {
            OzoMailboxMonitorIf::getInstance().monitorMailbox(client->mailbox(),
                                                              [told](auto) { *told = true; });
            fault.emplace(failing);
        });
        client.reset();
        failed = false;
        for (bool ended = false; !ended;) {
            thread.run([&] {
                failed = fault->hasFailed();
                ended = failed || *told;
            });
        }
        thread.run([&] { fault.reset(); });
        ASSERT_NE(ControlClient("Next").connect(), 0U);
    }
}

TEST_F(QdxFilterCtrlIServerTest, ClientsAreFoundByTheirMailboxInAscendingOrder) {
    QdxFilterCtrlIServer server(&registry);
    for (const auto connRef : {9u, 3u, 5u, 1u}) {
        server.addClient(connRef, {connRef, 0, 1, connRef == 5 ? 21u : 20u, ""});
    }
    EXPECT_THAT(server.getConnectionRefsByMailboxId(20), ElementsAre(1, 3, 9));
    EXPECT_THAT(server.getConnectionRefsByMailboxId(21), ElementsAre(5));
    EXPECT_THAT(server.getConnectionRefsByMailboxId(22), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, ReferenceThatStandsKeepsItsFirstClient) {
    QdxFilterCtrlIServer server(&registry);
    server.addClient(4, {4, 1, 1, 20, "First"});
    server.addClient(4, {4, 2, 1, 21, "Second"});
    EXPECT_THAT(texts(Level::Info),
                ElementsAre("Adding client: ConnRef 4, ProcRef 1, SelProtRev 1, MailboxId 0x14, "
                            "Mailbox name \"First\"",
                            "Adding client: ConnRef 4, ProcRef 2, SelProtRev 1, MailboxId 0x15, "
                            "Mailbox name \"Second\""));
    EXPECT_THAT(server.getConnectionRefsByMailboxId(20), ElementsAre(4));
    EXPECT_THAT(server.getConnectionRefsByMailboxId(21), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, RemovesAClientOnce) {
    QdxFilterCtrlIServer server(&registry);
    server.addClient(4, {4, 1, 1, 20, "Client"});
    EXPECT_TRUE(server.isClientRegistered(4));
    EXPECT_TRUE(server.removeClient(4));
    EXPECT_FALSE(server.removeClient(4));
    EXPECT_FALSE(server.isClientRegistered(4));
    const std::string text =
        "ConnRef 4, ProcRef 1, SelProtRev 1, MailboxId 0x14, Mailbox name \"Client\"";
    EXPECT_THAT(allTexts(), ElementsAre("Adding client: " + text, "Found client: " + text,
                                        "Deleting client: " + text));
    EXPECT_THAT(texts(Level::Trace7), ElementsAre("Found client: " + text));
}

TEST_F(QdxFilterCtrlIServerTest, DeterminesTheLargestCommonRevision) {
    const QdxFilterCtrlIServer server(&registry);
    EXPECT_EQ(server.determineProtocolRevision({}), 0);
    EXPECT_EQ(server.determineProtocolRevision({0}), 0);
    EXPECT_EQ(server.determineProtocolRevision({2, 3}), 0);
    EXPECT_EQ(server.determineProtocolRevision({1, 1, 2}), 1);
    EXPECT_EQ(server.determineProtocolRevision({2, 1}), 1);
}

// --- Capabilities ------------------------------------------------------------------------------

TEST_F(QdxFilterCtrlIServerTest, CapabilitiesAreConfirmedWithAnEmptyBody) {
    ControlClient client("Client");
    client.connect(5);
    TraceRecorder::instance().clear();
    client.sendFrame(frameOf(capabilityReq, "01020304 00000001"));
    EXPECT_EQ(toHex(client.receiveFrame()), numberInHostOrder(0x01707B04) + " 01020304 00000001");
    EXPECT_THAT(allTexts(), ElementsAre("Entering handleQfciCapabilityExchangeReq",
                                        "Found client: " + textOf(client, "Client", 1, 5),
                                        "CapabilityExchangeCfm"));
    EXPECT_THAT(texts(Level::Info), SizeIs(2));
}

TEST_F(QdxFilterCtrlIServerTest, UnregisteredReferenceIsIgnoredInEveryRequest) {
    registry.contents["f"] = "data";
    ControlClient client("Client");
    client.connect();
    for (const auto& kind : requestKinds) {
        if (kind.number == establishReq) {
            continue;
        }
        for (const char* const connRef : {"00000000", "00000002", "01000000", "ffffffff"}) {
            TraceRecorder::instance().clear();
            const auto frame = frameOf(kind.number, std::string("00000007") + connRef);
            client.sendFrame(frame);
            EXPECT_THAT(client.framesSoFar(), IsEmpty()) << kind.name << connRef;
            const auto all = allTexts();
            ASSERT_GE(all.size(), 3);
            EXPECT_EQ(all[0], std::string("Entering ") + kind.handler);
            EXPECT_EQ(all[1], "Ignoring messages from unregistered client");
            EXPECT_EQ(all[2], "Entering handleQfciConnectionEstablishReq");
            EXPECT_THAT(texts(Level::Info), Contains("Ignoring messages from unregistered client"));
        }
    }
    EXPECT_THAT(registry.pulls, IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, ReferenceOfAClientThatIsGoneGetsNoAnswer) {
    ControlClient other("Other");
    std::uint32_t mailbox = 0;
    {
        ControlClient client("Client");
        mailbox = client.mailbox();
        EXPECT_EQ(client.connect(), 1);
    }
    ASSERT_TRUE(awaitGone(mailbox, "{1}"));
    other.send({.procedure = 1, .connection = 1}, CapabilityExchangeReq());
    EXPECT_THAT(other.framesSoFar(), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, ReferenceIsServedFromAnyMailboxAndTheSenderGetsTheReply) {
    registry.contents["f"] = "data";
    ControlClient client("Client");
    ControlClient other("Other");
    const References borrowed{.procedure = 9, .connection = client.connect()};
    other.send(borrowed, CapabilityExchangeReq());
    EXPECT_EQ(other.receive<CapabilityExchangeCfm>().references, borrowed);
    const auto streamId = pull(other, borrowed, "f");
    EXPECT_EQ(other.receive<FilterContentsRData>().body.stream_id(), streamId);
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
}

// --- Failures ----------------------------------------------------------------------------------

TEST_F(QdxFilterCtrlIServerTest, SuccessIsTracedNowhere) {
    EXPECT_TRUE(isSuccess(true, "X", 0, 1));
    EXPECT_TRUE(isSuccess(true, "X", 1, 1));
    EXPECT_THAT(allTexts(), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, FailureWithAReferenceIsOneOfEncoding) {
    const ControlClient client("Client");
    EXPECT_FALSE(isSuccess(false, "X", 0, client.mailbox()));
    EXPECT_FALSE(isSuccess(false, "X", 0xAB12, client.mailbox()));
    EXPECT_FALSE(isSuccess(false, "X", 1, OZO_NO_MAILBOX)) << "nobody has that mailbox";
    EXPECT_THAT(errors(), ElementsAre("X could not be decoded",
                                      "Failed to encode X for client 0xab12 from Client",
                                      "Failed to encode X for client 0x1 from "));
}

TEST_F(QdxFilterCtrlIServerTest, ClientStaysWhoseConfirmationCannotBeEncoded) {
    ControlClient client("Client");
    {
        const RefusedMessage refused(ConnectionEstablishCfm::MESSAGE_NUMBER);
        client.sendFrame(frameOf(establishReq, "00000005 00000000 0a0101"));
        EXPECT_THAT(client.framesSoFar(), IsEmpty());
    }
    EXPECT_THAT(errors(),
                ElementsAre("Failed to encode ConnectionEstablishCfm for client 0x1 from Client"));
    client.send({.procedure = 6, .connection = 1}, CapabilityExchangeReq());
    client.receive<CapabilityExchangeCfm>();
    EXPECT_EQ(client.connect(), 2);
}

TEST_F(QdxFilterCtrlIServerTest, RejectionThatCannotBeEncodedCountsAsUndecodedForReferenceZero) {
    ControlClient client("Client");
    {
        const RefusedMessage refused(ConnectionEstablishRej::MESSAGE_NUMBER);
        client.sendFrame(frameOf(establishReq, "00000005 00000000"));
        client.sendFrame(frameOf(establishReq, "00000005 0000001a"));
        client.connect();  // answered after the two
    }
    EXPECT_THAT(errors(),
                ElementsAre("ConnectionEstablishRej could not be decoded",
                            "Failed to encode ConnectionEstablishRej for client 0x1a from Client"));
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, CapabilityConfirmationThatCannotBeEncodedIsNotSent) {
    ControlClient client("Client");
    const auto connRef = client.connect();
    const RefusedMessage refused(CapabilityExchangeCfm::MESSAGE_NUMBER);
    client.send({.procedure = 6, .connection = connRef}, CapabilityExchangeReq());
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
    EXPECT_THAT(errors(),
                ElementsAre("Failed to encode CapabilityExchangeCfm for client 0x1 from Client"));
}

TEST_F(QdxFilterCtrlIServerTest, PulledDataIsLostWhenItsConfirmationCannotBeEncoded) {
    registry.contents["f"] = "data";
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    {
        const RefusedMessage refused(PullFilterDataCfm::MESSAGE_NUMBER);
        sendPull(client, references, "f");
        EXPECT_THAT(client.framesSoFar(), IsEmpty());
    }
    EXPECT_THAT(registry.pulls, SizeIs(1));
    EXPECT_FALSE(isStreaming(1));
    EXPECT_THAT(errors(),
                ElementsAre("Failed to encode PullFilterDataCfm for client 0x1 from Client"));
    EXPECT_EQ(pull(client, references, "f"), 2);
}

TEST_F(QdxFilterCtrlIServerTest, ChunkThatCannotBeEncodedIsGone) {
    registry.contents["f"] = bytes(2 * chunkSize + 5);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    {
        const RefusedMessage refused(FilterContentsRData::MESSAGE_NUMBER);
        pull(client, references, "f");
        EXPECT_THAT(client.framesSoFar(), IsEmpty());
    }
    EXPECT_THAT(errors(),
                ElementsAre("Failed to encode FilterContentsRData for client 0x1 from Client"));
    EXPECT_TRUE(isStreaming(1));
    client.acknowledge(references, 1);
    std::string data;
    EXPECT_THAT(receiveStream(client, references, 1, data), ElementsAre(chunkSize, 5));
    EXPECT_EQ(data, bytes(2 * chunkSize + 5).substr(chunkSize));
}

TEST_F(QdxFilterCtrlIServerTest, PullRejectionThatCannotBeEncodedIsNotSent) {
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    const RefusedMessage refused(PullFilterDataRej::MESSAGE_NUMBER);
    sendPull(client, references, "nobody");
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
    EXPECT_THAT(errors(),
                ElementsAre("Failed to encode PullFilterDataRej for client 0x1 from Client"));
}

TEST_F(QdxFilterCtrlIServerTest, ExceptionOfTheRegistryIsTracedAndTheNextRequestServed) {
    registry.contents["f"] = "data";
    registry.throws = true;
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    sendPull(client, references, "f");
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
    EXPECT_THAT(errors(), ElementsAre("Caught exception: the filter throws"));
    registry.throws = false;
    EXPECT_EQ(pull(client, references, "f"), 1);
}

// --- Pulls -------------------------------------------------------------------------------------

TEST_F(QdxFilterCtrlIServerTest, ContentsThatFitTakeOneMessageAndOneAcknowledgement) {
    registry.contents["f"] = "abc";
    ControlClient client("Client");
    client.connect(5);
    TraceRecorder::instance().clear();
    client.sendFrame(frameOf(pullReq, "01020304 00000001 0a0166"));
    EXPECT_EQ(toHex(client.receiveFrame()),
              numberInHostOrder(0x01707B16) + " 01020304 00000001 0801");
    EXPECT_EQ(toHex(client.receiveFrame()),
              numberInHostOrder(0x01707B18) + " 01020304 00000001 0a036162 63100018 01");
    EXPECT_TRUE(isStreaming(1));
    client.sendFrame(frameOf(ack, "0a0b0c0d 00000001 0801"));
    ASSERT_TRUE(awaitWholeStream(1));
    EXPECT_FALSE(isStreaming(1));
    const auto found = "Found client: " + textOf(client, "Client", 1, 5);
    EXPECT_THAT(allTexts(),
                ElementsAre("Entering handleQfciPullFilterDataReq", found, "Send PullFilterDataCfm",
                            "ind.getSize() 21", "Adding stream_id to MAP: 1",
                            "sendFilterContentsRData", "Entering handleQfciFilterContentsRAck",
                            found, "Whole filter content with stream_id = 1 succesfully sent"));
    EXPECT_THAT(texts(Level::Info), SizeIs(1));
    EXPECT_THAT(texts(Level::Trace7), SizeIs(8));
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, EmptyContentsAreOneEmptyChunk) {
    registry.contents["f"] = "";
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    EXPECT_EQ(toHex(client.receiveFrame()),
              numberInHostOrder(0x01707B18) + " 00000006 00000001 0a001000 1801");
}

TEST_F(QdxFilterCtrlIServerTest, ContentsOfTheLargestMessageGoAsOne) {
    // 12 of header, 2 each of has_more_data and stream_id, 3 of tag and length.
    registry.contents["f"] = bytes(1024 - 12 - 4 - 3);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    const auto frame = client.receiveFrame();
    EXPECT_EQ(frame.size(), 1024);
    FilterContentsRData body;
    ASSERT_TRUE(body.ParseFromArray(frame.data() + 12, 1012));
    EXPECT_FALSE(body.has_more_data());
    EXPECT_EQ(body.data_chunk(), registry.contents["f"]);
}

TEST_F(QdxFilterCtrlIServerTest, OneByteMoreTakesTwoMessages) {
    registry.contents["f"] = bytes(1024 - 12 - 4 - 3 + 1);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    std::string data;
    EXPECT_THAT(receiveStream(client, references, 1, data), ElementsAre(chunkSize, 4));
    EXPECT_EQ(data, registry.contents["f"]);
}

TEST_F(QdxFilterCtrlIServerTest, ExactMultipleOfTheChunkSizeEndsWithAnEmptyChunk) {
    registry.contents["f"] = bytes(3 * chunkSize);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    std::string data;
    EXPECT_THAT(receiveStream(client, references, 1, data),
                ElementsAre(chunkSize, chunkSize, chunkSize, 0));
    EXPECT_EQ(data, registry.contents["f"]);
    ASSERT_TRUE(awaitWholeStream(1));
}

TEST_F(QdxFilterCtrlIServerTest, NextChunkWaitsForItsAcknowledgement) {
    registry.contents["f"] = bytes(2 * chunkSize + 1);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    EXPECT_TRUE(client.receive<FilterContentsRData>().body.has_more_data());
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
    client.acknowledge(references, 1);
    EXPECT_TRUE(client.receive<FilterContentsRData>().body.has_more_data());
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
    client.acknowledge(references, 1);
    EXPECT_FALSE(client.receive<FilterContentsRData>().body.has_more_data());
    EXPECT_TRUE(isStreaming(1));
}

TEST_F(QdxFilterCtrlIServerTest, ChunkSizeFollowsTheMessageServicesMaximum) {
    const MaxSize larger("4096");
    registry.contents["f"] = bytes(5000);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    std::string data;
    EXPECT_THAT(receiveStream(client, references, 1, data), ElementsAre(4096 - 22, 926));
    EXPECT_EQ(data, registry.contents["f"]);
}

TEST_F(QdxFilterCtrlIServerTest, DataCarriesTheReferencesOfWhatCausedIt) {
    registry.contents["f"] = bytes(2 * chunkSize + 1);
    ControlClient client("Client");
    const auto connRef = client.connect();
    pull(client, {.procedure = 70, .connection = connRef}, "f");
    EXPECT_EQ(client.receive<FilterContentsRData>().references.procedure, 70);
    client.acknowledge({.procedure = 71, .connection = connRef}, 1);
    EXPECT_EQ(client.receive<FilterContentsRData>().references.procedure, 71);
    client.acknowledge({.procedure = 72, .connection = connRef}, 1);
    EXPECT_EQ(client.receive<FilterContentsRData>().references.procedure, 72);
}

TEST_F(QdxFilterCtrlIServerTest, UnknownFilterIsRejectedWithoutAPull) {
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect(5)};
    TraceRecorder::instance().clear();
    sendPull(client, references, "nobody");
    EXPECT_EQ(toHex(client.receiveFrame()),
              numberInHostOrder(0x01707B17) + " 00000006 00000001 0801");
    EXPECT_THAT(allTexts(), ElementsAre("Entering handleQfciPullFilterDataReq",
                                        "Found client: " + textOf(client, "Client", 1, 5),
                                        "sendPullFilterDataRej"));
    EXPECT_THAT(texts(Level::Info), ElementsAre("sendPullFilterDataRej"));
    EXPECT_THAT(registry.pulls, IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, RefusalOfTheFilterIsRejectedWithItsStatus) {
    registry.contents["f"] = "data";
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    const std::pair<ErrorType, int> statuses[] = {
        {ErrorType::MaxFiltersReached, 1},  {ErrorType::NotEnoughMemory, 1},
        {ErrorType::InvalidFilterSpecs, 1}, {ErrorType::NoSuchFilter, 1},
        {ErrorType::FilterDisabled, 5},     {ErrorType::MetaDataNotSet, 3},
        {ErrorType::NoDataYet, 2},          {ErrorType{99}, 1},
    };
    for (const auto& [result, status] : statuses) {
        registry.result = result;
        EXPECT_EQ(pullInVain(client, references, "f"), status) << static_cast<int>(result);
    }
    registry.result = ErrorType::NoError;
    EXPECT_EQ(pull(client, references, "f"), 1) << "rejections use no stream id up";
}

TEST_F(QdxFilterCtrlIServerTest, DataIsClearedOnlyIfTheRequestSaysSo) {
    registry.contents["f"] = "data";
    ControlClient client("Client");
    client.connect();
    for (const char* const clearData : {"", "1000", "1001"}) {
        client.sendFrame(frameOf(pullReq, std::string("00000006 00000001 0a0166") + clearData));
        client.receive<PullFilterDataCfm>();
        client.receive<FilterContentsRData>();
    }
    EXPECT_THAT(registry.pulls, ElementsAre(Clear::No, Clear::No, Clear::Yes));
}

TEST_F(QdxFilterCtrlIServerTest, PullWithoutABodyAsksForTheFilterWithoutAName) {
    registry.contents[""] = "unnamed";
    ControlClient client("Client");
    client.connect();
    client.sendFrame(frameOf(pullReq, "00000006 00000001"));
    client.receive<PullFilterDataCfm>();
    EXPECT_EQ(client.receive<FilterContentsRData>().body.data_chunk(), "unnamed");
    EXPECT_THAT(registry.pulls, ElementsAre(Clear::No));
}

TEST_F(QdxFilterCtrlIServerTest, FilterNameOfAnyBytesIsLookedUpAndWrittenNowhere) {
    registry.contents["\xff\xfe"] = "data";
    ControlClient client("Client");
    client.connect();
    testing::internal::CaptureStderr();
    client.sendFrame(frameOf(pullReq, "00000006 00000001 0a02fffe"));
    client.receive<PullFilterDataCfm>();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// --- Streams -----------------------------------------------------------------------------------

TEST_F(QdxFilterCtrlIServerTest, StreamsOfTwoClientsInterleave) {
    registry.contents["f"] = bytes(2 * chunkSize + 1);
    registry.contents["g"] = std::string(2 * chunkSize + 2, 'g');
    ControlClient first("First");
    ControlClient second("Second");
    const References firsts{.procedure = 6, .connection = first.connect()};
    const References seconds{.procedure = 7, .connection = second.connect()};
    EXPECT_EQ(pull(first, firsts, "f"), 1);
    EXPECT_EQ(pull(second, seconds, "g"), 2);
    std::string fromFirst;
    std::string fromSecond;
    for (int i = 0; i < 3; ++i) {
        fromFirst += first.receive<FilterContentsRData>().body.data_chunk();
        fromSecond += second.receive<FilterContentsRData>().body.data_chunk();
        second.acknowledge(seconds, 2);
        first.acknowledge(firsts, 1);
    }
    EXPECT_EQ(fromFirst, registry.contents["f"]);
    EXPECT_EQ(fromSecond, registry.contents["g"]);
    EXPECT_TRUE(awaitWholeStream(1));
    EXPECT_TRUE(awaitWholeStream(2));
}

TEST_F(QdxFilterCtrlIServerTest, OneClientPullsTheSameFilterTwiceAtOnce) {
    registry.contents["f"] = bytes(chunkSize + 100);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    EXPECT_EQ(pull(client, references, "f"), 1);
    client.receive<FilterContentsRData>();
    EXPECT_EQ(pull(client, references, "f"), 2);
    EXPECT_EQ(client.receive<FilterContentsRData>().body.data_chunk().size(), chunkSize);
    client.acknowledge(references, 1);
    EXPECT_EQ(client.receive<FilterContentsRData>().body.stream_id(), 1);
    client.acknowledge(references, 2);
    EXPECT_EQ(client.receive<FilterContentsRData>().body.stream_id(), 2);
}

TEST_F(QdxFilterCtrlIServerTest, AcknowledgementOfAnyClientDrivesAStreamWhichThenGoesToIt) {
    registry.contents["f"] = bytes(chunkSize + 100);
    ControlClient client("Client");
    ControlClient other("Other");
    const References references{.procedure = 6, .connection = client.connect()};
    const References others{.procedure = 7, .connection = other.connect()};
    pull(client, references, "f");
    client.receive<FilterContentsRData>();
    other.acknowledge(others, 1);
    const auto message = other.receive<FilterContentsRData>();
    EXPECT_EQ(message.references, others);
    EXPECT_EQ(message.body.data_chunk(), registry.contents["f"].substr(chunkSize));
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, StreamOutlivesTheClientThatBeganIt) {
    registry.contents["f"] = bytes(chunkSize + 100);
    ControlClient other("Other");
    const References others{.procedure = 7, .connection = other.connect()};
    std::uint32_t mailbox = 0;
    {
        ControlClient client("Client");
        mailbox = client.mailbox();
        pull(client, {.procedure = 6, .connection = client.connect()}, "f");
        client.receive<FilterContentsRData>();
    }
    ASSERT_TRUE(awaitGone(mailbox, "{2}"));
    EXPECT_TRUE(isStreaming(1));
    other.acknowledge(others, 1);
    EXPECT_EQ(other.receive<FilterContentsRData>().body.data_chunk(),
              registry.contents["f"].substr(chunkSize));
    other.acknowledge(others, 1);
    EXPECT_TRUE(awaitWholeStream(1));
}

TEST_F(QdxFilterCtrlIServerTest, AcknowledgementOfAnUnknownStreamIsSilent) {
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect(5)};
    for (const std::uint32_t streamId : {0u, 1u, 0xFFFFFFFFu}) {
        TraceRecorder::instance().clear();
        client.acknowledge(references, streamId);
        EXPECT_THAT(client.framesSoFar(), IsEmpty());
        const auto all = allTexts();
        ASSERT_GE(all.size(), 3);
        EXPECT_EQ(all[0], "Entering handleQfciFilterContentsRAck");
        EXPECT_EQ(all[1], "Found client: " + textOf(client, "Client", 1, 5));
        EXPECT_EQ(all[2], "Entering handleQfciConnectionEstablishReq");
    }
}

TEST_F(QdxFilterCtrlIServerTest, AcknowledgementWithoutAStreamIdIsOfNoStream) {
    registry.contents["f"] = bytes(chunkSize + 100);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    client.receive<FilterContentsRData>();
    client.sendFrame(frameOf(ack, "00000006 00000001"));
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
    EXPECT_TRUE(isStreaming(1));
}

TEST_F(QdxFilterCtrlIServerTest, AcknowledgementRepeatedAmidAStreamSendsTheNextChunk) {
    registry.contents["f"] = bytes(2 * chunkSize + 1);
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    client.acknowledge(references, 1);
    client.acknowledge(references, 1);
    std::string data;
    for (int i = 0; i < 3; ++i) {
        data += client.receive<FilterContentsRData>().body.data_chunk();
    }
    EXPECT_EQ(data, registry.contents["f"]);
}

TEST_F(QdxFilterCtrlIServerTest, AcknowledgementRepeatedAfterTheEndIsSilent) {
    registry.contents["f"] = "data";
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    client.receive<FilterContentsRData>();
    client.acknowledge(references, 1);
    client.acknowledge(references, 1);
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
    EXPECT_EQ(TraceRecorder::instance().count(
                  Level::Info, "Whole filter content with stream_id = 1 succesfully sent"),
              1);
}

TEST_F(QdxFilterCtrlIServerTest, StreamIdsGoFromTheLargestToOne) {
    QdxFilterCtrlIServer::lastStreamId = 0xFFFFFFFE;
    registry.contents["f"] = "data";
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    for (const auto expected : {0xFFFFFFFFu, 1u, 2u}) {
        EXPECT_EQ(pull(client, references, "f"), expected);
        client.receive<FilterContentsRData>();
    }
}

TEST_F(QdxFilterCtrlIServerTest, StreamWhoseIdComesRoundAgainIsGivenUp) {
    registry.contents["f"] = bytes(3 * chunkSize);
    registry.contents["g"] = "other";
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    EXPECT_EQ(pull(client, references, "f"), 1);
    client.receive<FilterContentsRData>();
    thread.run([] { QdxFilterCtrlIServer::lastStreamId = 0xFFFFFFFF; });
    EXPECT_EQ(pull(client, references, "g"), 1);
    std::string data;
    EXPECT_THAT(receiveStream(client, references, 1, data), ElementsAre(5));
    EXPECT_EQ(data, "other");
    ASSERT_TRUE(awaitWholeStream(1));
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
}

TEST_F(QdxFilterCtrlIServerTest, NothingIsSentOfAStreamThatIsUnknownOrSent) {
    registry.contents["f"] = "data";
    ControlClient client("Client");
    const References references{.procedure = 6, .connection = client.connect()};
    pull(client, references, "f");
    client.receive<FilterContentsRData>();
    thread.run([&] {
        const OzoMboxIds mailboxes{thread.server->mailboxId, client.mailbox()};
        thread.server->sendFilterContentsRData(mailboxes, 1, 1, 1);
        thread.server->sendFilterContentsRData(mailboxes, 1, 1, 2);
    });
    EXPECT_THAT(client.framesSoFar(), IsEmpty());
}

}  // namespace
}  // namespace Qdx::Backend
