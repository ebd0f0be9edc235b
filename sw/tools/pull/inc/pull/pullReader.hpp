// What a pull gave, and the messages inside it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "InfoObjectCollections.pb.h"

namespace Qdx::Pull {

// More than any collector keeps. A hostile message takes up to forty times its size in memory, so
// this is what bounds it.
inline constexpr std::size_t longestMessage = std::size_t{64} << 20;

// Room for such a message as text, and for what stands around it.
inline constexpr std::size_t longestInput = std::size_t{128} << 20;

struct PulledMessage {
    std::string bytes;  // as they came
    Qdx::InfoObjectCollections collections;
};

enum class InputForm {
    Any,  // raw if the first byte is that of a message with its version in front, which no text
          // begins with; else text
    Raw,
};

// The messages of the input. Of a text these are what stands between "<QdxOutput>" and
// "</QdxOutput>", in order, as base64; what stands around the markers is ignored, and so is white
// space between them, as a copy from a terminal brings it. Raw input is the bytes of one message;
// several behind each other are one message, too, with the collections of all. Throws BadData, with
// the source's name, when there is no message, or one that is damaged.
std::vector<PulledMessage> readPulls(std::string input, const std::string& source,
                                     InputForm form = InputForm::Any);

// The message of these bytes, which throws as readPulls does.
PulledMessage readMessage(std::string bytes, const std::string& source);

}  // namespace Qdx::Pull
