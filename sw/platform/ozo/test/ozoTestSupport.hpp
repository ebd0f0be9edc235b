// What tests of mailboxes need: a unit of their own, other threads and processes to talk with, and
// peers that break the rules.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ozo.h"

namespace OzoTest {

// What is awaited in a test must come within this time.
inline constexpr int deadlineMs = 20000;

// A folder of its own as UNIT_ROOT, removed at the end.
class TemporaryUnit {
public:
    TemporaryUnit();
    TemporaryUnit(const TemporaryUnit&) = delete;
    TemporaryUnit& operator=(const TemporaryUnit&) = delete;
    ~TemporaryUnit();

    const std::string& root() const { return path; }
    // Makes it the unit of this process (again).
    void use() const;
    // Moves the unit to a new folder under its root whose path has at least that many characters.
    void lengthenRoot(std::size_t characters);

    std::string folder(const std::string& name) const { return unit + "/run/ozo/" + name; }
    std::string socketFile(std::uint32_t mailbox) const;
    std::size_t filesIn(const std::string& folderName) const;

private:
    std::string path;
    std::string unit;
};

using Message = std::unique_ptr<ozo_msg, decltype(&ozo_free)>;

// A message whose payload is text.
ozo_msg* textMessage(std::uint32_t number, std::string_view text);
std::string textOf(const Message& message);
void sendText(std::uint32_t to, std::uint32_t number, std::string_view text);
// The next message, awaited; null after the deadline.
Message receive();
// What waits in the mailbox now.
Message receiveNow();
std::vector<std::uint32_t> numbersOfAllWaiting();

// A message of that size whose bytes all follow from its number; and whether a message is still
// what that made it.
ozo_msg* patternMessage(std::uint32_t number, std::size_t size);
bool isPattern(const Message& message);

// A mailbox on a thread of its own. Each call runs there, and has run when it returns: tests are
// sequences, not races.
class MailboxThread {
public:
    explicit MailboxThread(const std::string& name);
    MailboxThread(const MailboxThread&) = delete;
    MailboxThread& operator=(const MailboxThread&) = delete;
    // Leaves the mailbox to the end of the thread.
    ~MailboxThread();

    std::uint32_t id() const { return mailbox; }

    template <typename Function>
    auto run(Function function) {
        std::packaged_task<decltype(function())()> task(std::move(function));
        auto result = task.get_future();
        post([&task] { task(); });
        return result.get();
    }

private:
    void post(std::function<void()> task);
    void work();

    std::mutex mutex;
    std::condition_variable posted;
    std::deque<std::function<void()>> tasks;
    std::uint32_t mailbox = OZO_NO_MAILBOX;
    std::thread thread;
};

// A forked process. What it runs may tell the parent words and wait for the parent's go; it ends
// with its function, by SIGKILL at the latest when the object goes. To be made before the test has
// threads.
class Child {
public:
    class Line {
    public:
        void tell(std::uint32_t word) const;
        // False when the parent has gone.
        bool awaitGo() const;

    private:
        friend class Child;
        int in = -1;
        int out = -1;
    };

    explicit Child(const std::function<void(const Line&)>& body);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

    // The next word that the child tells; empty if none comes.
    std::optional<std::uint32_t> hear() const;
    void go() const;
    void kill();
    // Waits for its end; whether it ended by itself, without an error.
    bool endsWell();

private:
    pid_t pid = -1;
    Line line;
};

// A socket connected to a mailbox that sends what it likes.
class RawPeer {
public:
    explicit RawPeer(const TemporaryUnit& unit, std::uint32_t mailbox);
    // A socket that is not connected yet.
    RawPeer();
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;
    ~RawPeer();

    bool connect(const TemporaryUnit& unit, std::uint32_t mailbox) const;
    bool connect(const std::string& socketFile) const;
    void send(const std::vector<std::byte>& datagram) const;
    bool isHungUp() const;
    int descriptor() const { return socket; }

private:
    int socket;
};

// The bytes of a frame.
std::vector<std::byte> frame(std::uint32_t protocol, std::uint32_t sender, std::uint32_t number,
                             std::size_t payloadSize = 0);

}  // namespace OzoTest
