#include "json.hpp"

#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/type_resolver_util.h>

#include <memory>

#include "carrierEvent.pb.h"
#include "registerInfo.pb.h"
#include "utf8.hpp"

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

bool isText(const proto::FieldDescriptor& field) {
    return field.type() == proto::FieldDescriptor::TYPE_STRING && !field.is_repeated();
}

// Protobuf's own converter lets some bytes pass that its reader refuses. The texts that can hold
// them are not repeated.
void keepValidTexts(proto::Message& message) {
    const auto& schema = *message.GetDescriptor();
    const auto& reflection = *message.GetReflection();
    for (int index = 0; index < schema.field_count(); ++index) {
        const auto* field = schema.field(index);
        if (isText(*field) && reflection.HasField(message, field)) {
            reflection.SetString(&message, field, validPart(reflection.GetString(message, field)));
        }
    }
}

void keepValidTextsInside(Qdx::Records::CarrierEvent& event) {
    keepValidTexts(event);
}

void keepValidTextsInside(Qdx::Records::RegisterInfo& info) {
    keepValidTexts(info);
    for (auto& each : *info.mutable_registers()) {
        keepValidTexts(each);
    }
}

template <typename Message>
std::optional<std::string> parsedJson(const std::string& record) {
    Message message;
    std::string text;
    if (!message.ParseFromString(record)) {
        return std::nullopt;
    }
    keepValidTextsInside(message);
    return proto::util::MessageToJsonString(message, &text).ok() ? std::optional(text)
                                                                 : std::nullopt;
}

}  // namespace

// The message is serialised anew, as parts that were put behind each other would give JSON with the
// same key twice; it is converted piece by piece, as JSON takes several times the room.
void writeJson(std::ostream& out, const Qdx::InfoObjectCollections& message) {
    auto metaData = message.radiometadata();
    keepValidTexts(metaData);
    // A second message takes its room only where a text has to change.
    if (metaData.SerializePartialAsString() == message.radiometadata().SerializePartialAsString()) {
        convert(message.SerializePartialAsString(), message.GetTypeName(), out);
    } else {
        auto valid = message;
        valid.mutable_radiometadata()->Swap(&metaData);
        convert(valid.SerializePartialAsString(), message.GetTypeName(), out);
    }
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
