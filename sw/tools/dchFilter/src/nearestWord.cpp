#include "nearestWord.hpp"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace DchFilter {

namespace {

// Longer words are nobody's slip of the finger.
constexpr std::size_t longest = 40;

bool same(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
}

// Row by row of the usual table; a swap needs the last two of them.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = last[j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1])) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        beforeLast.swap(last);
        last.swap(row);
    }
    return last[b.size()];
}

}  // namespace

std::string nearestWord(std::string_view unknown, const std::vector<std::string>& known) {
    if (unknown.size() > longest) {
        return {};
    }
    std::string nearest;
    std::size_t fewest = (unknown.size() + 2) / 3 + 1;
    for (const auto& word : known) {
        const std::size_t changes = distance(unknown, word);
        if (changes < fewest) {
            fewest = changes;
            nearest = word;
        }
    }
    return nearest;
}

}  // namespace DchFilter
