# How targets of this project are made: one set of warnings, one way to register tests.

# Warnings and sanitizers of all code written here; generated code stays out.
function(qdx_own_code target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
endfunction()

if(QDX_SANITIZE)
    add_compile_options(-fsanitize=${QDX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${QDX_SANITIZE})
endif()

# What the tests labelled platform and e2e run: the programs with threads and processes, for ThreadSanitizer.
add_custom_target(threaded)

# qdx_add_library(name SOURCES ... [LIBS ...] [PRIVATE_LIBS ...]): a static library; its headers stand in inc/ beside its
# CMakeLists.txt.
function(qdx_add_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;LIBS;PRIVATE_LIBS" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/inc>)
    target_link_libraries(${name} PUBLIC ${arg_LIBS} PRIVATE ${arg_PRIVATE_LIBS})
    qdx_own_code(${name})
endfunction()

# qdx_add_messages(name file.proto...): the generated message classes as a static library, built without our warnings.
# The generated headers are included without the directories of their schemas.
function(qdx_add_messages name)
    set(protos ${ARGN})
    list(TRANSFORM protos PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
    add_library(${name} STATIC)
    target_link_libraries(${name} PUBLIC protobuf::libprotobuf)
    protobuf_generate(TARGET ${name} LANGUAGE cpp PROTOS ${protos} APPEND_PATH
        PROTOC_OUT_DIR ${CMAKE_CURRENT_BINARY_DIR})
    target_include_directories(${name} SYSTEM PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}>)
endfunction()

# qdx_add_tests(name SOURCES ... LIBS ... [LABELS ...] [TIMEOUT s]): one GoogleTest program; each of its tests
# runs as a process of its own.
function(qdx_add_tests name)
    if(NOT QDX_BUILD_TESTS)
        return()
    endif()
    cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock_main)
    qdx_own_code(${name})
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
        PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
    if(arg_LABELS MATCHES "platform|e2e")
        add_dependencies(threaded ${name})
    endif()
endfunction()

# qdx_add_bats_tests(file PROGRAMS NAME=path... [LABELS ...] [TIMEOUT s]): a bats file as one test, which finds the
# programs under these names in its environment. Such tests are long, and so begin first (COST).
function(qdx_add_bats_tests file)
    if(NOT QDX_BUILD_TESTS)
        return()
    endif()
    cmake_parse_arguments(arg "" "TIMEOUT" "PROGRAMS;LABELS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    find_program(BATS bats REQUIRED)
    get_filename_component(name ${file} NAME_WE)
    add_test(NAME ${name} COMMAND ${BATS} ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "${arg_PROGRAMS}" TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}" COST 20)
endfunction()
