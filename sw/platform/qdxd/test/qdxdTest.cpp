// The daemon as a process.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>

#include "ozo.h"
#include "support/daemon.hpp"
#include "support/typing.hpp"
#include "tessel/commandProtocol.hpp"

namespace {

using namespace TestSupport;
using Tessel::CommandClient::Unreachable;
using Tessel::CommandProtocol::socketPath;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class QdxdTest : public testing::Test {
protected:
    // Runs the daemon to its end, which is to come with this status and one line.
    std::string refusal(const std::vector<std::string>& words, int status,
                        const std::map<std::string, std::string>& environment = {}) {
        Process daemon(words, environment);
        EXPECT_EQ(daemon.awaitExit(), status);
        EXPECT_EQ(std::count(daemon.error().begin(), daemon.error().end(), '\n'), 1)
            << daemon.error();
        EXPECT_EQ(daemon.output(), "");
        return daemon.error();
    }

    void writeDatabase(const std::string& text) {
        const auto path = unit.path() / "opt/zelvasw/srv/database/qdx/swdb.cfg";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }

    const UnitRoot unit;
};

// A service manager's end of the notification.
class Notifications {
public:
    // A name that starts with "@" stands for one outside the file system.
    explicit Notifications(const std::string& name)
        : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path, sizeof address.sun_path - 1);
        if (name.front() == '@') {
            address.sun_path[0] = '\0';
        }
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        if (bind(fd_, reinterpret_cast<const sockaddr*>(&address), size) != 0) {
            throw std::runtime_error("cannot bind " + name);
        }
    }
    ~Notifications() { close(fd_); }
    Notifications(const Notifications&) = delete;
    Notifications& operator=(const Notifications&) = delete;

    std::string await() const {
        pollfd event{fd_, POLLIN, 0};
        std::array<char, 100> text{};
        if (poll(&event, 1, 20000) != 1) {
            return "nothing came";
        }
        const auto size = recv(fd_, text.data(), text.size(), 0);
        return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    }

private:
    const int fd_;
};

TEST_F(QdxdTest, TellsItsUsageAndVersion) {
    Process help({QDXD, "--help"});
    EXPECT_EQ(help.awaitExit(), 0);
    EXPECT_THAT(help.output(), HasSubstr("--library"));
    EXPECT_THAT(help.output(), HasSubstr("UNIT_ROOT"));
    Process version({QDXD, "--version"});
    EXPECT_EQ(version.awaitExit(), 0);
    EXPECT_THAT(version.output(), StartsWith("qdxd "));
}

TEST_F(QdxdTest, RefusesAnUnknownOption) {
    EXPECT_EQ(refusal({QDXD, "--nonsense"}, 64),
              "qdxd: The following argument was not expected: --nonsense; see qdxd --help\n");
}

TEST_F(QdxdTest, SaysThatALibraryIsMissing) {
    EXPECT_THAT(refusal({QDXD, "--library", "/nowhere/lib.so"}, 69),
                StartsWith("qdxd: cannot load the library /nowhere/lib.so: "));
}

TEST_F(QdxdTest, SaysWhatALibraryLacks) {
    EXPECT_THAT(refusal({QDXD, "--library", TEST_UNRESOLVED}, 69),
                HasSubstr("undefined symbol: functionThatNobodyHas"));
}

TEST_F(QdxdTest, SaysThatAFileIsNoLibrary) {
    const auto path = unit.path() / "text.so";
    std::ofstream(path) << "no library at all, only text that is long enough for a header of one";
    EXPECT_THAT(refusal({QDXD, "--library", path}, 69), HasSubstr("invalid ELF header"));
}

TEST_F(QdxdTest, SaysThatNothingRegistered) {
    EXPECT_EQ(refusal({QDXD, "--library", TEST_EMPTY}, 69),
              "qdxd: no library that was loaded registers a participant\n");
}

TEST_F(QdxdTest, LoadsSeveralLibraries) {
    Process daemon({QDXD, "--library", TEST_EMPTY, "--library", TEST_PARTICIPANT});
    daemon.awaitError("qdxd: ready");
    EXPECT_EQ(type({"dch", "echo", "a"}).output, "dch|echo|a|\n");
}

TEST_F(QdxdTest, FindsALibraryByARelativePath) {
    const auto relative = std::filesystem::relative(TEST_PARTICIPANT);
    Process daemon({QDXD, "--library", relative});
    daemon.awaitError("qdxd: ready");
}

TEST_F(QdxdTest, SaysThatTheRunDirectoryCannotBeMade) {
    std::ofstream(unit.path() / "run") << "in the way";
    EXPECT_EQ(
        refusal(daemonWords(), 73),
        "qdxd: cannot make " + Tessel::CommandProtocol::runDirectory() + ": Not a directory\n");
}

