#include "transaction.hpp"

#include <sysexits.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>

#include "plainText.hpp"
#include "tessel/commandClient.hpp"
#include "tessel/commandProtocol.hpp"
#include "tessel/util.hpp"

namespace DchFilter {

using Tessel::CommandClient::AnswerCutShort;
using Tessel::CommandClient::Unreachable;

namespace {

constexpr const char* tableFull = "Reached maximum number of filters.";

// What the collector says, and the status that tells a script the cause.
const std::map<std::string, int, std::less<>> causes = {
    {tableFull, EX_TEMPFAIL},
    {"Maximum number of filters reached", EX_TEMPFAIL},
    {"Not enough memory Error", EX_CANTCREAT},
    {"Failed to execute command", EX_DATAERR},
    {"Since data collection is disabled, the functionality for this command is disabled.",
     EX_CONFIG},
};

std::string firstLine(const std::string& text) {
    return plainText(Tessel::Util::trim(text.substr(0, text.find('\n'))));
}

int exitStatusOf(const Answer& answer) {
    if (answer.status == Tessel::CommandProtocol::statusUnknownCommand) {
        return EX_UNAVAILABLE;
    }
    const auto cause = causes.find(firstLine(answer.text));
    return cause == causes.end() ? EX_PROTOCOL : cause->second;
}

// The number behind the label, where the answer is just that.
std::optional<std::string> numberBehind(std::string_view label, const Answer& answer) {
    const auto line = Tessel::Util::trim(answer.text);
    if (answer.status != 0 || !line.starts_with(label)) {
        return {};
    }
    const auto number = line.substr(label.size());
    const bool isNumber =
        !number.empty() && number.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? std::optional(number) : std::nullopt;
}

std::string said(const Answer& answer) {
    const auto line = firstLine(answer.text);
    return line.empty()
               ? "the collector refuses without a word, status " + std::to_string(answer.status)
               : "the collector says: " + line;
}

class Transaction {
public:
    Transaction(const FilterCheck& filterCheck, const std::string& name, const Ask& askCollector)
        : check(filterCheck), fileName(name), ask(askCollector) {}

    Outcome run() {
        try {
            return create();
        } catch (const Unreachable& error) {
            return {EX_UNAVAILABLE, error.what() + left()};
        } catch (const AnswerCutShort& error) {
            return {EX_SOFTWARE, error.what() + left()};
        }
    }

private:
    Outcome create() {
        const auto answer = ask({"dch", "fs", "create", "limit", std::to_string(check.limit)});
        const auto number = numberBehind("Created transaction: ", answer);
        if (!number) {
            return refused("dch fs create", answer);
        }
        id = *number;
        for (const auto& statement : check.statements) {
            if (const auto failure = add(statement)) {
                return *failure;
            }
        }
        return commit();
    }

    std::optional<Outcome> add(const Statement& statement) {
        std::vector<std::string> words{"dch", "fs", "add", id};
        for (const auto& word : statement.line.words) {
            words.push_back(word.text);
        }
        const auto answer = ask(words);
        if (answer.status == 0) {
            ++added;
            return {};
        }
        return refused(fileName + ':' + std::to_string(statement.line.number), answer);
    }

    Outcome commit() {
        committing = true;
        const auto answer = ask({"dch", "fs", "commit", id});
        if (numberBehind("Filter ID is: ", answer)) {
            return {EX_OK, Tessel::Util::trim(answer.text)};
        }
        // A full table is found before the commit looks at the transaction; whatever else the
        // collector refuses uses the transaction up.
        committing = false;
        if (firstLine(answer.text) != tableFull) {
            id.clear();
        }
        return refused("dch fs commit", answer);
    }

    Outcome refused(const std::string& where, const Answer& answer) const {
        return {exitStatusOf(answer), where + ": " + said(answer) + left()};
    }

    // What the collector keeps of an attempt.
    std::string left() const {
        if (committing) {
            return "\nwhether the filter was made, \"dch filter status\" tells";
        }
        if (id.empty()) {
            return {};
        }
        return "\ntransaction " + id + " stays open with " + std::to_string(added) + " of " +
               std::to_string(check.statements.size()) +
               " statements; it is no filter and does no harm,\n"
               "and goes when the collector restarts or \"dch fs commit " +
               id + "\" makes a filter of it";
    }

    const FilterCheck& check;
    const std::string& fileName;
    const Ask& ask;
    std::string id;  // of the open transaction; empty if there is none
    std::size_t added = 0;
    bool committing = false;
};

}  // namespace

Outcome createFilter(const FilterCheck& check, const std::string& fileName, const Ask& ask) {
    return Transaction(check, fileName, ask).run();
}

}  // namespace DchFilter
