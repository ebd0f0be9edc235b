// A participant that is built as a collector is: an active object with a mailbox and a command
// whose subcommands stand in a table.
#include <cstdlib>
#include <fstream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bevel/cmdTableHelper.hpp"
#include "ozo.h"
#include "tessel/activeObject.hpp"
#include "tessel/commandCompletion.hpp"
#include "tessel/commandRegistry.hpp"
#include "tessel/ozoMessageSubscription.hpp"
#include "tessel/startup.hpp"

namespace {

using Bevel::CmdTableHelper::CmdDefinition;
using Bevel::CmdTableHelper::V2::CmdTableHelperIf;
using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;
using Tessel::CommandCompletion::V1::CommandCompletionIf;
using Tessel::CommandRegistry::V1::CommandRegistryIf;
using Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf;

int echo(int count, const char* const* words, std::ostream& out) {
    for (int i = 0; i < count; ++i) {
        out << words[i] << '|';
    }
    out << std::endl;
    return 0;
}

int exitWith(int count, const char* const* words, std::ostream& /*out*/) {
    return count > 2 ? std::stoi(words[2]) : 0;
}

int writeBytes(int /*count*/, const char* const* words, std::ostream& out) {
    out << std::string(std::stoul(words[2]), 'x') << std::flush;
    return 0;
}

// Says that it holds, then waits until somebody writes to the pipe, and says what was written.
int hold(int /*count*/, const char* const* words, std::ostream& out) {
    out << "holding" << std::endl;
    std::string said;
    std::ifstream(words[2]) >> said;
    out << said << std::endl;
    return 0;
}

const std::vector<CmdDefinition>& table() {
    static const std::vector<CmdDefinition> rows{
        {"dch echo <word>", echo, "Says the words back."},
        {"dch exit <status>", exitWith, "Exits with the status."},
        {"dch bytes <count>", writeBytes, "Writes so many bytes."},
        {"dch hold <pipe>", hold,
         "Waits, with all the patience that a command can have, until the pipe is written to."},
        {"dch pick { one | other } <fruit>", echo, "Says the words back."}};
    return rows;
}

std::vector<std::string> complete(const std::string& parameter) {
    return parameter == "fruit" ? std::vector<std::string>{"cherry", "apple:red", "apple:green"}
                                : std::vector<std::string>{};
}

class TestParticipant final : public Tessel::Startup::V1::StartupParticipantIf {
public:
    void start() override {
        if (std::getenv("TEST_PARTICIPANT_THROWS") != nullptr) {
            throw std::runtime_error("told to throw");
        }
        activeObject_ = ActiveObjectIf::create(
            "TestParticipant", [this] { serve(); }, SchedulingPolicy::Default);
    }

    ~TestParticipant() override {
        if (activeObject_ != nullptr) {
            activeObject_->runOnActiveObject([mailbox = mailbox_, activeObject = activeObject_] {
                ozo_delete_mailbox(mailbox);
            });
        }
    }

private:
    void serve() {
        mailbox_ = ozo_create_mailbox("TestParticipant", 0);
        OzoMessageSubscriptionIf::getInstance().addMailbox(ozo_get_fd());
        CmdTableHelperIf::getInstance().registerCmdTable("dch", table());
        CommandRegistryIf::getInstance().registerCommand(
            "dch",
            [](const std::vector<std::string>& words, std::ostream& out) {
                return CmdTableHelperIf::getInstance().executeCmd(words, out);
            },
            false);
        CommandCompletionIf::getInstance().registerCompleter("dch", complete);
    }

    std::shared_ptr<ActiveObjectIf> activeObject_;
    std::uint32_t mailbox_ = OZO_NO_MAILBOX;
};

const Tessel::Startup::V1::StartupRegistrar registrar([] {
    return std::make_shared<TestParticipant>();
});

}  // namespace
