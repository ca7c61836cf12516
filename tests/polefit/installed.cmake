# Installs this build into a folder of its own, builds the consumer against it, and runs its programs.
# Variables: BUILD (the build folder), SOURCE (the consumer), EXAMPLE (a Touchstone file), COMPILER, FLAGS, LIBDIR
# (where libraries are installed).
set(place "${BUILD}/installed_polefit")
file(REMOVE_RECURSE "${place}")
file(MAKE_DIRECTORY "${place}/run")

# Runs a command in the folder "run"; its standard output is `output`.
function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY "${place}/run"
    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE complaints)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${output}${complaints}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${place}/prefix")
run("${CMAKE_COMMAND}" -S "${SOURCE}" -B "${place}/build" -G Ninja "-DCMAKE_PREFIX_PATH=${place}/prefix"
  "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${FLAGS}")
run("${CMAKE_COMMAND}" --build "${place}/build")

# The same program through pkg-config.
set(ENV{PKG_CONFIG_LIBDIR} "${place}/prefix/${LIBDIR}/pkgconfig")
run(pkg-config --cflags --libs polefit)
separate_arguments(by_package_config UNIX_COMMAND "${output}")
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
run("${COMPILER}" -std=c++20 ${flags} "${SOURCE}/file_to_circuit.cpp" -o "${place}/build/file_to_circuit_with_pkg-config"
  ${by_package_config} "-Wl,-rpath,${place}/prefix/${LIBDIR}")

# The circuit of a file is that of the installed command.
configure_file("${EXAMPLE}" "${place}/run/filter.s2p" COPYONLY)
run("${place}/prefix/bin/polefit" fit filter.s2p --error 1e-4 --quiet -o filter.json)
run("${place}/prefix/bin/polefit" export filter.json --spice --name filter -o expected.cir)
foreach(kind polefit polefit_static)
  run("${place}/build/fits_and_saves_with_${kind}")
  if(NOT output STREQUAL "-1e+09\n")
    message(FATAL_ERROR "fits_and_saves_with_${kind} printed ${output}")
  endif()
endforeach()
foreach(kind polefit polefit_static pkg-config)
  file(REMOVE "${place}/run/filter.cir")
  run("${place}/build/file_to_circuit_with_${kind}")
  if(NOT output MATCHES "^[0-9]+ poles, error [1-9]\\.[0-9]e-0[5-9]\n$")
    message(FATAL_ERROR "file_to_circuit_with_${kind} printed ${output}")
  endif()
  run("${CMAKE_COMMAND}" -E compare_files filter.cir expected.cir)
endforeach()
