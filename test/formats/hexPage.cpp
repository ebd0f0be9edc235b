#include "hexPage.hpp"

#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace FormatTest {

namespace {

constexpr char fence[] = "```";
constexpr char hexFence[] = "```hex";

// The last word of a comment, "<!-- file name -->".
std::string nameIn(const std::string& comment) {
    std::istringstream words(comment);
    std::string previous, last;
    for (std::string word; words >> word; last = word) {
        previous = last;
    }
    return last == "-->" ? previous : "";
}

bool isHexByte(const std::string& text) {
    return text.size() == 2 && std::isxdigit(static_cast<unsigned char>(text[0])) != 0 &&
           std::isxdigit(static_cast<unsigned char>(text[1])) != 0;
}

HexLine lineOf(const std::string& text) {
    const auto start = text.find_first_not_of(' ');
    const auto columns = text.find("  ", start);
    HexLine line;
    line.offset = std::stoul(text.substr(start, columns));
    const auto hex = columns + 2;
    const auto end = text.find("  ", hex);
    std::istringstream digits(text.substr(hex, end - hex));
    for (std::string byte; digits >> byte;) {
        if (!isHexByte(byte)) {
            throw std::invalid_argument(byte);
        }
        line.bytes.push_back(static_cast<unsigned char>(std::stoul(byte, nullptr, 16)));
    }
    if (end != std::string::npos) {
        line.remark = text.substr(text.find_first_not_of(' ', end));
    }
    return line;
}

}  // namespace

Bytes HexBlock::bytes() const {
    Bytes all;
    for (const auto& line : lines) {
        all.insert(all.end(), line.bytes.begin(), line.bytes.end());
    }
    return all;
}

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("can't read " + path);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<HexBlock> hexBlocksOf(const std::string& path) {
    std::istringstream page(textOf(path));
    std::vector<HexBlock> blocks;
    std::string before;
    bool inside = false;
    int number = 0;
    for (std::string line; std::getline(page, line); before = line) {
        ++number;
        if (line == hexFence) {
            blocks.push_back({nameIn(before), {}});
            inside = true;
        } else if (line == fence) {
            inside = false;
        } else if (inside) {
            try {
                blocks.back().lines.push_back(lineOf(line));
            } catch (const std::logic_error&) {
                throw std::runtime_error(path + ":" + std::to_string(number) +
                                         ": not \"offset  bytes  remark\"");
            }
        }
    }
    return blocks;
}

}  // namespace FormatTest
