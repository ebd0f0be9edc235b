// Stopping is for good: each of these tests needs a process of its own, as the test driver gives
// it.
#include "tessel/host.hpp"

#include <gmock/gmock.h>

#include <thread>

#include "support/mailboxes.hpp"
#include "support/rawClient.hpp"
#include "support/typing.hpp"
#include "support/unitRoot.hpp"
#include "tessel/commandServer.hpp"
#include "tessel/ozoMailboxMonitor.hpp"

namespace {

using namespace TestSupport;
using namespace std::chrono_literals;
using Tessel::Host::V1::CommandServer;
using Tessel::Host::V1::Host;
using Tessel::Startup::V1::StartupParticipantIf;
using Tessel::Startup::V1::StartupRegistrar;
using testing::ElementsAre;

constexpr std::uint32_t message = 0x1000;

// Notes in the record what becomes of it.
class Participant : public StartupParticipantIf {
public:
    Participant(std::string name, Record<std::string>& record)
        : name_(std::move(name)), record_(record) {
        record_.add("create " + name_);
    }
    ~Participant() override { record_.add("release " + name_); }
    Participant(const Participant&) = delete;
    Participant& operator=(const Participant&) = delete;

    void start() override { record_.add("start " + name_); }

private:
    const std::string name_;
    Record<std::string>& record_;
};

// One that lives on an active object and ends as a collector does.
class Collector : public StartupParticipantIf {
public:
    ~Collector() override {
        object_->runOnActiveObject(
            [mailbox = mailbox_, object = object_] { ozo_delete_mailbox(mailbox); });
    }

    void start() override {
        object_ = makeActiveObject([this] {
            mailbox_ = Receiver::open("Collector");
            registerCommand("collect", echo);
        });
    }

private:
    std::shared_ptr<ActiveObjectIf> object_;
    std::uint32_t mailbox_ = OZO_NO_MAILBOX;
};

class HostTest : public testing::Test {
protected:
    StartupRegistrar participant(const std::string& name) {
        return StartupRegistrar(
            [this, name] { return std::make_shared<Participant>(name, record); });
    }

