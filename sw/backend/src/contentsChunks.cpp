#include "contentsChunks.hpp"

#include <utility>

#include "controlFrame.hpp"
#include "qdxFilterCtrlI.pb.h"
#include "trace.hpp"

namespace Qdx::Backend {

namespace {

constexpr std::uint32_t lengthPrefixRoom = 4;  // a chunk's length takes that many bytes at most

std::queue<std::string> cut(const std::string& contents, std::uint32_t chunkSize) {
    std::queue<std::string> chunks;
    const auto fullChunks = chunkSize == 0 ? 0 : contents.size() / chunkSize;
    for (std::size_t i = 0; i < fullChunks; ++i) {
        chunks.push(contents.substr(i * chunkSize, chunkSize));
    }
    // Pushed also when it is empty: it is what tells the client that nothing follows.
    chunks.push(contents.substr(fullChunks * chunkSize));
    return chunks;
}

}  // namespace

std::queue<std::string> cutIntoChunks(std::string contents, std::uint32_t streamId,
                                      std::uint32_t maxSize) {
    qdxfilterctrli::FilterContentsRData message;
    message.set_has_more_data(false);
    message.set_stream_id(streamId);
    message.set_data_chunk("");
    const auto overhead = static_cast<std::uint32_t>(message.ByteSizeLong());
    message.set_data_chunk(std::move(contents));
    const auto wholeSize = Control::frameSize(message);
    QDX_TRACE(Trace7, "ind.getSize() " << wholeSize);

    contents = std::move(*message.mutable_data_chunk());
    if (wholeSize <= maxSize) {
        std::queue<std::string> whole;
        whole.push(std::move(contents));
        return whole;
    }
    constexpr auto header = static_cast<std::uint32_t>(Control::headerSize);
    return cut(contents, maxSize - header - lengthPrefixRoom - overhead);
}

}  // namespace Qdx::Backend
