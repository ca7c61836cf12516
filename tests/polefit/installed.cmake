# Installs this build into a folder of its own, builds the consumer against it, and runs it.
# Variables: BUILD (the build folder), SOURCE (the consumer), COMPILER, FLAGS.
set(place "${BUILD}/installed_polefit")
file(REMOVE_RECURSE "${place}")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${place}/prefix")
run("${CMAKE_COMMAND}" -S "${SOURCE}" -B "${place}/build" -G Ninja "-DCMAKE_PREFIX_PATH=${place}/prefix"
  "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${FLAGS}")
run("${CMAKE_COMMAND}" --build "${place}/build")
foreach(kind polefit polefit_static)
  run("${place}/build/with_${kind}")
  if(NOT output STREQUAL "-1e+09\n")
    message(FATAL_ERROR "with_${kind} printed ${output}")
  endif()
endforeach()
