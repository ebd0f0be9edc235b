// Schemas as text that tests can show and compare.
#pragma once

#include <google/protobuf/descriptor.h>

#include <string>

namespace Qdx::Test {

// Every enumeration and message of the file, a line for each enumerator and field, in the order of
// the file; what is nested comes behind the message that holds it.
std::string textOf(const google::protobuf::FileDescriptor& schema);

}  // namespace Qdx::Test
