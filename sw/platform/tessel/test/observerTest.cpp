#include "tessel/observer.hpp"

#include <gmock/gmock.h>

#include "support/mailboxes.hpp"
#include "support/typing.hpp"
#include "support/unitRoot.hpp"
#include "tessel/clock.hpp"
#include "tessel/commandServer.hpp"
#include "tessel/host.hpp"
#include "tessel/ozoMailboxMonitor.hpp"

namespace {

using namespace TestSupport;
using Tessel::Clock::V1::ClockIf;
using Tessel::Host::V1::CommandServer;
using Tessel::Host::V1::ObserverIf;
using Tessel::Host::V1::setObserver;
using Tessel::OzoMailboxMonitor::V1::OzoMailboxMonitorIf;
using testing::ElementsAre;

constexpr std::uint32_t handled = 0x1000;
constexpr std::uint32_t unhandled = 0x2000;

class Notes : public ObserverIf {
public:
    void onMessage(const ozo_msg& message) override {
        lines.add("told of message " + std::to_string(valueOf(message)));
    }
    void onMailboxGone(std::uint32_t /*mailbox*/) override { lines.add("told of mailbox"); }
    void onCommand(const std::vector<std::string>& words) override {
        lines.add("told of command " + words.back());
    }
    void onSteadyClock(std::chrono::steady_clock::time_point time) override { steady.add(time); }
    void onWallClock(std::chrono::system_clock::time_point time) override { wall.add(time); }

    Record<std::string> lines;
    Record<std::chrono::steady_clock::time_point> steady;
    Record<std::chrono::system_clock::time_point> wall;
};

// One active object with a handler, a monitor and a command, each of which leaves a line behind the
// observer's.
class ObserverTest : public testing::Test {
protected:
    ObserverTest() {
        setObserver(&notes);
        receiver.emplace();
        receiver->handle(handled, [this](const auto&) { notes.lines.add("handled"); });
        on(*receiver->object, [this] {
            return registerCommand("word", [this](const auto&, auto&) {
                notes.lines.add("run");
                return 0;
            });
        });
        server->serve();
    }

    void TearDown() override {
        server.reset();
        receiver.reset();
        EXPECT_TRUE(Tessel::Host::V1::Host().finish(deadline));
        setObserver(nullptr);
    }

    const UnitRoot unit;
    Notes notes;
    std::unique_ptr<CommandServer> server = std::make_unique<CommandServer>(nullptr);
    std::optional<Receiver> receiver;
};

TEST_F(ObserverTest, IsToldOfEachThingRightBeforeItIsHandled) {
    {
        const Mailbox mailbox("Sender");
        sendValue(receiver->id, handled, 7);
        notes.lines.await(2);
        on(*receiver->object, [&] {
            return OzoMailboxMonitorIf::getInstance().monitorMailbox(
                mailbox.id, [this](std::uint32_t) { notes.lines.add("gone"); });
        });
    }
    notes.lines.await(4);
    EXPECT_EQ(type({"word", "last"}).status, 0);
    EXPECT_THAT(notes.lines.get(), ElementsAre("told of message 7", "handled", "told of mailbox",
                                               "gone", "told of command last", "run"));
}

TEST_F(ObserverTest, IsNotToldOfMessagesThatNobodyHandles) {
    const Mailbox mailbox("Sender");
    sendValue(receiver->id, unhandled, 1);
    sendValue(receiver->id, handled, 2);
    notes.lines.await(2);
    EXPECT_THAT(notes.lines.get(), ElementsAre("told of message 2", "handled"));
}

TEST_F(ObserverTest, IsToldWhatTheClocksShowed) {
    auto& clock = ClockIf::getInstance();
    const auto before = std::chrono::steady_clock::now();
    const auto steady = clock.steadyNow();
    const auto wall = clock.wallNow();
    EXPECT_LE(before, steady);
    EXPECT_LE(steady, std::chrono::steady_clock::now());
    EXPECT_LE(wall, std::chrono::system_clock::now());
    EXPECT_THAT(notes.steady.get(), ElementsAre(steady));
    EXPECT_THAT(notes.wall.get(), ElementsAre(wall));
}

}  // namespace
