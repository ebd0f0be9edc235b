// Small text utilities of the platform.
#pragma once

#include <string>
#include <vector>

namespace Tessel::Util {

// Cuts text at each character of delimiters. Adjacent delimiters give empty tokens, and so does one
// at either end.
std::vector<std::string> tokenize(const std::string& text, const std::string& delimiters);

// What trim takes off by default.
inline const std::string WHITESPACE = " \t\r\n";

// text without the characters of the set at both ends.
std::string trim(const std::string& text, const std::string& characters = WHITESPACE);

// Base64 with the alphabet A-Z a-z 0-9 + /, without line cuts.
class Base64 {
public:
    // Padded with "=" to a multiple of four characters.
    static std::string encode(const std::vector<unsigned char>& bytes);

    // Stops without a word at the first character outside the alphabet, "=" included; what was
    // decoded so far is the result.
    static std::vector<unsigned char> decode(const std::string& text);
};

}  // namespace Tessel::Util
