#include "view.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace Qdxview {

namespace {

using Qdx::Pull::SeriesDigest;
using std::chrono::milliseconds;
using namespace std::chrono_literals;

constexpr std::array<milliseconds, 7> periods{500ms, 1s, 2s, 5s, 10s, 30s, 60s};
constexpr std::size_t longestSearch = 60;

milliseconds longer(milliseconds period) {
    const auto* const next = std::upper_bound(periods.begin(), periods.end(), period);
    return next == periods.end() ? period : *next;
}

milliseconds shorter(milliseconds period) {
    const auto* const next = std::lower_bound(periods.begin(), periods.end(), period);
    return next == periods.begin() ? period : *(next - 1);
}

Order after(Order order) {
    switch (order) {
        case Order::AsPulled:
            return Order::Name;
        case Order::Name:
            return Order::Newest;
        case Order::Newest:
            return Order::Values;
        case Order::Values:
            break;
    }
    return Order::AsPulled;
}

char lowered(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

bool holds(const std::string& text, const std::string& part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(),
                       [](char a, char b) { return lowered(a) == lowered(b); }) != text.end();
}

bool matches(const SeriesDigest& series, const std::string& search) {
    return holds(series.name, search) || holds(series.context, search) ||
           holds(series.aggregation, search);
}

void select(View& view, const Picture& picture, bool next) {
    const auto& filters = picture.filters;
    const auto* const now = selectedOf(view, picture);
    if (now == nullptr) {
        return;
    }
    const auto row = static_cast<std::size_t>(now - filters.data());
    const auto other =
        next ? std::min(row + 1, filters.size() - 1) : row - std::min<std::size_t>(row, 1);
    if (other != row) {
        view.selected = filters[other].id;
        view.firstSeries = 0;
    }
}

std::size_t seriesCount(const View& view, const Picture& picture) {
    const auto* const filter = selectedOf(view, picture);
    return filter != nullptr && filter->digest ? seriesOf(view, *filter->digest).size() : 0;
}

void scroll(View& view, const Picture& picture, const Keystroke& keystroke, std::size_t page) {
    const auto count = seriesCount(view, picture);
    const auto last = count - std::min(count, page);
    const auto now = std::min(view.firstSeries, last);
    switch (keystroke.key) {
        case Key::PageDown:
            view.firstSeries = std::min(now + page, last);
            break;
        case Key::PageUp:
            view.firstSeries = now - std::min(now, page);
            break;
        case Key::End:
            view.firstSeries = last;
            break;
        default:
            view.firstSeries = 0;
    }
}

void dropCharacter(std::string& text) {
    while (!text.empty()) {
        const bool isFirstByte = (text.back() & 0xC0) != 0x80;
        text.pop_back();
        if (isFirstByte) {
            return;
        }
    }
}

void editSearch(View& view, const Keystroke& keystroke) {
    view.firstSeries = 0;
    switch (keystroke.key) {
        case Key::Text:
            if (view.search.size() + keystroke.text.size() <= longestSearch) {
                view.search += keystroke.text;
            }
            break;
        case Key::Backspace:
            dropCharacter(view.search);
            break;
        case Key::Escape:
            view.search.clear();
            view.searching = false;
            break;
        case Key::Enter:
            view.searching = false;
            break;
        default:
            break;
    }
}

Wish type(View& view, const Picture& picture, const std::string& character) {
    if (character == "q") {
        return Wish::Leave;
    }
    if (character == "j" || character == "k") {
        select(view, picture, character == "j");
    } else if (character == "/") {
        view.searching = true;
    } else if (character == "s") {
        view.order = after(view.order);
    } else if (character == "p") {
        view.paused = !view.paused;
    } else if (character == "+") {
        view.period = longer(view.period);
    } else if (character == "-") {
        view.period = shorter(view.period);
    } else if (character == "?") {
        view.help = true;
    }
    return Wish::None;
}

}  // namespace

Wish press(View& view, const Picture& picture, const Keystroke& keystroke, std::size_t page) {
    if (view.searching) {
        editSearch(view, keystroke);
        return Wish::None;
    }
    if (view.help) {
        view.help = false;
        return keystroke.text == "q" ? Wish::Leave : Wish::None;
    }
    switch (keystroke.key) {
        case Key::Up:
        case Key::Down:
            select(view, picture, keystroke.key == Key::Down);
            return Wish::None;
        case Key::Enter:
            return Wish::Wake;
        case Key::Escape:
            view.search.clear();
            return Wish::None;
        case Key::Text:
            return type(view, picture, keystroke.text);
        case Key::Backspace:
            return Wish::None;
        default:
            scroll(view, picture, keystroke, page);
            return Wish::None;
    }
}

void follow(View& view, const Picture& picture) {
    if (selectedOf(view, picture) != nullptr) {
        return;
    }
    view.firstSeries = 0;
    view.selected = picture.filters.empty() ? std::nullopt : std::optional(picture.filters[0].id);
}

const FilterPicture* selectedOf(const View& view, const Picture& picture) {
    const auto found =
        std::find_if(picture.filters.begin(), picture.filters.end(),
                     [&view](const auto& filter) { return filter.id == view.selected; });
    return found == picture.filters.end() ? nullptr : &*found;
}

std::vector<const SeriesDigest*> seriesOf(const View& view, const Qdx::Pull::PullDigest& digest) {
    std::vector<const SeriesDigest*> shown;
    for (const auto& series : digest.series) {
        if (matches(series, view.search)) {
            shown.push_back(&series);
        }
    }
    std::stable_sort(shown.begin(), shown.end(), [&view](const auto* one, const auto* other) {
        switch (view.order) {
            case Order::Name:
                return one->name < other->name;
            case Order::Newest:
                return one->newestTime > other->newestTime;
            case Order::Values:
                return one->values > other->values;
            case Order::AsPulled:
                break;
        }
        return false;
    });
    return shown;
}

}  // namespace Qdxview