TEST_F(QdxdTest, SaysThatALiveProcessServesTheSocket) {
    Daemon first;
    EXPECT_THAT(refusal(daemonWords(), 75),
                StartsWith("qdxd: " + socketPath() + " is served by a live process"));
    EXPECT_EQ(type({"dch", "echo"}).status, 0);
}

TEST_F(QdxdTest, SaysThatTheDatabaseDoesNotParse) {
    writeDatabase("[qdx]\nenabled = = 1\n");
    const auto line = refusal(daemonWords(), 78);
    EXPECT_THAT(line, StartsWith("qdxd: "));
    EXPECT_THAT(line, HasSubstr("opt/zelvasw/srv/database/qdx/swdb.cfg"));
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
}

TEST_F(QdxdTest, RunsWithADatabase) {
    writeDatabase("[qdx]\nenabled = 1\n");
    const Daemon daemon;
}

TEST_F(QdxdTest, SaysThatAParticipantCannotStart) {
    EXPECT_EQ(refusal(daemonWords(), 70, {{"TEST_PARTICIPANT_THROWS", "1"}}),
              "qdxd: a participant cannot start: told to throw\n");
}

TEST_F(QdxdTest, ServesTheCommandsOfItsParticipantsWhenItIsReady) {
    Daemon daemon;
    EXPECT_EQ(type({"dch", "echo", "a b"}), (Answer{0, "dch|echo|a b|\n", ""}));
    EXPECT_NE(ozo_locate("TestParticipant"), OZO_NO_MAILBOX);
}

TEST_F(QdxdTest, StopsInGoodOrderOnSigterm) {
    Daemon daemon;
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.awaitExit(), 0);
    EXPECT_EQ(daemon.error(), "qdxd: ready, commands at " + socketPath() +
                                  "\nqdxd: stopping on SIGTERM\nqdxd: stopped\n");
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
    EXPECT_EQ(ozo_locate("TestParticipant"), OZO_NO_MAILBOX);
}

TEST_F(QdxdTest, StopsInGoodOrderOnSigint) {
    Daemon daemon;
    daemon.signal(SIGINT);
    EXPECT_EQ(daemon.awaitExit(), 0);
    EXPECT_THAT(daemon.error(), EndsWith("qdxd: stopping on SIGINT\nqdxd: stopped\n"));
}

TEST_F(QdxdTest, FinishesARunningCommandBeforeItStops) {
    const HoldingPipe pipe(unit);
    Daemon daemon;
    Answer answer;
    const auto sinks = into(answer);
    const auto output = [&](std::string_view bytes) {
        if (answer.output.empty()) {
            daemon.signal(SIGTERM);
            daemon.awaitError("qdxd: stopping");
            pipe.let("released");
        }
        sinks.output(bytes);
    };
    EXPECT_EQ(Tessel::CommandClient::run({"dch", "hold", pipe.path}, {output, sinks.error}), 0);
    EXPECT_EQ(answer.output, "holding\nreleased\n");
    EXPECT_EQ(daemon.awaitExit(), 0);
}

TEST_F(QdxdTest, TakesThePlaceOfOneThatWasKilled) {
    Daemon killed;
    killed.signal(SIGKILL);
    killed.awaitExit();
    EXPECT_TRUE(std::filesystem::exists(socketPath()));
    EXPECT_THROW(type({"dch", "echo"}), Unreachable);
    const Daemon next;
    EXPECT_EQ(type({"dch", "echo"}).status, 0);
}

TEST_F(QdxdTest, TellsTheServiceManagerHowItIs) {
    const std::string path = unit.path() / "notify";
    const Notifications notifications(path);
    Daemon daemon({{"NOTIFY_SOCKET", path}});
    EXPECT_EQ(notifications.await(), "READY=1");
    daemon.signal(SIGTERM);
    EXPECT_EQ(notifications.await(), "STOPPING=1");
    EXPECT_EQ(daemon.awaitExit(), 0);
}

TEST_F(QdxdTest, TellsAServiceManagerOutsideTheFileSystem) {
    const auto name = "@" + unit.path().string();
    const Notifications notifications(name);
    const Daemon daemon({{"NOTIFY_SOCKET", name}});
    EXPECT_EQ(notifications.await(), "READY=1");
}

TEST_F(QdxdTest, RunsWithoutAServiceManagerThatListens) {
    const Daemon daemon({{"NOTIFY_SOCKET", unit.path() / "nobody"}});
    EXPECT_EQ(type({"dch", "echo"}).status, 0);
}

}  // namespace
