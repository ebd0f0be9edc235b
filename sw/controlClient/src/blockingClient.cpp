#include "control/blockingClient.hpp"

#include <poll.h>

#include <algorithm>
#include <optional>

namespace Qdx::Control {

namespace {

// Rounded up, so that the deadline has come after the wait.
int millisecondsUntil(Session::Time time) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(time - std::chrono::steady_clock::now());
    constexpr std::int64_t longest = 60'000;
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, longest));
}

// A signal ends the wait early, which does no harm.
void waitFor(const Client& client) {
    pollfd event{client.descriptor(), POLLIN, 0};
    poll(&event, 1, millisecondsUntil(*client.deadline()));
}

}  // namespace

// A collector that went since the last call is no connection to keep.
Result BlockingClient::connect() {
    client.onReadable();
    return run([this](const Done& done) { client.connect(done); });
}

Result BlockingClient::exchangeCapabilities() {
    return run([this](const Done& done) { client.exchangeCapabilities(done); });
}

Result BlockingClient::pull(const PullRequest& request, const Sink& sink) {
    return run([&](const Done& done) { client.pull(request, sink, done); });
}

// What has come counts before what is due: a sink that takes its time costs no answer.
Result BlockingClient::run(const std::function<void(const Done&)>& start) {
    std::optional<Result> end;
    start([&end](const Result& result) { end = result; });
    while (!end) {
        waitFor(client);
        client.onReadable();
        client.onDeadline();
    }
    return *end;
}

}  // namespace Qdx::Control
