// How the contents of a filter are cut for the data messages of a stream.
#pragma once

#include <cstdint>
#include <queue>
#include <string>

namespace Qdx::Backend {

// The chunks in order, at least one. Contents that fit into one message of maxSize bytes, header
// included, stay whole. Others are cut into chunks of equal size and what is left: nothing, if
// their size is a multiple of it.
//
// The size of a chunk is maxSize less all else in its message, in 32 bits: a maxSize that has no
// room for all else wraps to a size beyond all contents, and these stay whole.
std::queue<std::string> cutIntoChunks(std::string contents, std::uint32_t streamId,
                                      std::uint32_t maxSize);

}  // namespace Qdx::Backend
