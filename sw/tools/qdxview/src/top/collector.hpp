// The collector, as far as one who looks at it asks it.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "filterList.hpp"
#include "pull/catalogue.hpp"
#include "pull/digest.hpp"

namespace Qdxview {

// No list of filters: there is no collector, it went away, or it is disabled. One plain line says
// which.
class NoAnswer : public std::runtime_error {
    using runtime_error::runtime_error;
};

// The collector answers, but not with what was asked for. One plain line says why.
class Refused : public std::runtime_error {
    using runtime_error::runtime_error;
};

// Asks over the command socket, anew each time, and nothing that changes or clears a filter. All
// throw NoAnswer, and Tessel::CommandClient::GivenUp once giveUpFd is readable.
class Collector {
public:
    // The catalogue must outlive the object. giveUpFd: -1 for none.
    Collector(const Qdx::Pull::Catalogue& names, Qdx::Pull::Glyphs look, int giveUp = -1)
        : catalogue(names), glyphs(look), giveUpFd(giveUp) {}

    std::vector<ListedFilter> list() const;

    // Of a pull that keeps. Throws Refused. Note that the first pull of a filter that the
    // configuration prescribes is what makes it collect.
    Qdx::Pull::PullDigest pull(const std::string& word) const;

private:
    struct Answer {
        int status;
        std::string text;
    };
    Answer ask(const std::vector<std::string>& words) const;
    std::string firstLine(const std::string& text) const;

    const Qdx::Pull::Catalogue& catalogue;
    const Qdx::Pull::Glyphs glyphs;
    const int giveUpFd;
};

}  // namespace Qdxview
