// Words that Bash cuts where the collector doesn't, against a daemon that has some.
#include <gmock/gmock.h>

#include "support/daemon.hpp"
#include "support/terminal.hpp"

namespace {

using namespace TestSupport;

class BashCompletionTest : public testing::Test {
protected:
    // Types the keys at Bash and waits until the line reads as expected.
    void expectLine(const std::string& setUp, const std::string& keys, const std::string& line) {
        Terminal bash({"/bin/bash", "--norc", "-i"},
                      {{"HOME", unit.path().string()}, {"PS1", "$ "}});
        bash.type(setUp + "; source " COMPLETION "; dch() { " DCH " \"$@\"; }; echo re''ady\r");
        bash.await("\rready");
        bash.type(keys);
        bash.await(line);
    }

    const UnitRoot unit;
    const Daemon daemon;
};

TEST_F(BashCompletionTest, CompletesBehindAColon) {
    expectLine(":", "dch pick one apple:r\t\r", "dch|pick|one|apple:red|\r\n");
}

TEST_F(BashCompletionTest, CompletesUpToAColonAndOn) {
    expectLine(":", "dch pick one a\tg\t\r", "dch|pick|one|apple:green|\r\n");
}

TEST_F(BashCompletionTest, CompletesWholeWordsIfTheUserHasBashNotCutAtColons) {
    expectLine("COMP_WORDBREAKS=${COMP_WORDBREAKS//:}", "dch pick one apple:r\t\r",
               "dch|pick|one|apple:red|\r\n");
}

}  // namespace
