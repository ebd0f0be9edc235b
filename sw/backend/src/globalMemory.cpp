#include "globalMemory.hpp"

#include <memory>
#include <memory_resource>

namespace Qdx::Backend {

GlobalMemory::GlobalMemory(unsigned long size)
    : common(std::pmr::get_default_resource(), "global", std::make_shared<unsigned long>(size)),
      main(&common, "globalMain", std::make_shared<unsigned long>(size * 70 / 100)),
      content(&common, "globalContent", std::make_shared<unsigned long>(size * 99 / 100)) {}

}  // namespace Qdx::Backend
