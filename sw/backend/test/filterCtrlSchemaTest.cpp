// The numbers and types by which control clients and the collector understand each other.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "qdxFilterCtrlI.pb.h"
#include "schemaText.hpp"

namespace {

using google::protobuf::FileDescriptor;

const FileDescriptor& schema() {
    return *qdxfilterctrli::ServerMetadata::descriptor()->file();
}

constexpr auto everything = R"(message qdxfilterctrli.ServerMetadata
  1 optional string name = QdxFilterCtrlI
message qdxfilterctrli.ConnectionEstablishReq
  1 repeated uint32 supported_revisions packed
enum qdxfilterctrli.ConnectionEstablishReq.Metadata
  24148736 MESSAGE_NUMBER
message qdxfilterctrli.ConnectionEstablishCfm
  1 optional uint32 selected_protocol_rev
enum qdxfilterctrli.ConnectionEstablishCfm.Metadata
  24148737 MESSAGE_NUMBER
message qdxfilterctrli.ConnectionEstablishRej
  1 optional qdxfilterctrli.ConnectionEstablishRej.RejectReason reject_reason
enum qdxfilterctrli.ConnectionEstablishRej.Metadata
  24148738 MESSAGE_NUMBER
enum qdxfilterctrli.ConnectionEstablishRej.RejectReason
  1 NO_SUPPORTED_PROTOCOL_REVISION
  3 MAX_NUMBER_OF_CONNECTIONS_EXCEEDED
message qdxfilterctrli.CapabilityExchangeReq
enum qdxfilterctrli.CapabilityExchangeReq.Metadata
  24148739 MESSAGE_NUMBER
message qdxfilterctrli.CapabilityExchangeCfm
enum qdxfilterctrli.CapabilityExchangeCfm.Metadata
  24148740 MESSAGE_NUMBER
message qdxfilterctrli.CapabilityExchangeRej
enum qdxfilterctrli.CapabilityExchangeRej.Metadata
  24148741 MESSAGE_NUMBER
message qdxfilterctrli.CreateFilterReq
  1 optional string filter_name
  2 optional uint32 memory_limit
  3 optional qdxfilterctrli.CreateFilterReq.DataUsagePolicy data_usage_policy
  4 repeated qdxfilterctrli.CreateFilterReq.CaptureStatement capture_statements
enum qdxfilterctrli.CreateFilterReq.Metadata
  24148742 MESSAGE_NUMBER
enum qdxfilterctrli.CreateFilterReq.DataUsagePolicy
  1 KEEP_NEW_DATA
  2 KEEP_OLD_DATA
message qdxfilterctrli.CreateFilterReq.Aggregator
enum qdxfilterctrli.CreateFilterReq.Aggregator.ScopeType
  1 COUNT
  2 DURATION
message qdxfilterctrli.CreateFilterReq.Aggregator.Min
  1 optional qdxfilterctrli.CreateFilterReq.Aggregator.ScopeType scope_type
  2 optional uint32 scope_size
message qdxfilterctrli.CreateFilterReq.Aggregator.Max
  1 optional qdxfilterctrli.CreateFilterReq.Aggregator.ScopeType scope_type
  2 optional uint32 scope_size
message qdxfilterctrli.CreateFilterReq.Aggregator.Average
  1 optional qdxfilterctrli.CreateFilterReq.Aggregator.ScopeType scope_type
  2 optional uint32 scope_size
message qdxfilterctrli.CreateFilterReq.Aggregator.Sum
  1 optional qdxfilterctrli.CreateFilterReq.Aggregator.ScopeType scope_type
  2 optional uint32 scope_size
message qdxfilterctrli.CreateFilterReq.Aggregator.List
  1 optional qdxfilterctrli.CreateFilterReq.Aggregator.ScopeType scope_type
  2 optional uint32 scope_size
message qdxfilterctrli.CreateFilterReq.CaptureStatement
  1 repeated string selector_tags
  2 repeated int32 selector_ids
  3 oneof aggregator qdxfilterctrli.CreateFilterReq.Aggregator.Min min
  4 oneof aggregator qdxfilterctrli.CreateFilterReq.Aggregator.Max max
  5 oneof aggregator qdxfilterctrli.CreateFilterReq.Aggregator.Average average
  6 oneof aggregator qdxfilterctrli.CreateFilterReq.Aggregator.Sum sum
  7 oneof aggregator qdxfilterctrli.CreateFilterReq.Aggregator.List list
message qdxfilterctrli.CreateFilterCfm
  1 optional string filter_name
enum qdxfilterctrli.CreateFilterCfm.Metadata
  24148743 MESSAGE_NUMBER
message qdxfilterctrli.CreateFilterRej
enum qdxfilterctrli.CreateFilterRej.Metadata
  24148744 MESSAGE_NUMBER
message qdxfilterctrli.DisableFilterReq
  1 optional string filter_name
enum qdxfilterctrli.DisableFilterReq.Metadata
  24148745 MESSAGE_NUMBER
message qdxfilterctrli.DisableFilterCfm
enum qdxfilterctrli.DisableFilterCfm.Metadata
  24148746 MESSAGE_NUMBER
message qdxfilterctrli.DisableFilterRej
enum qdxfilterctrli.DisableFilterRej.Metadata
  24148747 MESSAGE_NUMBER
message qdxfilterctrli.EnableFilterReq
  1 optional string filter_name
enum qdxfilterctrli.EnableFilterReq.Metadata
  24148748 MESSAGE_NUMBER
message qdxfilterctrli.EnableFilterCfm
enum qdxfilterctrli.EnableFilterCfm.Metadata
  24148749 MESSAGE_NUMBER
message qdxfilterctrli.EnableFilterRej
enum qdxfilterctrli.EnableFilterRej.Metadata
  24148750 MESSAGE_NUMBER
message qdxfilterctrli.DeleteFilterReq
  1 optional string filter_name
enum qdxfilterctrli.DeleteFilterReq.Metadata
  24148751 MESSAGE_NUMBER
message qdxfilterctrli.DeleteFilterCfm
enum qdxfilterctrli.DeleteFilterCfm.Metadata
  24148752 MESSAGE_NUMBER
message qdxfilterctrli.DeleteFilterRej
enum qdxfilterctrli.DeleteFilterRej.Metadata
  24148753 MESSAGE_NUMBER
message qdxfilterctrli.GetFilterSummaryReq
enum qdxfilterctrli.GetFilterSummaryReq.Metadata
  24148754 MESSAGE_NUMBER
message qdxfilterctrli.GetFilterSummaryCfm
  1 repeated qdxfilterctrli.GetFilterSummaryCfm.FilterStatus filters
enum qdxfilterctrli.GetFilterSummaryCfm.Metadata
  24148755 MESSAGE_NUMBER
message qdxfilterctrli.GetFilterSummaryCfm.FilterStatus
  1 optional string filter_name
  2 optional bool is_static
  3 optional bool is_enabled
  4 optional string desc
message qdxfilterctrli.GetFilterSummaryRej
enum qdxfilterctrli.GetFilterSummaryRej.Metadata
  24148756 MESSAGE_NUMBER
message qdxfilterctrli.PullFilterDataReq
  1 optional string filter_name
  2 optional bool clear_data
enum qdxfilterctrli.PullFilterDataReq.Metadata
  24148757 MESSAGE_NUMBER
message qdxfilterctrli.PullFilterDataCfm
  1 optional uint32 stream_id
enum qdxfilterctrli.PullFilterDataCfm.Metadata
  24148758 MESSAGE_NUMBER
message qdxfilterctrli.PullFilterDataRej
  1 optional qdxfilterctrli.PullFilterDataRej.StatusCode status_code
enum qdxfilterctrli.PullFilterDataRej.Metadata
  24148759 MESSAGE_NUMBER
enum qdxfilterctrli.PullFilterDataRej.StatusCode
  1 NO_SUCH_FILTER_ID
  2 NO_DATA_YET
  3 META_DATA_NOT_SET
  4 OUT_OF_MEMORY
  5 FILTER_DISABLED
message qdxfilterctrli.FilterContentsRData
  1 optional bytes data_chunk
  2 optional bool has_more_data
  3 optional uint32 stream_id
enum qdxfilterctrli.FilterContentsRData.Metadata
  24148760 MESSAGE_NUMBER
message qdxfilterctrli.FilterContentsRAck
  1 optional uint32 stream_id
enum qdxfilterctrli.FilterContentsRAck.Metadata
  24148761 MESSAGE_NUMBER
)";

