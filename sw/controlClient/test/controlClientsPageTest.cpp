// What the page for authors of control clients shows is true.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "control/session.hpp"
#include "hexText.hpp"

namespace {

using namespace Qdx::Control;
using Qdx::V1::fromHex;
using Qdx::V1::toHex;

std::string textOf(const char* path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

struct Line {
    bool toServer;
    std::string frame;
};

// "to the server    00 7b ..." and "to the client    ..."
std::vector<Line> linesOfTheWorkedExample() {
    std::istringstream page(textOf(PAGE));
    const std::string toServer = "to the server ";
    const std::string toClient = "to the client ";
    std::vector<Line> lines;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with(toServer) || line.starts_with(toClient)) {
            lines.push_back({line.starts_with(toServer),
                             toHex(fromHex(std::string_view(line).substr(toServer.size())))});
        }
    }
    return lines;
}

TEST(ControlClientsPage, ShowsTheExampleAsItIsCompiled) {
    const auto example = textOf(EXAMPLE);
    const auto code = example.substr(example.find('\n') + 1);  // without the comment on top
    EXPECT_THAT(textOf(PAGE), testing::HasSubstr("```cpp\n" + code + "```"));
}

TEST(ControlClientsPage, WorkedExampleIsWhatAClientSaysAndUnderstands) {
    std::vector<std::string> sent;
    Session session(
        {}, [&](auto frame) { sent.push_back(toHex(frame)); }, [] { return Session::Time(); });
    std::string contents;
    bool done = false;
    session.connect([&](const Result&) {
        session.pull(
            {"11"},
            [&](std::string_view chunk) {
                contents += chunk;
                return true;
            },
            [&](const Result& result) { done = result.isDone(); });
    });
    std::vector<std::string> shown;
    for (const auto& line : linesOfTheWorkedExample()) {
        if (line.toServer) {
            shown.push_back(line.frame);
            EXPECT_EQ(sent, shown) << "up to this line";
        } else {
            session.take(fromHex(line.frame));
        }
    }
    EXPECT_EQ(shown.size(), 4);
    EXPECT_TRUE(done);
    EXPECT_EQ(contents, std::string("\x08\x01\x12\x00", 4));
}

}  // namespace
