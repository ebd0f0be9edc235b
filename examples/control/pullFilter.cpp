// Writes what a filter of the collector holds: pullFilter FILTER >contents
#include <iostream>

#include "control/blockingClient.hpp"

int main(int argc, char** argv) {
    Qdx::Control::BlockingClient client;
    auto result = client.connect();
    if (result.isDone()) {
        result = client.pull({.filter = argc > 1 ? argv[1] : ""}, [](std::string_view chunk) {
            return static_cast<bool>(std::cout << chunk);
        });
    }
    std::cerr << result.text << (result.isDone() ? "" : "\n");
    return result.isDone() ? 0 : 1;
}
