// Looks at the collector again and again, on a thread of its own.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "collector.hpp"
#include "eventDescriptor.hpp"
#include "observer.hpp"
#include "schedule.hpp"

namespace Qdxview {

// What the user wants to be looked at.
struct Attention {
    std::optional<std::int64_t> selected;
    Schedule::Period period;
    bool paused = false;  // nothing is asked

    friend bool operator==(const Attention&, const Attention&) = default;
};

// A collector that takes its time keeps nobody waiting but the poller's thread. The destructor
// gives up the question that is open.
class Poller {
public:
    // The catalogue must outlive the poller. changed is called on the poller's thread whenever
    // there is another picture.
    Poller(Observer from, const Qdx::Pull::Catalogue& catalogue, Qdx::Pull::Glyphs glyphs,
           const Attention& first, std::function<void()> changed);
    ~Poller();
    Poller(const Poller&) = delete;
    Poller& operator=(const Poller&) = delete;

    // Throws what ended the thread, if anything did.
    Picture picture();
    void attend(const Attention& to);
    void wake(std::int64_t filter);

private:
    void run();
    void ask(const Schedule::Step& step);
    Schedule::Step await();
    void observe(const std::function<void(Observer&)>& tell);

    const std::function<void()> onChange;
    const EventDescriptor gaveUp;
    const Collector collector;

    std::mutex mutex;
    std::condition_variable wishes;
    bool leaving = false;
    Attention attention;
    Observer observer;
    Schedule schedule;
    std::exception_ptr failure;

    std::thread thread;  // last: it uses all the others
};

}  // namespace Qdxview
