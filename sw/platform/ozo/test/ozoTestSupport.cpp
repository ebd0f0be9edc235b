#include "ozoTestSupport.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

namespace OzoTest {

namespace {

char patternByte(std::uint32_t number, std::size_t offset) {
    return static_cast<char>(std::size_t{number} * 31 + offset * 7 + (offset >> 8));
}

std::size_t payloadSize(const ozo_msg* message) {
    return ozo_size(message) - sizeof(ozo_msg);
}

}  // namespace

TemporaryUnit::TemporaryUnit() : path("/tmp/ozoTest.XXXXXX") {
    if (::mkdtemp(path.data()) == nullptr)
        std::abort();
    unit = path;
    use();
}

TemporaryUnit::~TemporaryUnit() {
    ::unsetenv("UNIT_ROOT");
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

void TemporaryUnit::use() const {
    ::setenv("UNIT_ROOT", unit.c_str(), 1);
}

void TemporaryUnit::lengthenRoot(std::size_t characters) {
    while (unit.size() < characters)
        unit += "/" + std::string(50, 'x');
    std::filesystem::create_directories(unit);
    use();
}

std::string TemporaryUnit::socketFile(std::uint32_t mailbox) const {
    return folder("mbox/") + std::to_string(mailbox);
}

std::size_t TemporaryUnit::filesIn(const std::string& folderName) const {
    const std::filesystem::directory_iterator files(folder(folderName));
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

ozo_msg* textMessage(std::uint32_t number, std::string_view text) {
    ozo_msg* const message = ozo_alloc(sizeof(ozo_msg) + text.size(), number);
    std::memcpy(message + 1, text.data(), text.size());
    return message;
}

std::string textOf(const Message& message) {
    return {reinterpret_cast<const char*>(message.get() + 1), payloadSize(message.get())};
}

void sendText(std::uint32_t to, std::uint32_t number, std::string_view text) {
    ozo_send(textMessage(number, text), to, OZO_MY_MAILBOX);
}

Message receive() {
    return {ozo_receive(deadlineMs), ozo_free};
}

Message receiveNow() {
    return {ozo_receive(0), ozo_free};
}

std::vector<std::uint32_t> numbersOfAllWaiting() {
    std::vector<std::uint32_t> numbers;
    while (const Message message = receiveNow())
        numbers.push_back(message->msgno);
    return numbers;
}

ozo_msg* patternMessage(std::uint32_t number, std::size_t size) {
    ozo_msg* const message = ozo_alloc(size, number);
    char* const payload = reinterpret_cast<char*>(message + 1);
    for (std::size_t offset = 0; offset < payloadSize(message); ++offset)
        payload[offset] = patternByte(number, offset);
    return message;
}

bool isPattern(const Message& message) {
    const std::string payload = textOf(message);
    for (std::size_t offset = 0; offset < payload.size(); ++offset) {
        if (payload[offset] != patternByte(message->msgno, offset))
            return false;
    }
    return true;
}

MailboxThread::MailboxThread(const std::string& name) : thread([this] { work(); }) {
    mailbox = run([&name] { return ozo_create_mailbox(name.c_str(), 0); });
}

MailboxThread::~MailboxThread() {
    post(nullptr);
    thread.join();
}

void MailboxThread::post(std::function<void()> task) {
    const std::scoped_lock lock(mutex);
    tasks.push_back(std::move(task));
    posted.notify_one();
}

void MailboxThread::work() {
    while (true) {
        std::unique_lock lock(mutex);
        posted.wait(lock, [this] { return !tasks.empty(); });
        const std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        lock.unlock();
        if (!task)
            return;
        task();
    }
}

void Child::Line::tell(std::uint32_t word) const {
    if (::write(out, &word, sizeof word) != sizeof word)
        ::_exit(3);
}

bool Child::Line::awaitGo() const {
    char go = 0;
    return ::read(in, &go, 1) == 1;
}

Child::Child(const std::function<void(const Line&)>& body) {
    int toChild[2];
    int toParent[2];
    if (::pipe2(toChild, O_CLOEXEC) != 0 || ::pipe2(toParent, O_CLOEXEC) != 0)
        std::abort();
    pid = ::fork();
    const bool isChild = pid == 0;
    line.in = isChild ? toChild[0] : toParent[0];
    line.out = isChild ? toParent[1] : toChild[1];
    ::close(isChild ? toChild[1] : toChild[0]);
    ::close(isChild ? toParent[0] : toParent[1]);
    if (isChild) {
        body(line);
        ::_exit(::testing::Test::HasFailure() ? 1 : 0);
    }
}

Child::~Child() {
    kill();
    ::close(line.in);
    ::close(line.out);
}

std::optional<std::uint32_t> Child::hear() const {
    pollfd awaited{.fd = line.in, .events = POLLIN, .revents = 0};
    std::uint32_t word = 0;
    if (::poll(&awaited, 1, deadlineMs) != 1 || ::read(line.in, &word, sizeof word) != sizeof word)
        return std::nullopt;
    return word;
}

void Child::go() const {
    EXPECT_EQ(::write(line.out, "g", 1), 1);
}

void Child::kill() {
    if (pid < 0)
        return;
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    pid = -1;
}

bool Child::endsWell() {
    int status = -1;
    ::waitpid(std::exchange(pid, -1), &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

RawPeer::RawPeer() : socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
    // Roomy enough for datagrams larger than any frame.
    const int size = 1 << 20;
    ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

RawPeer::RawPeer(const TemporaryUnit& unit, std::uint32_t mailbox) : RawPeer() {
    EXPECT_TRUE(connect(unit, mailbox));
}

RawPeer::~RawPeer() {
    ::close(socket);
}

bool RawPeer::connect(const TemporaryUnit& unit, std::uint32_t mailbox) const {
    return connect(unit.socketFile(mailbox));
}

bool RawPeer::connect(const std::string& socketFile) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketFile.copy(address.sun_path, sizeof address.sun_path - 1);
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

void RawPeer::send(const std::vector<std::byte>& datagram) const {
    EXPECT_EQ(::send(socket, datagram.data(), datagram.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(datagram.size()));
}

bool RawPeer::isHungUp() const {
    pollfd asked{.fd = socket, .events = 0, .revents = 0};
    return ::poll(&asked, 1, 0) == 1 && (asked.revents & POLLHUP) != 0;
}

std::vector<std::byte> frame(std::uint32_t protocol, std::uint32_t sender, std::uint32_t number,
                             std::size_t payloadSize) {
    const std::uint32_t words[] = {protocol, sender, number};
    std::vector<std::byte> bytes(sizeof words + payloadSize);
    std::memcpy(bytes.data(), words, sizeof words);
    return bytes;
}

}  // namespace OzoTest
