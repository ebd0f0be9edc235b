#include "conversation.hpp"

#include <cstdlib>

#include "history.hpp"
#include "interrupts.hpp"
#include "lineEditor.hpp"
#include "output.hpp"
#include "session.hpp"

namespace Dch {

namespace {

// Types one line. False to leave.
bool typeLine(const std::string& line, Session& session) {
    const auto outcome = session.type(line);
    if (!outcome.reason.empty()) {
        writeError(session.name() + ": " + outcome.reason + '\n');
    }
    return !outcome.leave;
}

// Types what was entered: one line, or several if they were pasted. Ctrl-C gives up a command and
// those behind it. False to leave.
bool typeAll(const std::string& entered, Session& session, History& history) {
    try {
        for (const auto& line : splitLines(entered)) {
            history.add(line);
            if (!typeLine(line, session)) {
                return false;
            }
        }
    } catch (const Tessel::CommandClient::GivenUp&) {
        writeOutput("\n");
    }
    return true;
}

}  // namespace

void converse(const std::string& name) {
    const Interrupts interrupts;
    Session session(name, interrupts.fd());
    LineEditor editor(name,
                      {[&](const std::string& before) { return session.complete(before); },
                       [&](const std::string& before) { return session.explain(before); }},
                      interrupts);
    History history(historyPath(secure_getenv("XDG_STATE_HOME"), secure_getenv("HOME")));
    while (const auto entered = editor.read()) {
        if (!typeAll(*entered, session, history)) {
            break;
        }
        interrupts.take();
    }
}

}  // namespace Dch