TEST(FilterCtrlSchema, HasTheseNumbersTypesLabelsAndDefaults) {
    EXPECT_EQ(Qdx::Test::textOf(schema()), everything);
}

TEST(FilterCtrlSchema, IsOneFileOfTheOlderSyntaxForSmallCode) {
    EXPECT_EQ(schema().name(), "qdxFilterCtrlI.proto");
    EXPECT_EQ(schema().package(), "qdxfilterctrli");
    EXPECT_EQ(schema().syntax(), FileDescriptor::SYNTAX_PROTO2);
    EXPECT_EQ(schema().options().optimize_for(), google::protobuf::FileOptions::CODE_SIZE);
    EXPECT_EQ(schema().dependency_count(), 0);
}

TEST(FilterCtrlSchema, NumbersFollowEachOtherInTheOrderOfTheFile) {
    // The first message is the one without a number.
    for (int i = 1; i < schema().message_type_count(); ++i) {
        const auto* metadata = schema().message_type(i)->FindEnumTypeByName("Metadata");
        ASSERT_NE(metadata, nullptr) << schema().message_type(i)->name();
        EXPECT_EQ(metadata->value(0)->number(), 0x01707B00 + i - 1);
    }
    EXPECT_EQ(schema().message_type_count(), 27);
}

TEST(FilterCtrlSchema, AbsentFieldReadsAsTheFirstOfItsEnumerators) {
    EXPECT_EQ(qdxfilterctrli::ConnectionEstablishRej().reject_reason(),
              qdxfilterctrli::ConnectionEstablishRej::NO_SUPPORTED_PROTOCOL_REVISION);
    EXPECT_EQ(qdxfilterctrli::PullFilterDataRej().status_code(),
              qdxfilterctrli::PullFilterDataRej::NO_SUCH_FILTER_ID);
    EXPECT_EQ(qdxfilterctrli::CreateFilterReq().data_usage_policy(),
              qdxfilterctrli::CreateFilterReq::KEEP_NEW_DATA);
    EXPECT_EQ(qdxfilterctrli::CreateFilterReq::Aggregator::Min().scope_type(),
              qdxfilterctrli::CreateFilterReq::Aggregator::COUNT);
}

TEST(FilterCtrlSchema, RejectReasonTwoIsUnknown) {
    qdxfilterctrli::ConnectionEstablishRej rejection;
    ASSERT_TRUE(rejection.ParseFromString("\x08\x02"));
    EXPECT_FALSE(rejection.has_reject_reason());
}

}  // namespace
