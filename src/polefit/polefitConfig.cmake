# find_package(polefit): polefit::polefit, the shared library, and polefit::polefit_static, the archive, which needs
# what it was built with.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include("${CMAKE_CURRENT_LIST_DIR}/polefitTargets.cmake")
