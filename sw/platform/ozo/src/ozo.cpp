#include "ozo.h"

#include <cerrno>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "mailbox.hpp"
#include "runDirectory.hpp"

namespace {

thread_local std::unique_ptr<Ozo::Mailbox> mailboxOfThread;

// The calling thread's mailbox; null if it has none, or only what was its parent's before a fork.
Ozo::Mailbox* current() {
    return mailboxOfThread != nullptr && mailboxOfThread->isOwn() ? mailboxOfThread.get() : nullptr;
}

// No exception may pass into C; the only one to come is that memory is out.
template <typename Function, typename Result>
Result guarded(Result onFailure, const Function& function) {
    try {
        return function();
    } catch (const std::exception&) {
        errno = ENOMEM;
        return onFailure;
    }
}

// The habit of C: 0, or -1 with the reason in errno.
int toResult(int error) {
    if (error == 0)
        return 0;
    errno = error;
    return -1;
}

}  // namespace

uint32_t ozo_create_mailbox(const char* name, uint32_t flags) {
    if (name == nullptr || flags != 0 || current() != nullptr) {
        errno = current() != nullptr ? EALREADY : EINVAL;
        return OZO_NO_MAILBOX;
    }
    return guarded(OZO_NO_MAILBOX, [name] {
        mailboxOfThread = Ozo::Mailbox::create(name);
        return mailboxOfThread != nullptr ? mailboxOfThread->id() : OZO_NO_MAILBOX;
    });
}

int ozo_add_name(uint32_t mailbox, const char* name) {
    Ozo::Mailbox* const own = current();
    if (own == nullptr || own->id() != mailbox || name == nullptr)
        return toResult(EINVAL);
    return guarded(-1, [own, name] { return toResult(own->addName(name)); });
}

int ozo_delete_mailbox(uint32_t mailbox) {
    if (current() == nullptr || current()->id() != mailbox)
        return toResult(EINVAL);
    mailboxOfThread.reset();
    return 0;
}

int ozo_get_fd() {
    return current() != nullptr ? current()->pollDescriptor() : -1;
}

uint32_t ozo_get_mailbox() {
    return current() != nullptr ? current()->id() : OZO_NO_MAILBOX;
}

void ozo_send(ozo_msg* msg, uint32_t to, uint32_t from) {
    Ozo::MessagePtr message(msg);
    Ozo::Mailbox* const own = current();
    if (own == nullptr || message == nullptr)
        return;
    own->send(std::move(message), to, from);
}

int ozo_try_send(ozo_msg* msg, uint32_t to) {
    Ozo::Mailbox* const own = current();
    if (own == nullptr || msg == nullptr)
        return toResult(EINVAL);
    Ozo::MessagePtr message(msg);
    const int result = guarded(-1, [&] { return toResult(own->trySend(message, to)); });
    // Null if it was taken; else the caller's again.
    (void)message.release();
    return result;
}

ozo_msg* ozo_receive(int timeout_ms) {
    Ozo::Mailbox* const own = current();
    if (own == nullptr)
        return nullptr;
    return guarded(static_cast<ozo_msg*>(nullptr),
                   [own, timeout_ms] { return own->receive(timeout_ms).release(); });
}

uint32_t ozo_locate(const char* name) {
    if (name == nullptr)
        return OZO_NO_MAILBOX;
    return guarded(OZO_NO_MAILBOX, [name] { return Ozo::RunDirectory::current().locate(name); });
}

uint32_t ozo_locate_service(const char* name) {
    if (name == nullptr)
        return OZO_NO_MAILBOX;
    return guarded(OZO_NO_MAILBOX,
                   [name] { return Ozo::RunDirectory::current().locateService(name); });
}

int ozo_get_name(uint32_t mailbox, char* buffer, size_t size) {
    if (buffer == nullptr || size == 0)
        return toResult(EINVAL);
    return guarded(-1, [=] {
        const std::optional<std::string> name = Ozo::RunDirectory::current().nameOf(mailbox);
        if (!name)
            return toResult(ENOENT);
        buffer[name->copy(buffer, size - 1)] = '\0';
        return 0;
    });
}

int ozo_monitor(uint32_t mailbox, uint32_t msgno) {
    Ozo::Mailbox* const own = current();
    if (own == nullptr)
        return toResult(EINVAL);
    return guarded(-1, [=] { return toResult(own->monitor(mailbox, msgno)); });
}

ozo_drops ozo_get_drops() {
    return current() != nullptr ? current()->drops() : ozo_drops{};
}
