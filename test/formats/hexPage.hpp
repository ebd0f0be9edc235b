// The worked examples of a page.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace FormatTest {

using Bytes = std::vector<unsigned char>;

// One line of an example: "  16  00 00 00 2e  46 bytes of measurements". The offset is that of its
// first byte; two blanks end the bytes.
struct HexLine {
    std::size_t offset = 0;
    Bytes bytes;
    std::string remark;
};

// A block of the language "hex", behind a comment that names the test and the example.
struct HexBlock {
    std::string name;
    std::vector<HexLine> lines;

    Bytes bytes() const;
};

// Throws std::runtime_error that names the line for one that doesn't have this form, and for a page
// that can't be read.
std::vector<HexBlock> hexBlocksOf(const std::string& path);

std::string textOf(const std::string& path);

}  // namespace FormatTest
