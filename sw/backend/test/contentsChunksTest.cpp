// How contents are cut, against the size of real data messages.
#include "contentsChunks.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "controlFrame.hpp"
#include "qdxFilterCtrlI.pb.h"
#include "traceRecorder.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::TraceRecorder;
using Trace::Level;
using Chunks = std::vector<std::string>;

// What stands in a data message of stream 1 beside its chunk: three fields of two bytes.
constexpr std::uint32_t overhead = 6;
constexpr std::uint32_t chunkSizeIn(std::uint32_t maxSize) {
    return maxSize - 16 - overhead;
}

std::string bytes(std::size_t size) {
    std::string text(size, 0);
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>('a' + i % 26);
    }
    return text;
}

Chunks chunksOf(const std::string& contents, std::uint32_t streamId, std::uint32_t maxSize) {
    Chunks chunks;
    for (auto queue = cutIntoChunks(contents, streamId, maxSize); !queue.empty(); queue.pop()) {
        chunks.push_back(queue.front());
    }
    return chunks;
}

std::vector<std::size_t> sizesOf(std::size_t contents, std::uint32_t maxSize) {
    std::vector<std::size_t> sizes;
    for (const auto& chunk : chunksOf(bytes(contents), 1, maxSize)) {
        sizes.push_back(chunk.size());
    }
    return sizes;
}

using Sizes = std::vector<std::size_t>;

std::size_t sizeOfMessage(const std::string& chunk, std::uint32_t streamId, bool hasMoreData) {
    qdxfilterctrli::FilterContentsRData message;
    message.set_data_chunk(chunk);
    message.set_has_more_data(hasMoreData);
    message.set_stream_id(streamId);
    return Control::frameSize(message);
}

TEST(ContentsChunks, EmptyContentsAreOneEmptyChunk) {
    EXPECT_EQ(sizesOf(0, 1024), Sizes{0});
}

TEST(ContentsChunks, ContentsThatFillTheMessageStayWhole) {
    // 12 of header, 2 of has_more_data, 2 of stream_id, 1 of tag and 2 of length leave 1005.
    EXPECT_EQ(sizeOfMessage(bytes(1005), 1, false), 1024);
    EXPECT_EQ(sizesOf(1005, 1024), Sizes{1005});
    EXPECT_EQ(sizesOf(1006, 1024), (Sizes{1002, 4}));
}

TEST(ContentsChunks, ExactMultipleEndsWithAnEmptyChunk) {
    constexpr auto size = chunkSizeIn(1024);
    EXPECT_EQ(sizesOf(std::size_t{3} * size, 1024), (Sizes{size, size, size, 0}));
    EXPECT_EQ(sizesOf(std::size_t{3} * size - 1, 1024), (Sizes{size, size, size - 1}));
    EXPECT_EQ(sizesOf(std::size_t{3} * size + 1, 1024), (Sizes{size, size, size, 1}));
}

TEST(ContentsChunks, LongerStreamIdLeavesSmallerChunks) {
    EXPECT_EQ(chunksOf(bytes(2000), 127, 1024)[0].size(), 1002);
    EXPECT_EQ(chunksOf(bytes(2000), 128, 1024)[0].size(), 1001);
    EXPECT_EQ(chunksOf(bytes(2000), 0xFFFFFFFF, 1024)[0].size(), 998);
}

TEST(ContentsChunks, ChunkSizeOfZeroLeavesTheContentsWhole) {
    static_assert(chunkSizeIn(22) == 0);
    EXPECT_EQ(sizesOf(500, 22), Sizes{500});
}

TEST(ContentsChunks, ChunkSizeOfOneCutsEveryByte) {
    EXPECT_EQ(sizesOf(6, 23), (Sizes{1, 1, 1, 1, 1, 1, 0}));
}

TEST(ContentsChunks, ChunkSizeBelowZeroWrapsAndLeavesTheContentsWhole) {
    for (const std::uint32_t maxSize : {0u, 1u, 12u, 15u, 16u, 21u}) {
        EXPECT_EQ(sizesOf(500, maxSize), Sizes{500}) << maxSize;
    }
}

TEST(ContentsChunks, TraceTellsTheSizeOfTheWholeMessage) {
    TraceRecorder::instance().clear();
    chunksOf(bytes(3000), 1, 1024);
    EXPECT_EQ(TraceRecorder::instance().texts(Level::Trace7),
              std::vector<std::string>{"ind.getSize() " +
                                       std::to_string(sizeOfMessage(bytes(3000), 1, false))});
}

// The rules said slowly.
Chunks expectedChunks(const std::string& contents, std::uint32_t streamId, std::uint32_t maxSize) {
    if (sizeOfMessage(contents, streamId, false) <= maxSize) {
        return {contents};
    }
    const auto others = sizeOfMessage("", streamId, false) - 12;
    const std::uint32_t size = maxSize - 16 - static_cast<std::uint32_t>(others);
    Chunks chunks = {""};
    for (const char byte : contents) {
        chunks.back() += byte;
        if (chunks.back().size() == size) {
            chunks.emplace_back();
        }
    }
    return chunks;
}

TEST(ContentsChunks, AreThoseOfThePlainRulesAndFitTheirMessages) {
    constexpr unsigned seed = 4711;
    std::mt19937 random(seed);
    const auto upTo = [&](std::uint32_t largest) {
        return std::uniform_int_distribution<std::uint32_t>(0, largest)(random);
    };
    for (int round = 0; round < 3000; ++round) {
        const auto maxSize = upTo(1) ? upTo(64) : 1024 + upTo(2000);
        const auto streamId = upTo(3) ? upTo(300) : upTo(0xFFFFFFFF);
        const auto contents = bytes(upTo(maxSize < 100 ? 300 : 6000));
        const auto chunks = chunksOf(contents, streamId, maxSize);
        ASSERT_EQ(chunks, expectedChunks(contents, streamId, maxSize))
            << "seed " << seed << ", round " << round << ": " << contents.size() << " bytes in "
            << maxSize;
        for (std::size_t i = 0; maxSize >= 1024 && i < chunks.size(); ++i) {
            ASSERT_LE(sizeOfMessage(chunks[i], streamId, i + 1 < chunks.size()), maxSize);
        }
    }
}

}  // namespace
}  // namespace Qdx::Backend
