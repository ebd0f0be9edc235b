// The thread behind an active object.
#pragma once

#include <memory>
#include <string>

#include "liveLoops.hpp"
#include "tessel/activeObject.hpp"
#include "thread.hpp"

namespace Tessel {

class ActiveObjectImpl final : public ActiveObject::V1::ActiveObjectIf {
public:
    ActiveObjectImpl();
    ~ActiveObjectImpl() override;

    // Throws std::system_error when the process can have no further thread.
    void start(const std::string& name, std::function<void()> body);

    void runOnActiveObject(std::function<void()> function) override;

    const std::shared_ptr<Loop>& loop() const { return loop_; }

private:
    const std::shared_ptr<Loop> loop_;
    LiveLoops::Ticket ticket_ = 0;
    Thread thread_;
};

}  // namespace Tessel
