# The page of --html in one file, ${QDX_REPORT_PAGE}, and its tests. Presets share what npm fetches and the page itself.
find_program(NODE node)
find_program(NPM npm)
if(NOT NODE OR NOT NPM)
    message(FATAL_ERROR "The page of qdxview --html is built with node and npm, which are not there. "
        "Install them, as scripts/install-deps does, or build without the page: -DQDX_REPORT=OFF")
endif()

set(QDX_REPORT_PAGE ${CMAKE_CURRENT_BINARY_DIR}/report.html)
set(report_sources ${CMAKE_CURRENT_SOURCE_DIR}/report)
cmake_path(GET CMAKE_BINARY_DIR PARENT_PATH build_directory)
if(NOT build_directory STREQUAL "${CMAKE_SOURCE_DIR}/build")
    set(build_directory ${CMAKE_BINARY_DIR})
endif()
set(report_directory ${build_directory}/report)

file(GLOB_RECURSE report_files CONFIGURE_DEPENDS ${report_sources}/src/* ${report_sources}/test/*)
add_custom_command(OUTPUT ${QDX_REPORT_PAGE}
    COMMAND ${report_sources}/build ${report_directory} ${QDX_REPORT_PAGE}
    DEPENDS ${report_files} ${report_sources}/build ${report_sources}/index.html ${report_sources}/package.json
        ${report_sources}/package-lock.json ${report_sources}/tsconfig.json ${report_sources}/vite.config.ts
        ${report_sources}/playwright.config.ts ${report_sources}/.npmrc ${report_sources}/.prettierrc.json
        ${report_sources}/.prettierignore
    COMMENT "Building the report page"
    VERBATIM)

# What they test is the same under every sanitizer.
if(QDX_BUILD_TESTS AND NOT QDX_SANITIZE)
    set(environment QDX_SOURCES=${PROJECT_SOURCE_DIR} QDXVIEW=$<TARGET_FILE:qdxview>
        QDX_REPLAY=$<TARGET_FILE:qdx-replay> REPORT_TEST_OUTPUT=${CMAKE_CURRENT_BINARY_DIR}/reportTest)
    add_test(NAME HtmlReport.Program COMMAND ${NPM} run --silent check-and-test WORKING_DIRECTORY ${report_directory})
    add_test(NAME HtmlReport.Page COMMAND ${NPM} run --silent look WORKING_DIRECTORY ${report_directory})
    set_tests_properties(HtmlReport.Program PROPERTIES ENVIRONMENT "${environment}" LABELS e2e TIMEOUT 300)
    set_tests_properties(HtmlReport.Page PROPERTIES ENVIRONMENT "${environment}" LABELS e2e TIMEOUT 600)
endif()
