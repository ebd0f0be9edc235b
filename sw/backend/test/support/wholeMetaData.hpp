// The metadata without which a collector gives no pull.
#pragma once

#include <memory>

#include "InfoObjectCollections.pb.h"
#include "frontendMessages.hpp"
#include "quardex.hpp"

namespace Qdx::Test {

// Has the collector handle a message with all six fields.
inline void sendWholeMetaData(Backend::Quardex& collector) {
    RadioMetaData metaData;
    metaData.set_swproductnumber("1");
    metaData.set_swproductrevision("2");
    metaData.set_hwproductnumber("3");
    metaData.set_hwproductrevision("4");
    metaData.set_hwserialnumber("5");
    metaData.set_hwname("6");
    const std::unique_ptr<ozo_msg, decltype(&ozo_free)> message(
        V1::toOzoMessage(V1::encodeMetaData({}, metaData)), ozo_free);
    collector.handleBeProcessMetaDataUreq(message.get());
}

}  // namespace Qdx::Test
