# Control clients use mailboxes as frontends do.
include(CMakeFindDependencyMacro)
find_dependency(qdxfrontend)
include(${CMAKE_CURRENT_LIST_DIR}/qdxcontrolTargets.cmake)
