#include "golden.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace Qdx::Test {

void expectGolden(const std::string& fileName, const std::string& text) {
    const auto path = std::string(QDX_GOLDEN_DIRECTORY "/") + fileName;
    if (std::getenv("RENEW_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << text;
    }
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file) << path << " is missing: run scripts/renew-golden and look at what it wrote";
    const std::string golden(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(text, golden) << path << " differs; if it is meant to, run scripts/renew-golden";
}

}  // namespace Qdx::Test
