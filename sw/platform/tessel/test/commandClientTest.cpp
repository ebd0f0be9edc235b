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
                                           ": No such file or directory"));
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

}  // namespace
