#include "tessel/commandClient.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <thread>

#include "support/rawClient.hpp"
#include "support/typing.hpp"
#include "support/unitRoot.hpp"

namespace {

using namespace TestSupport;
using namespace Tessel::CommandProtocol;
using Tessel::CommandClient::AnswerCutShort;
using Tessel::CommandClient::Unreachable;
using testing::HasSubstr;
using testing::ThrowsMessage;

// Answers one client with given bytes and closes.
class OddServer {
public:
    explicit OddServer(std::string answer) : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        std::filesystem::create_directories(runDirectory());
        const auto address = addressOf(socketPath());
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(fd_, 1), 0);
        thread_ = std::thread([this, answer = std::move(answer)] {
            const int client = accept(fd_, nullptr, nullptr);
            std::array<char, 1024> request{};
            EXPECT_GT(read(client, request.data(), request.size()), 0);
            EXPECT_EQ(write(client, answer.data(), answer.size()),
                      static_cast<ssize_t>(answer.size()));
            close(client);
        });
    }
    ~OddServer() {
        thread_.join();
        close(fd_);
    }
    OddServer(const OddServer&) = delete;
    OddServer& operator=(const OddServer&) = delete;

private:
    const int fd_;
    std::thread thread_;
};

class CommandClientTest : public testing::Test {
protected:
    const UnitRoot unit;
};

TEST_F(CommandClientTest, SaysWhereItLookedForAServer) {
    EXPECT_THAT([] { type({"echo"}); },
                ThrowsMessage<Unreachable>("no collector answers at " + socketPath() +
                                           ": No such file or directory; start qdxd, or set "
                                           "UNIT_ROOT to the root of its unit"));
}

TEST_F(CommandClientTest, SaysThatThePathIsTooLong) {
    const auto root = unit.path() / std::string(100, 'x');
    setenv("UNIT_ROOT", root.c_str(), 1);
    EXPECT_THAT([] { type({"echo"}); },
                ThrowsMessage<Unreachable>(HasSubstr("File name too long")));
}

TEST_F(CommandClientTest, KeepsOutputAndErrorApart) {
    const OddServer server(frame(Kind::Output, "a") + frame(Kind::Error, "b") +
                           frame(Kind::Output, "c") + frame(Kind::Exit, encodeStatus(3)));
    EXPECT_EQ(type({"echo"}), (Answer{3, "ac", "b"}));
}

TEST_F(CommandClientTest, SaysThatTheServerWentInTheMiddle) {
    const auto whole = frame(Kind::Output, "abc") + frame(Kind::Exit, encodeStatus(0));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const OddServer server(whole.substr(0, size));
        EXPECT_THROW(type({"echo"}), AnswerCutShort) << size;
        std::filesystem::remove(socketPath());
    }
}

TEST_F(CommandClientTest, RefusesAFrameThatIsTooLong) {
    const OddServer server("O\xFF\xFF\xFF\x7F");
    EXPECT_THAT([] { type({"echo"}); },
                ThrowsMessage<AnswerCutShort>(HasSubstr("a frame is too long")));
}

TEST_F(CommandClientTest, RefusesADamagedExitStatus) {
    const OddServer server(frame(Kind::Exit, "abc"));
    EXPECT_THAT([] { type({"echo"}); },
                ThrowsMessage<AnswerCutShort>(HasSubstr("the exit status is damaged")));
}

TEST_F(CommandClientTest, GivesUpTheAnswerWhenASinkThrows) {
    const OddServer server(frame(Kind::Output, "abc") + frame(Kind::Exit, encodeStatus(0)));
    const auto output = [](std::string_view) { throw std::logic_error("enough"); };
    EXPECT_THROW(Tessel::CommandClient::run({"echo"}, {output, output}), std::logic_error);
}

// A server that lets clients connect and never answers.
class SilentServer {
public:
    SilentServer() : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        std::filesystem::create_directories(runDirectory());
        const auto address = addressOf(socketPath());
        EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(fd_, 1), 0);
    }
    ~SilentServer() { close(fd_); }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;

private:
    const int fd_;
};

const Tessel::CommandClient::Sinks nowhere{[](std::string_view) {}, [](std::string_view) {}};

TEST_F(CommandClientTest, EndsAnAnswerThatTakesTooLong) {
    const SilentServer server;
    EXPECT_THAT(
        [] {
            Tessel::CommandClient::list(nowhere, {std::chrono::milliseconds(20), -1});
        },
        ThrowsMessage<AnswerCutShort>(HasSubstr("it takes too long")));
}

TEST_F(CommandClientTest, GivesUpTheAnswerWhenTheDescriptorSaysSo) {
    const SilentServer server;
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_THROW(Tessel::CommandClient::run({"echo"}, nowhere, {std::nullopt, ends[0]}),
                 Tessel::CommandClient::GivenUp);
    char left = 0;
    EXPECT_EQ(read(ends[0], &left, 1), 1) << "it is for the asker to read";
    close(ends[0]);
    close(ends[1]);
}

TEST_F(CommandClientTest, WaitsForAnAnswerThatComesInTime) {
    const OddServer server(frame(Kind::Output, "a") + frame(Kind::Exit, encodeStatus(3)));
    EXPECT_EQ(Tessel::CommandClient::run({"echo"}, nowhere, {std::chrono::minutes(1), -1}), 3);
}

}  // namespace
