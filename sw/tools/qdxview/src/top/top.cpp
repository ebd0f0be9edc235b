#include "top.hpp"

#include <unistd.h>

#include <csignal>

#include "collector.hpp"
#include "commandLine/terminal.hpp"
#include "eventDescriptor.hpp"
#include "observer.hpp"
#include "painter.hpp"
#include "poller.hpp"
#include "pull/badData.hpp"
#include "signals.hpp"
#include "terminal.hpp"
#include "view.hpp"
#include "wallTime.hpp"

namespace Qdxview {

namespace {

using Qdx::Pull::Catalogue;

// The unit's own list is a help that nobody asked for: without it, numbers stand for names.
Catalogue catalogueOf(const TopOptions& options, const UnitConfiguration& unit) {
    if (!options.catalogue.empty()) {
        return Catalogue::read(options.catalogue);
    }
    try {
        return unit.objectList.empty() ? Catalogue() : Catalogue::read(unit.objectList);
    } catch (const Qdx::Pull::NoInput&) {
        return {};
    } catch (const Qdx::Pull::BadData&) {
        return {};
    }
}

// The live view, from key to key.
class Viewer {
public:
    Viewer(Terminal& screen, Poller& source, const TopOptions& options)
        : terminal(screen), poller(source), glyphs(options.glyphs) {
        view.period = options.period;
    }

    void show() {
        picture = poller.picture();
        follow(view, picture);
        poller.attend({view.selected, view.period, view.paused});
        terminal.show(paint(picture, view, {terminal.size(), glyphs, now()}));
    }

    // False to leave.
    bool obey() {
        for (const auto& key : terminal.keys()) {
            const auto wish = press(view, picture, key, seriesPage(picture, terminal.size()));
            if (wish == Wish::Leave) {
                return false;
            }
            if (wish == Wish::Wake && view.selected) {
                poller.wake(*view.selected);
            }
        }
        return true;
    }

private:
    Terminal& terminal;
    Poller& poller;
    const Qdx::Pull::Glyphs glyphs;
    Picture picture;
    View view;
};

}  // namespace

int showTop(const TopOptions& options) {
    // Ages and the time of day go on.
    constexpr std::chrono::milliseconds tick(1'000);
    const auto unit = readUnitConfiguration();
    const auto catalogue = catalogueOf(options, unit);
    const EventDescriptor news;
    const Signals signals(news);
    Terminal terminal(Qdx::CommandLine::takesEscapes(STDOUT_FILENO));
    Poller poller(Observer(unit, options.filters, options.glyphs), catalogue, options.glyphs,
                  {std::nullopt, options.period}, [&news] { news.raise(); });
    Viewer viewer(terminal, poller, options);
    do {
        if (Signals::takeStop()) {
            Terminal::giveBack();
            stop();
        }
        viewer.show();
        if (!terminal.await(news.fd(), tick)) {
            return SIGHUP;
        }
        news.clear();
    } while (Signals::end() == 0 && viewer.obey());
    return Signals::end();
}

void printTop(std::ostream& out, const TopOptions& options, std::size_t width) {
    const auto unit = readUnitConfiguration();
    const auto catalogue = catalogueOf(options, unit);
    const Collector collector(catalogue, options.glyphs);
    Observer observer(unit, options.filters, options.glyphs);
    observer.listed(collector.list(), now());
    if (!options.filters.empty() && observer.picture().filters.empty()) {
        throw NoAnswer("the collector has no filter of those that were named");
    }
    for (const auto filter : observer.pullable()) {
        try {
            observer.pulled(filter, collector.pull(observer.wordFor(filter)), now());
        } catch (const Refused& error) {
            observer.refused(filter, error.what(), now());
        }
    }
    for (const auto& line : paintWhole(observer.picture(), {{0, width}, options.glyphs, now()})) {
        out << textOf(line) << '\n';
    }
}

}  // namespace Qdxview
