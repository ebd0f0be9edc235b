// Messages of any bytes but batches: metadata, each also as base64 of itself, and connection
// requests.
#include <string>

#include "batchMessage.hpp"
#include "bigEndian.hpp"
#include "pieces.hpp"
#include "quardex.hpp"
#include "tessel/util.hpp"
#include "traceRecorder.hpp"
#include "wireFormat.hpp"

namespace {

using namespace Qdx;
using Bytes = std::vector<unsigned char>;
using Backend::Trace::Level;

// What a piece's kind asks for.
constexpr std::uint8_t asBase64 = 1;
constexpr std::uint8_t connectionRequest = 2;

Bytes base64MessageOf(const Bytes& bytes) {
    const auto text = Tessel::Util::Base64::encode(bytes);
    Bytes behind(V1::headerSize - sizeof(ozo_msg));
    behind.insert(behind.end(), text.begin(), text.end());
    behind.push_back(0);
    return behind;
}

// Whether a request holds all that it claims.
bool isTruthful(const ozo_msg* request) {
    const auto size = ozo_size(request);
    if (size < V1::beConnectionReqFixedSize) {
        return false;
    }
    const auto* bytes = reinterpret_cast<const unsigned char*>(request);
    const std::uint64_t revisions = V1::readBigEndian32(bytes + V1::revisionCountOffset);
    return V1::beConnectionReqFixedSize + revisions * sizeof(std::uint32_t) <= size;
}

// Every lie is told in one line.
void handleRequest(Backend::Quardex& collector, const Bytes& behind) {
    auto& trace = Test::TraceRecorder::instance();
    trace.clear();
    const auto msg = Test::messageOf(V1::beConnectionReq, behind);
    collector.handleBeConnectionReq(msg.get());
    Fuzz::require(trace.texts(Level::Error).size() == (isTruthful(msg.get()) ? 0u : 1u));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Test::TraceRecorder::instance().clear();
    Backend::Quardex collector;
    bool collected = false;
    Fuzz::forEachPiece(data, size, [&](std::uint8_t kind, std::span<const std::uint8_t> piece) {
        const Bytes bytes(piece.begin(), piece.end());
        if (kind & connectionRequest) {
            handleRequest(collector, bytes);
            return;
        }
        const auto msg = Test::messageOf(V1::beProcessMetaDataUreq,
                                         kind & asBase64 ? base64MessageOf(bytes) : bytes);
        collector.handleBeProcessMetaDataUreq(msg.get());
        // What was collected is never lost again.
        Fuzz::require(collector.isMetaDataCollected() || !collected);
        collected = collector.isMetaDataCollected();
    });
    return 0;
}
