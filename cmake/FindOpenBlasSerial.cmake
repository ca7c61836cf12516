# Finds the single-threaded OpenBLAS with its CBLAS interface and the LAPACK routines it carries.
# The plain name "openblas" may stand for a threaded build, so the serial folder is named here; linking
# by its path also lets the run path point at it.
#
# Result: the imported target OpenBlasSerial::OpenBlasSerial.

find_path(OpenBlasSerial_INCLUDE_DIR cblas.h
  PATHS "/usr/include/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-serial" NO_DEFAULT_PATH)
find_library(OpenBlasSerial_LIBRARY openblas
  PATHS "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-serial" NO_DEFAULT_PATH)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenBlasSerial
  REQUIRED_VARS OpenBlasSerial_LIBRARY OpenBlasSerial_INCLUDE_DIR)

if(OpenBlasSerial_FOUND AND NOT TARGET OpenBlasSerial::OpenBlasSerial)
  add_library(OpenBlasSerial::OpenBlasSerial UNKNOWN IMPORTED)
  set_target_properties(OpenBlasSerial::OpenBlasSerial PROPERTIES
    IMPORTED_LOCATION "${OpenBlasSerial_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${OpenBlasSerial_INCLUDE_DIR}")
endif()
mark_as_advanced(OpenBlasSerial_INCLUDE_DIR OpenBlasSerial_LIBRARY)
