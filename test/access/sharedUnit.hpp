// A unit as packages lay it out on a system, and users to use it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/process.hpp"
#include "support/unitRoot.hpp"

namespace AccessTest {

// A process is whom the kernel says it is by these numbers; nobody else needs to know of the user.
struct User {
    std::string name;
    uid_t id = 0;
    std::vector<gid_t> groups;  // the first is the user's own
};

// Runs the deed in a process of the user; what it said. Throws if it didn't get so far.
bool can(const User& user, const std::function<bool()>& deed);

// A mailbox of the user in a process of its own, which stays until this goes.
class Guest {
public:
    Guest(const User& user, const std::string& mailboxName);
    ~Guest();
    Guest(const Guest&) = delete;
    Guest& operator=(const Guest&) = delete;

    std::uint32_t mailbox() const { return id; }
    // Ends it as a crash does: its files stay.
    void crash();

private:
    class Process;
    std::unique_ptr<Process> process;
    std::uint32_t id;
};

// Users, groups and folders come from the files under packaging. To be used as root.
class SharedUnit {
public:
    SharedUnit();

    // root, collector, member (of the group of frontends), operator, both and stranger.
    const User& user(const std::string& name) const;

    void startCollector();
    void stopCollector();
    void crashCollector();

    std::string path(const std::string& inUnit) const { return (root.path() / inUnit).string(); }

private:
    void layOut() const;
    void writeConfiguration() const;

    TestSupport::UnitRoot root;
    std::vector<User> users;
    std::unique_ptr<TestSupport::Process> collector;
};

}  // namespace AccessTest
