# Installs the library of LIBRARY_BUILD below WORK, and builds and runs a project against it: that of the
# folder PROJECT, or the one that the page PAGE shows in its first block of "cmake" and its first block
# of "cpp". The project makes one program, called "consumer".
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(cut_block page language file)
  file(READ ${page} text)
  if(NOT text MATCHES "```${language}\n([^`]*)```")
    message(FATAL_ERROR "${page} shows no block of ${language}")
  endif()
  file(WRITE ${file} "${CMAKE_MATCH_1}")
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${LIBRARY_BUILD} --prefix ${WORK}/prefix)
if(PAGE)
  set(PROJECT ${WORK}/project)
  cut_block(${PAGE} cmake ${PROJECT}/CMakeLists.txt)
  cut_block(${PAGE} cpp ${PROJECT}/consumer.cpp)
endif()
run(${CMAKE_COMMAND} -S ${PROJECT} -B ${WORK}/build -G ${GENERATOR}
  -D CMAKE_PREFIX_PATH=${WORK}/prefix
  -D CMAKE_CXX_COMPILER=${COMPILER}
  -D CMAKE_CXX_FLAGS=${FLAGS}
  -D CMAKE_BUILD_TYPE=${BUILD_TYPE})
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer)
