// Control clients on real mailboxes, against servers that a test scripts.
#include "control/client.hpp"

#include <gmock/gmock.h>
#include <poll.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "control/blockingClient.hpp"
#include "serverThread.hpp"
#include "support/unitRoot.hpp"

namespace {

using namespace Qdx::Control;
using namespace Qdx::Test;
using namespace qdxfilterctrli;
using namespace std::chrono_literals;

constexpr std::uint32_t stream = 9;

class ClientTest : public testing::Test {
protected:
    Sink collect() {
        return [this](std::string_view chunk) {
            contents += chunk;
            return true;
        };
    }

    static void confirmPull(ScriptedServer& server) {
        server.expect<PullFilterDataReq>();
        PullFilterDataCfm confirmation;
        confirmation.set_stream_id(stream);
        server.reply(confirmation);
    }

    TestSupport::UnitRoot unit;
    std::string contents;
};

TEST_F(ClientTest, WithoutACollectorConnectSaysSoAtOnce) {
    BlockingClient client;
    EXPECT_EQ(client.connect().outcome, Outcome::NoCollector);
}

TEST_F(ClientTest, PullsInChunksThatAreEachAcknowledged) {
    const ServerThread thread([](ScriptedServer& server) {
        server.acceptConnection(5);
        server.expect<CapabilityExchangeReq>();
        server.reply(CapabilityExchangeCfm());
        confirmPull(server);
        server.sendChunk("ab", true, stream);
        EXPECT_EQ(server.expect<FilterContentsRAck>().stream_id(), stream);
        server.sendChunk("cd", false, stream);
        EXPECT_EQ(server.expect<FilterContentsRAck>().stream_id(), stream);
    });
    BlockingClient client;
    ASSERT_EQ(client.connect(), Result{});
    EXPECT_EQ(client.state().connectionReference(), 5);
    EXPECT_EQ(client.state().revision(), 1);
    EXPECT_EQ(client.exchangeCapabilities(), Result{});
    EXPECT_EQ(client.pull({"11"}, collect()), Result{});
    EXPECT_EQ(contents, "abcd");
}

TEST_F(ClientTest, CollectorThatGoesInTheMiddleIsToldBehindAllThatItSent) {
    const ServerThread thread([](ScriptedServer& server) {
        server.acceptConnection(5);
        confirmPull(server);
        server.sendChunk("ab", true, stream);
        server.expect<FilterContentsRAck>();
    });
    BlockingClient client;
    ASSERT_EQ(client.connect(), Result{});
    EXPECT_EQ(client.pull({"11"}, collect()).outcome, Outcome::CollectorGone);
    EXPECT_EQ(contents, "ab");
    EXPECT_FALSE(client.state().isConnected());
}

TEST_F(ClientTest, CollectorThatGoesDuringConnectIsNotWaitedFor) {
    const ServerThread thread(
        [](ScriptedServer& server) { server.expect<ConnectionEstablishReq>(); });
    BlockingClient client;
    EXPECT_EQ(client.connect().outcome, Outcome::CollectorGone);
}

TEST_F(ClientTest, ConnectsToTheNextCollectorAfterTheLastIsGone) {
    BlockingClient client;
    for (const std::uint32_t reference : {5U, 6U}) {
        std::promise<void> seen;
        {
            const ServerThread thread([&](ScriptedServer& server) {
                server.acceptConnection(reference);
                seen.get_future().wait();
            });
            EXPECT_EQ(client.connect(), Result{});
            EXPECT_EQ(client.state().connectionReference(), reference);
            seen.set_value();
        }
    }
}

TEST_F(ClientTest, SilentCollectorCostsTheAnswerTime) {
    std::promise<void> over;
    const ServerThread thread([&](ScriptedServer&) { over.get_future().wait(); });
    ClientOptions options;
    options.answerTime = 50ms;
    BlockingClient client(options);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(client.connect().outcome, Outcome::TimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - before, 50ms);
    over.set_value();
}

TEST_F(ClientTest, ConnectAfterOneThatTimedOutLeavesNoConnectionOfThatBehind) {
    std::promise<void> timedOut;
    const ServerThread thread([&](ScriptedServer& server) {
        server.expect<ConnectionEstablishReq>();
        const auto first = server.client;
        timedOut.get_future().wait();
        server.acceptConnection(5);
        EXPECT_NE(server.client, first);
        char name = 0;
        EXPECT_NE(ozo_get_name(first, &name, sizeof(name)), 0)
            << "the first mailbox is still there";
    });
    ClientOptions options;
    options.answerTime = 50ms;
    options.mailboxName = "MyClient";
    BlockingClient client(options);
    EXPECT_EQ(client.connect().outcome, Outcome::TimedOut);
    timedOut.set_value();
    EXPECT_EQ(client.connect(), Result{});
    EXPECT_EQ(client.state().descriptor(), ozo_get_fd());
}

TEST_F(ClientTest, ForgedAnswersOfOthersAreIgnored) {
    std::promise<std::uint32_t> address;
    std::promise<void> forged;
    const ServerThread thread([&](ScriptedServer& server) {
        server.expect<ConnectionEstablishReq>();
        address.set_value(server.client);
        forged.get_future().wait();
        server.references.connection = 5;
        ConnectionEstablishCfm confirmation;
        confirmation.set_selected_protocol_rev(1);
        server.reply(confirmation);
    });
    const ServerThread stranger(
        [&](ScriptedServer& server) {
            server.client = address.get_future().get();
            ConnectionEstablishCfm confirmation;
            confirmation.set_selected_protocol_rev(1);
            server.send(ConnectionEstablishCfm::MESSAGE_NUMBER, {1, 666}, confirmation);
            forged.set_value();
        },
        "Stranger");
    BlockingClient client;
    EXPECT_EQ(client.connect(), Result{});
    EXPECT_EQ(client.state().connectionReference(), 5);
}

TEST_F(ClientTest, MailboxGoesWithItsClient) {
    std::promise<void> over;
    const ServerThread thread([&](ScriptedServer& server) {
        server.acceptConnection(5);
        over.get_future().wait();
    });
    ClientOptions options;
    options.mailboxName = "MyClient";
    {
        BlockingClient client(options);
        EXPECT_EQ(client.state().descriptor(), -1);
        ASSERT_EQ(client.connect(), Result{});
        EXPECT_NE(ozo_locate("MyClient"), OZO_NO_MAILBOX);
        EXPECT_EQ(client.state().descriptor(), ozo_get_fd());
    }
    EXPECT_EQ(ozo_locate("MyClient"), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_get_fd(), -1);
    over.set_value();
}

TEST_F(ClientTest, MailboxThatCannotBeCreatedIsSaidByName) {
    const auto own = ozo_create_mailbox("Own", 0);
    BlockingClient client;
    const auto result = client.connect();
    EXPECT_EQ(result.outcome, Outcome::SystemFailure);
    EXPECT_THAT(result.text, testing::HasSubstr("cannot create the mailbox ControlClient."));
    ozo_delete_mailbox(own);
}

TEST_F(ClientTest, BorrowedMailboxStaysItsOwners) {
    std::promise<void> over;
    const ServerThread thread([&](ScriptedServer& server) {
        server.acceptConnection(5);
        server.send(77, {}, CapabilityExchangeCfm());
        over.get_future().wait();
    });
    ClientOptions options;
    options.mailbox = ozo_create_mailbox("Own", 0);
    {
        Client client(options);
        bool connected = false;
        client.connect([&](const Result& result) { connected = result.isDone(); });
        std::unique_ptr<ozo_msg, decltype(&ozo_free)> message(ozo_receive(20'000), &ozo_free);
        ASSERT_NE(message, nullptr);
        EXPECT_TRUE(client.take(message.get()));
        EXPECT_TRUE(connected);
        message.reset(ozo_receive(20'000));
        ASSERT_NE(message, nullptr);
        EXPECT_FALSE(client.take(message.get())) << "it is for somebody else on this mailbox";
    }
    EXPECT_EQ(ozo_locate("Own"), options.mailbox);
    over.set_value();
    ozo_delete_mailbox(options.mailbox);
}

TEST_F(ClientTest, ServesAnEventLoop) {
    const ServerThread thread([](ScriptedServer& server) {
        server.acceptConnection(5);
        confirmPull(server);
        server.sendChunk("ab", false, stream);
        server.expect<FilterContentsRAck>();
    });
    Client client;
    std::optional<Result> pulled;
    client.connect([&](const Result& connected) {
        ASSERT_TRUE(connected.isDone()) << connected.text;
        client.pull({"11"}, collect(), [&](const Result& result) { pulled = result; });
    });
    while (!pulled) {
        ASSERT_TRUE(client.deadline().has_value());
        pollfd event{client.descriptor(), POLLIN, 0};
        ASSERT_EQ(poll(&event, 1, 20'000), 1);
        client.onReadable();
    }
    EXPECT_EQ(*pulled, Result{});
    EXPECT_EQ(contents, "ab");
    EXPECT_EQ(client.deadline(), std::nullopt);
}

// A flood of messages that answer nothing can't hold the client past its deadline.
TEST_F(ClientTest, FloodDoesNotKeepACallFromItsDeadline) {
    std::atomic<bool> over = false;
    const ServerThread thread([&](ScriptedServer& server) {
        server.acceptConnection(5);
        server.expect<PullFilterDataReq>();
        while (!over) {
            server.send(PullFilterDataRej::MESSAGE_NUMBER, {.procedure = 1, .connection = 5},
                        PullFilterDataRej());
            ozo_free(ozo_receive(0));
        }
    });
    ClientOptions options;
    options.answerTime = 200ms;
    BlockingClient client(options);
    EXPECT_EQ(client.connect(), Result{});
    EXPECT_EQ(client.pull({"11"}, collect()).outcome, Outcome::TimedOut);
    over = true;
}

}  // namespace
