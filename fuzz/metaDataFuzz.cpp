// Metadata messages of any bytes, each also as base64 of itself.
#include <string>

#include "batchMessage.hpp"
#include "pieces.hpp"
#include "quardex.hpp"
#include "tessel/util.hpp"
#include "traceRecorder.hpp"
#include "wireFormat.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Qdx;
    Test::TraceRecorder::instance().clear();
    Backend::Quardex collector;
    bool collected = false;
    Fuzz::forEachPiece(data, size, [&](std::uint8_t kind, std::span<const std::uint8_t> bytes) {
        std::vector<unsigned char> behind(bytes.begin(), bytes.end());
        if (kind & 1) {
            const auto text = Tessel::Util::Base64::encode(behind);
            behind.assign(8, 0);
            behind.insert(behind.end(), text.begin(), text.end());
            behind.push_back(0);
        }
        const auto msg = Test::messageOf(V1::beProcessMetaDataUreq, behind);
        collector.handleBeProcessMetaDataUreq(msg.get());
        // What was collected is never lost again.
        Fuzz::require(collector.isMetaDataCollected() || !collected);
        collected = collector.isMetaDataCollected();
    });
    return 0;
}
