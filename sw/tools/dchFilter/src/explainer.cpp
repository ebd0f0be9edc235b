#include "explainer.hpp"

#include <algorithm>
#include <charconv>
#include <map>
#include <string_view>
#include <utility>

#include "captureStatement.hpp"
#include "contextKeys.hpp"
#include "infoObjectContextImpl.hpp"
#include "nearestWord.hpp"
#include "plainText.hpp"

namespace DchFilter {

using Qdx::Backend::AggregationMethod;
using Qdx::Backend::AggregationPeriod;
using Qdx::Backend::CaptureStatement;

namespace {

constexpr const char* aggregators = "an aggregator (min, max, average, sum, list)";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}
bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isTagCharacter(char c) {
    return isUpper(c) || c == '_';
}
bool isLetter(char c) {
    return isLower(c) || isUpper(c);
}

template <typename Number>
std::optional<Number> toNumber(std::string_view digits) {
    Number value{};
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return result.ec == std::errc() ? std::optional(value) : std::nullopt;
}

template <typename Key>
std::optional<Key> keyOf(const std::map<Key, std::string>& texts, std::string_view text) {
    const auto found =
        std::ranges::find_if(texts, [text](const auto& entry) { return entry.second == text; });
    return found == texts.end() ? std::nullopt : std::optional(found->first);
}

// Words that other tools have for these.
std::string synonymOf(std::string_view word) {
    static const std::map<std::string, std::string, std::less<>> synonyms = {
        {"avg", "average"}, {"mean", "average"}, {"maximum", "max"},
        {"minimum", "min"}, {"last", "list"},    {"samples", "list"},
        {"total", "sum"},   {"tag", "tags"},     {"ctx", "context"}};
    const auto found = synonyms.find(word);
    return found == synonyms.end() ? "" : found->second;
}

std::string quoted(std::string_view word) {
    constexpr std::size_t longest = 30;
    const auto shown = plainText(word.substr(0, longest));
    return '"' + shown + (word.size() > longest ? "...\"" : "\"");
}

std::string upperCase(std::string_view word) {
    std::string upper(word);
    std::ranges::transform(upper, upper.begin(), [](char c) {
        return isLower(c) ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return upper;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) {
        text.append(text.empty() ? "" : ", ").append(word);
    }
    return text;
}

std::string meantSuggestion(const std::string& nearest) {
    return "; did you mean \"" + nearest + "\"?";
}

// A piece of the statement.
struct Piece {
    std::size_t offset;
    std::string_view text;
    std::size_t end() const { return offset + text.size(); }
};

// What was consumed last decides what may follow.
enum class Last { Nothing, Tags, Context, Windows, List };

class Explainer {
public:
    explicit Explainer(std::string_view statement) : text(statement) {}

    Explanation explain() {
        if (text.size() > CaptureStatement::maxTextSize) {
            result.fault = tooLong();
            return std::move(result);
        }
        readTags();
        readContext();
        while (!result.fault && at < text.size()) {
            result.fault = readAggregator();
        }
        if (!result.fault && result.outline.aggregators.empty()) {
            result.fault = remark({text.size(), {}}, std::string("the statement keeps nothing; ") +
                                                         aggregators + " is expected here");
        }
        return std::move(result);
    }

private:
    // --- places ------------------------------------------------------------------------------

    bool has(std::size_t offset, char c) const { return offset < text.size() && text[offset] == c; }

    Piece run(std::size_t offset, bool (*belongs)(char)) const {
        const auto rest = text.substr(std::min(offset, text.size()));
        const auto end = std::find_if_not(rest.begin(), rest.end(), belongs);
        return {offset, rest.substr(0, static_cast<std::size_t>(end - rest.begin()))};
    }

    // Up to the next blank.
    Piece word(std::size_t offset) const {
        return run(offset, [](char c) { return c != ' '; });
    }

    // --- remarks -----------------------------------------------------------------------------

    static Remark remark(const Piece& place, std::string message, std::string note = {}) {
        return {place.offset, std::max<std::size_t>(place.text.size(), 1), std::move(message),
                std::move(note)};
    }

    static Remark tooLong() {
        const auto most = CaptureStatement::maxTextSize;
        return {most,
                1,
                "the statement is longer than " + std::to_string(most) +
                    " characters, the most that the collector reads",
                {}};
    }

    // Something else stands at the offset, or nothing, where a blank and then this must follow.
    Remark expected(std::size_t offset, const std::string& what) const {
        if (offset >= text.size()) {
            return {text.size(), 1, "the statement ends; " + what + " is expected here", {}};
        }
        if (text[offset] != ' ') {
            return remark(word(offset), "found " + quoted(word(offset).text) +
                                            " without a blank in front; a blank is expected here");
        }
        const auto found = word(offset + 1);
        return remark(found, "found " + quoted(found.text) + "; " + what + " is expected here");
    }

    // What may stand at the start of what isn't consumed.
    std::string accepted() const {
        switch (last) {
            case Last::Nothing:
                return std::string("\"tags\", \"context\" or ") + aggregators;
            case Last::Tags:
                return std::string("a tag in capital letters, \"context\" or ") + aggregators;
            case Last::Context:
                return std::string("a context key with its number or ") + aggregators;
            case Last::Windows:
                return std::string("a number or ") + aggregators;
            case Last::List:
                break;
        }
        return aggregators;
    }

    // --- tags and context --------------------------------------------------------------------

    void consume(std::size_t end, Last what) {
        at = end;
        last = what;
    }

    void readTags() {
        constexpr std::string_view head = " tags";
        if (!text.starts_with(head)) {
            return;
        }
        auto end = head.size();
        while (has(end, ' ') && !run(end + 1, isTagCharacter).text.empty()) {
            end = run(end + 1, isTagCharacter).end();
        }
        if (end > head.size()) {
            result.outline.tags = text.substr(0, end);
            consume(end, Last::Tags);
        }
    }

    struct Pair {
        Piece key;
        Piece value;
    };

    // A blank, a key, a blank and a number as they may stand in a context clause.
    std::optional<Pair> readPair(std::size_t offset) const {
        if (!has(offset, ' ') || offset + 1 >= text.size() || !isLower(text[offset + 1])) {
            return {};
        }
        const auto key = run(offset + 1, isLetter);
        if (!has(key.end(), ' ')) {
            return {};
        }
        const auto digitsAt = key.end() + (has(key.end() + 1, '-') ? 2 : 1);
        const auto digits = run(digitsAt, isDigit);
        if (digits.text.empty()) {
            return {};
        }
        const auto valueAt = key.end() + 1;
        return Pair{key, {valueAt, text.substr(valueAt, digits.end() - valueAt)}};
    }

    static bool isKey(const Piece& key) {
        return Qdx::V1::InfoObjectContextImpl::toSym(std::string(key.text)).has_value();
    }

    std::optional<Remark> faultOf(const Pair& pair) const {
        if (!isKey(pair.key)) {
            return unknownKey(pair.key);
        }
        if (!toNumber<int>(pair.value.text)) {
            return remark(pair.value, quoted(pair.value.text) +
                                          " does not fit in 32 bits; a number from -2147483648 to "
                                          "2147483647 is expected here");
        }
        return {};
    }

    static Remark unknownKey(const Piece& key) {
        const auto nearest = nearestWord(key.text, contextKeys());
        return remark(key,
                      "there is no context key " + quoted(key.text) +
                          (nearest.empty() ? "" : meantSuggestion(nearest)),
                      "context keys: " + joined(contextKeys()));
    }

    void readContext() {
        constexpr std::string_view head = " context";
        if (!text.substr(at).starts_with(head)) {
            return;
        }
        auto end = at + head.size();
        std::optional<Remark> fault;
        while (const auto pair = readPair(end)) {
            fault = fault ? fault : faultOf(*pair);
            end = pair->value.end();
        }
        if (fault) {
            result.fault = fault;
        } else if (end > at + head.size()) {
            result.outline.context = text.substr(at, end - at);
            consume(end, Last::Context);
        }
    }

    // --- aggregators -------------------------------------------------------------------------

    struct Number {
        Piece digits;
        std::optional<std::uint32_t> value;  // empty if it doesn't fit
    };

    std::vector<Number> readNumbers(std::size_t offset) const {
        std::vector<Number> numbers;
        while (has(offset, ' ')) {
            const auto digits = run(offset + 1, isDigit);
            if (digits.text.empty()) {
                break;
            }
            numbers.push_back({digits, toNumber<std::uint32_t>(digits.text)});
            offset = digits.end();
        }
        return numbers;
    }

    std::optional<Remark> readAggregator() {
        if (!has(at, ' ')) {
            return gluedOn();
        }
        const auto head = word(at + 1);
        const auto method = keyOf(Qdx::Backend::aggregationMethodTexts(), head.text);
        if (!method) {
            return noAggregator(head);
        }
        if (!has(head.end(), ' ')) {
            return expected(head.end(), R"("count" or "duration")");
        }
        const auto periodWord = word(head.end() + 1);
        const auto period = keyOf(Qdx::Backend::aggregationPeriodTexts(), periodWord.text);
        if (!period) {
            return wrongPeriod(periodWord);
        }
        return *method == AggregationMethod::List ? readList(*period, periodWord.end())
                                                  : readWindows(*method, *period, periodWord.end());
    }

    Remark wrongPeriod(const Piece& found) const {
        auto fault = expected(found.offset - 1, R"("count" or "duration")");
        const auto nearest = nearestWord(found.text, {"count", "duration"});
        if (!nearest.empty()) {
            fault.text = "found " + quoted(found.text) + meantSuggestion(nearest);
        }
        return fault;
    }

    std::optional<Remark> readList(AggregationPeriod period, std::size_t offset) {
        const auto numbers = readNumbers(offset);
        if (numbers.empty()) {
            return expected(offset, "a number");
        }
        const auto& size = numbers.front();
        if (!size.value) {
            return remark(size.digits, quoted(size.digits.text) +
                                           " does not fit in 32 bits; a number up to 4294967295 is "
                                           "expected here");
        }
        result.outline.aggregators.push_back({AggregationMethod::List, period, *size.value, 0});
        warnOfEmptyList(period, size);
        consume(size.digits.end(), Last::List);
        return {};
    }

    void warnOfEmptyList(AggregationPeriod period, const Number& size) {
        if (*size.value != 0) {
            return;
        }
        warn(size, period == AggregationPeriod::Count
                       ? "a list of 0 samples has no limit: it grows until memory runs out"
                       : "a list of 0 seconds keeps only what came in the newest moment");
    }

    std::optional<Remark> readWindows(AggregationMethod method, AggregationPeriod period,
                                      std::size_t offset) {
        auto numbers = readNumbers(offset);
        if (numbers.empty()) {
            return expected(offset, "a number");
        }
        const auto end = numbers.back().digits.end();
        if (numbers.size() == 1) {
            return expected(end, "a second number");
        }
        dropUnreadable(numbers);
        for (std::size_t i = 1; i < numbers.size(); ++i) {
            if (auto fault = faultOfPair(numbers[i - 1], numbers[i])) {
                return fault;
            }
        }
        for (std::size_t i = 1; i < numbers.size(); ++i) {
            result.outline.aggregators.push_back(
                {method, period, *numbers[i - 1].value, *numbers[i].value});
            warnOfWindows(result.outline.aggregators.back(), numbers[i - 1], numbers[i]);
        }
        consume(end, Last::Windows);
        return {};
    }

    // The parser stops reading at a number that it can't hold, and goes on behind the clause.
    void dropUnreadable(std::vector<Number>& numbers) {
        const auto lost =
            std::ranges::find_if(numbers, [](const Number& number) { return !number.value; });
        if (lost == numbers.end()) {
            return;
        }
        const bool nothingLeft = lost - numbers.begin() < 2;
        warn(*lost, quoted(lost->digits.text) +
                        " does not fit in 32 bits: the collector reads the clause up to there" +
                        (nothingLeft ? ", and makes nothing of it" : ""));
        numbers.erase(lost, numbers.end());
    }

    static std::optional<Remark> faultOfPair(const Number& scope, const Number& span) {
        const bool isMultiple =
            *scope.value == 0 ? *span.value == 0 : *span.value % *scope.value == 0;
        if (isMultiple) {
            return {};
        }
        const auto multiple = "a multiple of " + std::to_string(*scope.value);
        return remark(span.digits, std::to_string(*span.value) + " is not " + multiple + "; " +
                                       multiple + " is expected here");
    }

    void warn(const Number& number, std::string message) {
        result.warnings.push_back(remark(number.digits, std::move(message)));
    }

    void warnOfWindows(const AggregatorClause& clause, const Number& scope, const Number& span) {
        const bool counts = clause.period == AggregationPeriod::Count;
        // Milliseconds are counted in 32 bits.
        constexpr std::uint32_t longestMean = 2'147'483;
        if (clause.scope == 0 && counts) {
            warn(scope, "windows of 0 samples never end: no values come of them");
        } else if (clause.scope == 0) {
            warn(scope, "windows of 0 seconds: each sample costs the rest of the batch it came in");
        } else if (clause.span == 0 && counts && clause.scope == 1) {
            warn(span, "a span of 0 has no limit: this aggregator grows until memory runs out");
        } else if (clause.span == 0) {
            warn(span,
                 "a span of 0 has no room for a window: each that ends costs the rest of a batch");
        } else if (!counts && clause.method == AggregationMethod::Average &&
                   clause.scope > longestMean) {
            warn(scope, "the averages of windows of more than 2147483 seconds are wrong");
        }
    }

    // --- what else may stand where an aggregator is expected ---------------------------------

    Remark gluedOn() const {
        const auto found = word(at);
        const auto start = "found " + quoted(found.text);
        switch (last) {
            case Last::Nothing:
                return remark(found, start + "; every clause begins with a blank");
            case Last::Tags:
                return remark(found, start + R"( in a tag; tags are of capital letters and "_")");
            default:
                return remark(found, start + " behind a number; a blank is expected here");
        }
    }

    Remark noAggregator(const Piece& head) const {
        if (head.text == "tags") {
            return misplacedTags(head);
        }
        if (head.text == "context") {
            return misplacedContext(head);
        }
        if (last == Last::Context && isKey(head)) {
            return expected(head.end(), "a whole number for " + std::string(head.text));
        }
        return unknownWord(head);
    }

    Remark misplacedTags(const Piece& head) const {
        if (last == Last::Nothing) {
            return noTag(head.end());
        }
        const bool repeated = !result.outline.tags.empty();
        return remark(head, repeated ? "a second tags clause; all tags stand in the first one"
                                     : "tags stand before context and aggregators");
    }

    Remark noTag(std::size_t offset) const {
        auto fault = expected(offset, "a tag in capital letters");
        const auto found = has(offset, ' ') ? word(offset + 1).text : std::string_view();
        if (!found.empty() && std::ranges::all_of(found, isLower)) {
            fault.text = "found " + quoted(found) +
                         "; tags are written in capital letters: " + upperCase(found);
        }
        return fault;
    }

    Remark misplacedContext(const Piece& head) const {
        if (last == Last::Nothing || last == Last::Tags) {
            return noPair(head.end());
        }
        const bool repeated = !result.outline.context.empty();
        return remark(head, repeated ? "a second context clause; all keys stand in the first one"
                                     : "the context stands before the aggregators");
    }

    Remark noPair(std::size_t offset) const {
        if (!has(offset, ' ') || offset + 1 >= text.size()) {
            return expected(offset, "a context key with its number");
        }
        const auto key = word(offset + 1);
        return isKey(key) ? expected(key.end(), "a whole number for " + std::string(key.text))
                          : unknownKey(key);
    }

    Remark unknownWord(const Piece& head) const {
        auto fault = expected(at, accepted());
        auto nearest = synonymOf(head.text);
        if (nearest.empty()) {
            nearest = nearestWord(head.text, keywords());
        }
        const bool looksLikeTag =
            last == Last::Tags && !head.text.empty() && std::ranges::all_of(head.text, isLetter);
        if (!nearest.empty()) {
            fault.text = "found " + quoted(head.text) + meantSuggestion(nearest);
            fault.note = "expected here: " + accepted();
        } else if (looksLikeTag) {
            fault.text = "found " + quoted(head.text) +
                         "; tags are written in capital letters: " + upperCase(head.text);
            fault.note = "expected here: " + accepted();
        }
        return fault;
    }

    std::vector<std::string> keywords() const {
        std::vector<std::string> words{"min", "max", "average", "sum", "list"};
        if (last == Last::Nothing) {
            words.emplace_back("tags");
        }
        if (last == Last::Nothing || last == Last::Tags) {
            words.emplace_back("context");
        }
        if (last == Last::Context) {
            words.insert(words.end(), contextKeys().begin(), contextKeys().end());
        }
        return words;
    }

    const std::string_view text;
    std::size_t at = 0;  // where what isn't consumed begins
    Last last = Last::Nothing;
    Explanation result;
};

}  // namespace

std::string AggregatorClause::text() const {
    return Qdx::Backend::aggregationMethodTexts().at(method) + ' ' +
           Qdx::Backend::aggregationPeriodTexts().at(period) + ' ' + std::to_string(scope) +
           (isList() ? "" : ' ' + std::to_string(span));
}

Explanation explain(const std::string& statement) {
    return Explainer(statement).explain();
}

}  // namespace DchFilter
