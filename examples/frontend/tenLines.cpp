#include <qdx/frontend.hpp>

int main() {
    Qdx::Frontend::Connection connection("TenLines", {.hwName = "ten lines"});
    const Qdx::Frontend::Counter packets(connection, "radio:packets", "rfBranch=1");
    for (int second = 0; second < 3; ++second) {
        packets.add(100);
        connection.serveUntil(Qdx::Frontend::Clock::now() + std::chrono::seconds(1));
    }
    return connection.drain(std::chrono::seconds(1)) ? 0 : 1;
}
