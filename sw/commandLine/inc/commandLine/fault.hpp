// How programs end when something is wrong: one line on standard error, and a status.
#pragma once

#include <functional>
#include <string>

namespace Qdx::CommandLine {

// Says "NAME: FAULT" and gives the status.
int report(const std::string& name, const std::string& fault, int status);

// Runs a program and gives its status. What it throws is reported: want of memory with EX_OSERR,
// any other exception with the status given here.
int guarded(const std::string& name, int failure, const std::function<int()>& program);

}  // namespace Qdx::CommandLine
