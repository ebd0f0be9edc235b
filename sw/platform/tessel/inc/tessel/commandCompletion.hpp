// What may be typed in the place of a command's parameter.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Tessel::CommandCompletion::V1 {

class CommandCompletionIf {
public:
    // The values that a parameter can have at this moment, in any order, each without a newline;
    // none for a parameter that it doesn't know. The parameter is named as in the syntax of the
    // subcommands, "filterId" for "<filterId>".
    using Completer = std::function<std::vector<std::string>(const std::string& parameter)>;

    static CommandCompletionIf& getInstance();

    // Has the completer asked where the command of the word runs, between commands. It replaces an
    // earlier one, and goes when the word is registered again. 0 on success; a word that is no
    // command is refused.
    virtual int registerCompleter(const std::string& word, Completer completer) = 0;

    virtual ~CommandCompletionIf() = default;
};

}  // namespace Tessel::CommandCompletion::V1
