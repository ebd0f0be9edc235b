#include "poller.hpp"

#include <csignal>

#include "tessel/commandClient.hpp"
#include "wallTime.hpp"

namespace Qdxview {

namespace {

// A thread that no signal reaches: they are for the one that has the terminal.
std::thread quietThread(const std::function<void()>& body) {
    sigset_t every;
    sigset_t before;
    sigfillset(&every);
    pthread_sigmask(SIG_SETMASK, &every, &before);
    std::thread thread(body);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

}  // namespace

Poller::Poller(Observer from, const Qdx::Pull::Catalogue& catalogue, Qdx::Pull::Glyphs glyphs,
               const Attention& first, std::function<void()> changed)
    : onChange(std::move(changed)),
      collector(catalogue, glyphs, gaveUp.fd()),
      attention(first),
      observer(std::move(from)),
      schedule(first.period),
      thread(quietThread([this] { run(); })) {}

Poller::~Poller() {
    {
        const std::lock_guard lock(mutex);
        leaving = true;
    }
    wishes.notify_one();
    gaveUp.raise();
    thread.join();
}

Picture Poller::picture() {
    const std::lock_guard lock(mutex);
    if (failure) {
        std::rethrow_exception(failure);
    }
    return observer.picture();
}

void Poller::attend(const Attention& to) {
    const std::lock_guard lock(mutex);
    attention = to;
    schedule.setPeriod(to.period);
    wishes.notify_one();
}

void Poller::wake(std::int64_t filter) {
    const std::lock_guard lock(mutex);
    observer.wake(filter);
    wishes.notify_one();
}

void Poller::run() {
    try {
        for (auto step = await(); step.ask != Schedule::Ask::Nothing; step = await()) {
            ask(step);
        }
    } catch (const Tessel::CommandClient::GivenUp&) {
    } catch (...) {
        observe([this](auto& /*observer*/) { failure = std::current_exception(); });
    }
}

// What to ask when it is time for it; nothing to leave.
Schedule::Step Poller::await() {
    using std::chrono::steady_clock;
    std::unique_lock lock(mutex);
    while (!leaving) {
        if (attention.paused) {
            wishes.wait(lock);
            continue;
        }
        const auto step =
            schedule.next(steady_clock::now(), observer.pullable(), attention.selected);
        if (step.ask != Schedule::Ask::Nothing) {
            return step;
        }
        wishes.wait_until(lock, step.at);
    }
    return {};
}

void Poller::ask(const Schedule::Step& step) {
    std::string word;
    observe([&](auto& told) {
        told.asks(now());
        word = told.wordFor(step.filter);
    });
    try {
        if (step.ask == Schedule::Ask::List) {
            const auto list = collector.list();
            observe([&](auto& told) { told.listed(list, now()); });
        } else {
            auto digest = collector.pull(word);
            observe([&](auto& told) { told.pulled(step.filter, std::move(digest), now()); });
        }
    } catch (const NoAnswer& error) {
        observe([&](auto& told) { told.unanswered(error.what()); });
    } catch (const Refused& error) {
        observe([&](auto& told) { told.refused(step.filter, error.what(), now()); });
    }
    const std::lock_guard lock(mutex);
    schedule.answered(step, std::chrono::steady_clock::now());
}

void Poller::observe(const std::function<void(Observer&)>& tell) {
    {
        const std::lock_guard lock(mutex);
        tell(observer);
    }
    onChange();
}

}  // namespace Qdxview
