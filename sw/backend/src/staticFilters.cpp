// The filters that the configuration prescribes. They are created once, at the start.
#include <algorithm>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "applicationSupport.hpp"
#include "quardexShellCommands.hpp"
#include "trace.hpp"

namespace Qdx::Backend {

namespace {

using Words = std::vector<std::string>;

const std::string staticFilters = "/qdx/staticFilters/";

// Opens each statement of a specification, as the command word does on a line of the shell.
constexpr char opener[] = "dch";

std::optional<Words> readList(const std::string& key) {
    Words list;
    if (ApplicationSupport::getInstance()->getDatabase()->readStringList(key, list) != 0) {
        return std::nullopt;
    }
    return list;
}

Printable isPrintable(const std::string& name) {
    const auto printable = readList(staticFilters + "printable");
    const bool listed =
        printable && std::find(printable->begin(), printable->end(), name) != printable->end();
    return listed ? Printable::Yes : Printable::No;
}

std::string inBraces(const Words& list) {
    std::string text;
    for (const auto& element : list) {
        text.append(text.empty() ? "{" : ", ").append(element);
    }
    return text.empty() ? "{}" : text + "}";
}

// The words behind each opener, every one with a blank in front.
Words toStatements(const Words& specification) {
    Words statements;
    for (const auto& word : specification) {
        if (word == opener) {
            statements.emplace_back();
        } else {
            statements.back().append(" ").append(word);
        }
    }
    return statements;
}

}  // namespace

bool QuardexShellCommands::createStaticFilters() {
    bool all = true;
    const auto createListed = [&](const std::string& key, Enabled enabled) {
        const auto names = readList(key);
        if (!names) {
            return;
        }
        QDX_TRACE(Trace5, key << ": " << inBraces(*names));
        for (const auto& name : *names) {
            all = createStaticFilter(name, enabled) && all;
        }
    };
    createListed(staticFilters + "enabledByDefault", Enabled::Yes);
    createListed(staticFilters + "disabledByDefault", Enabled::No);
    return all;
}

bool QuardexShellCommands::createStaticFilter(const std::string& name, Enabled enabled) {
    const auto specification = readList(staticFilters + name);
    if (!specification) {
        QDX_TRACE(Error, "No static filter configuration found for filter '" << name << "'");
        return false;
    }
    const auto printable = isPrintable(name);
    if (backend->findFilter(name)) {
        QDX_TRACE(Info, "Filter with name '" << name << "' already exists");
        return false;
    }
    if (specification->empty() || specification->front() != opener) {
        QDX_TRACE(Error, "All filter specifications must begin with the word 'dch'");
        return false;
    }
    const auto statements = toStatements(*specification);
    const auto transaction = fsCreate(statements.front(), enabled, printable);
    if (!transaction) {
        QDX_TRACE(Error, "Expected valid 'fs create' statement in static filter '"
                             << name << "' specification, got '" << statements.front() << "'");
        return false;
    }
    for (auto statement = statements.begin() + 1; statement != statements.end(); ++statement) {
        if (!fsAdd(*statement, *transaction)) {
            QDX_TRACE(Error, "Expected valid 'fs add' statement in static filter '"
                                 << name << "' specification, got '" << *statement << "'");
            return false;
        }
    }
    const auto committed = fsCommit(*transaction, name, Static::Yes);
    if (const auto* message = std::get_if<std::string>(&committed)) {
        QDX_TRACE(Error, "Static filter '" << name << "' could not be committed: " << *message);
        return false;
    }
    return true;
}

}  // namespace Qdx::Backend
