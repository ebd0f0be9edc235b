#include "json.hpp"

#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/type_resolver_util.h>

#include <memory>

#include "carrierEvent.pb.h"
#include "registerInfo.pb.h"

namespace Qdx::Pull {

namespace {

namespace proto = google::protobuf;

constexpr const char* typeUrlPrefix = "type.googleapis.com";

// The stream ends with this function's own objects: what they buffer is written by then.
void convert(const std::string& bytes, const std::string& typeName, std::ostream& out) {
    const std::unique_ptr<proto::util::TypeResolver> types(
        proto::util::NewTypeResolverForDescriptorPool(typeUrlPrefix,
                                                      proto::DescriptorPool::generated_pool()));
    proto::io::ArrayInputStream input(bytes.data(), static_cast<int>(bytes.size()));
    proto::io::OstreamOutputStream output(&out);
    const auto status = proto::util::BinaryToJsonStream(
        types.get(), std::string(typeUrlPrefix) + '/' + typeName, &input, &output);
    if (!status.ok()) {
        // Bytes that a message of the type was just serialised to.
        out.setstate(std::ios::failbit);
    }
}

template <typename Message>
std::optional<std::string> parsedJson(const std::string& record) {
    Message message;
    std::string text;
    if (!message.ParseFromString(record) ||
        !proto::util::MessageToJsonString(message, &text).ok()) {
        return std::nullopt;
    }
    return text;
}

}  // namespace

// The message is serialised anew, as parts that were put behind each other would give JSON with the
// same key twice; it is converted piece by piece, as JSON takes several times the room.
void writeJson(std::ostream& out, const Qdx::InfoObjectCollections& message) {
    convert(message.SerializePartialAsString(),
            Qdx::InfoObjectCollections::descriptor()->full_name(), out);
    out << '\n';
}

std::optional<std::string> recordJson(const std::string& record, std::string_view messageType) {
    if (messageType.find("CarrierEvent") != std::string_view::npos) {
        return parsedJson<Qdx::Records::CarrierEvent>(record);
    }
    if (messageType.find("RegisterInfo") != std::string_view::npos) {
        return parsedJson<Qdx::Records::RegisterInfo>(record);
    }
    return std::nullopt;
}

}  // namespace Qdx::Pull
