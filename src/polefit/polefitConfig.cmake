# find_package(polefit): polefit::polefit, the shared library, and polefit::polefit_static, the archive, which needs
# what it was built with.
include(CMakeFindDependencyMacro)
list(PREPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}")
find_dependency(OpenBlasSerial)
list(POP_FRONT CMAKE_MODULE_PATH)
find_dependency(Threads)
include("${CMAKE_CURRENT_LIST_DIR}/polefitTargets.cmake")
