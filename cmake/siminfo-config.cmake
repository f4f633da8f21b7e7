# find_package(siminfo): the targets siminfo::generator and siminfo::in_memory, the program as siminfo::siminfo where it
# is installed too, and the function siminfo_generate.
include(${CMAKE_CURRENT_LIST_DIR}/siminfo-targets.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/SiminfoGenerate.cmake)
