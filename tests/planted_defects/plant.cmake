# Writes a copy of a source with a defect in it.
# Usage: cmake -D DEFECT=FILE -D FOLDER=FOLDER -D COPY=FILE -P plant.cmake
# DEFECT has three lines: the source in FOLDER, a text that the source has once, and what stands there
# instead.
cmake_minimum_required(VERSION 3.18)
file(READ "${DEFECT}" defect)
if(NOT defect MATCHES "^([^\n]+)\n([^\n]+)\n([^\n]*)\n$")
  message(FATAL_ERROR "${DEFECT}: three lines are expected")
endif()
set(source "${FOLDER}/${CMAKE_MATCH_1}")
set(text "${CMAKE_MATCH_2}")
set(other "${CMAKE_MATCH_3}")
file(READ "${source}" code)
string(FIND "${code}" "${text}" first)
string(FIND "${code}" "${text}" last REVERSE)
if(first EQUAL -1 OR NOT first EQUAL last)
  message(FATAL_ERROR "${source} does not have this text once; mend ${DEFECT}: ${text}")
endif()
string(REPLACE "${text}" "${other}" code "${code}")
file(WRITE "${COPY}" "${code}")
