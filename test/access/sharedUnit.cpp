#include "sharedUnit.hpp"

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "ozo.h"
#include "ozoTestSupport.hpp"

namespace AccessTest {

namespace fs = std::filesystem;
using OzoTest::Child;

namespace {

void become(const User& user) {
    if (::setgroups(user.groups.size(), user.groups.data()) != 0 ||
        ::setgid(user.groups.front()) != 0 || ::setuid(user.id) != 0)
        throw std::runtime_error("only root can become " + user.name);
}

void runAsRoot(const std::vector<std::string>& words) {
    TestSupport::Process process(words);
    if (process.awaitExit() != 0)
        throw std::runtime_error(words.front() + ": " + process.error());
}

// The number in the third field of the line that begins with the name, as passwd and group have it.
unsigned numberOf(const std::string& file, const std::string& name) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string field[3];
        for (auto& each : field)
            std::getline(fields, each, ':');
        if (field[0] == name)
            return static_cast<unsigned>(std::stoul(field[2]));
    }
    throw std::runtime_error(file + " does not have " + name);
}

}  // namespace

bool can(const User& user, const std::function<bool()>& deed) {
    const Child child([&](const Child::Line& line) {
        become(user);
        line.tell(deed() ? 1 : 0);
        line.awaitGo();
    });
    const auto answer = child.hear();
    if (!answer)
        throw std::runtime_error(user.name + " did not get to an end");
    return *answer == 1;
}

class Guest::Process : public Child {
public:
    using Child::Child;
};

Guest::Guest(const User& user, const std::string& mailboxName)
    : process(std::make_unique<Process>([&](const Child::Line& line) {
          become(user);
          line.tell(ozo_create_mailbox(mailboxName.c_str(), 0));
          line.awaitGo();
      })),
      id(process->hear().value_or(OZO_NO_MAILBOX)) {
    if (id == OZO_NO_MAILBOX)
        throw std::runtime_error(user.name + " gets no mailbox " + mailboxName);
}

Guest::~Guest() = default;

void Guest::crash() {
    process->kill();
}

SharedUnit::SharedUnit() {
    if (::geteuid() != 0)
        throw std::runtime_error("only root can be several users; run this test as root");
    layOut();
    writeConfiguration();
    const uid_t collectorUser = numberOf(path("etc/passwd"), "qdx");
    const gid_t frontends = numberOf(path("etc/group"), "qdx");
    const gid_t operators = numberOf(path("etc/group"), "qdxop");
    users = {{"root", 0, {0}},
             {"collector", collectorUser, {frontends}},
             {"member", 61001, {61001, frontends}},
             {"operator", 61002, {61002, operators}},
             {"both", 61003, {61003, frontends, operators}},
             {"stranger", 61004, {61004}},
             {"otherMember", 61005, {61005, frontends}}};
}

const User& SharedUnit::user(const std::string& name) const {
    return *std::find_if(users.begin(), users.end(),
                         [&](const User& each) { return each.name == name; });
}

void SharedUnit::layOut() const {
    fs::permissions(root.path(), fs::perms(0755));
    fs::create_directory(path("etc"));
    const std::string option = "--root=" + root.path().string();
    runAsRoot({"/usr/bin/systemd-sysusers", option, PACKAGING "/sysusers.d/qdx.conf"});
    runAsRoot({"/usr/bin/systemd-tmpfiles", option, "--create", PACKAGING "/tmpfiles.d/qdx.conf"});
}

void SharedUnit::writeConfiguration() const {
    std::ofstream(path("objects.xml")) << R"(<infoObjectList>
        <tags><tag name="CPU"/></tags>
        <objects><object id="1" name="cpu:load" type="meas"><tags>CPU</tags></object></objects>
        </infoObjectList>)";
    fs::create_directories(path("opt/zelvasw/srv/database/qdx"));
    std::ofstream(path("opt/zelvasw/srv/database/qdx/swdb.cfg"))
        << "[qdx]\nenabled = 1\ninfoObjectListFilePath = '" << path("objects.xml") << "'\n";
    // The collector's user may not reach the build.
    fs::copy_file(QDXD, path("qdxd"));
    fs::copy_file(QDXBE, path("libqdxbe.so"));
}

void SharedUnit::startCollector() {
    const User& self = user("collector");
    collector = std::make_unique<TestSupport::Process>(
        std::vector<std::string>{"/usr/bin/setpriv", "--reuid=" + std::to_string(self.id),
                                 "--regid=" + std::to_string(self.groups.front()), "--clear-groups",
                                 path("qdxd"), "--library", path("libqdxbe.so")});
    collector->awaitError("qdxd: ready");
}

void SharedUnit::stopCollector() {
    collector->signal(SIGTERM);
    collector->awaitExit();
}

void SharedUnit::crashCollector() {
    collector->signal(SIGKILL);
    collector->awaitExit();
}

}  // namespace AccessTest
