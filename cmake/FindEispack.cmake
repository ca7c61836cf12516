# Finds the packaged build of the published EISPACK driver `rg`: the header v3p_netlib.h and the one
# library that carries v3p_netlib_rg_. Other parts of the toolkit that ships them are not used.
#
# Result: the imported target Eispack::Eispack.

set(_eispack_include_dirs)
foreach(_eispack_prefix IN LISTS CMAKE_PREFIX_PATH ITEMS /usr/local /usr)
  file(GLOB _eispack_versions "${_eispack_prefix}/include/ITK-*")
  list(APPEND _eispack_include_dirs ${_eispack_versions})
endforeach()
find_path(Eispack_INCLUDE_DIR v3p_netlib.h HINTS ${_eispack_include_dirs})

# The library's name ends in the version that the header's folder also carries.
if(Eispack_INCLUDE_DIR MATCHES "ITK-([^/]+)$")
  set(_eispack_suffix "-${CMAKE_MATCH_1}")
endif()
find_library(Eispack_LIBRARY NAMES "itkv3p_netlib${_eispack_suffix}" itkv3p_netlib)
unset(_eispack_include_dirs)
unset(_eispack_suffix)
unset(_eispack_prefix)
unset(_eispack_versions)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Eispack REQUIRED_VARS Eispack_LIBRARY Eispack_INCLUDE_DIR)

if(Eispack_FOUND AND NOT TARGET Eispack::Eispack)
  add_library(Eispack::Eispack UNKNOWN IMPORTED)
  set_target_properties(Eispack::Eispack PROPERTIES
    IMPORTED_LOCATION "${Eispack_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Eispack_INCLUDE_DIR}")
endif()
mark_as_advanced(Eispack_INCLUDE_DIR Eispack_LIBRARY)
