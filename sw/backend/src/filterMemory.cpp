#include "filterMemory.hpp"

namespace Qdx::Backend {

FilterMemory::FilterMemory(const std::string& name, std::optional<unsigned long> limit,
                           GlobalMemory* global)
    : maxSize(limit),
      innerRemaining(partialSize(limit, 100)),
      innerMain(global->getMainResource(), name + ".innerMain", innerRemaining),
      innerContent(global->getContentResource(), name + ".innerContent", innerRemaining),
      outerMain(&innerMain, name + ".outerMain", partialSize(limit, 70)),
      outerContent(&innerContent, name + ".outerContent", partialSize(limit, 99)) {}

unsigned long FilterMemory::getAllocatedSize() const {
    return outerMain.getAllocatedSize() + outerContent.getAllocatedSize();
}

std::optional<unsigned long> FilterMemory::getRemainingSize() const {
    return innerRemaining ? std::optional(*innerRemaining) : std::nullopt;
}

std::shared_ptr<unsigned long> FilterMemory::partialSize(std::optional<unsigned long> size,
                                                         unsigned short percent) {
    if (!size)
        return nullptr;
    return std::make_shared<unsigned long>(percent * *size / 100);
}

}  // namespace Qdx::Backend
