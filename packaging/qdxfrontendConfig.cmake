# What libqdx_frontend.a is linked with, then the targets themselves.
include(CMakeFindDependencyMacro)
find_dependency(Protobuf)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/qdxfrontendTargets.cmake)
