// Keeps exceptions from leaving the collector's entry points.
#pragma once

#include <exception>
#include <functional>
#include <utility>

#include "trace.hpp"

namespace Qdx::Backend {

//     const std::function<void()> body = [this] { run(); };
//     thread = start(exceptionGuard(body));
//
// The function with every exception caught, traced at Error and answered with a value-initialised
// result. An empty function counts as one that throws std::bad_function_call.
template <typename R, typename... Args>
std::function<R(Args...)> exceptionGuard(const std::function<R(Args...)>& f) {
    return [f](Args... args) -> R {
        try {
            return f(std::forward<Args>(args)...);
        } catch (const std::exception& e) {
            QDX_TRACE(Error, "Caught exception: " << e.what());
        } catch (...) {
            QDX_TRACE(Error, "Caught unknown exception");
        }
        return R();
    };
}

}  // namespace Qdx::Backend
