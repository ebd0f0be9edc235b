#include "infoObjectContextImpl.hpp"

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "allocationCounter.hpp"

namespace Qdx::V1 {
namespace {

using ::testing::IsNull;
using ::testing::NotNull;

// Each text with the one fault that its name tells.
const std::vector<std::pair<std::string, std::string>> undecodable{
    {"empty", ""},
    {"comma alone", ","},
    {"equals sign alone", "="},
    {"no value", "rfBranch"},
    {"empty value", "rfBranch="},
    {"empty key", "=3"},
    {"unknown key", "rfbranch=3"},
    {"name of the schema", "rf_branch=3"},
    {"trailing comma", "rfBranch=3,"},
    {"leading comma", ",rfBranch=3"},
    {"two commas", "rfBranch=3,,carrierId=7"},
    {"duplicate", "rfBranch=3,rfBranch=3"},
    {"duplicate behind another", "rfBranch=3,carrierId=7,rfBranch=4"},
    {"blank before", " rfBranch=3"},
    {"blank behind", "rfBranch=3 "},
    {"blank after the comma", "rfBranch=3, carrierId=7"},
    {"blank before the value", "rfBranch= 3"},
    {"blank before the equals sign", "rfBranch =3"},
    {"plus sign", "rfBranch=+3"},
    {"minus alone", "rfBranch=-"},
    {"two minus signs", "rfBranch=--3"},
    {"letters", "rfBranch=three"},
    {"digits and letters", "rfBranch=3a"},
    {"hexadecimal", "rfBranch=0x3"},
    {"fraction", "rfBranch=3.0"},
    {"two equals signs", "rfBranch==3"},
    {"second value", "rfBranch=3=4"},
    {"too large", "rfBranch=2147483648"},
    {"too small", "rfBranch=-2147483649"},
    {"far too large", "rfBranch=99999999999999999999999999"},
    {"other separator", "rfBranch=3;carrierId=7"},
    {"NUL inside", std::string("rfBranch=3\0", 11)},
    {"NUL in key", std::string("rfBranch\0=3", 11)},
};

InfoObjectContextImpl::Selector selector(const std::vector<std::pair<std::string, int>>& entries) {
    InfoObjectContextImpl::Selector result;
    for (const auto& [key, value] : entries) {
        result.emplace(key.c_str(), value);
    }
    return result;
}

bool matches(const std::vector<std::pair<std::string, int>>& entries, const std::string& context) {
    return InfoObjectContextImpl::matches(selector(entries), context);
}

TEST(ContextKeyTest, KnowsEveryFieldOfTheSchemaByItsLowerCamelCaseName) {
    const auto* schema = InfoObjectContext::descriptor();
    ASSERT_EQ(schema->field_count(), 9);
    for (int index = 0; index < schema->field_count(); ++index) {
        const auto* field = schema->field(index);
        EXPECT_EQ(InfoObjectContextImpl::toSym(field->json_name()), field->number());
    }
}

TEST(ContextKeyTest, KnowsTheNamesThatFrontendsUse) {
    const std::vector<std::string> keys{
        "macroRfPort", "aasRfPortRow", "aasRfPortColumn", "aasRfPortPolarization",
        "rfBranch",    "carrierId",    "dfeId",           "clientId",
        "deviceId"};
    for (std::size_t index = 0; index < keys.size(); ++index) {
        EXPECT_EQ(InfoObjectContextImpl::toSym(keys[index]), static_cast<int>(index) + 1);
    }
}

TEST(ContextKeyTest, RefusesOtherNames) {
    for (const auto* key :
         {"", "rfbranch", "RfBranch", "rf_branch", "rfBranch ", "rfBranc", "id"}) {
        EXPECT_EQ(InfoObjectContextImpl::toSym(key), std::nullopt) << key;
    }
}

TEST(ContextCacheTest, DecodesEveryKeyIntoItsField) {
    const auto* schema = InfoObjectContext::descriptor();
    for (int index = 0; index < schema->field_count(); ++index) {
        const auto* field = schema->field(index);
        const auto* context =
            InfoObjectContextImpl::cache(field->json_name() + "=" + std::to_string(index + 100));
        ASSERT_THAT(context, NotNull()) << field->json_name();
        EXPECT_EQ(context->ShortDebugString(), field->name() + ": " + std::to_string(index + 100));
    }
}

TEST(ContextCacheTest, DecodesSeveralPairsInAnyOrder) {
    const auto* context = InfoObjectContextImpl::cache("carrierId=7,rfBranch=3");
    ASSERT_THAT(context, NotNull());
    EXPECT_EQ(context->ShortDebugString(), "rf_branch: 3 carrier_id: 7");
}

TEST(ContextCacheTest, DecodesTheLimitsOfValues) {
    const auto* context =
        InfoObjectContextImpl::cache("rfBranch=-2147483648,carrierId=2147483647,dfeId=0");
    ASSERT_THAT(context, NotNull());
    EXPECT_EQ(context->ShortDebugString(),
              "rf_branch: -2147483648 carrier_id: 2147483647 dfe_id: 0");
}

TEST(ContextCacheTest, RefusesTextsThatAreNoContext) {
    for (const auto& [fault, text] : undecodable) {
        EXPECT_THAT(InfoObjectContextImpl::cache(text), IsNull()) << fault;
    }
}

TEST(ContextCacheTest, GivesTheSameContextForTheSameText) {
    const auto* first = InfoObjectContextImpl::cache("rfBranch=11");
    EXPECT_EQ(InfoObjectContextImpl::cache("rfBranch=11"), first);
    EXPECT_NE(InfoObjectContextImpl::cache("rfBranch=12"), first);
}

TEST(ContextCacheTest, KeepsContextsInPlaceAsItGrows) {
    std::vector<const InfoObjectContext*> contexts;
    contexts.reserve(10000);
    for (int value = 0; value < 10000; ++value) {
        contexts.push_back(InfoObjectContextImpl::cache("clientId=" + std::to_string(value)));
    }
    for (int value = 0; value < 10000; ++value) {
        const auto* context = contexts[static_cast<std::size_t>(value)];
        EXPECT_EQ(context->client_id(), value);
        EXPECT_EQ(InfoObjectContextImpl::cache("clientId=" + std::to_string(value)), context);
    }
}

TEST(ContextCacheTest, GivesAllThreadsOneContextForOneText) {
    constexpr std::size_t threadCount = 4;
    constexpr int texts = 500;
    std::vector<std::vector<const InfoObjectContext*>> seen(threadCount);
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (auto& contexts : seen) {
        threads.emplace_back([&contexts] {
            for (int value = 0; value < texts; ++value) {
                contexts.push_back(InfoObjectContextImpl::cache("dfeId=" + std::to_string(value)));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& contexts : seen) {
        EXPECT_EQ(contexts, seen.front());
    }
}

TEST(ContextMatchTest, EmptySelectorMatchesEverything) {
    EXPECT_TRUE(matches({}, ""));
    EXPECT_TRUE(matches({}, "rfBranch=3"));
    EXPECT_TRUE(matches({}, "no context"));
}

TEST(ContextMatchTest, MatchesTheValueOfTheKey) {
    EXPECT_TRUE(matches({{"rfBranch", 3}}, "rfBranch=3"));
    EXPECT_TRUE(matches({{"rfBranch", 3}}, "carrierId=7,rfBranch=3"));
    EXPECT_FALSE(matches({{"rfBranch", 3}}, "rfBranch=4"));
    EXPECT_FALSE(matches({{"rfBranch", 3}}, "rfBranch=33"));
    EXPECT_FALSE(matches({{"rfBranch", 3}}, "carrierId=3"));
    EXPECT_TRUE(matches({{"rfBranch", -1}}, "rfBranch=-1"));
}

TEST(ContextMatchTest, KeyThatStandsSeveralTimesTakesAnyOfItsValues) {
    EXPECT_TRUE(matches({{"rfBranch", 3}, {"rfBranch", 4}}, "rfBranch=3"));
    EXPECT_TRUE(matches({{"rfBranch", 3}, {"rfBranch", 4}}, "rfBranch=4"));
    EXPECT_FALSE(matches({{"rfBranch", 3}, {"rfBranch", 4}}, "rfBranch=5"));
}

TEST(ContextMatchTest, EveryKeyMustMatch) {
    const std::vector<std::pair<std::string, int>> both{{"rfBranch", 3}, {"carrierId", 7}};
    EXPECT_TRUE(matches(both, "rfBranch=3,carrierId=7,dfeId=1"));
    EXPECT_FALSE(matches(both, "rfBranch=3"));
    EXPECT_FALSE(matches(both, "rfBranch=3,carrierId=8"));
    EXPECT_FALSE(matches(both, "rfBranch=2,carrierId=7"));
}

TEST(ContextMatchTest, KeyThatTheContextLacksDoesNotMatchZero) {
    EXPECT_FALSE(matches({{"rfBranch", 0}}, "carrierId=7"));
}

TEST(ContextMatchTest, UnknownKeyMatchesNothing) {
    EXPECT_FALSE(matches({{"colour", 3}}, "rfBranch=3"));
    EXPECT_FALSE(matches({{"colour", 3}, {"rfBranch", 3}}, "rfBranch=3"));
}

TEST(ContextMatchTest, UndecodableContextMatchesNoKey) {
    for (const auto& [fault, text] : undecodable) {
        EXPECT_FALSE(matches({{"rfBranch", 3}}, text)) << fault;
    }
}

TEST(ContextMatchTest, AllocatesNothing) {
    const auto wanted = selector({{"aasRfPortPolarization", 3}, {"carrierId", 7}});
    const std::string context = "aasRfPortPolarization=3,carrierId=7,deviceId=1";
    const std::size_t before = allocationCount();
    EXPECT_TRUE(InfoObjectContextImpl::matches(wanted, context));
    EXPECT_EQ(allocationCount(), before);
}

TEST(ContextCacheTest, FindingAKnownTextAllocatesNothing) {
    const std::string context = "aasRfPortPolarization=3,carrierId=7,deviceId=1";
    const auto* known = InfoObjectContextImpl::cache(context);
    const std::size_t before = allocationCount();
    EXPECT_EQ(InfoObjectContextImpl::cache(context), known);
    EXPECT_EQ(allocationCount(), before);
}

}  // namespace
}  // namespace Qdx::V1
