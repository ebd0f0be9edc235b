#include "schemaText.hpp"

#include <google/protobuf/descriptor.pb.h>

#include <sstream>

namespace Qdx::Test {

namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

std::string typeOf(const FieldDescriptor& field) {
    if (field.message_type() != nullptr) {
        return field.message_type()->full_name();
    }
    if (field.enum_type() != nullptr) {
        return field.enum_type()->full_name();
    }
    return field.type_name();
}

std::string labelOf(const FieldDescriptor& field) {
    if (field.containing_oneof() != nullptr) {
        return "oneof " + field.containing_oneof()->name();
    }
    return field.is_required() ? "required" : field.is_repeated() ? "repeated" : "optional";
}

int messageCount(const FileDescriptor& file) {
    return file.message_type_count();
}
int messageCount(const Descriptor& message) {
    return message.nested_type_count();
}
const Descriptor& messageOf(const FileDescriptor& file, int index) {
    return *file.message_type(index);
}
const Descriptor& messageOf(const Descriptor& message, int index) {
    return *message.nested_type(index);
}

void describe(const EnumDescriptor& type, std::ostream& out) {
    out << "enum " << type.full_name() << "\n";
    for (int i = 0; i < type.value_count(); ++i) {
        out << "  " << type.value(i)->number() << " " << type.value(i)->name() << "\n";
    }
}

void describe(const Descriptor& message, std::ostream& out);

// The types that a file or a message holds.
template <typename Holder>
void describeTypesOf(const Holder& holder, std::ostream& out) {
    for (int i = 0; i < holder.enum_type_count(); ++i) {
        describe(*holder.enum_type(i), out);
    }
    for (int i = 0; i < messageCount(holder); ++i) {
        describe(messageOf(holder, i), out);
    }
}

void describe(const Descriptor& message, std::ostream& out) {
    out << "message " << message.full_name() << "\n";
    for (int i = 0; i < message.field_count(); ++i) {
        const auto& field = *message.field(i);
        out << "  " << field.number() << " " << labelOf(field) << " " << typeOf(field) << " "
            << field.name() << (field.is_packed() ? " packed" : "");
        if (field.has_default_value()) {
            google::protobuf::FieldDescriptorProto asWritten;
            field.CopyTo(&asWritten);
            out << " = " << asWritten.default_value();
        }
        out << "\n";
    }
    describeTypesOf(message, out);
}

}  // namespace

std::string textOf(const FileDescriptor& schema) {
    std::ostringstream out;
    describeTypesOf(schema, out);
    return out.str();
}

}  // namespace Qdx::Test
