#include "reportTemplate.hpp"

// The file as it is, among the program's constants.
__asm__(
    ".section .rodata\n"
    ".global qdxview_report_begin\n"
    ".global qdxview_report_end\n"
    "qdxview_report_begin:\n"
    ".incbin \"" QDX_REPORT_PAGE
    "\"\n"
    "qdxview_report_end:\n"
    ".previous\n");

extern "C" const char qdxview_report_begin[];
extern "C" const char qdxview_report_end[];

namespace Qdxview {

std::string_view reportTemplate() {
    return {qdxview_report_begin, qdxview_report_end};
}

}  // namespace Qdxview
