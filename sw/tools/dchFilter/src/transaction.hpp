// Makes a filter: the dialogue with the collector.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "filterCheck.hpp"

namespace DchFilter {

// What the collector says to one command.
struct Answer {
    int status;
    std::string text;
};

// Types the words of a command. What it throws passes through a transaction, but for a sentence
// about what it leaves behind.
using Ask = std::function<Answer(const std::vector<std::string>& words)>;

struct Outcome {
    int exitStatus;       // as sysexits.h has them
    std::string message;  // on success the collector's line, else what went wrong and what is left
};

// Opens a transaction, adds the statements and commits it. REQUIRES: check.isGood().
Outcome createFilter(const FilterCheck& check, const std::string& fileName, const Ask& ask);

}  // namespace DchFilter
