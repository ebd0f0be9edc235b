// The metadata without which a collector gives no pull.
#pragma once

#include <memory>

#include "InfoObjectCollections.pb.h"
#include "frontendMessages.hpp"
#include "quardex.hpp"

namespace Qdx::Test {

// All six fields.
inline RadioMetaData wholeMetaData() {
    RadioMetaData metaData;
    metaData.set_swproductnumber("1");
    metaData.set_swproductrevision("2");
    metaData.set_hwproductnumber("3");
    metaData.set_hwproductrevision("4");
    metaData.set_hwserialnumber("5");
    metaData.set_hwname("6");
    return metaData;
}

// Has the collector handle a message with them.
inline void sendWholeMetaData(Backend::Quardex& collector) {
    const std::unique_ptr<ozo_msg, decltype(&ozo_free)> message(
        V1::toOzoMessage(V1::encodeMetaData({}, wholeMetaData())), ozo_free);
    collector.handleBeProcessMetaDataUreq(message.get());
}

}  // namespace Qdx::Test
