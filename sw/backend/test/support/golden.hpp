// Golden files: whole outputs kept in the folder golden of the tests that compare with them.
#pragma once

#include <string>

namespace Qdx::Test {

// Expects the text to be that of the golden file of this name, byte for byte. With RENEW_GOLDEN in
// the environment it writes the file instead; scripts/renew-golden does so for all of them.
void expectGolden(const std::string& fileName, const std::string& text);

}  // namespace Qdx::Test
