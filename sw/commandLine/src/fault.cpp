#include "commandLine/fault.hpp"

#include <sysexits.h>

#include <exception>
#include <iostream>
#include <new>

namespace Qdx::CommandLine {

int report(const std::string& name, const std::string& fault, int status) {
    std::cerr << name << ": " << fault << '\n';
    return status;
}

int guarded(const std::string& name, int failure, const std::function<int()>& program) {
    try {
        return program();
    } catch (const std::bad_alloc&) {
        return report(name, "not enough memory", EX_OSERR);
    } catch (const std::exception& error) {
        return report(name, error.what(), failure);
    }
}

}  // namespace Qdx::CommandLine
