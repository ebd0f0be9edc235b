// What a table of subcommands lets one type next.
#pragma once

#include <functional>
#include <string>

#include "commandTable.hpp"
#include "words.hpp"

namespace Dch {

// The values that a parameter can have now.
using ValuesOf = std::function<Words(const std::string& parameter)>;

// What the last of the words, which may be empty or in the making, can become: in alphabetical
// order, each once. The words begin with the command word. Each parameter is asked for once.
// Whatever could not be typed as one word, or would play tricks on a terminal, is left out.
Words complete(const Table& table, const Words& words, const ValuesOf& valuesOf);

// Those of the candidates that begin with the text, made ready as above.
Words choose(Words candidates, const std::string& text);

// The rows that the words are a beginning of.
Table rowsThatFit(const Table& table, const Words& words);

}  // namespace Dch
