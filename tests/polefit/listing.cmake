# Fails unless the program stands in the document, byte for byte, as a listing of its own.
# Variables: DOCUMENT, PROGRAM.
file(READ "${DOCUMENT}" document)
file(READ "${PROGRAM}" program)
string(FIND "${document}" "\n```cpp\n${program}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${DOCUMENT} has no listing that is ${PROGRAM}")
endif()
