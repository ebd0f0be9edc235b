// The numbers and types by which receivers parse the output.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <string>

#include "InfoObjectCollections.pb.h"
#include "schemaText.hpp"

namespace {

using google::protobuf::FileDescriptor;

const FileDescriptor& schema() {
    return *Qdx::InfoObjectCollections::descriptor()->file();
}

constexpr auto everything = R"(enum Qdx.AggrSubType
  1 COUNT
  2 DURATION
message Qdx.InfoObjectContext
  1 optional int32 macro_rf_port
  2 optional int32 aas_rf_port_row
  3 optional int32 aas_rf_port_column
  4 optional int32 aas_rf_port_polarization
  5 optional int32 rf_branch
  6 optional int32 carrier_id
  7 optional int32 dfe_id
  8 optional int32 client_id
  9 optional int32 device_id
message Qdx.RadioMetaData
  1 optional string swProductNumber
  2 optional string swProductRevision
  3 optional string hwProductNumber
  4 optional string hwProductRevision
  5 optional string hwSerialNumber
  6 optional string hwName
message Qdx.AggrMinMaxAvg
  1 optional Qdx.AggrSubType subtype
  2 optional uint32 size
message Qdx.AggrSum
  1 optional Qdx.AggrSubType subtype
  2 optional uint32 size
message Qdx.AggrList
  1 optional Qdx.AggrSubType subtype
  2 optional uint32 size
message Qdx.MeasurementCollection
  1 optional uint32 id
  2 repeated int64 values
  3 repeated uint64 timestamps
  4 oneof aggr Qdx.AggrMinMaxAvg min
  5 oneof aggr Qdx.AggrMinMaxAvg max
  6 oneof aggr Qdx.AggrMinMaxAvg avg
  7 oneof aggr Qdx.AggrList list
  10 optional Qdx.InfoObjectContext context
message Qdx.CounterCollection
  1 optional uint32 id
  2 repeated int64 values
  3 repeated uint64 timestamps
  4 oneof aggr Qdx.AggrSum sum
  5 oneof aggr Qdx.AggrList list
  6 optional Qdx.InfoObjectContext context
message Qdx.RecordCollection
  1 optional uint32 id
  2 repeated bytes values
  3 repeated uint64 timestamps
  4 oneof aggr Qdx.AggrList list
  5 optional Qdx.InfoObjectContext context
message Qdx.InfoObjectCollections
  1 required uint32 version
  2 repeated Qdx.MeasurementCollection measurementCollections
  3 repeated Qdx.CounterCollection counterCollections
  4 repeated Qdx.RecordCollection recordCollections
  5 optional Qdx.RadioMetaData radioMetaData
)";

TEST(CollectionsSchema, HasTheseNumbersTypesAndLabelsAndPacksNothing) {
    EXPECT_EQ(Qdx::Test::textOf(schema()), everything);
}

TEST(CollectionsSchema, IsOneFileOfTheOlderSyntaxForSpeed) {
    EXPECT_EQ(schema().name(), "InfoObjectCollections.proto");
    EXPECT_EQ(schema().package(), "Qdx");
    EXPECT_EQ(schema().syntax(), FileDescriptor::SYNTAX_PROTO2);
    EXPECT_EQ(schema().options().optimize_for(), google::protobuf::FileOptions::SPEED);
    EXPECT_EQ(schema().dependency_count(), 0);
}

template <typename Collection>
std::string withContextOfNoField() {
    Collection collection;
    collection.mutable_context();
    return collection.SerializeAsString();
}

TEST(CollectionsSchema, ContextWithNoFieldSetIsOnTheWireAsAnEmptyMessage) {
    EXPECT_EQ(withContextOfNoField<Qdx::MeasurementCollection>(), std::string("\x52\x00", 2));
    EXPECT_EQ(withContextOfNoField<Qdx::CounterCollection>(), std::string("\x32\x00", 2));
    EXPECT_EQ(withContextOfNoField<Qdx::RecordCollection>(), std::string("\x2a\x00", 2));
}

}  // namespace
