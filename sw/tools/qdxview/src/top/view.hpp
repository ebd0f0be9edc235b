// What of a picture is looked at, and how keys change that.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "picture.hpp"

namespace Qdxview {

enum class Key {
    Up,
    Down,
    PageUp,
    PageDown,
    Home,
    End,
    Enter,
    Escape,
    Backspace,
    Text,  // a character
};

struct Keystroke {
    Key key;
    std::string text{};  // the character, in UTF-8
};

// The order of series.
enum class Order { AsPulled, Name, Newest, Values };

struct View {
    std::optional<std::int64_t> selected{};  // a filter of the picture, if it has any
    std::size_t firstSeries = 0;             // that is shown; those before it are scrolled away
    Order order = Order::AsPulled;
    std::string search{};  // what the series shown have in a text; empty: all
    bool searching = false;
    bool help = false;
    bool paused = false;
    std::chrono::milliseconds period{2'000};
};

// What a key asks for beyond another view.
enum class Wish {
    None,
    Leave,
    Wake,  // the selected filter
};

// page: how many series are shown at once.
Wish press(View& view, const Picture& picture, const Keystroke& keystroke, std::size_t page);

// Selects the first filter if the one that was selected is no more.
void follow(View& view, const Picture& picture);

// Null if there is none.
const FilterPicture* selectedOf(const View& view, const Picture& picture);

// The series that match the search, in the order of the view; they are the digest's.
std::vector<const Qdx::Pull::SeriesDigest*> seriesOf(const View& view,
                                                     const Qdx::Pull::PullDigest& digest);

}  // namespace Qdxview