    const UnitRoot unit;
    Record<std::string> record;
    Host host;
};

TEST_F(HostTest, StartsParticipantsInOrderAndReleasesThemInReverse) {
    participant("a");
    participant("b");
    EXPECT_TRUE(record.get().empty());
    EXPECT_EQ(host.startParticipants(), 2U);
    host.releaseParticipants();
    EXPECT_THAT(record.get(), ElementsAre("create a", "start a", "create b", "start b", "release b",
                                          "release a"));
}

TEST_F(HostTest, StartsAParticipantOnce) {
    participant("a");
    EXPECT_EQ(host.startParticipants(), 1U);
    EXPECT_EQ(host.startParticipants(), 0U);
    participant("b");
    EXPECT_EQ(host.startParticipants(), 1U);
}

TEST_F(HostTest, PassesOverAFactoryThatGivesNoParticipant) {
    StartupRegistrar([]() -> std::shared_ptr<StartupParticipantIf> { return nullptr; });
    participant("a");
    EXPECT_EQ(host.startParticipants(), 1U);
}

TEST_F(HostTest, KeepsThoseStartedBeforeOneThatThrows) {
    participant("a");
    StartupRegistrar([]() -> std::shared_ptr<StartupParticipantIf> {
        throw std::runtime_error("cannot start");
    });
    EXPECT_THROW(host.startParticipants(), std::runtime_error);
    EXPECT_THAT(record.get(), ElementsAre("create a", "start a"));
    host.releaseParticipants();
    EXPECT_THAT(record.get(), ElementsAre("create a", "start a", "release a"));
}

TEST_F(HostTest, WaitsForTheFunctionsOfActiveObjects) {
    Event mayEnd;
    std::atomic<bool> ended = false;
    const auto object = makeActiveObject([&] {
        mayEnd.await();
        ended = true;
    });
    EXPECT_FALSE(host.waitUntilStarted(1ms));
    mayEnd.happen();
    EXPECT_TRUE(host.waitUntilStarted(deadline));
    EXPECT_TRUE(ended);
}

TEST_F(HostTest, DeliversNoMessagesAfterStopDelivery) {
    const Mailbox sender("Sender");
    Record<std::uint32_t> values;
    Receiver receiver;
    receiver.collect(message, values);
    sendValue(receiver.id, message, 1);
    values.await(1);
    EXPECT_TRUE(host.stopDelivery(deadline));
    sendValue(receiver.id, message, 2);
    // The message waits in the mailbox, where it can be seen without the service.
    EXPECT_EQ(on(*receiver.object,
                 [] {
                     const std::unique_ptr<ozo_msg, void (*)(ozo_msg*)> waiting(ozo_receive(20000),
                                                                                ozo_free);
                     return waiting == nullptr ? 0U : valueOf(*waiting);
                 }),
              2U);
    EXPECT_THAT(values.get(), ElementsAre(1));
}

TEST_F(HostTest, FinishesARunningHandlerBeforeStopDeliveryReturns) {
    const Mailbox sender("Sender");
    Event began;
    Event mayEnd;
    std::atomic<bool> ended = false;
    Receiver receiver;
    receiver.handle(message, [&](const std::shared_ptr<ozo_msg>&) {
        began.happen();
        mayEnd.await();
        ended = true;
    });
    sendValue(receiver.id, message, 1);
    began.await();
    EXPECT_FALSE(host.stopDelivery(1ms));
    mayEnd.happen();
    EXPECT_TRUE(host.stopDelivery(deadline));
    EXPECT_TRUE(ended);
}

TEST_F(HostTest, DeliversNoMonitorCallbacksAfterStopDelivery) {
    auto& monitor = Tessel::OzoMailboxMonitor::V1::OzoMailboxMonitorIf::getInstance();
    Record<std::uint32_t> gone;
    Receiver receiver;
    const auto bare = makeActiveObject();
    auto peer = std::make_unique<Receiver>("Peer");
    const auto ask = [&, id = peer->id] {
        return monitor.monitorMailbox(id, [&](std::uint32_t mailbox) { gone.add(mailbox); });
    };
    EXPECT_EQ(on(*receiver.object, ask), 0);
    EXPECT_EQ(on(*bare, ask), 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_TRUE(host.stopDelivery(deadline));
    peer.reset();
    // The news has arrived where it would have been handled.
    EXPECT_TRUE(on(*receiver.object, [] {
        const std::unique_ptr<ozo_msg, void (*)(ozo_msg*)> news(ozo_receive(20000), ozo_free);
        return news != nullptr;
    }));
    EXPECT_TRUE(host.waitUntilStarted(deadline));
    EXPECT_TRUE(gone.get().empty());
}

TEST_F(HostTest, RefusesCommandsAfterStopDelivery) {
    CommandServer server(nullptr);
    server.serve();
    const auto object = makeActiveObject();
    on(*object, [] { return registerCommand("echo", echo); });
    EXPECT_EQ(type({"echo"}).status, 0);
    EXPECT_TRUE(host.stopDelivery(deadline));
    EXPECT_EQ(type({"echo"}), (Answer{69, "", "the command is not served any more\n"}));
}

TEST_F(HostTest, DeliversNothingOnActiveObjectsMadeAfterStopDelivery) {
    const Mailbox sender("Sender");
    CommandServer server(nullptr);
    server.serve();
    EXPECT_TRUE(host.stopDelivery(deadline));
    Record<std::uint32_t> values;
    Receiver receiver;
    receiver.collect(message, values);
    on(*receiver.object, [] { return registerCommand("echo", echo); });
    sendValue(receiver.id, message, 1);
    EXPECT_EQ(type({"echo"}).status, 69);
    EXPECT_TRUE(values.get().empty());
}

TEST_F(HostTest, RunsPostedFunctionsAfterStopDelivery) {
    const auto object = makeActiveObject();
    EXPECT_TRUE(host.stopDelivery(deadline));
    EXPECT_EQ(on(*object, [] { return 5; }), 5);
}

TEST_F(HostTest, EndsAParticipantThatDropsItsActiveObjectOnThatVeryThread) {
    CommandServer server(nullptr);
    StartupRegistrar([] { return std::make_shared<Collector>(); });
    EXPECT_EQ(host.startParticipants(), 1U);
    EXPECT_TRUE(host.waitUntilStarted(deadline));
    server.serve();
    EXPECT_EQ(type({"collect"}).status, 0);
    EXPECT_NE(ozo_locate("Collector"), OZO_NO_MAILBOX);
    EXPECT_TRUE(host.stopDelivery(deadline));
    server.stop(deadline);
    host.releaseParticipants();
    EXPECT_TRUE(host.finish(deadline));
    EXPECT_EQ(ozo_locate("Collector"), OZO_NO_MAILBOX);
}

TEST_F(HostTest, SaysThatAnActiveObjectDoesNotEnd) {
    auto object = makeActiveObject();
    EXPECT_FALSE(host.finish(1ms));
    object.reset();
    EXPECT_TRUE(host.finish(deadline));
}

TEST_F(HostTest, ReleasesWhatACommandHeldWhenItFinishes) {
    auto object = makeActiveObject();
    registerCommand("holder", [object](const auto&, std::ostream&) { return 0; });
    object.reset();
    EXPECT_TRUE(host.finish(deadline));
}

TEST_F(HostTest, HasNoThreadForCallbacksAfterItFinished) {
    EXPECT_TRUE(host.finish(deadline));
    EXPECT_NE(registerCommand("echo", echo), 0);
    EXPECT_NE(Tessel::OzoMailboxMonitor::V1::OzoMailboxMonitorIf::getInstance().monitorMailbox(
                  1, [](std::uint32_t) {}),
              0);
}

}  // namespace
